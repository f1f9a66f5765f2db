#include "simulator/bmc_state.h"

#include <functional>

#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::BmcState;
using bmcsim::CheckState;
using bmcsim::Control;

using BmcStateTest = BmcFixture;

TEST_F(BmcStateTest, NewStateIsWhole) { EXPECT_EQ(CheckState(*state_), ""); }

TEST_F(BmcStateTest, PublishingSwapsTheSlotsAndKeepsTheOldOne) {
  const std::uint32_t before = state_->active;
  bmcsim::Control changed = control();
  changed.last_reservation = 7;
  bmcsim::Publish(changed, *state_);
  EXPECT_NE(state_->active, before);
  EXPECT_EQ(control().last_reservation, 7);
  EXPECT_EQ(state_->control[before].last_reservation, 0);
}

TEST_F(BmcStateTest, RecordLengthStaysInsideTheStore) {
  Fill({RecordOf(11, 1)});
  EXPECT_EQ(bmcsim::RecordLength(*state_, control(), 0, 0), 16U);
  EXPECT_EQ(bmcsim::RecordLength(*state_, control(), 0, 16), 0U) << "behind the last one";
  EXPECT_EQ(bmcsim::RecordLength(*state_, control(), 0, SIZE_MAX - 100), 0U);
  state_->store_bytes[0][bmcsim::kBodyLengthOffset] = 12;
  EXPECT_EQ(bmcsim::RecordLength(*state_, control(), 0, 0), 0U) << "it would end behind the store";
}

TEST_F(BmcStateTest, NoRecordIsSeenInAStoreOfImpossibleSize) {
  Fill({RecordOf(11, 1)});
  Control impossible = control();
  impossible.store[0].used = bmcsim::kStoreBytes + 1;
  EXPECT_EQ(bmcsim::RecordLength(*state_, impossible, 0, 0), 0U);
}

TEST_F(BmcStateTest, AStoreFilledToItsLastByteIsWhole) {
  bmcsim::Identity identity;
  identity.capacity = bmcsim::kStoreBytes;
  Reset(identity);
  Fill(std::vector<Bytes>(bmcsim::kStoreBytes / 16, RecordOf(11, 1)));
  EXPECT_EQ(control().store[0].used, bmcsim::kStoreBytes);
  EXPECT_EQ(CheckState(*state_), "");
  EXPECT_EQ(Spared(0), "00");
  EXPECT_EQ(Add(RecordOf(0, 1)), "C4");
}

TEST_F(BmcStateTest, EachThingThatIsNotAsWrittenIsTold) {
  struct Row {
    const char* complaint;
    std::function<void(BmcState&, Control&)> spoil;
  };
  const Row rows[] = {
      {"it is not a simulated BMC's state",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) { state.magic[0] = 'X'; }},
      {"it was written by another version of bmcsim",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) { state.layout = 99; }},
      {"it was written by another build of bmcsim",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) { state.bytes -= 1; }},
      {"its active slot is neither 0 nor 1",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) { state.active = 2; }},
      {"its served store is unknown",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) { control.served = 2; }},
      {"its served store is unknown",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.spare_open = 2;
       }},
      {"its capacity is beyond any store",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.identity.capacity = bmcsim::kStoreBytes + 1;
       }},
      {"its record IDs would not move",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.identity.record_id_step = 0;
       }},
      {"a store is larger than its memory",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.store[0].used = bmcsim::kStoreBytes + 1;
       }},
      {"a store is larger than its memory",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.store[0].used = UINT32_MAX;
       }},
      {"a store is larger than its memory",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.store[0].pending_bytes = UINT32_MAX;
       }},
      {"a store does not end with a whole record",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.store[0].used = 15;
       }},
      {"a store does not end with a whole record",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         state.store_bytes[0][bmcsim::kBodyLengthOffset] = 0xFF;
       }},
      {"a record count is wrong",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.store[0].record_count = 9;
       }},
      {"the place of the last record is wrong",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.store[0].last_offset = 1;
       }},
      {"a record count is wrong",
       []([[maybe_unused]] auto& state, [[maybe_unused]] auto& control) {
         control.spare_open = 1;
         control.store[1].record_count = 9;
       }},
  };
  for (const Row& row : rows) {
    Reset(bmcsim::Identity());
    Fill({RecordOf(11, 1)});
    ASSERT_EQ(CheckState(*state_), "");
    row.spoil(*state_, state_->control[state_->active]);
    EXPECT_EQ(CheckState(*state_), row.complaint);
  }
}

TEST_F(BmcStateTest, AClosedStoreMayHoldAnything) {
  state_->control[state_->active].store[1].used = UINT32_MAX;
  EXPECT_EQ(CheckState(*state_), "");
}

}  // namespace
}  // namespace bmcsim_test
