#include "inspect/text/escape.h"

#include <gtest/gtest.h>

#include <string>

namespace tarvek::inspect {
namespace {

using std::string_literals::operator""s;

struct Case {
  const char* name;
  std::string text;
  std::string escaped;
};

class Escape : public testing::TestWithParam<Case> {};

TEST_P(Escape, ShowsWhatActsAsHexadecimal) {
  EXPECT_EQ(Escaped(GetParam().text), GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Escape,
    testing::Values(Case{"Plain", "CPU 1 Temp", "CPU 1 Temp"}, Case{"Empty", "", ""},
                    Case{"EscapeSequence", "\x1B[31mred", "\\x1B[31mred"},
                    Case{"LineFeed", "a\nb\r\t", "a\\x0Ab\\x0D\\x09"},
                    Case{"Nul", "a\0b"s, "a\\x00b"}, Case{"Delete", "\x7F", "\\x7F"},
                    Case{"C1Control", "\xC2\x9B", "\\xC2\\x9B"},
                    Case{"Latin1Letter", "\xC3\xA9", "\xC3\xA9"},
                    Case{"FourByteCharacter", "\xF0\x9F\x8C\xA1", "\xF0\x9F\x8C\xA1"},
                    Case{"LoneContinuation", "\x80x", "\\x80x"},
                    Case{"CutCharacter", "\xE2\x82", "\\xE2\\x82"},
                    Case{"OverlongSlash", "\xC0\xAF", "\\xC0\\xAF"},
                    Case{"Surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
                    Case{"BeyondUnicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
                    Case{"RightToLeftOverride", "\xE2\x80\xAE", "\\xE2\\x80\\xAE"},
                    Case{"LineSeparator", "\xE2\x80\xA8", "\\xE2\\x80\\xA8"},
                    Case{"ByteOrderMark", "\xEF\xBB\xBF_LF_NAME", "\\xEF\\xBB\\xBF_LF_NAME"},
                    Case{"BlankWithoutWidth", "\xE2\x80\x8B", "\\xE2\\x80\\x8B"},
                    Case{"NotUtf8AtAll", "\xFF\xFE", "\\xFF\\xFE"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(JsonEscape, WritesWhatActsAsCodes) {
  EXPECT_EQ(JsonEscaped("\"a\\n\xC3\xA9\""), "\"a\\n\xC3\xA9\"");
  EXPECT_EQ(JsonEscaped("\xC2\x9B"
                        "1m\x7F"),
            "\\u009B1m\\u007F");
  EXPECT_EQ(JsonEscaped("\xE2\x80\xAE"), "\\u202E");
  EXPECT_EQ(JsonEscaped("\xF3\xA0\x80\xA0"), "\\uDB40\\uDC20");
  EXPECT_EQ(JsonEscaped("\xFF"), "\xFF");
}

TEST(EscapeWidth, CountsCharactersNotBytes) {
  EXPECT_EQ(Width("abc"), 3U);
  EXPECT_EQ(Width("\xC3\xA9t\xC3\xA9"), 3U);
  EXPECT_EQ(Width(""), 0U);
}

}  // namespace
}  // namespace tarvek::inspect
