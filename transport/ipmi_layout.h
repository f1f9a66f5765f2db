// Every IPMI byte layout that the tool uses: network functions, commands, offsets, codes.
#pragma once

#include <array>
#include <cstdint>

// A request image, as it is handed to the driver:
//   [0] NetFn << 2 | LUN   [1] command   [2..] data
// A response image:
//   [0] NetFn + 1 and LUN  [1] command   [2] completion code   [3..] data
inline constexpr int kNetFnLunOffset = 0;
inline constexpr int kCommandOffset = 1;
inline constexpr int kCompletionCodeOffset = 2;
inline constexpr int kResponseDataOffset = 3;
inline constexpr int kImageHeaderSize = 2;  // NetFn/LUN and command

inline constexpr unsigned char kResponseBit = 0x04;  // NetFn + 1, seen in the NetFn/LUN byte
inline constexpr unsigned char kLunMask = 0x03;
inline constexpr unsigned char kNetFnShift = 2;

// NetFn/LUN bytes.
inline constexpr unsigned char kAppRequest = 0x18;      // Application, NetFn 06h
inline constexpr unsigned char kStorageRequest = 0x28;  // Storage, NetFn 0Ah
inline constexpr unsigned char kOemRequest = 0xF8;      // the maker's, NetFn 3Eh

// Standard commands (IPMI 2.0, 20.1 and 33.9 to 33.15).
inline constexpr unsigned char kGetDeviceId = 0x01;
inline constexpr unsigned char kGetSdrRepositoryInfo = 0x20;
inline constexpr unsigned char kReserveSdrRepository = 0x22;
inline constexpr unsigned char kGetSdr = 0x23;
inline constexpr unsigned char kClearSdrRepository = 0x27;

// The maker's commands.
inline constexpr unsigned char kOemSparedSdr = 0x10;
inline constexpr unsigned char kOemReserve = 0x11;
inline constexpr unsigned char kOemGetSdr = 0x12;
inline constexpr unsigned char kOemPartialAddSdr = 0x13;
inline constexpr unsigned char kOemClearSdrRepository = 0x14;
inline constexpr unsigned char kOemGetSlotInformation = 0xE0;

// Completion codes (IPMI 2.0, table 5-2).
inline constexpr unsigned char kCompletionOk = 0x00;
inline constexpr unsigned char kReservationCancelled = 0xC5;

// Capacities passed to the driver: response bytes behind the two header bytes.
inline constexpr int kReserveCapacity = 14;
inline constexpr int kStandardCapacity = 30;
inline constexpr int kReadinessCapacity = 126;
inline constexpr int kOemCapacity = 254;
inline constexpr int kResponseBufferSize = 256;  // holds any capacity and the header bytes

// Response lengths, header bytes included.
inline constexpr int kDeviceIdLength = 14;
inline constexpr int kDeviceIdLengthWithAux = 18;  // with the auxiliary firmware revision
inline constexpr int kRepositoryInfoLength = 17;
inline constexpr int kReserveLength = 5;
inline constexpr int kSlotInformationLength = 6;
inline constexpr int kClearPollLength = 4;
inline constexpr int kGetSdrOverhead = 5;  // what stands before the record bytes of Get SDR

// Get SDR, standard and OEM:
//   request   [2..3] reservation ID  [4..5] record ID  [6] offset  [7] bytes to read
//   response  [3..4] next record ID  [5..] record bytes
inline constexpr int kGetSdrRequestLength = 8;
inline constexpr int kReservationOffset = 2;
inline constexpr int kRecordIdOffset = 4;
inline constexpr int kReadOffsetOffset = 6;
inline constexpr int kReadCountOffset = 7;
inline constexpr int kNextRecordIdOffset = 3;
inline constexpr int kRecordBytesOffset = 5;
inline constexpr int kReservationIdOffset = 3;  // in the answer of Reserve
inline constexpr unsigned kFirstRecordId = 0x0000;
inline constexpr unsigned kLastRecordId = 0xFFFF;
inline constexpr int kMaxPiece = 16;  // record bytes moved by one request

// Partial Add SDR (OEM), after reservation and record ID as above:
//   request   [6] offset  [7] in progress: 1 with the last piece  [8..] record bytes
//   response  [3..4] record ID given by the BMC
inline constexpr int kAddOffsetOffset = 6;
inline constexpr int kAddInProgressOffset = 7;
inline constexpr int kAddDataOffset = 8;
inline constexpr int kAddedRecordIdOffset = 3;
inline constexpr unsigned char kLastPiece = 1;

// Clear SDR Repository (OEM):
//   request   [2..3] reservation ID  [4..6] 'C' 'L' 'R'  [7] AAh: start the erase, 00h: its status
//   response  [3] erase progress, 1: completed
inline constexpr int kClearRequestLength = 8;
inline constexpr int kClearActionOffset = 7;
inline constexpr unsigned char kStartErase = 0xAA;
inline constexpr unsigned char kGetEraseStatus = 0x00;
inline constexpr int kEraseProgressOffset = 3;
inline constexpr unsigned char kEraseCompleted = 1;

// SparedSDR (OEM): [2] the phase.
inline constexpr int kSparedRequestLength = 3;
inline constexpr int kSparedPhaseOffset = 2;
inline constexpr unsigned char kSparedBegin = 0;
inline constexpr unsigned char kSparedEndAfterFailure = 1;
inline constexpr unsigned char kSparedEndAfterSuccess = 2;

// The answer of Get Device ID, response offsets.
inline constexpr int kProductIdLowOffset = 12;
inline constexpr int kProductIdHighOffset = 13;

inline constexpr int kMaxReservationRetries = 300;  // restarts after a cancelled reservation

// The maker's OEM records, offsets from the start of the record:
//   [5..7] manufacturer ID, low byte first  [8] what it holds  [9..]
inline constexpr int kOemManufacturerOffset = 5;
inline constexpr int kOemKindOffset = 8;
inline constexpr unsigned char kOemVersionRecord = 'S';      // a version text begins right here
inline constexpr unsigned char kOemScriptNameRecord = 0x16;  // a script's name follows
inline constexpr std::array<unsigned char, 3> kMakerId{0x77, 0x00, 0x00};

namespace tarvek {

/// The 16-bit number at `bytes`, low byte first.
constexpr unsigned ReadWord(const unsigned char* bytes) {
  constexpr unsigned kByteBits = 8;
  return bytes[0] | (static_cast<unsigned>(bytes[1]) << kByteBits);
}

/// Stores the low 16 bits of `value`, low byte first.
constexpr void WriteWord(unsigned char* bytes, unsigned value) {
  constexpr unsigned kByteBits = 8;
  constexpr unsigned kByteMask = 0xFF;
  bytes[0] = static_cast<unsigned char>(value & kByteMask);
  bytes[1] = static_cast<unsigned char>((value >> kByteBits) & kByteMask);
}

/// The 32-bit number at `bytes`, low byte first.
constexpr std::uint32_t ReadLong(const unsigned char* bytes) {
  constexpr unsigned kWordBits = 16;
  return ReadWord(bytes) | (ReadWord(bytes + 2) << kWordBits);
}

/// Stores a 32-bit number, low byte first.
constexpr void WriteLong(unsigned char* bytes, std::uint32_t value) {
  constexpr unsigned kWordBits = 16;
  WriteWord(bytes, value);
  WriteWord(bytes + 2, value >> kWordBits);
}

}  // namespace tarvek
