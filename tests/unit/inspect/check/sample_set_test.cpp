// The sets that a simulated server comes with.
#include <gmock/gmock.h>

#include <algorithm>
#include <memory>

#include "inspect/check/check.h"
#include "simulator/bmc_state.h"
#include "simulator/sample_records.h"

namespace tarvek::inspect {
namespace {

/// The records of a new server's repository.
RecordSet SampleSet(unsigned records) {
  const auto state = std::make_unique<bmcsim::BmcState>();
  bmcsim::InitialiseState(bmcsim::Identity(), *state);
  EXPECT_TRUE(bmcsim::AddSampleSet({records, "SDR Version 01.02", "BOARD"}, 0, *state));
  const bmcsim::Control& control = bmcsim::ActiveControl(*state);
  const unsigned char* const bytes = state->store_bytes[control.served].data();
  RecordSet set;
  for (std::size_t at = 0; at < control.store[control.served].used;) {
    constexpr std::size_t kLengthOffset = 4;
    const std::size_t size = 5U + bytes[at + kLengthOffset];
    set.records.emplace_back().bytes.assign(bytes + at, bytes + at + size);
    at += size;
  }
  return set;
}

TEST(SampleSet, HasNoFinding) {
  for (const unsigned count : {3U, 300U, 800U}) {
    const RecordSet set = SampleSet(count);
    ASSERT_EQ(set.records.size(), count + 2);
    std::vector<Record> records;
    for (const InputRecord& record : set.records) records.push_back(Decode(record.bytes));
    std::vector<std::string> messages;
    for (const Finding& finding : Check(set, records, {})) {
      // That a set of many records is too large for an image is so.
      if (finding.rule != "over-backup-size") messages.push_back(finding.message);
    }
    EXPECT_THAT(messages, testing::IsEmpty()) << count;
  }
}

}  // namespace
}  // namespace tarvek::inspect
