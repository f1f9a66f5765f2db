#include "inspect/convert/dumps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "random_set.h"

namespace tarvek::inspect::testing {
namespace {

using ::testing::HasSubstr;

RecordSet TwoRecords() {
  RecordSet set;
  set.records.push_back(PlainRecord({0xAA, 0xBB, 0x51, 0xC0, 0, 0x77, 0x00, 0x00}));
  set.records.push_back(PlainRecord({0xAA, 0xBB, 0x51, 0xC0, 0, 0x01, 0x02, 0x03, 0x04}));
  return set;
}

template <typename Function>
std::string MessageOf(Function function) {
  try {
    function();
  } catch (const ConversionError& error) {
    return error.what();
  }
  return "nothing was thrown";
}

TEST(RawTest, IsTheRecordsBackToBackWithIdsFromOne) {
  constexpr unsigned char kDump[] = {0x01, 0x00, 0x51, 0xC0, 0x03, 0x77, 0x00, 0x00, 0x02,
                                     0x00, 0x51, 0xC0, 0x04, 0x01, 0x02, 0x03, 0x04};
  EXPECT_EQ(ConvertToRaw(TwoRecords(), Which::kAll),
            std::string(std::begin(kDump), std::end(kDump)));
}

TEST(HexTest, IsALineARecordWithTheIdZero) {
  EXPECT_EQ(ConvertToHex(TwoRecords(), Which::kAll),
            "00 00 51 C0 03 77 00 00\n00 00 51 C0 04 01 02 03 04\n");
}

TEST(DumpsTest, HoldSelectedRecordsUnlessAllAreAskedFor) {
  RecordSet set = TwoRecords();
  set.records[0].selected = false;
  EXPECT_EQ(ConvertToHex(set, Which::kSelected), "00 00 51 C0 04 01 02 03 04\n");
  EXPECT_EQ(ConvertToRaw(set, Which::kSelected),
            std::string("\x01\0\x51\xC0\x04\x01\x02\x03\x04", 9));
  EXPECT_EQ(ConvertToRaw(set, Which::kAll).size(), 17U);
}

TEST(DumpsTest, RecordIdsSkipThoseThatNameNoRecord) {
  EXPECT_EQ(RecordIdAt(0), 1U);
  EXPECT_EQ(RecordIdAt(0xFFFD), 0xFFFEU);
  EXPECT_EQ(RecordIdAt(0xFFFE), 1U);
}

TEST(DumpsTest, ARecordThatIsNotWholeIsNamedAndRefused) {
  RecordSet set = TwoRecords();
  set.records.push_back(NamedRecord(0x12, "B\x1BMC"));
  set.records.back().bytes.resize(18);
  const std::string message = "record 3 (\"B\\x1B\") has 18 bytes, but its length byte asks for 20";
  EXPECT_EQ(MessageOf([&] { ConvertToRaw(set, Which::kAll); }), message);
  EXPECT_EQ(MessageOf([&] { ConvertToHex(set, Which::kAll); }), message);
}

TEST(DumpsTest, ARecordThatIsNotMeantMayBeBroken) {
  RecordSet set = TwoRecords();
  set.records[0].bytes.clear();
  EXPECT_EQ(MessageOf([&] { ConvertToHex(set, Which::kAll); }), "record 1 has no whole header");
  set.records[0].selected = false;
  EXPECT_EQ(ConvertToHex(set, Which::kSelected), "00 00 51 C0 04 01 02 03 04\n");
}

TEST(DumpsTest, OfNoRecordsAreRefused) {
  const RecordSet set;
  EXPECT_THAT(MessageOf([&] { ConvertToRaw(set, Which::kAll); }), HasSubstr("no records"));
  EXPECT_THAT(MessageOf([&] { ConvertToHex(set, Which::kAll); }), HasSubstr("no records"));
}

}  // namespace
}  // namespace tarvek::inspect::testing
