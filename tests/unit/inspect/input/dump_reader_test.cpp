#include "inspect/input/dump_reader.h"

#include <gtest/gtest.h>

#include "inspect/input/input_error.h"
#include "tests/unit/inspect/input/scratch.h"

namespace tarvek::inspect {
namespace {

using std::string_literals::operator""s;
using Bytes = std::vector<unsigned char>;

RecordSet ReadHex(const std::string& text) {
  RecordSet set;
  ReadHexDump(Snapshot("dump", text), &set);
  return set;
}

std::string HexComplaint(const std::string& text) {
  try {
    ReadHex(text);
  } catch (const InputError& error) {
    return ToText(error.place) + ": " + error.what();
  }
  return "";
}

std::string RawComplaint(const std::string& bytes) {
  try {
    RecordSet set;
    ReadRawDump(Snapshot("dump", bytes), &set);
  } catch (const InputError& error) {
    return ToText(error.place) + ": " + error.what();
  }
  return "";
}

TEST(HexDump, TakesRecordsWithTheirIds) {
  const RecordSet set = ReadHex("05 00 51 C0 02 AA BB\n0600 51c0 01 cc\n");
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[0].bytes, (Bytes{5, 0, 0x51, 0xC0, 2, 0xAA, 0xBB}));
  EXPECT_EQ(set.records[1].bytes, (Bytes{6, 0, 0x51, 0xC0, 1, 0xCC}));
  EXPECT_EQ(ToText(set.records[1].place), "dump:2:1");
}

TEST(HexDump, TakesRecordsWithoutTheirIds) {
  const RecordSet set = ReadHex("51 C0 02 AA BB\n51 C0 01 CC\n");
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[0].bytes, (Bytes{0, 0, 0x51, 0xC0, 2, 0xAA, 0xBB}));
}

TEST(HexDump, TellsForTheWholeInputWhetherThereAreIds) {
  // The first line alone could be either: five bytes without an ID, or a header whose body has
  // none.
  const RecordSet set = ReadHex("51 C0 02 AA 00\n51 C0 01 CC\n");
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[0].bytes, (Bytes{0, 0, 0x51, 0xC0, 2, 0xAA, 0}));
}

TEST(HexDump, PassesOverEmptyLinesAndComments) {
  const RecordSet set = ReadHex("# all\n\n  \r\n51 C0 01 CC # one\r\n51 C0 01 DD // two\n");
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[1].bytes.back(), 0xDD);
}

TEST(HexDump, RefusesALineThatIsNoWholeRecord) {
  EXPECT_EQ(HexComplaint("51 C0 01 CC\n51 C0 05 CC\n"),
            "dump:2:1: no whole record: its length byte asks for 8 bytes, the line has 4 bytes "
            "(read without a record ID)");
  EXPECT_EQ(HexComplaint("51 C0 01 CC\n51 C0\n"),
            "dump:2:1: no record: a header alone has 3 bytes, the line has 2 bytes "
            "(read without a record ID)");
}

TEST(HexDump, NamesThePlaceOfWhatIsNoDigit) {
  EXPECT_EQ(HexComplaint("51 C0 01 XX\n"), "dump:1:10: expected a hexadecimal digit");
  EXPECT_EQ(HexComplaint("51 C0 1 CC\n"),
            "dump:1:8: half a byte: expected a second hexadecimal digit");
}

TEST(RawDump, TakesRecordsOneAfterTheOther) {
  RecordSet set;
  ReadRawDump(Snapshot("dump", "\1\0\x51\xC0\1\xAA\2\0\x51\xC0\0"s), &set);
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[1].bytes, (Bytes{2, 0, 0x51, 0xC0, 0}));
  EXPECT_EQ(ToText(set.records[1].place), "dump: offset 6");
}

TEST(RawDump, TakesBodiesOfAnyLength) {
  RecordSet set;
  ReadRawDump(Snapshot("dump", "\1\0\x51\xC0\xFF"s + std::string(255, 'x')), &set);
  ASSERT_EQ(set.records.size(), 1U);
  EXPECT_EQ(set.records[0].bytes.size(), 260U);
}

TEST(RawDump, RefusesARecordThatIsNotWhole) {
  EXPECT_EQ(RawComplaint("\1\0\x51\xC0\1\xAA\2\0"s),
            "dump: offset 6: no whole record: 2 bytes are left, a header has 5 bytes");
  EXPECT_EQ(RawComplaint("\1\0\x51\xC0\2\xAA"s),
            "dump: offset 0: no whole record: its length byte asks for 7 bytes, 6 bytes are left");
}

}  // namespace
}  // namespace tarvek::inspect
