#include "simulator/sample_records.h"

#include <map>

#include "simulator/repository_text.h"
#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

class SampleRecordsTest : public BmcFixture {
 protected:
  // The length of every record of the served store, and how often each type comes.
  std::map<int, int> Types(std::vector<std::size_t>& lengths) {
    std::map<int, int> types;
    for (std::size_t offset = 0; offset < control().store[0].used;) {
      lengths.push_back(bmcsim::RecordLength(*state_, control(), 0, offset));
      ++types[state_->store_bytes[0][offset + bmcsim::kRecordTypeOffset]];
      offset += lengths.back();
    }
    return types;
  }
};

TEST_F(SampleRecordsTest, SetIsAMixOfTypesThatTheToolCanRead) {
  ASSERT_TRUE(bmcsim::AddSampleSet({300, "SDR Version 01.02", "BOARD"}, kNow, *state_));
  EXPECT_EQ(bmcsim::CheckState(*state_), "");
  EXPECT_EQ(control().store[0].record_count, 302U);
  EXPECT_EQ(control().store[0].addition_time, kNow);
  EXPECT_EQ(control().store[0].erase_time, kNow);
  std::vector<std::size_t> lengths;
  const auto types = Types(lengths);
  EXPECT_EQ(types.size(), 5U);
  for (const int type : {0x01, 0x02, 0x11, 0x12, 0xC0}) EXPECT_EQ(types.count(type), 1U) << type;
  for (const std::size_t length : lengths) {
    EXPECT_GE(length, 16U);
    EXPECT_LE(length, 69U);
  }
}

TEST_F(SampleRecordsTest, SmallSetsHaveSoManyRecords) {
  for (const unsigned records : {0U, 1U, 2U, 3U}) {
    Reset(bmcsim::Identity());
    ASSERT_TRUE(bmcsim::AddSampleSet({records, "", ""}, kNow, *state_));
    EXPECT_EQ(control().store[0].record_count, records);
  }
}

TEST_F(SampleRecordsTest, OemRecordsBearTheMakerAndTheirText) {
  ASSERT_TRUE(bmcsim::AddSampleSet({0, "SDR Version 01.02", "B"}, kNow, *state_));
  EXPECT_EQ(Served(),
            "51 C0 14 77 00 00 53 44 52 20 56 65 72 73 69 6F 6E 20 30 31 2E 30 32\n"
            "51 C0 0B 77 00 00 16 42 00 00 00 00 00 00\n");
}

TEST_F(SampleRecordsTest, SetThatDoesNotFitIsTold) {
  bmcsim::Identity identity;
  identity.capacity = 100;
  Reset(identity);
  EXPECT_FALSE(bmcsim::AddSampleSet({20, "", ""}, kNow, *state_));
  EXPECT_FALSE(bmcsim::AddSampleSet({0, std::string(90, 'S'), ""}, kNow, *state_));
  EXPECT_EQ(bmcsim::CheckState(*state_), "");
}

TEST_F(SampleRecordsTest, OnlyWholeRecordsAreAppended) {
  EXPECT_FALSE(bmcsim::AppendRecord({}, *state_));
  EXPECT_FALSE(bmcsim::AppendRecord(FromHex("51 01"), *state_));
  EXPECT_FALSE(bmcsim::AppendRecord(FromHex("51 01 01"), *state_));
  EXPECT_FALSE(bmcsim::AppendRecord(FromHex("51 01 01 AA BB"), *state_));
  EXPECT_TRUE(bmcsim::AppendRecord(FromHex("51 01 00"), *state_));
  EXPECT_TRUE(bmcsim::AppendRecord(FromHex("51 01 01 AA"), *state_));
  EXPECT_EQ(Served(), "51 01 00\n51 01 01 AA\n");
}

}  // namespace
}  // namespace bmcsim_test
