#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "driver/reporting/run_settings.h"
#include "errors/reserve_block.h"
#include "tests/unit/sdrfile/allocation_failure.h"
#include "tests/unit/sdrfile/sdr_source.h"
#include "tests/unit/support/cpu_time.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class GrammarTest : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
    g_option_flg = kSdrFileInput;
  }

  /// Loads a source file from the disk.
  int Load(const std::string& text, const TagTbl* tags = nullptr) {
    WriteFile("BMCSDR.SDR", text);
    return loader.LoadFile("BMCSDR.SDR", tags);
  }

  ESTATUS Parse(const std::string& text, const TagTbl* tags = nullptr) {
    Input input(text);
    return loader.Parse(&input, tags);
  }

  Loader loader;
};

/// `text` with its one occurrence of `from` replaced.
std::string With(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

/// `text` up to the end of `last`.
std::string UpTo(const std::string& text, const std::string& last) {
  return text.substr(0, text.find(last) + last.size());
}

const std::string kWhole = Source(kVersionRecord + kShortRecord);

// The whole format.

const std::string kExample =
    "// SDR set for one board\n"
    "_LF_NAME 'BOARD.SDR'\n"
    "_LF_VERSION '01.02'\n"
    "_LF_FMT_VER '1.5'\n"
    "_IPMI_VERSION '1.50'\n"
    "_SDR (\n"
    "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n"
    "_SDR_TYPE 12\n"
    "_SDR_TAG 'BMC'\n"
    "_REC_LEN 10\n"
    "0000 51 12 0B 20 00 00 00 00 00 00 C3 'BMC'\n"
    "_SDR_TYPE 01\n"
    "_SDR_TAG 'CPU1'\n"
    "_SDR_TAG 'CPU2'\n"
    "_REC_LEN 0D\n"
    "0000 51 01 08 20 00 01 03 01 67 68# C0 ''\n"
    ")\n";

TEST_F(GrammarTest, ExampleIsRead) {
  const auto tags = TagList({"BMC", "CPU2"});
  ASSERT_EQ(Parse(kExample, tags.get()), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{0x00, 0x00, 0x51, 0x12, 0x0B, 0x20, 0x00, 0x00,
                                                  0x00, 0x00, 0x00, 0x00, 0xC3, 'B', 'M', 'C'},
                                            Bytes{0x00, 0x00, 0x51, 0x01, 0x08, 0x20, 0x00, 0x01,
                                                  0x03, 0x01, 0x67, 0x68, 0xC0}));
  EXPECT_THAT(loader.Tags(), ElementsAre("BMC", "CPU2"));
  EXPECT_EQ(loader.Read()->type, 0x12);
  EXPECT_EQ(loader.Read()->next->type, 0x01);
  EXPECT_EQ(g_inputSdrRecord, 3);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(GrammarTest, LayoutOfTheTextDoesNotMatter) {
  std::string one_token_a_line;
  std::string dos;
  for (const char c : kWhole) {
    // Header values take their whole line, and quoted texts keep their blanks: only the record
    // section is taken apart.
    const bool in_section = one_token_a_line.find("_SDR (") != std::string::npos;
    const bool quoted = std::count(one_token_a_line.begin(), one_token_a_line.end(), '\'') % 2 != 0;
    one_token_a_line += c == ' ' && in_section && !quoted ? '\n' : c;
    dos += c == '\n' ? std::string("\r\n") : std::string(1, c);
  }
  ASSERT_EQ(Parse(kWhole), 0);
  const std::vector<Bytes> records = loader.Records();
  ASSERT_EQ(records.size(), 2U);
  for (const std::string& text : {one_token_a_line, dos, "\n \n// x\n" + kWhole,
                                  kWhole.substr(0, kWhole.size() - 1), kWhole + "(anything //"}) {
    loader.FreeSDRMem(&loader.Read());
    ASSERT_EQ(Parse(text), 0) << text;
    EXPECT_EQ(loader.Records(), records) << text;
  }
}

// The file header.

struct Failure {
  const char* name;
  std::string text;
  int status;                    // what LoadFile returns
  std::vector<std::string> log;  // every line of the history log
  std::string code;              // what the result file holds
};
void PrintTo(const Failure& failure, std::ostream* out) { *out << failure.name; }

class GrammarFailureTest : public GrammarTest, public testing::WithParamInterface<Failure> {};

TEST_P(GrammarFailureTest, IsReportedAndNothingIsSent) {
  const int descriptors = OpenDescriptors();
  EXPECT_EQ(Load(GetParam().text), GetParam().status);
  EXPECT_EQ(LogTexts(), GetParam().log);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText(GetParam().code));
  EXPECT_THAT(machine().requests, IsEmpty());
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(loader.Read(), nullptr);
}

TEST_P(GrammarFailureTest, ClosesTheStream) {
  Input input(GetParam().text);
  EXPECT_NE(loader.Parse(&input, nullptr), 0);
  EXPECT_EQ(input.fp, nullptr);
}

std::string FailureName(const testing::TestParamInfo<Failure>& info) { return info.param.name; }

const std::string kNoName = "Error, _LF_NAME should be the first tag in the file";
const std::string kNoNameText = "Error, expected ASCII text after _LF_NAME";
const std::string kNoVersion = "Error, _LF_VERSION should follow _LF_NAME";
const std::string kNoVersionText = "Error, expected ASCII text after _LF_VERSION";
const std::string kNoFormat = "Error, _LF_FMT_VER should follow _LF_VERSION";
const std::string kNoFormatText = "Error, expected ASCII text after _LF_FMT_VER";
const std::string kNoIpmi = "Error, _IPMI_VERSION should follow _LF_FMT_VER";
const std::string kNoIpmiText = "Error, expected ASCII text after _IPMI_VERSION";
const std::string kWrongFormat = "Error, this program only supports file format version 1.5";
const std::string kWrong13 = "Error, this program only supports SDR format version 0.90";
const std::string kWrong15 = "Error, this program only supports SDR format version 1.00 or higher.";

// What stands wrong in the header is reported where it is parsed, and the load's own status says
// only that.
INSTANTIATE_TEST_SUITE_P(
    FileHeader, GrammarFailureTest,
    testing::Values(
        Failure{"NoTokenAtAll", "// nothing\n", 81, {kNoName}, "SDR047"},
        Failure{"BeginsWithVersion", "_LF_VERSION '01.02'\n", 81, {kNoName}, "SDR047"},
        Failure{"BeginsWithText", "hello\n", 81, {kNoName}, "SDR047"},
        Failure{"BinaryData",
                std::string("\x7F"
                            "ELF\x02\x01\x01\0\0\n\xFF\xFE",
                            12),
                81,
                {kNoName},
                "SDR047"},
        Failure{"ZeroBytes", std::string(4096, '\0'), 81, {kNoName}, "SDR047"},
        Failure{"NameInLowerCase", With(kWhole, "_LF_NAME", "_lf_name"), 81, {kNoName}, "SDR047"},
        Failure{"NameAlone", "_LF_NAME", 81, {kNoNameText}, "SDR053"},
        Failure{"NameWithoutQuotes",
                With(kWhole, "'BOARD.SDR'", "BOARD.SDR"),
                81,
                {kNoNameText},
                "SDR053"},
        Failure{"NameInHex", With(kWhole, "'BOARD.SDR'", "B0A4D"), 81, {kNoNameText}, "SDR053"},
        Failure{"NameWithoutClosingQuote",
                With(kWhole, "BOARD.SDR'", "BOARD.SDR"),
                81,
                {kNoNameText},
                "SDR053"},
        Failure{"EndsAfterName", UpTo(kWhole, "'BOARD.SDR'"), 81, {kNoVersion}, "SDR048"},
        Failure{"NoVersion", With(kWhole, "_LF_VERSION '01.02'\n", ""), 81, {kNoVersion}, "SDR048"},
        Failure{"VersionOnTheLineOfTheName",
                With(kWhole, "'BOARD.SDR'\n", "'BOARD.SDR' "),
                81,
                {kNoVersion},
                "SDR048"},
        Failure{"VersionAlone", UpTo(kWhole, "_LF_VERSION"), 81, {kNoVersionText}, "SDR056"},
        Failure{"VersionWithoutQuotes",
                With(kWhole, "'01.02'", "01.02"),
                81,
                {kNoVersionText},
                "SDR056"},
        Failure{"NoFormat", With(kWhole, "_LF_FMT_VER '1.5'\n", ""), 81, {kNoFormat}, "SDR046"},
        Failure{"EndsAfterVersion", UpTo(kWhole, "'01.02'"), 81, {kNoFormat}, "SDR046"},
        Failure{"FormatAlone", UpTo(kWhole, "_LF_FMT_VER"), 81, {kNoFormatText}, "SDR052"},
        Failure{"FormatWithoutQuotes", With(kWhole, "'1.5'", "1.5"), 81, {kNoFormatText}, "SDR052"},
        Failure{"Format20", With(kWhole, "'1.5'", "'2.0'"), 81, {kWrongFormat}, "SDR059"},
        Failure{"Format12", With(kWhole, "'1.5'", "'1.2'"), 81, {kWrongFormat}, "SDR059"},
        Failure{"FormatTooShort", With(kWhole, "'1.5'", "'1.'"), 81, {kWrongFormat}, "SDR059"},
        Failure{"FormatEmpty", With(kWhole, "'1.5'", "''"), 81, {kWrongFormat}, "SDR059"},
        Failure{"FormatWithBlank", With(kWhole, "'1.5'", "' 1.5'"), 81, {kWrongFormat}, "SDR059"},
        Failure{
            "NoIpmiVersion", With(kWhole, "_IPMI_VERSION '1.50'\n", ""), 81, {kNoIpmi}, "SDR044"},
        Failure{"EndsAfterFormat", UpTo(kWhole, "'1.5'"), 81, {kNoIpmi}, "SDR044"},
        Failure{"IpmiVersionAlone", UpTo(kWhole, "_IPMI_VERSION"), 81, {kNoIpmiText}, "SDR055"},
        Failure{"IpmiVersionOf3Characters",
                With(kWhole, "'1.50'", "'1.5'"),
                81,
                {kNoIpmiText},
                "SDR055"},
        Failure{"IpmiVersionOf5Characters",
                With(kWhole, "'1.50'", "1.500"),
                81,
                {kNoIpmiText},
                "SDR055"},
        Failure{"IpmiVersionIsAKeyword",
                With(kWhole, "'1.50'", "_FRU_TITLE"),
                81,
                {kNoIpmiText},
                "SDR055"},
        Failure{"Format15WithHexVersion", With(kWhole, "'1.50'", "0100"), 81, {kWrong15}, "SDR061"},
        Failure{
            "Format15WithShortHexVersion", With(kWhole, "'1.50'", "150"), 81, {kWrong15}, "SDR061"},
        Failure{"Format15WithLongHexVersion",
                With(kWhole, "'1.50'", "0123456789"),
                81,
                {kWrong15},
                "SDR061"},
        Failure{"Format15With090", With(kWhole, "'1.50'", "'0.90'"), 81, {kWrong15}, "SDR061"},
        Failure{"Format15With200", With(kWhole, "'1.50'", "2.00"), 81, {kWrong15}, "SDR061"},
        Failure{"Format15WithAKeywordOf4Characters",
                With(kWhole, "'1.50'", "_SDR"),
                81,
                {kWrong15},
                "SDR061"},
        Failure{"Format13With100",
                With(With(kWhole, "'1.5'", "'1.3'"), "'1.50'", "1.00"),
                81,
                {kWrong13},
                "SDR060"},
        Failure{"Format14With150",
                With(With(kWhole, "'1.5'", "'1.4'"), "'1.50'", "'1.50'"),
                81,
                {kWrong13},
                "SDR060"},
        Failure{"Format13WithAnotherHexVersion",
                With(With(kWhole, "'1.5'", "'1.3'"), "'1.50'", "0090"),
                81,
                {kWrong13},
                "SDR060"},
        Failure{"Format13WithALongerHexVersion",
                With(With(kWhole, "'1.5'", "'1.3'"), "'1.50'", "00100"),
                81,
                {kWrong13},
                "SDR060"}),
    FailureName);

// The start of the record section, and the repository header. These are reported by the load.

const std::string kNoSdr = "Error, expected _SDR tag";
const std::string kNoParenthesis = "Error, expected a left parenthesis '('";
const std::string kNoStart = "Error, _START_ADDR should be first entry in SEL header info";
const std::string kNoStartData = "Error, expected valid hexadecimal data after _START_ADDR";
const std::string kNoDataLen = "Error, _DATA_LEN should follow _START_ADDR";
const std::string kNoDataLenData = "Error, expected valid hexadecimal data after _DATA_LEN";
const std::string kNoNvs = "Error, _NVS_TYPE should follow _DATA_LEN";
const std::string kWrongNvs = "Error, invalid or unsupported _NVS_TYPE";
const std::string kNoBus = "Error, _DEV_BUS should follow _NVS_TYPE";
const std::string kNoBusData = "Error, expected valid hexadecimal data after _DEV_BUS";
const std::string kNoAddress = "Error, _DEV_ADDRESS should follow _DEV_BUS";
const std::string kNoAddressData = "Error, expected valid hexadecimal data after _DEV_ADDRESS";

INSTANTIATE_TEST_SUITE_P(
    RepositoryHeader, GrammarFailureTest,
    testing::Values(
        Failure{"NoSdr", With(kWhole, "_SDR (", "("), 43, {kNoSdr}, "SDR043"},
        Failure{
            "SdrTouchesTheParenthesis", With(kWhole, "_SDR (", "_SDR("), 43, {kNoSdr}, "SDR043"},
        Failure{"SdrOnTheLineOfTheVersion",
                With(kWhole, "'1.50'\n", "'1.50' "),
                43,
                {kNoSdr},
                "SDR043"},
        Failure{"EndsAfterTheHeader", UpTo(kWhole, "'1.50'\n"), 43, {kNoSdr}, "SDR043"},
        Failure{"NoParenthesis", With(kWhole, "_SDR (", "_SDR"), 45, {kNoParenthesis}, "SDR045"},
        Failure{"EndsAfterSdr", UpTo(kWhole, "_SDR"), 45, {kNoParenthesis}, "SDR045"},
        Failure{"NoStartAddr", With(kWhole, "_START_ADDR 0000", ""), 51, {kNoStart}, "SDR051"},
        Failure{"EndsAfterTheParenthesis", UpTo(kWhole, "_SDR ("), 51, {kNoStart}, "SDR051"},
        Failure{"StartAddrOf5Digits",
                With(kWhole, "_START_ADDR 0000", "_START_ADDR 00000"),
                39,
                {kNoStartData},
                "SDR039"},
        Failure{"StartAddrNotHex",
                With(kWhole, "_START_ADDR 0000", "_START_ADDR 0x00"),
                39,
                {kNoStartData},
                "SDR039"},
        Failure{"StartAddrDynamic",
                With(kWhole, "_START_ADDR 0000", "_START_ADDR 0000#"),
                39,
                {kNoStartData},
                "SDR039"},
        Failure{"StartAddrAlone", UpTo(kWhole, "_START_ADDR"), 39, {kNoStartData}, "SDR039"},
        Failure{"NoDataLen", With(kWhole, "_DATA_LEN 2000", ""), 40, {kNoDataLen}, "SDR040"},
        Failure{"DataLenOf5Digits",
                With(kWhole, "_DATA_LEN 2000", "_DATA_LEN 20000"),
                36,
                {kNoDataLenData},
                "SDR036"},
        Failure{"DataLenQuoted",
                With(kWhole, "_DATA_LEN 2000", "_DATA_LEN '2000'"),
                36,
                {kNoDataLenData},
                "SDR036"},
        Failure{"NoNvsType", With(kWhole, "_NVS_TYPE 'IMBDEVICE'", ""), 49, {kNoNvs}, "SDR049"},
        Failure{"NvsTypeWithoutQuotes",
                With(kWhole, "'IMBDEVICE'", "IMBDEVICE"),
                54,
                {kWrongNvs},
                "SDR054"},
        Failure{
            "OtherNvsType", With(kWhole, "'IMBDEVICE'", "'IMBDEVICES'"), 54, {kWrongNvs}, "SDR054"},
        Failure{"EmptyNvsType", With(kWhole, "'IMBDEVICE'", "''"), 54, {kWrongNvs}, "SDR054"},
        Failure{"LongNvsType",
                With(kWhole, "'IMBDEVICE'", "'" + std::string(100, 'x') + "'"),
                54,
                {kWrongNvs},
                "SDR054"},
        Failure{"NoDevBus", With(kWhole, "_DEV_BUS 00", ""), 42, {kNoBus}, "SDR042"},
        Failure{"DevBusOf3Digits",
                With(kWhole, "_DEV_BUS 00", "_DEV_BUS 000"),
                35,
                {kNoBusData},
                "SDR035"},
        Failure{
            "DevBusNotHex", With(kWhole, "_DEV_BUS 00", "_DEV_BUS no"), 35, {kNoBusData}, "SDR035"},
        Failure{"NoDevAddress", With(kWhole, "_DEV_ADDRESS 20", ""), 41, {kNoAddress}, "SDR041"},
        Failure{"DevAddressOf3Digits",
                With(kWhole, "_DEV_ADDRESS 20", "_DEV_ADDRESS 020"),
                34,
                {kNoAddressData},
                "SDR034"},
        Failure{"DevAddressAlone", UpTo(kWhole, "_DEV_ADDRESS"), 34, {kNoAddressData}, "SDR034"}),
    FailureName);

// The records. Which fault it was is told by no log line but the record's number.

std::vector<std::string> InvalidRecord(int number) {
  return {"Error, invalid Sensor Data Record found, number " + std::to_string(number),
          "Error, parsing SDR file"};
}

Failure RecordFailure(const char* name, const std::string& record) {
  return {name, Source(record), 62, InvalidRecord(1), "SDR057"};
}

std::string Record(const std::string& length, const std::string& data) {
  return "_SDR_TYPE 01\n_REC_LEN " + length + "\n" + data + "\n";
}

INSTANTIATE_TEST_SUITE_P(
    Records, GrammarFailureTest,
    testing::Values(
        RecordFailure("TypeMissing", "_SDR_TYPE\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("TypeNotHex", "_SDR_TYPE xx\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("TypeDynamic", "_SDR_TYPE 01#\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("TypeOf3Digits", "_SDR_TYPE 0C0\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("TagWithoutQuotes", "_SDR_TYPE 01\n_SDR_TAG CPU\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("TagMissing", "_SDR_TYPE 01\n_SDR_TAG\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("SecondTagMissing",
                      "_SDR_TYPE 01\n_SDR_TAG 'A'\n_SDR_TAG 00\n_REC_LEN 5\n0000510100\n"),
        RecordFailure("LengthMissing", "_SDR_TYPE 01\n0000510100\n"),
        RecordFailure("LengthMissingBehindTag", "_SDR_TYPE 01\n_SDR_TAG 'A'\n0000510100\n"),
        RecordFailure("LengthNotHex", Record("0x05", "0000510100")),
        RecordFailure("LengthDynamic", Record("05#", "0000510100")),
        RecordFailure("LengthOf65", Record("41", "0000510100")),
        RecordFailure("LengthOf65535", Record("FFFF", "0000510100")),
        RecordFailure("LengthZeroWithData", Record("0", "00")),
        RecordFailure("DataMissing", Record("5", "")),
        RecordFailure("DataTooShort", Record("6", "0000510100\n_SDR_TYPE 01")),
        RecordFailure("DataNotHex", Record("5", "0000 51 XX 00")),
        RecordFailure("DataIsAParenthesis", Record("5", "0000 51 )")),
        RecordFailure("DataIsAReservedKeyword", Record("5", "0000 51 _FRU 00")),
        RecordFailure("TokenOverrunsByOne", Record("5", "0000510100FF")),
        RecordFailure("LastTokenOverruns", Record("5", "0000 51 0100FF")),
        RecordFailure("TokenOfAWholeLine", Record("40", std::string(254, 'A'))),
        RecordFailure("DynamicTokenOverruns", Record("5", "0000 51 0100FF#")),
        RecordFailure("OddTokenOverruns", Record("5", "0000 51 0100FFF")),
        RecordFailure("LastTokenOdd", Record("5", "0000 51 01 000")),
        RecordFailure("OddTokenBeforeText", Record("7", "0000 51 01 000 'AB'")),
        RecordFailure("EmptyDynamicTokenBeforeText", Record("7", "0000 51 01 00 # 'AB'")),
        RecordFailure("TextTooShort", Record("8", "0000 51 01 00 'AB'")),
        RecordFailure("TextTooLong", Record("7", "0000 51 01 00 'ABC'")),
        RecordFailure("EmptyTextInData", Record("7", "0000 51 01 00 '' 'AB'")),
        RecordFailure("TextWithoutClosingQuote", Record("7", "0000 51 01 00 'AB")),
        RecordFailure("TextOf23Characters",
                      Record("1C", "0000 51 01 17 '" + std::string(23, 'x') + "'")),
        RecordFailure("OemTextOf57Characters",
                      "_SDR_TYPE C0\n_REC_LEN 3E\n0000 51 C0 39 '" + std::string(57, 'x') + "'\n"),
        RecordFailure("LongTextWhoseTypeIsC0OnlyInItsData",
                      Record("1C", "0000 51 C0 17 '" + std::string(23, 'x') + "'"))),
    FailureName);

// What ends in the middle.
INSTANTIATE_TEST_SUITE_P(
    Ends, GrammarFailureTest,
    testing::Values(
        Failure{"BeforeTheFirstRecord", kHeaders, 62, {"Error, parsing SDR file"}, "SDR062"},
        Failure{
            "BetweenRecords", kHeaders + kVersionRecord, 62, {"Error, parsing SDR file"}, "SDR062"},
        Failure{"InAComment",
                kHeaders + kVersionRecord + "// )",
                62,
                {"Error, parsing SDR file"},
                "SDR062"},
        Failure{"ParenthesisSkippedBehindC0",
                Source(Record("5", "0000 51 01 C0")),
                62,
                {"Error, parsing SDR file"},
                "SDR062"},
        Failure{"BehindC0",
                kHeaders + Record("5", "0000 51 01 C0"),
                62,
                {"Error, parsing SDR file"},
                "SDR062"},
        Failure{"AfterTheType", kHeaders + "_SDR_TYPE 01", 62, InvalidRecord(1), "SDR057"},
        Failure{"AfterSdrType", kHeaders + kVersionRecord + "_SDR_TYPE", 62, InvalidRecord(2),
                "SDR057"},
        Failure{"AfterATag", kHeaders + "_SDR_TYPE 01\n_SDR_TAG 'A'", 62, InvalidRecord(1),
                "SDR057"},
        Failure{"AfterTheLength", kHeaders + "_SDR_TYPE 01\n_REC_LEN 5", 62, InvalidRecord(1),
                "SDR057"},
        Failure{"InTheData", kHeaders + Record("5", "0000 51"), 62, InvalidRecord(1), "SDR057"}),
    FailureName);

TEST_F(GrammarTest, LengthOf5DigitsIsReportedAndCountsAsNone) {
  EXPECT_EQ(Load(Source(Record("00005", "0000510100"))), 62);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, invalid number of bytes used to indicate hex number",
                                      "Error, invalid Sensor Data Record found, number 1",
                                      "Error, parsing SDR file"));
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDR003"));
  EXPECT_THAT(machine().requests, IsEmpty());
}

TEST_F(GrammarTest, RecordsAreCountedWhetherSelectedOrNot) {
  const std::string unselected = "_SDR_TYPE 01\n_SDR_TAG 'CPU1'\n_REC_LEN 5\n0000510100\n";
  EXPECT_EQ(Load(Source(kVersionRecord + unselected + kShortRecord + Record("41", ""))), 62);
  EXPECT_EQ(LogTexts(), InvalidRecord(4));
}

TEST_F(GrammarTest, UnselectedRecordsAreCheckedInFull) {
  const std::string wrong = "_SDR_TYPE 01\n_SDR_TAG 'CPU1'\n_REC_LEN 5\n0000 51 01 XX\n";
  EXPECT_EQ(Load(Source(kVersionRecord + wrong)), 62);
  EXPECT_EQ(LogTexts(), InvalidRecord(2));
}

TEST_F(GrammarTest, GetSDRRecordTellsItsCallerWhichFaultItWas) {
  const struct {
    const char* text;
    ESTATUS status;
    bool stays_open = false;
  } rows[] = {
      {"", 38},
      {"xx", 38},
      {"001 _REC_LEN 5 0000510100", 3, true},
      {"01 _SDR_TAG 01", 63},
      {"01 _SDR_TAG 'A' _SDR_TYPE", 50},
      {"01 05", 50},
      {"01", 50},
      {"01 _REC_LEN 'x'", 37},
      {"01 _REC_LEN", 37},
      {"01 _REC_LEN 41", 58, true},
      {"01 _REC_LEN 5 _SDR_TYPE", 1},
      {"01 _REC_LEN 5 00", 1},
      {"01 _REC_LEN 1 0000", 1},
      {"01 _REC_LEN 1 'ab'", 1},
      {"01 _REC_LEN 2 00 'ab'", 1},
      {"01 _REC_LEN 17 'twenty-three characters'", 1},
      {"01 _REC_LEN 1 000", 3, true},
      {"01 _REC_LEN 1 00", 0, true},
  };
  for (const auto& row : rows) {
    Input input(row.text);
    SDRecord record;
    EXPECT_EQ(loader.GetSDRRecord(&input, &record, nullptr), row.status) << row.text;
    EXPECT_EQ(input.fp != nullptr, row.stays_open) << row.text;
  }
}

TEST_F(GrammarTest, FailureInTheFileHeaderClosesTheFile) {
  const struct {
    const char* from;
    const char* to;
    ESTATUS status;
  } rows[] = {
      {"_LF_NAME", "_LF", 47},  {"'BOARD.SDR'", "BOARD", 53},         {"_LF_VERSION", "_LF", 48},
      {"'01.02'", "01.02", 56}, {"_LF_FMT_VER", "_LF", 46},           {"'1.5'", "1.5", 52},
      {"'1.5'", "'2.0'", 81},   {"_IPMI_VERSION", "_IPMI", 44},       {"'1.50'", "'1.500'", 55},
      {"'1.50'", "'2.00'", 81}, {"'1.5'\n_IPMI", "'1.3'\n_IPMI", 81},
  };
  for (const auto& row : rows) {
    Input input(With(kHeaders, row.from, row.to));
    EXPECT_EQ(loader.GetFileHeaderInfo(&input), row.status) << row.to;
    EXPECT_EQ(input.fp, nullptr) << row.to;
  }
  Input good(kHeaders);
  EXPECT_EQ(loader.GetFileHeaderInfo(&good), 0);
  EXPECT_NE(good.fp, nullptr);
}

TEST_F(GrammarTest, SectionWithoutParenthesisClosesTheFile) {
  Input input("_SDR_TYPE 01\n");
  EXPECT_EQ(loader.ParseSDRInfo(&input, nullptr), 45);
  EXPECT_EQ(input.fp, nullptr);
}

TEST_F(GrammarTest, RefusedFormatChangesNothing) {
  for (const bool before : {true, false}) {
    for (const char* format : {"'2.0'", "'1.6'", "'1'", "''"}) {
      gFormatVer15X = before;
      gIPMIVer1pt0 = before;
      Input input(With(kHeaders, "'1.5'", format));
      EXPECT_EQ(loader.GetFileHeaderInfo(&input), 81);
      EXPECT_EQ(gFormatVer15X, before) << format;
      EXPECT_EQ(gIPMIVer1pt0, before) << format;
    }
  }
}

// What the header accepts.

TEST_F(GrammarTest, CommentMayStandBeforeTheName) {
  EXPECT_EQ(Parse("// comment line\n" + kWhole), 0);
}

TEST_F(GrammarTest, RestOfEachHeaderLineIsDropped) {
  EXPECT_EQ(Parse("_LF_NAME 'a' _LF_NAME\n_LF_VERSION 'b' 'c' ( )\n_LF_FMT_VER '1.5' '2.0'\n"
                  "_IPMI_VERSION '1.50' _FRU 00 'x'\n" +
                  kWhole.substr(kWhole.find("_SDR ("))),
            0);
}

TEST_F(GrammarTest, HeaderTextMayStandOnTheLineAfterItsTag) {
  EXPECT_EQ(Parse(With(With(kWhole, "_LF_NAME ", "_LF_NAME\n"), "_IPMI_VERSION ",
                       "// c\n_IPMI_VERSION // c\n")),
            0);
}

TEST_F(GrammarTest, OnlyThreeCharactersOfTheFormatCount) {
  for (const char* format : {"'1.5'", "'1.50'", "'1.59'", "'1.5 or so'"}) {
    EXPECT_EQ(Parse(With(kWhole, "'1.5'", format)), 0) << format;
    EXPECT_TRUE(gFormatVer15X);
  }
  for (const char* format : {"'1.3'", "'1.4'", "'1.35'", "'1.4x'"}) {
    gFormatVer15X = true;
    EXPECT_EQ(Parse(With(With(kWhole, "'1.50'", "'0.90'"), "'1.5'", format)), 0) << format;
    EXPECT_FALSE(gFormatVer15X);
  }
}

TEST_F(GrammarTest, Format15TakesTwoVersions) {
  for (const char* version : {"'1.50'", "1.50", "'1.00'", "1.00"}) {
    gIPMIVer1pt0 = false;
    gIPMIVer1pt5 = false;
    EXPECT_EQ(Parse(With(kWhole, "'1.50'", version)), 0) << version;
    EXPECT_TRUE(gIPMIVer1pt0);
    EXPECT_TRUE(gIPMIVer1pt5);
  }
}

TEST_F(GrammarTest, OlderFormatsTakeTheirVersionInHexOrAsText) {
  for (const char* version : {"0100", "'0100'", "0.90", "'0.90'"}) {
    gIPMIVer1pt0 = true;
    EXPECT_EQ(Parse(With(With(kWhole, "'1.5'", "'1.3'"), "'1.50'", version)), 0) << version;
    EXPECT_FALSE(gIPMIVer1pt0) << "left over from another file";
    EXPECT_FALSE(gIPMIVer1pt5);
  }
}

TEST_F(GrammarTest, SdrVersionStandsForIpmiVersion) {
  EXPECT_EQ(Parse(With(kWhole, "_IPMI_VERSION", "_SDR_VERSION")), 0);
}

TEST_F(GrammarTest, LongHeaderTextsAreCut) {
  const std::string longest(230, 'x');
  EXPECT_EQ(Parse(With(With(With(kWhole, "BOARD.SDR", longest), "01.02", longest), "'1.5'",
                       "'1.5" + longest + "'")),
            0);
}

TEST_F(GrammarTest, EmptyHeaderTextsAreTexts) {
  EXPECT_EQ(Parse(With(With(kWhole, "BOARD.SDR", ""), "01.02", "")), 0);
}

TEST_F(GrammarTest, RepositoryHeaderIsReadIntoItsFields) {
  Input input("_START_ADDR 1 _DATA_LEN ABC _NVS_TYPE 'ImbDevice' _DEV_BUS F _DEV_ADDRESS 2e");
  CSDRHeader header;
  ASSERT_EQ(loader.GetSDRHeaderInfo(&input, &header), 0);
  EXPECT_THAT(header.start_address, ElementsAre(0x00, 0x01));
  EXPECT_THAT(header.data_length, ElementsAre(0x0A, 0xBC));
  EXPECT_STREQ(header.nvs_type, "ImbDevice");
  EXPECT_THAT(header.device, ElementsAre(0x0F, 0x2E, 0x00, 0x00));
}

// Records.

TEST_F(GrammarTest, SectionMayBeEmpty) {
  EXPECT_EQ(Parse(Source("")), 0);
  EXPECT_EQ(loader.Read(), nullptr);
  EXPECT_EQ(g_inputSdrRecord, 1);
}

TEST_F(GrammarTest, DataTokensMayHaveAnyEvenLength) {
  ASSERT_EQ(Parse(Source(Record("A", "0000510105 2030\n40 5060#"))), 0);
  EXPECT_THAT(loader.Records(),
              ElementsAre(Bytes{0x00, 0x00, 0x51, 0x01, 0x05, 0x20, 0x30, 0x40, 0x50, 0x60}));
}

TEST_F(GrammarTest, DataMayBeMixedWithComments) {
  ASSERT_EQ(Parse(Source(Record("5", "0000 // record ID\n51 // version\n\n01 00 // end"))), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{0x00, 0x00, 0x51, 0x01, 0x00}));
}

TEST_F(GrammarTest, LongestRecordIsKeptWhole) {
  std::string digits;
  Bytes bytes;
  for (int i = 0; i < 64; ++i) {
    digits += "0123456789abcdef"[i / 16];
    digits += "0123456789ABCDEF"[i % 16];
    bytes.push_back(static_cast<std::uint8_t>(i));
  }
  ASSERT_EQ(Parse(Source(Record("40", digits))), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(bytes));
  EXPECT_EQ(loader.Read()->Record[64], 0) << "what stands behind it";
}

TEST_F(GrammarTest, LengthMayHaveUpTo4Digits) {
  for (const char* length : {"5", "05", "005", "0005"}) {
    EXPECT_EQ(Parse(Source(Record(length, "0000510100"))), 0) << length;
  }
}

TEST_F(GrammarTest, TypeIsReadFromItsToken) {
  ASSERT_EQ(Parse(Source("_SDR_TYPE F\n_REC_LEN 5\n0000510100\n"
                         "_SDR_TYPE c0\n_REC_LEN 5\n0000510100\n")),
            0);
  EXPECT_EQ(loader.Read()->type, 0x0F);
  EXPECT_EQ(loader.Read()->next->type, 0xC0);
  EXPECT_EQ(loader.Read()->Record[3], 0x01) << "the type in the data is its own";
}

TEST_F(GrammarTest, TextMustSupplyExactlyTheRest) {
  ASSERT_EQ(Parse(Source(Record("7", "0000 51 01 02 'AB'"))), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{0x00, 0x00, 0x51, 0x01, 0x02, 'A', 'B'}));
}

TEST_F(GrammarTest, LongestTextsAreTaken) {
  const std::string text(22, 'x');
  const std::string oem_text(56, 'y');
  ASSERT_EQ(Parse(Source(Record("1B", "0000 51 01 16 '" + text + "'") +
                         "_SDR_TYPE c0\n_REC_LEN 3D\n0000 51 C0 38 '" + oem_text + "'\n")),
            0);
  ASSERT_EQ(loader.Records().size(), 2U);
  EXPECT_STREQ(reinterpret_cast<char*>(loader.Read()->Record) + 5, text.c_str());
  EXPECT_STREQ(reinterpret_cast<char*>(loader.Read()->next->Record) + 5, oem_text.c_str());
}

TEST_F(GrammarTest, TextMayBeTheWholeData) {
  ASSERT_EQ(Parse(Source(Record("5", "'abcde'"))), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{'a', 'b', 'c', 'd', 'e'}));
}

TEST_F(GrammarTest, RecordOfNoBytesTakesOneEmptyToken) {
  ASSERT_EQ(Parse(Source(Record("0", "''"))), 0);
  EXPECT_EQ(loader.Read()->length, 0U);
}

TEST_F(GrammarTest, OddTokenInTheMiddleLeavesItsBytesAsTheyWere) {
  ASSERT_EQ(Parse(Source(Record("6", "0000 51 012 00 FF"))), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{0x00, 0x00, 0x51, 0x00, 0x00, 0xFF}));
}

TEST_F(GrammarTest, TokensWithoutAWholeByteAreSkipped) {
  ASSERT_EQ(Parse(Source(Record("5", "0000 5 # 51 F 01 00"))), 0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{0x00, 0x00, 0x51, 0x01, 0x00}));
}

TEST_F(GrammarTest, StorageOfAnUnselectedRecordIsClearedBeforeTheNext) {
  const std::string unselected =
      "_SDR_TYPE C0\n_SDR_TAG 'CPU1'\n_REC_LEN 40\n" + std::string(128, 'F') + "\n";
  ASSERT_EQ(Parse(Source(unselected + Record("6", "0000 51 012 00 01"))), 0);
  ASSERT_EQ(loader.Records().size(), 1U);
  const SDRecord* record = loader.Read();
  EXPECT_STREQ(record->tag, "");
  const Bytes storage(std::begin(record->Record), std::end(record->Record));
  Bytes expected(70, 0);
  expected[2] = 0x51;
  expected[5] = 0x01;
  EXPECT_EQ(storage, expected);
}

TEST_F(GrammarTest, TokensBetweenRecordsAreIgnored) {
  ASSERT_EQ(Parse(Source("( _SDR 00 'text' _REC_LEN 05 ?\n" + Record("5", "0000510100 FF 'x'") +
                         "_FRU _IPMI_VERSION\n" + Record("5", "0000510200"))),
            0);
  EXPECT_EQ(loader.Records().size(), 2U);
}

TEST_F(GrammarTest, ClosingParenthesisEndsTheParse) {
  ASSERT_EQ(Parse(Source(kShortRecord) + "_SDR_TYPE ??? 'unread"), 0);
  EXPECT_EQ(loader.Records().size(), 1U);
}

// The byte C0 at a record's end.

TEST_F(GrammarTest, EmptyTextBehindC0IsSkipped) {
  ASSERT_EQ(Parse(Source(Record("5", "0000 51 01 C0 ''") + Record("5", "0000 51 01 c0 ''") +
                         kShortRecord)),
            0);
  EXPECT_EQ(loader.Records().size(), 3U);
}

TEST_F(GrammarTest, RecordBehindC0WithoutEmptyTextIsLost) {
  ASSERT_EQ(Parse(Source(Record("5", "0000 51 01 C0") + Record("5", "0000 51 02 00") +
                         Record("5", "0000 51 03 00"))),
            0);
  EXPECT_THAT(loader.Records(), ElementsAre(Bytes{0x00, 0x00, 0x51, 0x01, 0xC0},
                                            Bytes{0x00, 0x00, 0x51, 0x03, 0x00}));
}

TEST_F(GrammarTest, OnlyAStaticC0OfItsOwnSkipsAToken) {
  ASSERT_EQ(Parse(Source(Record("5", "0000 51 01 C0#") + Record("5", "0000 51 01C0") +
                         Record("5", "0000 51 C0 00") + Record("7", "0000 51 01 00 'C0'") +
                         Record("5", "0000 51 01 00"))),
            0);
  EXPECT_EQ(loader.Records().size(), 5U);
}

TEST_F(GrammarTest, UnselectedRecordWithC0SkipsItsTokenToo) {
  const std::string unselected = "_SDR_TYPE 01\n_SDR_TAG 'CPU1'\n_REC_LEN 5\n0000 51 01 C0\n";
  ASSERT_EQ(Parse(Source(unselected + Record("5", "0000 51 02 00"))), 0);
  EXPECT_EQ(loader.Read(), nullptr);
}

TEST_F(GrammarTest, SkipDoesNotOutliveItsFile) {
  EXPECT_EQ(Parse(kHeaders + Record("5", "0000 51 01 C0")), 62);
  gNullString = true;
  loader.FreeSDRMem(&loader.Read());
  ASSERT_EQ(Parse(Source(Record("5", "0000 51 01 00"))), 0);
  EXPECT_EQ(loader.Records().size(), 1U);
}

// Selection by tags.

std::string Tagged(const std::vector<std::string>& tags) {
  std::string text = "_SDR_TYPE 01\n";
  for (const std::string& tag : tags) text += "_SDR_TAG '" + tag + "'\n";
  return text + "_REC_LEN 5\n0000510100\n";
}

TEST_F(GrammarTest, TagsSelectRecords) {
  const struct {
    std::vector<std::string> set;
    std::vector<std::string> of_record;
    bool selected;
  } rows[] = {
      {{}, {}, true},
      {{"A"}, {}, true},
      {{}, {"A"}, false},
      {{"A"}, {"A"}, true},
      {{"a"}, {"A"}, true},
      {{"B"}, {"A"}, false},
      {{"AB"}, {"A"}, false},
      {{"A"}, {"AB"}, false},
      {{"X", "B"}, {"A", "B"}, true},
      {{"A"}, {"A", "B"}, true},
      {{"X", "Y"}, {"A", "B"}, false},
      {{"CPU7"}, {"CPU#"}, true},
      {{"cpu1"}, {"CPU#"}, true},
      {{"CPUX"}, {"CPU#"}, false},
      {{"CPU#"}, {"CPU1"}, false},
      {{"CPU#"}, {"CPU#"}, true},
      {{"A"}, {""}, false},
      {{"CPU 1"}, {"cpu 1"}, true},
  };
  for (const auto& row : rows) {
    const auto tags = TagList(row.set);
    loader.FreeSDRMem(&loader.Read());
    ASSERT_EQ(Parse(Source(Tagged(row.of_record)), tags.get()), 0);
    EXPECT_EQ(loader.Read() != nullptr, row.selected)
        << testing::PrintToString(row.set) << " / " << testing::PrintToString(row.of_record);
  }
}

TEST_F(GrammarTest, WithoutATagListTaggedRecordsAreNotLoaded) {
  ASSERT_EQ(Parse(Source(Tagged({"CPU1"}) + Tagged({}))), 0);
  EXPECT_THAT(loader.Tags(), ElementsAre(""));
  EXPECT_EQ(g_inputSdrRecord, 2);
}

TEST_F(GrammarTest, SetAllSelectsEveryRecord) {
  gSetAll = true;
  ASSERT_EQ(Parse(Source(Tagged({"CPU1"}) + Tagged({}))), 0);
  EXPECT_THAT(loader.Tags(), ElementsAre("CPU1", ""));
}

TEST_F(GrammarTest, NothingSetsSetAll) {
  Parse(kWhole);
  EXPECT_FALSE(gSetAll);
}

TEST_F(GrammarTest, LastTagIsKeptCutTo32Characters) {
  const std::string tag33 = std::string(32, 'T') + "3";
  const auto tags = TagList({"A"});
  ASSERT_EQ(Parse(Source(Tagged({"A", tag33})), tags.get()), 0);
  EXPECT_THAT(loader.Tags(), ElementsAre(std::string(32, 'T')));
}

TEST_F(GrammarTest, WholeTagIsLookedUp) {
  // A set tag has at most 31 characters: one of 31 is no match for a longer tag.
  const std::string tag31(31, 'T');
  const auto tags = TagList({tag31});
  ASSERT_EQ(Parse(Source(Tagged({tag31 + "T"}) + Tagged({std::string(200, 'T')})), tags.get()), 0);
  EXPECT_EQ(loader.Read(), nullptr);
  ASSERT_EQ(Parse(Source(Tagged({tag31})), tags.get()), 0);
  EXPECT_THAT(loader.Tags(), ElementsAre(tag31));
}

TEST_F(GrammarTest, TagsOfManyRecordsSelectThemWithoutWalkingTheList) {
  // Were the list walked for each record, this would outlast the test's time limit.
  constexpr int kCount = 200000;
  std::vector<std::string> names;
  std::string records;
  for (int n = 0; n < kCount; ++n) {
    names.push_back("T" + std::to_string(n));
    records += Tagged({n % 1000 == 0 ? "t" + std::to_string(kCount - 1 - n) : "U#"});
  }
  LimitCpuTime();
  const auto tags = TagList(names);
  ASSERT_EQ(Parse(Source(records), tags.get()), 0);
  EXPECT_EQ(loader.Records().size(), 200U);
}

TEST_F(GrammarTest, EveryFailedAllocationWithTagsIsReportedAsInsufficientMemory) {
  const auto tags = TagList({"CPU1", "FAN"});
  int failures = 0;
  for (int nth = 1;; ++nth) {
    ResetGlobals();
    g_eu_flg = kVersionQuery;
    std::filesystem::remove("tarvek_version.log");
    WriteFile("BMCSDR.SDR", Source(kVersionRecord + Tagged({"CPU#"})));
    const FailingAllocation failing(nth);
    const int status = loader.LoadFile("BMCSDR.SDR", tags.get());
    if (!failing.Happened()) break;
    ++failures;
    EXPECT_EQ(status, 2);
    EXPECT_THAT(LogTexts("tarvek_version.log"), ElementsAre("Error, insufficient memory"));
    EXPECT_EQ(gErrorBlock, nullptr);
    EXPECT_EQ(loader.Read(), nullptr);
  }
  EXPECT_EQ(failures, 9) << "three records, two tables, two names and two forms";
}

// Failures around the parse.

TEST_F(GrammarTest, ParseReportsHeaderErrorsItself) {
  EXPECT_EQ(Parse("_LF_VERSION 'x'\n"), 81);
  EXPECT_THAT(LogTexts(), ElementsAre(kNoName));
}

TEST_F(GrammarTest, ParseLeavesOtherErrorsToItsCaller) {
  EXPECT_EQ(Parse(With(kWhole, "_SDR (", "(")), 43);
  EXPECT_EQ(Parse(With(kWhole, "_SDR (", "_SDR")), 45);
  EXPECT_EQ(Parse(With(kWhole, "_DEV_ADDRESS 20", "_DEV_ADDRESS")), 34);
  EXPECT_EQ(Parse(kHeaders), 62);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(GrammarTest, GoodParseLeavesTheStreamOpen) {
  Input input(kWhole);
  EXPECT_EQ(loader.Parse(&input, nullptr), 0);
  EXPECT_NE(input.fp, nullptr);
}

TEST_F(GrammarTest, DirectoryEndsWithTheGrammarsMessage) {
  std::filesystem::create_directory("BMCSDR.SDR");
  WriteFile("BMCSDR.SDR/file", "so that the directory has a size on every file system");
  EXPECT_EQ(loader.LoadFile("BMCSDR.SDR", nullptr), 81);
  EXPECT_THAT(LogTexts(), ElementsAre(kNoName));
}

TEST_F(GrammarTest, EveryFailedAllocationIsReportedAsInsufficientMemory) {
  int failures = 0;
  for (int nth = 1;; ++nth) {
    ResetGlobals();
    g_eu_flg = kVersionQuery;
    std::filesystem::remove("tarvek_version.log");
    ASSERT_NE(gErrorBlock, nullptr);
    const FailingAllocation failing(nth);
    const int status = Load(kWhole);
    if (!failing.Happened()) break;
    ++failures;
    EXPECT_EQ(status, 2);
    EXPECT_THAT(LogTexts("tarvek_version.log"), ElementsAre("Error, insufficient memory"));
    EXPECT_EQ(gErrorBlock, nullptr) << "memory must be released for the report";
    EXPECT_EQ(loader.Read(), nullptr);
  }
  EXPECT_EQ(failures, 3) << "one for each record and a spare one";
}

// Hostile input.

TEST_F(GrammarTest, DamagedFilesNeverBreakTheParser) {
  std::mt19937 random(20240229);
  for (int round = 0; round < 3000; ++round) {
    std::string text = kExample;
    for (auto edits = random() % 8; edits != 0; --edits) {
      const std::size_t at = random() % text.size();
      switch (random() % 4) {
        case 0:
          text[at] = static_cast<char>(random());
          break;
        case 1:
          text.erase(at, random() % 20);
          break;
        case 2:
          text.insert(at, std::string(random() % 300, "'#A \n\0)"[random() % 7]));
          break;
        default:
          text.insert(at, text.substr(random() % text.size(), random() % 60));
          break;
      }
    }
    Input input(text);
    const ESTATUS status = loader.Parse(&input, nullptr);
    ASSERT_EQ(status == 0, input.fp != nullptr);
    for (const SDRecord* record = loader.Read(); record != nullptr; record = record->next) {
      ASSERT_LE(record->length, 64U);
      ASSERT_EQ(record->Record[69], 0);
      ASSERT_EQ(record->tag[32], '\0');
    }
    loader.FreeSDRMem(&loader.Read());
    if (round % 100 == 0) ResetGlobals();
    g_eu_flg = kNormalUpdate;
  }
}

TEST_F(GrammarTest, BinaryGarbageIsRefused) {
  std::mt19937 random(1);
  for (int round = 0; round < 300; ++round) {
    std::string garbage(1 + random() % 5000, '\0');
    for (char& c : garbage) c = static_cast<char>(random());
    EXPECT_EQ(Parse(garbage), 81);
    // The same behind good headers, where any number of tokens is passed over.
    EXPECT_NE(Parse(kHeaders + "_SDR_TYPE " + garbage), 0);
  }
}

TEST_F(GrammarTest, MillionRecordsAreReadAndFreedInOrder) {
  constexpr int kCount = 1000000;
  {
    std::FILE* file = std::fopen("large", "w");
    ASSERT_NE(file, nullptr);
    std::fputs(kHeaders.c_str(), file);
    for (int i = 0; i < kCount; ++i) {
      std::fprintf(file, "_SDR_TYPE 02 _REC_LEN 8 %04X 51 02 03 %06X\n",
                   static_cast<unsigned>(i) & 0xFFFFU, static_cast<unsigned>(i));
    }
    std::fputs(")\n", file);
    std::fclose(file);
  }
  FileRecord input;
  ASSERT_EQ(loader.OpenFile("large", &input, "r"), 0);
  ASSERT_EQ(loader.Parse(&input, nullptr), 0);
  input.Close();
  EXPECT_EQ(g_inputSdrRecord, kCount + 1);
  int count = 0;
  for (const SDRecord* record = loader.Read(); record != nullptr; record = record->next) {
    const int number = record->Record[5] * 65536 + record->Record[6] * 256 + record->Record[7];
    ASSERT_EQ(number, count);
    ++count;
  }
  EXPECT_EQ(count, kCount);
  // Freeing one record frees all behind it, and must not take a stack frame for each.
  loader.FreeSDRMem(&loader.Read());
  EXPECT_EQ(loader.Read(), nullptr);
}

TEST_F(GrammarTest, FreedRecordsAreAnnouncedWhenTheTraceIsOn) {
  ASSERT_EQ(Parse(Source(kShortRecord + kShortRecord + kShortRecord)), 0);
  char expected[200];
  std::snprintf(
      expected, sizeof(expected),
      "Deallocating 0x%04X bytes at address %p\nDeallocating 0x%04X bytes at address %p\n",
      static_cast<unsigned>(sizeof(SDRecord)), static_cast<void*>(loader.Read()->next),
      static_cast<unsigned>(sizeof(SDRecord)), static_cast<void*>(loader.Read()->next->next));
  gMemAllocFlag = 1;
  EXPECT_EQ(ConsoleOf([&] { loader.FreeSDRMem(&loader.Read()); }), expected);
}

}  // namespace
}  // namespace tarvek_test
