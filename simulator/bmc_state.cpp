#include "simulator/bmc_state.h"

#include <atomic>
#include <type_traits>

namespace bmcsim {
namespace {

constexpr std::array<char, 8> kMagic = {'B', 'M', 'C', 'S', 'I', 'M', '\r', '\n'};
constexpr std::uint32_t kLayout = 1;

static_assert(std::is_trivially_copyable_v<BmcState>);
static_assert(std::is_standard_layout_v<BmcState>);
static_assert(sizeof(BmcState) == 20 + 2 * sizeof(Control) + 2 * kStoreBytes,
              "no padding, or files of different compilers would differ");
static_assert(std::has_unique_object_representations_v<Control>);

std::string CheckIdentity(const Identity& identity) {
  if (identity.capacity > kStoreBytes) return "its capacity is beyond any store";
  if (identity.record_id_step == 0) return "its record IDs would not move";
  return {};
}

std::string CheckStore(const BmcState& state, const Control& control, unsigned index) {
  const Store& store = control.store[index];
  if (store.used > kStoreBytes || store.pending_bytes > kMaxRecordBytes ||
      store.used + store.pending_bytes > kStoreBytes) {
    return "a store is larger than its memory";
  }
  std::size_t offset = 0;
  std::uint32_t count = 0;
  std::size_t last = 0;
  while (offset < store.used) {
    const std::size_t length = RecordLength(state, control, index, offset);
    if (length == 0) return "a store does not end with a whole record";
    last = offset;
    offset += length;
    ++count;
  }
  if (count != store.record_count) return "a record count is wrong";
  if (last != store.last_offset) return "the place of the last record is wrong";
  return {};
}

}  // namespace

void InitialiseState(const Identity& identity, BmcState& state) {
  state.magic = kMagic;
  state.layout = kLayout;
  state.bytes = sizeof(BmcState);
  state.active = 0;
  state.control = {};
  state.control[0].identity = identity;
  for (auto& bytes : state.store_bytes) bytes.fill(0);
}

const Control& ActiveControl(const BmcState& state) { return state.control[state.active & 1U]; }

void Publish(const Control& control, BmcState& state) {
  const std::uint32_t next = (state.active & 1U) ^ 1U;
  state.control[next] = control;
  std::atomic_ref<std::uint32_t>(state.active).store(next, std::memory_order_release);
}

std::size_t RecordLength(const BmcState& state, const Control& control, unsigned store,
                         std::size_t offset) {
  const std::size_t used = control.store[store].used;
  if (used > kStoreBytes || offset + kRecordHeaderBytes > used) return 0;
  const std::size_t length =
      kRecordHeaderBytes + state.store_bytes[store][offset + kBodyLengthOffset];
  return offset + length <= used ? length : 0;
}

std::uint16_t NextRecordId(std::uint16_t id, std::uint16_t step) {
  auto next = static_cast<std::uint16_t>(id + step);
  while (next == kFirstRecord || next == kLastRecord) ++next;
  return next;
}

std::string CheckState(const BmcState& state) {
  if (state.magic != kMagic) return "it is not a simulated BMC's state";
  if (state.layout != kLayout) return "it was written by another version of bmcsim";
  if (state.bytes != sizeof(BmcState)) return "it was written by another build of bmcsim";
  if (state.active > 1) return "its active slot is neither 0 nor 1";
  const Control& control = ActiveControl(state);
  if (control.served > 1 || control.spare_open > 1) return "its served store is unknown";
  if (std::string wrong = CheckIdentity(control.identity); !wrong.empty()) return wrong;
  if (std::string wrong = CheckStore(state, control, control.served); !wrong.empty()) return wrong;
  if (control.spare_open == 0) return {};
  return CheckStore(state, control, control.served ^ 1U);
}

}  // namespace bmcsim
