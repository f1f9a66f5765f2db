#include "sdrfile/utilities/sdr_record.h"

#include "tests/unit/sdrfile/utilities/owned_list.h"

namespace tarvek_test {
namespace {

using SensorDataRecord = FreshRun;

TEST_F(SensorDataRecord, StartsEmptyWithItsDefaultType) {
  const SDRecord record;
  EXPECT_EQ(record.type, 0x24);
  EXPECT_EQ(sizeof(record.tag), 33U);
  for (const char c : record.tag) EXPECT_EQ(c, '\0');
  EXPECT_EQ(record.length, 0U);
  for (const unsigned char byte : record.Record) EXPECT_EQ(byte, 0);
  EXPECT_EQ(record.next, nullptr);
}

TEST_F(SensorDataRecord, HoldsTheLongestRecordAndItsZeroByte) {
  constexpr std::size_t kHeaderAndLongestBody = 5 + 64;
  EXPECT_EQ(sizeof(SDRecord::Record), kHeaderAndLongestBody + 1);
}

TEST_F(SensorDataRecord, ARecordOwnsItsSuccessors) { ExpectNodesOwnTheirSuccessors<SDRecord>(); }

}  // namespace
}  // namespace tarvek_test
