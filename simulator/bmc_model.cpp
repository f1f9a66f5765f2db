#include "simulator/bmc_model.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace bmcsim {
namespace {

constexpr std::uint8_t kLunMask = 0x03;
constexpr std::uint8_t kSdrVersion = 0x51;
constexpr std::uint8_t kReserveSupported = 0x02;
constexpr std::uint32_t kMostFreeSpace = 0xFFFE;  // larger values have another meaning
constexpr std::uint8_t kWholeRecord = 0xFF;
constexpr std::size_t kNoRecord = SIZE_MAX;
constexpr std::size_t kRecordIdBytes = 2;
constexpr std::array<std::uint8_t, 3> kClearKey = {'C', 'L', 'R'};

// Get SDR: reservation (2), record ID (2), offset, bytes to read.
constexpr std::size_t kGetRecordId = 2;
constexpr std::size_t kGetOffset = 4;
constexpr std::size_t kGetCount = 5;
constexpr std::size_t kGetLength = 6;

// Clear: reservation (2), 'C', 'L', 'R', action.
constexpr std::size_t kClearKeyOffset = 2;
constexpr std::size_t kClearAction = 5;
constexpr std::size_t kClearLength = 6;

// Partial Add: reservation (2), record ID (2), offset, in progress, record bytes.
constexpr std::size_t kAddRecordId = 2;
constexpr std::size_t kAddOffset = 4;
constexpr std::size_t kAddProgress = 5;
constexpr std::size_t kAddPiece = 6;

std::uint16_t Le16(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

std::uint16_t NextReservation(std::uint16_t last) {
  const auto next = static_cast<std::uint16_t>(last + 1);
  // cppcheck-suppress knownConditionTrueFalse  // the cast makes it wrap
  return next == 0 ? std::uint16_t{1} : next;
}

// An erase empties the store at once; what takes its time is the permission to use it again.
void EmptyStore(Store& store, std::uint32_t stamp, std::uint32_t polls) {
  store.used = 0;
  store.record_count = 0;
  store.last_offset = 0;
  store.hint_offset = 0;
  store.erase_time = stamp;
  store.erase_left = polls;
  store.pending_bytes = 0;
  store.pending_id = 0;
  store.next_id = 1;
}

void DropPending(Store& store) {
  store.pending_bytes = 0;
  store.pending_id = 0;
}

}  // namespace

void Answer::Start(std::uint8_t completion_code) {
  bytes_[0] = completion_code;
  size_ = 1;
}

void Answer::Put8(std::uint8_t value) {
  if (size_ < kCapacity) bytes_[size_++] = value;
}

void Answer::Put16(std::uint16_t value) {
  Put8(static_cast<std::uint8_t>(value));
  Put8(static_cast<std::uint8_t>(value >> 8));
}

void Answer::Put32(std::uint32_t value) {
  Put16(static_cast<std::uint16_t>(value));
  Put16(static_cast<std::uint16_t>(value >> 16));
}

void Answer::Put(std::span<const std::uint8_t> bytes) {
  const std::size_t count = std::min(bytes.size(), kCapacity - size_);
  std::copy_n(bytes.begin(), count, bytes_.begin() + static_cast<std::ptrdiff_t>(size_));
  size_ += count;
}

struct BmcModel::Command {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::size_t least;  // bytes of request data
  std::size_t most;
  std::uint8_t (BmcModel::*carry_out)(Data, Answer&);
};

const BmcModel::Command* BmcModel::FindCommand(std::uint8_t netfn_lun, std::uint8_t command) {
  static constexpr std::size_t kAnyLength = SIZE_MAX;
  static constexpr Command kCommands[] = {
      {kNetFnApp, kGetDeviceId, 0, 0, &BmcModel::DeviceId},
      {kNetFnStorage, kGetRepositoryInfo, 0, 0, &BmcModel::RepositoryInfo},
      {kNetFnStorage, kReserve, 0, 0, &BmcModel::Reserve<Side::kServed>},
      {kNetFnStorage, kGetSdr, kGetLength, kGetLength, &BmcModel::Get<Side::kServed>},
      {kNetFnStorage, kClear, kClearLength, kClearLength, &BmcModel::Erase<Side::kServed>},
      {kNetFnOem, kSparedSdr, 1, 1, &BmcModel::Spared},
      {kNetFnOem, kOemReserve, 0, 0, &BmcModel::Reserve<Side::kSpare>},
      {kNetFnOem, kOemGetSdr, kGetLength, kGetLength, &BmcModel::Get<Side::kSpare>},
      {kNetFnOem, kOemPartialAdd, kAddPiece + 1, kAnyLength, &BmcModel::PartialAdd},
      {kNetFnOem, kOemClear, kClearLength, kClearLength, &BmcModel::Erase<Side::kSpare>},
      {kNetFnOem, kGetSlotInformation, 0, 0, &BmcModel::SlotInformation},
  };
  const auto* found = std::find_if(std::begin(kCommands), std::end(kCommands), [&](const auto& c) {
    return c.netfn_lun == (netfn_lun & ~kLunMask) && c.command == command;
  });
  return found == std::end(kCommands) ? nullptr : found;
}

void BmcModel::Handle(std::uint8_t netfn_lun, std::uint8_t command,
                      std::span<const std::uint8_t> data, std::uint32_t now, Answer& answer) {
  answer.Start(kOk);
  const Command* known = FindCommand(netfn_lun, command);
  if (known == nullptr) return answer.Start(kInvalidCommand);
  if ((netfn_lun & kLunMask) != 0) return answer.Start(kInvalidForLun);
  if (data.size() < known->least || data.size() > known->most) return answer.Start(kWrongLength);

  work_ = ActiveControl(state_);
  now_ = now;
  const std::uint8_t completion_code = (this->*known->carry_out)(data, answer);
  if (completion_code != kOk) answer.Start(completion_code);
  Publish(work_, state_);
}

void BmcModel::CancelReservations() {
  work_ = ActiveControl(state_);
  work_.reservation = 0;
  work_.spare_reservation = 0;
  Publish(work_, state_);
}

bool BmcModel::ReplaceRecord(std::uint16_t id, Data record, std::uint32_t now) {
  work_ = ActiveControl(state_);
  now_ = now;
  const bool in_spare = work_.spare_open != 0;
  const unsigned from = StoreIndex(in_spare ? Side::kSpare : Side::kServed);
  // The served store is never overwritten: its successor is made in the other one.
  const unsigned to = in_spare ? from : from ^ 1U;
  const std::size_t begin = FindRecord(from, id);
  if (begin == kNoRecord) return false;
  Store store = work_.store[from];
  const std::size_t old_end = begin + RecordLength(state_, work_, from, begin);
  const std::size_t new_end = begin + kRecordIdBytes + record.size();
  const std::size_t tail = store.used + store.pending_bytes - old_end;
  if (new_end + tail > work_.identity.capacity) return false;

  if (in_spare) CloseSpare();
  const std::uint8_t* const source = state_.store_bytes[from].data();
  std::uint8_t* const target = state_.store_bytes[to].data();
  std::memmove(target + new_end, source + old_end, tail);
  if (!in_spare) std::memcpy(target, source, begin + kRecordIdBytes);
  std::memcpy(target + begin + kRecordIdBytes, record.data(), record.size());

  const auto grown = static_cast<std::uint32_t>(new_end - old_end);  // modulo 2^32
  store.used += grown;
  if (store.last_offset > begin) store.last_offset += grown;
  store.hint_offset = 0;
  store.addition_time = Stamp();
  work_.store[to] = store;
  work_.served = static_cast<std::uint8_t>(in_spare ? work_.served : to);
  Publish(work_, state_);
  return true;
}

unsigned BmcModel::StoreIndex(Side side) const {
  return side == Side::kServed ? work_.served & 1U : (work_.served & 1U) ^ 1U;
}

std::uint16_t& BmcModel::ReservationOf(Side side) {
  return side == Side::kServed ? work_.reservation : work_.spare_reservation;
}

// The BMC's clock: it never runs back, and a set put in place of another bears a later time, so
// that whoever keeps a copy of the repository by its time stamps notices the change.
std::uint32_t BmcModel::Stamp() const { return std::max(now_, work_.clock_floor); }

// What every command on a store begins with: the store must be there and not in an erase. Each
// request takes the erase one step nearer to its end.
std::uint8_t BmcModel::Enter(Side side) {
  if (side == Side::kSpare && work_.spare_open == 0) return kNotInThisState;
  Store& store = StoreOf(side);
  if (store.erase_left > 0) --store.erase_left;
  return store.erase_left > 0 ? kRepositoryUpdating : kOk;
}

std::uint8_t BmcModel::DeviceId(Data /*data*/, Answer& answer) {
  const Identity& identity = work_.identity;
  answer.Put8(identity.device_id);
  answer.Put8(identity.device_revision);
  answer.Put(identity.firmware_revision);
  answer.Put8(identity.ipmi_version);
  answer.Put8(identity.device_support);
  answer.Put(identity.manufacturer_id);
  answer.Put16(identity.product_id);
  if (identity.has_auxiliary_revision != 0) answer.Put(identity.auxiliary_revision);
  return kOk;
}

std::uint8_t BmcModel::RepositoryInfo(Data /*data*/, Answer& answer) {
  const Store& store = StoreOf(Side::kServed);
  const std::uint32_t capacity = work_.identity.capacity;
  const std::uint32_t free_bytes = capacity > store.used ? capacity - store.used : 0;
  answer.Put8(kSdrVersion);
  answer.Put16(static_cast<std::uint16_t>(store.record_count));
  answer.Put16(static_cast<std::uint16_t>(std::min(free_bytes, kMostFreeSpace)));
  answer.Put32(store.addition_time);
  answer.Put32(store.erase_time);
  answer.Put8(kReserveSupported);
  return kOk;
}

std::uint8_t BmcModel::SlotInformation(Data /*data*/, Answer& answer) {
  if (work_.identity.has_slot == 0) return kInvalidCommand;
  answer.Put(work_.identity.slot);
  return kOk;
}

template <BmcModel::Side kSide>
std::uint8_t BmcModel::Reserve(Data /*data*/, Answer& answer) {
  if (const std::uint8_t refused = Enter(kSide); refused != kOk) return refused;
  work_.last_reservation = NextReservation(work_.last_reservation);
  ReservationOf(kSide) = work_.last_reservation;
  DropPending(StoreOf(kSide));
  answer.Put16(work_.last_reservation);
  return kOk;
}

template <BmcModel::Side kSide>
std::uint8_t BmcModel::Get(Data data, Answer& answer) {
  if (const std::uint8_t refused = Enter(kSide); refused != kOk) return refused;
  const std::uint16_t reservation = Le16(data, 0);
  const std::size_t offset = data[kGetOffset];
  const bool unreserved = reservation == 0 && offset == 0;
  if (!unreserved && (reservation == 0 || reservation != ReservationOf(kSide))) {
    return kReservationCancelled;
  }

  const unsigned index = StoreIndex(kSide);
  const std::size_t begin = FindRecord(index, Le16(data, kGetRecordId));
  if (begin == kNoRecord) return kRecordNotPresent;
  const std::size_t length = RecordLength(state_, work_, index, begin);
  if (offset >= length || data[kGetCount] == 0) return kParameterOutOfRange;
  const std::size_t left = length - offset;
  const std::size_t wanted = data[kGetCount];
  const std::size_t count = wanted == kWholeRecord ? left : std::min(wanted, left);
  if (count > work_.identity.max_read) return kCannotReturnThatMuch;

  const std::size_t next = begin + length;
  work_.store[index].hint_offset = static_cast<std::uint32_t>(begin);
  answer.Put16(next < work_.store[index].used ? RecordId(index, next) : kLastRecord);
  answer.Put(Data(state_.store_bytes[index]).subspan(begin + offset, count));
  return kOk;
}

template <BmcModel::Side kSide>
std::uint8_t BmcModel::Erase(Data data, Answer& answer) {
  if (kSide == Side::kServed && work_.spare_open != 0) return kNotInThisState;
  const std::uint8_t refused = Enter(kSide);
  if (refused == kNotInThisState) return refused;
  const std::uint16_t reservation = Le16(data, 0);
  if (reservation == 0 || reservation != ReservationOf(kSide)) return kReservationCancelled;
  const Data key = data.subspan(kClearKeyOffset, kClearKey.size());
  if (!std::equal(key.begin(), key.end(), kClearKey.begin())) return kInvalidField;

  Store& store = StoreOf(kSide);
  const std::uint8_t action = data[kClearAction];
  if (action != kStartErase && action != kEraseStatus) return kInvalidField;
  if (action == kStartErase) {
    work_.clock_floor =
        std::max({work_.clock_floor, store.addition_time + 1, store.erase_time + 1});
    EmptyStore(store, Stamp(), work_.identity.erase_polls);
  }
  answer.Put8(store.erase_left > 0 ? kEraseRunning : kEraseComplete);
  return kOk;
}

std::uint8_t BmcModel::Spared(Data data, Answer& /*answer*/) {
  const std::uint8_t phase = data[0];
  if (phase == kSparedBegin) return OpenSpare();
  if (phase != kSparedDrop && phase != kSparedCommit) return kInvalidField;
  if (work_.spare_open == 0) return kNotInThisState;
  Store& spare = StoreOf(Side::kSpare);
  if (phase == kSparedCommit) {
    if (const std::uint8_t refused = Enter(Side::kSpare); refused != kOk) return refused;
    DropPending(spare);
    work_.served ^= 1U;
    work_.reservation = 0;
  }
  work_.spare_open = 0;
  work_.spare_reservation = 0;
  return kOk;
}

// Before the bytes of an open spare copy are overwritten: whoever is killed then has none.
void BmcModel::CloseSpare() {
  Control closed = work_;
  closed.spare_open = 0;
  closed.spare_reservation = 0;
  Publish(closed, state_);
}

std::uint8_t BmcModel::OpenSpare() {
  if (work_.spare_open != 0) CloseSpare();
  const unsigned from = StoreIndex(Side::kServed);
  const unsigned to = StoreIndex(Side::kSpare);
  Store& served = work_.store[from];
  std::copy_n(state_.store_bytes[from].begin(), served.used, state_.store_bytes[to].begin());
  work_.store[to] = served;
  work_.clock_floor =
      std::max({work_.clock_floor, served.addition_time + 1, served.erase_time + 1});
  work_.spare_open = 1;
  work_.spare_reservation = 0;
  return kOk;
}

std::uint8_t BmcModel::PartialAdd(Data data, Answer& answer) {
  if (const std::uint8_t refused = Enter(Side::kSpare); refused != kOk) return refused;
  const std::uint16_t reservation = Le16(data, 0);
  if (reservation == 0 || reservation != work_.spare_reservation) return kReservationCancelled;
  const Data piece = data.subspan(kAddPiece);
  if (piece.size() > kMaxPieceBytes) return kTooMuchData;
  const std::uint8_t progress = data[kAddProgress];
  if (progress > 1) return kInvalidField;

  Store& store = StoreOf(Side::kSpare);
  std::uint16_t id = Le16(data, kAddRecordId);
  if (id == kFirstRecord) {
    DropPending(store);
    id = store.next_id;
  } else if (id != store.pending_id) {
    return kRecordNotPresent;
  }
  if (data[kAddOffset] != store.pending_bytes) return kParameterOutOfRange;
  return AddPiece(store, piece, progress == 1, id, answer);
}

std::uint8_t BmcModel::AddPiece(Store& store, Data piece, bool last, std::uint16_t id,
                                Answer& answer) {
  const std::size_t received = store.pending_bytes + piece.size();
  if (store.used + received > work_.identity.capacity) {
    DropPending(store);
    return kOutOfSpace;
  }
  auto& bytes = state_.store_bytes[StoreIndex(Side::kSpare)];
  std::copy(piece.begin(), piece.end(), bytes.begin() + store.used + store.pending_bytes);

  const bool header_known = received >= kRecordHeaderBytes;
  const std::size_t length =
      header_known ? kRecordHeaderBytes + bytes[store.used + kBodyLengthOffset] : kMaxRecordBytes;
  if (received > length || (last && (!header_known || received != length))) {
    DropPending(store);
    return kRecordLengthMismatch;
  }
  answer.Put16(id);
  if (!last) {
    store.pending_id = id;
    store.pending_bytes = static_cast<std::uint32_t>(received);
    return kOk;
  }
  bytes[store.used] = static_cast<std::uint8_t>(id);
  bytes[store.used + 1] = static_cast<std::uint8_t>(id >> 8);
  DropPending(store);
  store.last_offset = store.used;
  store.used += static_cast<std::uint32_t>(received);
  ++store.record_count;
  store.next_id = NextRecordId(id, work_.identity.record_id_step);
  store.addition_time = Stamp();
  return kOk;
}

std::uint16_t BmcModel::RecordId(unsigned index, std::size_t offset) const {
  return Le16(state_.store_bytes[index], offset);
}

// Whoever reads a repository asks for the same record again and then for the next one, so the
// search begins where the last one ended.
std::size_t BmcModel::FindRecord(unsigned index, std::uint16_t id) const {
  const Store& store = work_.store[index];
  if (store.used == 0) return kNoRecord;
  if (id == kFirstRecord) return 0;
  if (id == kLastRecord) return store.last_offset;
  for (const std::size_t begin : {std::size_t{store.hint_offset}, std::size_t{0}}) {
    std::size_t offset = begin;
    std::size_t length = RecordLength(state_, work_, index, offset);
    while (length != 0) {
      if (RecordId(index, offset) == id) return offset;
      offset += length;
      length = RecordLength(state_, work_, index, offset);
    }
  }
  return kNoRecord;
}

}  // namespace bmcsim
