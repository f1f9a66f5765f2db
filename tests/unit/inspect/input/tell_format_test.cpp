#include <gtest/gtest.h>

#include <string>

#include "inspect/input/load.h"

namespace tarvek::inspect {
namespace {

using std::string_literals::operator""s;

struct Case {
  const char* name;
  std::string bytes;
  Format format;
};

class Tell : public testing::TestWithParam<Case> {};

TEST_P(Tell, TheFormByWhatIsInIt) { EXPECT_EQ(TellFormat(GetParam().bytes), GetParam().format); }

INSTANTIATE_TEST_SUITE_P(
    Inputs, Tell,
    testing::Values(
        Case{"Image", "KOV IPMI\4\2\t", Format::kImage},
        Case{"Source", "_LF_NAME 'A'\n", Format::kSource},
        Case{"SourceBehindComments", "\n// SET it\n  // x\n\t_LF_NAME 'A'\n", Format::kSource},
        Case{"SourceThatBeginsWrong", "_LF_VERSION '1'\n", Format::kSource},
        Case{"SourceWithControlCharacters", "_LF_NAME '\1\2'\n", Format::kSource},
        Case{"Script", "SET A\n", Format::kScript},
        Case{"ScriptInLowerCase", "ifset a\nendif\n", Format::kScript},
        Case{"ScriptOfOneWord", "ENDIF", Format::kScript},
        Case{"ScriptBehindComments", "// _LF_NAME\r\nSDRNAME a.sdr\r\n", Format::kScript},
        Case{"ScriptWithACommandOfTheLargerLanguage", "MENU a b\n", Format::kScript},
        Case{"NoScriptByAPrefix", "SETTING A\n", Format::kSource},
        Case{"NoScriptByThePlaceholder", "NOTACMD\n", Format::kSource},
        Case{"Hex", "00 00 51 C0 01 77\n", Format::kHex},
        Case{"HexBehindAComment", "# a dump\n0000 51\n", Format::kHex},
        Case{"Raw", "\0\0\x51\xC0\1\x77"s, Format::kRaw},
        Case{"SourceBehindNuls", "\0\0\0comment\n\0\n_LF_NAME 'A'\n"s, Format::kSource},
        Case{"RawWithAWordOfAScript", "\0\0\x51\xC0\n SET \n"s, Format::kRaw},
        Case{"ScriptWithAControlCharacter", "// a \x01 note\nSDRNAME A.SDR\n", Format::kScript},
        Case{"RawWithoutAZeroInItsHeader", "A\x01\x51\xC0\x01\x77"s, Format::kRaw},
        Case{"RawThatBeginsLikeAWord", "_L\x51\x01\x33"s, Format::kRaw},
        Case{"AnyOtherText", "hello\n", Format::kSource}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(TellFormat, TakesNothingForASource) { EXPECT_EQ(TellFormat(""), Format::kSource); }

}  // namespace
}  // namespace tarvek::inspect
