#include "inspect/convert/source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "random_set.h"

namespace tarvek::inspect::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Le;
using ::testing::Not;

RecordSet SetOf(std::vector<InputRecord> records) {
  RecordSet set;
  set.name = "BMCSDR.BAK";
  set.records = std::move(records);
  return set;
}

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// The data on the line that ends a record's part: without its comment.
std::string LastData(const RecordSet& set) {
  const std::vector<std::string> lines = Lines(ConvertToSource(set));
  const std::string& line = lines[lines.size() - 2];
  const std::string data = line.substr(0, line.find("  //"));
  return data.substr(0, data.find_last_not_of(' ') + 1);
}

std::string MessageOf(const RecordSet& set) {
  try {
    ConvertToSource(set);
  } catch (const ConversionError& error) {
    return std::to_string(error.record) + ": " + error.what();
  }
  return "nothing was thrown";
}

TEST(SourceTest, IsAFileToEdit) {
  RecordSet set =
      SetOf({PlainRecord({0x01, 0x00, 0x51, 0xC0, 0,   0x77, 0,   0,   'S', 'D', 'R', ' ', 'V',
                          'e',  'r',  's',  'i',  'o', 'n',  ' ', '0', '1', '.', '0', '3'}),
             PlainRecord({0x02, 0x00, 0x51, 0x12, 0, 0x20, 0, 0, 0xBF, 0, 0, 0, 0x07, 1, 0, 0xC3,
                          'B', 'M', 'C'})});
  set.version = "SDR Version 01.03";
  set.records[1].tags = {"BASE", "CPU#"};
  EXPECT_EQ(ConvertToSource(set, {.file_name = "BOARD.SDR"}),
            R"(// 2 records, written by tarvek-sdr from BMCSDR.BAK.
// Numbers are hexadecimal. Who changes the length of a text changes three of them: _REC_LEN, which
// counts all bytes of the record; its fifth byte, which counts those behind it; and the byte in front
// of the text.

_LF_NAME 'BOARD.SDR'
_LF_VERSION '01.03'
_LF_FMT_VER '1.5'
_IPMI_VERSION '1.50'

_SDR (
_START_ADDR 0000 _DATA_LEN 002C _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20

// 1: OEM Record, the version of the set
_SDR_TYPE C0
_REC_LEN 19
0000 51 C0 14             // SDR Version: 1.5; Record Type: OEM Record; Record Length: 20
77 00 00                  // Manufacturer ID: 000077h
'SDR Version 01.03'       // OEM Data

// 2: BMC, Management Controller Device Locator Record
_SDR_TYPE 12
_SDR_TAG 'BASE'
_SDR_TAG 'CPU#'
_REC_LEN 13
0000 51 12 0E             // SDR Version: 1.5; Record Type: Management Controller Device Locator Record;
                          // Record Length: 14
20 00                     // Device Slave Address; Channel Number: 0
00                        // Event Message Generation: enable event message generation
BF                        // Device Capabilities: Sensor Device, SDR Repository Device, SEL Device, FRU
                          // Inventory Device, IPMB Event Receiver, IPMB Event Generator, Chassis Device
00 00 00                  // Reserved
07 01                     // Entity ID: System Board; Entity Instance: 1, physical
00                        // OEM
C3 'BMC'                  // ID string: 3 characters, ascii
)
)");
}

TEST(SourceTest, SaysWhatAFullSensorMeasures) {
  InputRecord record = NamedRecord(0x01, "CPU 1 Temp");
  record.bytes[13] = 1;                        // a threshold sensor
  record.bytes[18] = record.bytes[19] = 0x08;  // upper non-critical
  record.bytes[21] = 1;                        // degrees C
  record.bytes[24] = 1;                        // M
  record.bytes[39 - 1] = 0x5F;
  const std::string source = ConvertToSource(SetOf({record}));
  EXPECT_THAT(source, HasSubstr("\n// 1: CPU 1 Temp, Full Sensor Record\n_SDR_TYPE 01\n"));
  EXPECT_THAT(source, HasSubstr("\n5F                        // Upper Non-critical Threshold: 95 "
                                "degrees C, readable and settable\n"));
}

TEST(SourceTest, QuotesWhatTheGrammarTakesAsText) {
  EXPECT_EQ(LastData(SetOf({NamedRecord(0x12, "A#//(_SDR) \"\\")})), "CD 'A#//(_SDR) \"\\'");
  EXPECT_EQ(LastData(SetOf({NamedRecord(0x12, std::string(22, ' '))})),
            "D6 '" + std::string(22, ' ') + "'");
}

TEST(SourceTest, WritesOtherNamesInHexadecimal) {
  EXPECT_EQ(LastData(SetOf({NamedRecord(0x12, "a'b")})), "C3 61 27 62");
  EXPECT_EQ(LastData(SetOf({NamedRecord(0x12, "a\nb")})), "C3 61 0A 62");
  EXPECT_EQ(LastData(SetOf({NamedRecord(0x12, std::string("a\0b", 3))})), "C3 61 00 62");
  EXPECT_EQ(LastData(SetOf({NamedRecord(0x12, "a\xE9")})), "C2 61 E9");
  InputRecord six_bit = NamedRecord(0x12, "BMC");
  six_bit.bytes[15] = 0x83;
  EXPECT_EQ(LastData(SetOf({six_bit})), "83 42 4D 43");
  InputRecord left_over = NamedRecord(0x12, "BMC");
  left_over.bytes[15] = 0xC2;
  EXPECT_THAT(LastData(SetOf({left_over})), Not(HasSubstr("'")));
}

TEST(SourceTest, ANameOf23CharactersIsTooLongForQuotes) {
  const RecordSet set = SetOf({NamedRecord(0x12, std::string(23, 'x'))});
  EXPECT_THAT(ConvertToSource(set), Not(HasSubstr("'xx")));
  EXPECT_EQ(Programmed(ReadBack(ConvertToSource(set))), Programmed(set));
}

TEST(SourceTest, AnOemRecordMayHave56CharactersInQuotes) {
  std::vector<unsigned char> bytes{0, 0, 0x51, 0xC0, 0, 1, 2, 3};
  bytes.insert(bytes.end(), 56, 'x');
  const RecordSet set = SetOf({PlainRecord(bytes)});
  EXPECT_EQ(LastData(set), "'" + std::string(56, 'x') + "'");
  EXPECT_EQ(Programmed(ReadBack(ConvertToSource(set))), Programmed(set));
}

TEST(SourceTest, ARecordThatEndsWithC0IsFollowedByAnEmptyText) {
  const RecordSet set = SetOf({NamedRecord(0x12, ""), NamedRecord(0x12, "a\xC0"),
                               PlainRecord({0, 0, 0x51, 0xC0, 0, 1, 2, 0xC0}),
                               PlainRecord({0, 0, 0x51, 0x07, 0, 0xC0})});
  const std::string source = ConvertToSource(set);
  EXPECT_THAT(source, HasSubstr("\nC0 ''                     // ID string: 0 characters, ascii\n"));
  EXPECT_THAT(source, HasSubstr("\nC2 61 C0 ''               // ID string: 2 characters, ascii, "
                                "\"a\\u00C0\"\n"));
  EXPECT_THAT(source, HasSubstr("\n01 02 C0 ''"));
  EXPECT_THAT(LastData(set), "C0 ''");
  EXPECT_EQ(Programmed(ReadBack(source)), Programmed(set));
}

TEST(SourceTest, ANameNeverEndsItsComment) {
  const RecordSet set = SetOf(
      {NamedRecord(0x01, "x\n_SDR_TYPE 07\r"), NamedRecord(0x01, "\r_REC_LEN 05 //"),
       NamedRecord(0x01, "\x1A\x1B[2J\x80\xFF\x7F"), NamedRecord(0x01, std::string("\0)", 2))});
  const std::string source = ConvertToSource(set);
  EXPECT_TRUE(std::all_of(source.begin(), source.end(),
                          [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }));
  EXPECT_THAT(source, HasSubstr("\n// 1: x\\x0A_SDR_TYPE 07\\x0D, Full Sensor Record\n"));
  const RecordSet back = ReadBack(source);
  EXPECT_EQ(Programmed(back), Programmed(set));
  EXPECT_TRUE(back.remarks.empty());
}

TEST(SourceTest, NeitherDoesTheNameOfTheInput) {
  RecordSet set = SetOf({NamedRecord(0x12, "BMC")});
  set.name = std::string("a\n_SDR_TYPE '\xFF") + std::string(4000, 'x');
  set.version = "SDR Version '\n1";
  const std::string source = ConvertToSource(set, {.file_name = "b'\n\xFF" + std::string(99, 'y')});
  EXPECT_THAT(source, HasSubstr("\n_LF_NAME 'b___yyyyyyyyyyyyyyyyyyyyyyyyyyy'\n"));
  EXPECT_THAT(source, HasSubstr("\n_LF_VERSION '__1'\n"));
  EXPECT_EQ(Programmed(ReadBack(source)), Programmed(set));
}

TEST(SourceTest, NoLineIsLongerThanTheToolTakes) {
  Random random(17);
  RecordSet set = SetOf({});
  set.name = std::string(4000, 'x');
  for (const unsigned char type : kRecordTypes) {
    for (int i = 0; i < 40; ++i) set.records.push_back(RandomRecord(type, 59, &random));
  }
  set.records[0].tags = {std::string(300, 't')};
  std::vector<std::size_t> lengths;
  for (const std::string& line : Lines(ConvertToSource(set))) lengths.push_back(line.size());
  EXPECT_THAT(lengths, Each(Le(254U)));
}

TEST(SourceTest, KeepsTagsAndWhatTheySelect) {
  RecordSet set = SetOf({NamedRecord(0x12, "A"), NamedRecord(0x12, "B")});
  set.records[1].tags = {"", "CPU#", "two words", std::string(32, 'x'), "\x1B[0m"};
  set.records[1].selected = false;
  const RecordSet back = ReadBack(ConvertToSource(set));
  ASSERT_EQ(back.records.size(), 2U);
  EXPECT_TRUE(back.records[0].selected);
  EXPECT_TRUE(back.records[0].tags.empty());
  EXPECT_FALSE(back.records[1].selected);
  EXPECT_EQ(back.records[1].tags, set.records[1].tags);
}

TEST(SourceTest, ATagThatDoesNotFitALineIsCutToWhatTheToolCompares) {
  RecordSet set = SetOf({NamedRecord(0x12, "A")});
  set.records[0].tags = {std::string(243, 'x'), std::string(244, 'y')};
  EXPECT_THAT(ReadBack(ConvertToSource(set)).records[0].tags,
              ElementsAre(std::string(243, 'x'), std::string(32, 'y')));
}

TEST(SourceTest, ATagThatCannotBeQuotedIsRefused) {
  for (const std::string& tag : {std::string("a'b"), std::string("a\nb"), std::string("a\0b", 3)}) {
    RecordSet set = SetOf({NamedRecord(0x12, "BMC")});
    set.records[0].tags = {tag};
    EXPECT_EQ(MessageOf(set), "1: record 1 (\"BMC\") has a tag that cannot be quoted");
  }
}

TEST(SourceTest, ARecordOf64BytesIsTheLongest) {
  Random random(1);
  RecordSet set = SetOf({RandomRecord(0xC0, 59, &random)});
  EXPECT_EQ(Programmed(ReadBack(ConvertToSource(set))), Programmed(set));
  set.records.push_back(NamedRecord(0x01, std::string(17, 'n')));
  set.records.back().selected = false;
  EXPECT_EQ(
      MessageOf(set),
      "2: record 2 (\"nnnnnnnnnnnnnnnnn\") has 65 bytes, a source file holds records of at most "
      "64");
}

TEST(SourceTest, OfNoRecordsCanBeReadBack) {
  const RecordSet back = ReadBack(ConvertToSource(SetOf({})));
  EXPECT_EQ(back.format, Format::kSource);
  EXPECT_TRUE(back.records.empty());
}

TEST(SourceTest, ReadsBackHeaderFirstWhateverTheInputDid) {
  RecordSet set = SetOf({PlainRecord({0, 0, 0x51, 0x07, 0})});
  set.reads_whole_pieces = true;
  EXPECT_FALSE(ReadBack(ConvertToSource(set)).reads_whole_pieces);
}

}  // namespace
}  // namespace tarvek::inspect::testing
