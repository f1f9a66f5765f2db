#ifndef TARVEK_SIMULATOR_BMC_MODEL_H_
#define TARVEK_SIMULATOR_BMC_MODEL_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "simulator/bmc_state.h"

namespace bmcsim {

// NetFn/LUN bytes and commands that the BMC knows.
inline constexpr std::uint8_t kNetFnApp = 0x18;
inline constexpr std::uint8_t kNetFnStorage = 0x28;
inline constexpr std::uint8_t kNetFnOem = 0xF8;

inline constexpr std::uint8_t kGetDeviceId = 0x01;
inline constexpr std::uint8_t kGetRepositoryInfo = 0x20;
inline constexpr std::uint8_t kReserve = 0x22;
inline constexpr std::uint8_t kGetSdr = 0x23;
inline constexpr std::uint8_t kClear = 0x27;
inline constexpr std::uint8_t kSparedSdr = 0x10;
inline constexpr std::uint8_t kOemReserve = 0x11;
inline constexpr std::uint8_t kOemGetSdr = 0x12;
inline constexpr std::uint8_t kOemPartialAdd = 0x13;
inline constexpr std::uint8_t kOemClear = 0x14;
inline constexpr std::uint8_t kGetSlotInformation = 0xE0;

// Completion codes.
inline constexpr std::uint8_t kOk = 0x00;
inline constexpr std::uint8_t kRecordLengthMismatch = 0x80;  ///< Partial Add: header and pieces
inline constexpr std::uint8_t kInvalidCommand = 0xC1;
inline constexpr std::uint8_t kInvalidForLun = 0xC2;
inline constexpr std::uint8_t kOutOfSpace = 0xC4;
inline constexpr std::uint8_t kReservationCancelled = 0xC5;
inline constexpr std::uint8_t kWrongLength = 0xC7;  ///< request data length invalid
inline constexpr std::uint8_t kTooMuchData = 0xC8;  ///< request data beyond a field's limit
inline constexpr std::uint8_t kParameterOutOfRange = 0xC9;
inline constexpr std::uint8_t kCannotReturnThatMuch = 0xCA;
inline constexpr std::uint8_t kRecordNotPresent = 0xCB;
inline constexpr std::uint8_t kInvalidField = 0xCC;
inline constexpr std::uint8_t kRepositoryUpdating = 0xCE;  ///< an erase is running
inline constexpr std::uint8_t kNotInThisState = 0xD5;

// Phases of SparedSDR.
inline constexpr std::uint8_t kSparedBegin = 0;
inline constexpr std::uint8_t kSparedDrop = 1;
inline constexpr std::uint8_t kSparedCommit = 2;

// Last byte of a clear request, and the progress that it answers.
inline constexpr std::uint8_t kStartErase = 0xAA;
inline constexpr std::uint8_t kEraseStatus = 0x00;
inline constexpr std::uint8_t kEraseRunning = 0;
inline constexpr std::uint8_t kEraseComplete = 1;

/// The most record bytes that one Partial Add carries.
inline constexpr std::size_t kMaxPieceBytes = 16;

/// What the BMC answers: completion code and data, built up byte by byte.
class Answer {
 public:
  /// The longest answer: completion code, next record ID and 255 bytes of a record.
  static constexpr std::size_t kCapacity = 1 + 2 + 255;

  /// Begins an answer that holds its completion code alone.
  void Start(std::uint8_t completion_code);
  void Put8(std::uint8_t value);
  void Put16(std::uint16_t value);  ///< least significant byte first
  void Put32(std::uint32_t value);  ///< least significant byte first
  void Put(std::span<const std::uint8_t> bytes);

  std::span<const std::uint8_t> bytes() const { return {bytes_.data(), size_}; }

 private:
  std::array<std::uint8_t, kCapacity> bytes_{};
  std::size_t size_ = 0;
};

/// A BMC's firmware: the commands on the SDR repository, and nothing of the operating system.
///
/// The repository that the standard commands read is the served one. SparedSDR phase 0 opens a
/// spare copy of it, on which the OEM commands work; phase 2 puts the copy in the place of the
/// served repository, phase 1 drops it, and phase 0 while one is open drops it and begins anew
/// (so a board whose last update was broken off can be updated again). Without an open spare copy
/// the OEM repository commands answer 0xD5, and so does the standard clear while one is open.
///
/// Both stores have a reservation of their own, given out from one counter. A new one cancels
/// the former of the same store; a commit cancels both. Reservation 0 is accepted by Get SDR for
/// reads from offset 0. A read that asks for more than is left of the record gets what is left.
///
/// An erase is complete after as many further requests on its store as the identity says; until
/// then they answer 0xCE, but for the clear's own status request, which tells the progress.
class BmcModel {
 public:
  /// @param state  the BMC's memory; must stay where it is while the model is used.
  explicit BmcModel(BmcState& state) : state_(state) {}

  /// Carries out one request.
  ///
  /// @param netfn_lun  network function in bits 7..2, LUN in bits 1..0.
  /// @param data       the request data behind the command.
  /// @param now        the BMC's clock, seconds since the epoch.
  /// @param answer     receives completion code and data.
  void Handle(std::uint8_t netfn_lun, std::uint8_t command, std::span<const std::uint8_t> data,
              std::uint32_t now, Answer& answer);

  /// Makes every reservation invalid, as another user of the BMC would.
  void CancelReservations();

  /// Puts another record in the place of one, as another user of the BMC would: in the spare copy
  /// while that is open, otherwise in the served repository. It keeps the record ID; no reservation
  /// is cancelled.
  ///
  /// @param id      of the record to replace, or one that means the first or the last.
  /// @param record  SDR version, record type, body length, body.
  /// @param now     the BMC's clock, seconds since the epoch.
  /// @return false when there is no such record, or no room; then nothing has changed.
  bool ReplaceRecord(std::uint16_t id, std::span<const std::uint8_t> record, std::uint32_t now);

 private:
  struct Command;
  enum class Side : std::uint8_t { kServed, kSpare };
  using Data = std::span<const std::uint8_t>;

  static const Command* FindCommand(std::uint8_t netfn_lun, std::uint8_t command);

  std::uint8_t DeviceId(Data data, Answer& answer);
  std::uint8_t RepositoryInfo(Data data, Answer& answer);
  std::uint8_t Spared(Data data, Answer& answer);
  std::uint8_t SlotInformation(Data data, Answer& answer);
  std::uint8_t PartialAdd(Data data, Answer& answer);
  template <Side kSide>
  std::uint8_t Reserve(Data data, Answer& answer);
  template <Side kSide>
  std::uint8_t Get(Data data, Answer& answer);
  template <Side kSide>
  std::uint8_t Erase(Data data, Answer& answer);

  std::uint8_t OpenSpare();
  void CloseSpare();
  std::uint8_t AddPiece(Store& store, Data piece, bool last, std::uint16_t id, Answer& answer);
  std::uint8_t Enter(Side side);
  unsigned StoreIndex(Side side) const;
  Store& StoreOf(Side side) { return work_.store[StoreIndex(side)]; }
  std::uint16_t& ReservationOf(Side side);
  std::size_t FindRecord(unsigned index, std::uint16_t id) const;
  std::uint16_t RecordId(unsigned index, std::size_t offset) const;
  std::uint32_t Stamp() const;

  BmcState& state_;
  Control work_{};
  std::uint32_t now_ = 0;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_BMC_MODEL_H_
