#ifndef TARVEK_SIMULATOR_BMC_STATE_H_
#define TARVEK_SIMULATOR_BMC_STATE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace bmcsim {

// The whole memory of a simulated BMC as one block of plain bytes, so that it can live in a file
// that several processes map at once.
//
// Everything that decides what the BMC answers stands in a `Control`, of which there are two: a
// request works on a copy, and publishing it is writing the copy to the slot that is not in use
// and then storing `active`, one aligned word. Record bytes are only ever written where the
// published control does not look yet (behind a store's `used` bytes, or in the store that is
// closed). A process that is killed at any instruction therefore leaves either the memory before
// its request or the memory after it, and there is nothing to repair.

/// Bytes of one record store; more than the 65535 bytes that a backup image can hold, so that a
/// repository too large for one can be rehearsed.
inline constexpr std::size_t kStoreBytes = 131072;

/// Bytes before a record's body: record ID (2), SDR version, record type, body length.
inline constexpr std::size_t kRecordHeaderBytes = 5;
inline constexpr std::size_t kRecordTypeOffset = 3;
inline constexpr std::size_t kBodyLengthOffset = 4;

/// The longest record: a header and the longest body that its length byte can tell.
inline constexpr std::size_t kMaxRecordBytes = kRecordHeaderBytes + 255;

inline constexpr std::uint16_t kFirstRecord = 0x0000;  ///< as a request's record ID: the first one
inline constexpr std::uint16_t kLastRecord = 0xFFFF;   ///< the last one; as next ID: no more

/// What a BMC is, and how it behaves; chosen when it is made.
struct Identity {
  std::uint8_t device_id = 0x20;
  std::uint8_t device_revision = 0x01;
  std::array<std::uint8_t, 2> firmware_revision = {0x01, 0x10};
  std::uint8_t ipmi_version = 0x51;  ///< low digit first: 0x51 is IPMI 1.5
  std::uint8_t device_support = 0x9F;
  std::array<std::uint8_t, 3> manufacturer_id = {0x77, 0x00, 0x00};
  std::uint8_t has_auxiliary_revision = 1;  ///< 1: the Device ID answer ends in the next field
  std::array<std::uint8_t, 4> auxiliary_revision = {0x00, 0x00, 0x00, 0x00};
  std::uint16_t product_id = 0x01A3;
  std::uint8_t has_slot = 0;  ///< 1: the slot information command is known
  std::array<std::uint8_t, 3> slot = {0x00, 0x00, 0x00};
  std::uint8_t max_read = 255;       ///< bytes that one Get SDR can return
  std::uint8_t reserved = 0;         ///< keeps what follows aligned; always 0
  std::uint16_t record_id_step = 1;  ///< distance of the record IDs that the BMC assigns
  std::uint32_t capacity = 65536;    ///< bytes for records, at most kStoreBytes
  std::uint32_t erase_polls = 2;     ///< requests until an erase is complete
};

/// One record store: records back to back, each header and body.
struct Store {
  std::uint32_t used = 0;           ///< bytes of complete records
  std::uint32_t record_count = 0;   ///< complete records
  std::uint32_t last_offset = 0;    ///< where the last complete record begins
  std::uint32_t hint_offset = 0;    ///< where the record read last begins
  std::uint32_t addition_time = 0;  ///< seconds since the epoch, most recent addition
  std::uint32_t erase_time = 0;     ///< seconds since the epoch, most recent erase
  std::uint32_t erase_left = 0;     ///< requests until the erase is complete, 0: none is running
  std::uint32_t pending_bytes = 0;  ///< bytes behind `used` of a record that is not complete yet
  std::uint16_t pending_id = 0;     ///< its record ID, 0: there is none
  std::uint16_t next_id = 1;        ///< the record ID that the next record gets
};

/// Everything that changes with a request, published as a whole.
struct Control {
  Identity identity;
  std::array<Store, 2> store;
  std::uint32_t clock_floor = 0;        ///< time stamps never fall below this
  std::uint16_t last_reservation = 0;   ///< the last reservation ID given out
  std::uint16_t reservation = 0;        ///< the one that holds on the served store, 0: none
  std::uint16_t spare_reservation = 0;  ///< the one that holds on the spare store, 0: none
  std::uint8_t served = 0;              ///< index of the store that the standard commands read
  std::uint8_t spare_open = 0;          ///< 1 while the other store is open as the spare copy
};

/// The layout of a state file; `magic`, `layout` and `bytes` tell it from anything else.
struct BmcState {
  std::array<char, 8> magic;
  std::uint32_t layout;
  std::uint32_t bytes;   ///< sizeof(BmcState) as its writer knew it
  std::uint32_t active;  ///< the control slot that holds: 0 or 1
  std::array<Control, 2> control;
  std::array<std::array<std::uint8_t, kStoreBytes>, 2> store_bytes;
};

/// Makes `state` a BMC with an empty repository.
void InitialiseState(const Identity& identity, BmcState& state);

/// The control that holds now.
///
/// @pre `state.active` is 0 or 1 (CheckState has said so).
const Control& ActiveControl(const BmcState& state);

/// Puts `control` in force, as one indivisible step for whoever else maps `state`.
void Publish(const Control& control, BmcState& state);

/// Length of the record that begins at `offset` of a store, header included.
///
/// @return 0 when no whole record begins there.
std::size_t RecordLength(const BmcState& state, const Control& control, unsigned store,
                         std::size_t offset);

/// The record ID after `id`: `step` further, passing over the two that have a meaning of their own.
std::uint16_t NextRecordId(std::uint16_t id, std::uint16_t step);

/// Tests that `state` is one that this program wrote: every count and offset inside its bounds,
/// every store a whole number of records.
///
/// @return an empty text, or what is wrong with it.
std::string CheckState(const BmcState& state);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_BMC_STATE_H_
