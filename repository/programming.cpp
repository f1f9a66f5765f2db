#include "repository/programming.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>

#include "driver/reporting/console.h"
#include "driver/reporting/history_log.h"
#include "driver/reporting/text_format.h"
#include "errors/reserve_block.h"

namespace {

constexpr int kClearStartPercent = 35;
constexpr int kClearEndPercent = 40;
constexpr int kWriteEndPercent = 65;
constexpr unsigned short kErasePollMs = 500;
constexpr int kMaxRecords = 0xFFFF;  // a chain of records that goes on longer loops
constexpr int kRecordIdSize = 2;     // the record ID is the BMC's and is not compared

int TotalSize(const unsigned char* record) {
  return record[kRecordBodyLengthOffset] + kRecordHeaderSize;
}

/// A record's address as the logs show it; 0 for a list that has ended.
unsigned ShownAddress(const SDRecord* record) {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(record));
}

}  // namespace

RepositoryProgrammer::RunState RepositoryProgrammer::run_;

RepositoryProgrammer::~RepositoryProgrammer() {
  FreeSDRMem(&bmcRecords);
  FreeSDRMem(&fileRecords);
}

/// Sends the first `length` bytes of `request`.
/// @return the result of ReadWriteBMC(); the answer is in `response`.
int RepositoryProgrammer::Exchange(int length, int capacity, int* received) {
  *received = capacity;
  return ReadWriteBMC(request, length, response, received);
}

bool RepositoryProgrammer::WasCancelled() const {
  return response[kCompletionCodeOffset] == kReservationCancelled;
}

int RepositoryProgrammer::setSparedSDR(unsigned char phase) {
  request[kNetFnLunOffset] = kOemRequest;
  request[kCommandOffset] = kOemSparedSdr;
  request[kSparedPhaseOffset] = phase;
  int received = 0;
  return Exchange(kSparedRequestLength, kOemCapacity, &received);
}

/// Reserves the repository that the OEM commands change; the reservation is left in `response`.
int RepositoryProgrammer::ReserveOem() {
  request[kNetFnLunOffset] = kOemRequest;
  request[kCommandOffset] = kOemReserve;
  int received = 0;
  return Exchange(kImageHeaderSize, kOemCapacity, &received);
}

/// Reserves the repository that is read back: the one being programmed while the spared mode is
/// open, else the one in service.
int RepositoryProgrammer::ReserveForReading() {
  if (sparedActive == 1) return ReserveOem();
  request[kNetFnLunOffset] = kStorageRequest;
  request[kCommandOffset] = kReserveSdrRepository;
  int received = 0;
  return Exchange(kImageHeaderSize, kReserveCapacity, &received);
}

int RepositoryProgrammer::SendBufferToBMC() {
  tarvek::RaiseProgress(kClearStartPercent);
  WriteLn("Clearing SDR Repository...");
  const int cleared = ClearSDRRepository();
  tarvek::RaiseProgress(kClearEndPercent);
  const int status = cleared == kSuccess ? WriteRecords() : Report(kClearFailed);
  tarvek::RaiseProgress(kWriteEndPercent);
  tarvek::ConsoleCounterEnd();
  return status;
}

int RepositoryProgrammer::WriteRecords() {
  tarvek::RecordProgress progress(kWriteEndPercent);
  Bmc_HistoryLog("Writing SDR Record ");
  int n = 1;
  for (SDRecord* record = fileRecords; record != nullptr; record = record->next, ++n) {
    tarvek::Text title = tarvek::Format("Writing SDR Record #%d", n);
    HexDumpBufferToASCIIFile(record->Record, title.data());
    if (SendSDRToBMC(record->Record) != kSuccess) return kReported;
    tarvek::ConsoleCounter(n);
    progress.Advance(n, g_inputSdrRecord);
  }
  return kSuccess;
}

int RepositoryProgrammer::ClearSDRRepository() {
  const tarvek::FlagRaised retrying(gErrRtyMsg);
  for (int attempt = 0; attempt < kMaxReservationRetries; ++attempt) {
    int status = kSuccess;
    if (TryClear(&status) != Attempt::kCancelled) return status;
  }
  Report(kRetryLimit, "Clear SDR repository");
  return kReported;
}

RepositoryProgrammer::Attempt RepositoryProgrammer::TryClear(int* status) {
  *status = kReported;
  if (ReserveOem() != kSuccess) return Attempt::kFailed;

  request[kCommandOffset] = kOemClearSdrRepository;
  std::copy_n(response + kReservationIdOffset, 2, request + kReservationOffset);
  std::copy_n("CLR", 3, request + kRecordIdOffset);
  request[kClearActionOffset] = kStartErase;
  int received = 0;
  const int result = Exchange(kClearRequestLength, kOemCapacity, &received);
  // Only a silenced code is worth a new try: after a first load codes come back as 26.
  if (result == kReported && WasCancelled()) return Attempt::kCancelled;
  if (result == kReported && MS_cc_ignore != 0) response[kEraseProgressOffset] = 0;
  *status = result == kSuccess ? PollErase() : result;
  return *status == kSuccess ? Attempt::kDone : Attempt::kFailed;
}

/// Asks for the progress of the erase that was started, until it is complete.
int RepositoryProgrammer::PollErase() {
  request[kClearActionOffset] = kGetEraseStatus;
  while (response[kEraseProgressOffset] != kEraseCompleted) {
    SleepMs(kErasePollMs);
    int received = 0;
    if (Exchange(kClearRequestLength, kOemCapacity, &received) != kSuccess) return kReported;
    if (received != kClearPollLength) return kDriverSendFailed;
  }
  return kSuccess;
}

int RepositoryProgrammer::SendSDRToBMC(const unsigned char* record) {
  if (record[kRecordBodyLengthOffset] > kMaxRecordBody) return kInvalidRecordLength;
  const tarvek::FlagRaised retrying(gErrRtyMsg);
  for (int attempt = 0; attempt < kMaxReservationRetries; ++attempt) {
    const Attempt result = TrySendRecord(record, TotalSize(record));
    if (result != Attempt::kCancelled) return result == Attempt::kDone ? kSuccess : kReported;
  }
  Report(kRetryLimit, "Partial Add SDR");
  return kReported;
}

/// Sends a record under one reservation.
RepositoryProgrammer::Attempt RepositoryProgrammer::TrySendRecord(const unsigned char* record,
                                                                  int total) {
  if (ReserveOem() != kSuccess) return Attempt::kFailed;
  request[kCommandOffset] = kOemPartialAddSdr;
  std::copy_n(response + kReservationIdOffset, 2, request + kReservationOffset);
  tarvek::WriteWord(request + kRecordIdOffset, kFirstRecordId);
  for (int offset = 0; offset < total; offset += kMaxPiece) {
    const int count = std::min(kMaxPiece, total - offset);
    std::copy_n(record + offset, count, request + kAddDataOffset);
    const Attempt sent = SendPiece(offset, count, offset + count == total);
    if (sent != Attempt::kDone) return sent;
    // The BMC's answer to the first piece names the record that the others belong to.
    if (offset == 0) std::copy_n(response + kAddedRecordIdOffset, 2, request + kRecordIdOffset);
  }
  return Attempt::kDone;
}

RepositoryProgrammer::Attempt RepositoryProgrammer::SendPiece(int offset, int count, bool last) {
  request[kAddOffsetOffset] = static_cast<unsigned char>(offset);
  request[kAddInProgressOffset] = last ? kLastPiece : 0;
  int received = 0;
  if (Exchange(kAddDataOffset + count, kOemCapacity, &received) == kSuccess) return Attempt::kDone;
  return WasCancelled() ? Attempt::kCancelled : Attempt::kFailed;
}

int RepositoryProgrammer::ReadSDRFromBMC(SDRecord** slot, unsigned int recordId, int depth) {
  const tarvek::FlagRaised retrying(gErrRtyMsg);
  while (recordId != kLastRecordId && !run_.repository_empty) {
    if (depth >= kMaxRecords) return kRecordReadError;
    const int status = ReadRecord(recordId, slot, &recordId);
    if (status != kSuccess || *slot == nullptr) return status;
    CountReadBack();
    slot = &(*slot)->next;
    ++depth;
  }
  return kSuccess;
}

/// Reads one record, from its start again when the reservation is cancelled.
/// @param slot  receives the record; stays null when the repository turns out to be empty.
int RepositoryProgrammer::ReadRecord(unsigned int record_id, SDRecord** slot,
                                     unsigned int* next_id) {
  for (int attempt = 0; attempt < kMaxReservationRetries; ++attempt) {
    int status = kSuccess;
    if (TryReadRecord(record_id, slot, next_id, &status) != Attempt::kCancelled) return status;
  }
  if (gSDRFirstPass != 0) return FoundEmpty();
  Report(kRetryLimit, "Get SDR");
  return kReported;
}

/// A repository whose first record cannot be read is taken for an empty one.
int RepositoryProgrammer::FoundEmpty() {
  WriteLn("No Sensor Data Records found on the server ");
  run_.repository_empty = true;
  return kSuccess;
}

/// Reads a record under one reservation.
/// @param status  out, unless cancelled: 0 or an error status.
RepositoryProgrammer::Attempt RepositoryProgrammer::TryReadRecord(unsigned int record_id,
                                                                  SDRecord** slot,
                                                                  unsigned int* next_id,
                                                                  int* status) {
  std::fill(std::begin(request), std::end(request), static_cast<unsigned char>(0));
  *status = kDriverSendFailed;
  if (ReserveForReading() != kSuccess) return Attempt::kFailed;
  std::copy_n(response + kReservationIdOffset, 2, request + kReservationOffset);

  // BMCs of IPMI 1.0 and 1.5 are asked for a record's header alone first.
  const int first = gIPMIVer1pt0 ? kRecordHeaderSize : kMaxPiece;
  int received = 0;
  const Attempt read = ReadPiece(record_id, 0, first, &received);
  if (read == Attempt::kFailed && gSDRFirstPass != 0) *status = FoundEmpty();
  if (read != Attempt::kDone) return read;
  gSDRFirstPass = 0;

  *status = kWrongByteCountRead;
  if (received != first + kGetSdrOverhead) return Attempt::kFailed;
  *status = kInvalidRecordLength;
  if (TotalSize(response + kRecordBytesOffset) > kMaxRecordSize) return Attempt::kFailed;
  if (*slot == nullptr) *slot = new (std::nothrow) SDRecord;
  *status = kInsufficientMemory;
  if (*slot == nullptr) {
    tarvek::ReleaseReserveBlock();
    return Attempt::kFailed;
  }

  *next_id = tarvek::ReadWord(response + kNextRecordIdOffset);
  // Neither a try that was cancelled nor what the BMC sends behind a short record may stay in it.
  std::fill(std::begin((*slot)->Record), std::end((*slot)->Record), static_cast<unsigned char>(0));
  const int own = std::min(first, TotalSize(response + kRecordBytesOffset));
  std::copy_n(response + kRecordBytesOffset, own, (*slot)->Record);
  return ReadRest(record_id, *slot, first, status);
}

/// Reads what follows the first `position` bytes of a record. The length that the first piece
/// gave holds, whatever the later ones say.
RepositoryProgrammer::Attempt RepositoryProgrammer::ReadRest(unsigned int record_id,
                                                             SDRecord* record, int position,
                                                             int* status) {
  const int total = TotalSize(record->Record);
  record->length = static_cast<unsigned int>(total);
  while (position < total) {
    const int count = std::min(kMaxPiece, total - position);
    int received = 0;
    *status = kDriverSendFailed;
    const Attempt read = ReadPiece(record_id, position, count, &received);
    if (read != Attempt::kDone) return read;
    *status = kRecordReadError;
    if (received != count + kGetSdrOverhead) return Attempt::kFailed;
    std::copy_n(response + kRecordBytesOffset, count, record->Record + position);
    position += count;
  }
  *status = kSuccess;
  return Attempt::kDone;
}

RepositoryProgrammer::Attempt RepositoryProgrammer::ReadPiece(unsigned int record_id, int offset,
                                                              int count, int* received) {
  request[kCommandOffset] = sparedActive == 1 ? kOemGetSdr : kGetSdr;
  tarvek::WriteWord(request + kRecordIdOffset, record_id);
  request[kReadOffsetOffset] = static_cast<unsigned char>(offset);
  request[kReadCountOffset] = static_cast<unsigned char>(count);
  const int capacity = sparedActive == 1 ? kOemCapacity : kStandardCapacity;
  if (Exchange(kGetSdrRequestLength, capacity, received) == kSuccess) return Attempt::kDone;
  return WasCancelled() ? Attempt::kCancelled : Attempt::kFailed;
}

void RepositoryProgrammer::CountReadBack() {
  run_.read_back_progress.Advance(run_.read_back_count, g_inputSdrRecord);
  tarvek::ConsoleCounter(run_.read_back_count);
  ++run_.read_back_count;
}

int RepositoryProgrammer::VerifySDRecords(const SDRecord* readBack, const SDRecord* expected) {
  for (; readBack != nullptr && expected != nullptr;
       readBack = readBack->next, expected = expected->next) {
    const int n = ++run_.verify_count;
    const unsigned char* const r = readBack->Record;
    const unsigned char* const e = expected->Record;
    if (r[kRecordBodyLengthOffset] != e[kRecordBodyLengthOffset]) {
      Bmc_HistoryLog(
          tarvek::Format("Verify %d ++++++++ length error ++++++ ilength = %d elength =%d", n,
                         r[kRecordBodyLengthOffset], e[kRecordBodyLengthOffset]));
      return kInvalidRecordLength;
    }
    const int total = std::min(TotalSize(r), kMaxRecordSize);
    const auto [differs, expects] = std::mismatch(r + kRecordIdSize, r + total, e + kRecordIdSize);
    if (differs != r + total) {
      Bmc_HistoryLog(tarvek::Format(
          "Verify %d ++++++++ data error i=%d fSensData->Record[i]=%d eSensData->Record[i]=%d", n,
          static_cast<int>(differs - r), *differs, *expects));
      return kReported;
    }
  }
  const int n = ++run_.verify_count;
  if (readBack == nullptr && expected == nullptr) return kSuccess;
  Bmc_HistoryLog(tarvek::Format("Verify %d ++++++ record num unmatch fSensData=%x eSensData =%x", n,
                                ShownAddress(readBack), ShownAddress(expected)));
  return kReported;
}

void RepositoryProgrammer::FreeSDRMem(SDRecord** head) {
  delete *head;
  *head = nullptr;
}
