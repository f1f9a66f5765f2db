#include <algorithm>
#include <new>

#include "driver/reporting/console.h"
#include "driver/reporting/progress.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/version_compare.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"
#include "transport/ipmi_commands.h"

namespace {

constexpr int kReadBackDonePercent = 90;

bool IsVersionRecord(const unsigned char* record) {
  return record[kRecordTypeOffset] == kOemRecordType &&
         std::equal(kMakerId.begin(), kMakerId.end(), record + kOemManufacturerOffset) &&
         record[kOemKindOffset] == kOemVersionRecord;
}

/// @return false, with the reserve block released, when memory ran out.
bool StoreInputVersion(const char* version) {
  try {
    g_input_sdr_version = version;
    return true;
  } catch (const std::bad_alloc&) {
    tarvek::ReleaseReserveBlock();
    return false;
  }
}

}  // namespace

namespace tarvek {

std::unique_ptr<SDRecord> NewRecord() {
  std::unique_ptr<SDRecord> record(new (std::nothrow) SDRecord);
  // The report of the failure needs memory too.
  if (record == nullptr) ReleaseReserveBlock();
  return record;
}

}  // namespace tarvek

SDRFile::~SDRFile() { EndSparedMode(kInsufficientMemory); }

int SDRFile::LoadFile(const char* path, const TagTbl* tags) {
  sparedActive = 0;
  FreeSDRMem(&bmcRecords);
  FreeSDRMem(&fileRecords);

  FileRecord file;
  if (g_option_flg != kImageInput && OpenFile(path, &file, "r") != kSuccess) {
    file.Close();
    return Report(kSdrFileOpenFailed);
  }
  ESTATUS status = Parse(&file, tags);
  file.Close();
  if (status == kSuccess && CompareBmcVersion() != 0) status = kReported;

  if (status == kSuccess && tarvek::IsUpdate()) {
    if (gSDRCompare == 0) {
      if (const int opened = setSparedSDR(kSparedBegin); opened != kSuccess) return opened;
      sparedActive = 1;
      if (SendBufferToBMC() != kSuccess) return EndSparedMode(Report(kWriteFailed));
      gProgrammed = 1;
    } else {
      gProgrammed = 0;
    }
    status = ReadBackAndVerify();
  }
  FreeSDRMem(&bmcRecords);
  FreeSDRMem(&fileRecords);
  return EndSparedMode(Report(status));
}

/// Reads the repository back and compares it with `fileRecords`.
/// @return 0; 32 or 33, unreported, for any failure: the read-back's own status is reported here.
ESTATUS SDRFile::ReadBackAndVerify() {
  WriteLn("Reading SDR Repository.");
  ESTATUS status = Report(ReadSDRFromBMC(&bmcRecords, kFirstRecordId, 0));
  tarvek::ConsoleCounterEnd();
  g_ratio = kReadBackDonePercent;
  tarvek::ReportProgress();
  if (status == kSuccess) status = VerifySDRecords(bmcRecords, fileRecords);

  const bool compare_only = gSDRCompare != 0;
  if (status != kSuccess) return compare_only ? kCompareMismatch : kWriteFailed;
  WriteLn(compare_only ? "SDR data was successfully compared!"
                       : "SDR data was successfully written!");
  return kSuccess;
}

/// Ends the spared mode, if this load has opened it: the BMC keeps or drops what was written.
/// @param status  the load's; 0 keeps.
/// @return `status`, or if that is 0, whether the mode could be ended.
int SDRFile::EndSparedMode(int status) {
  if (sparedActive == 0) return status;
  const int ended =
      setSparedSDR(status == kSuccess ? kSparedEndAfterSuccess : kSparedEndAfterFailure);
  sparedActive = 0;
  return status == kSuccess ? ended : status;
}

/// Where the next record is linked.
SDRecord** SDRFile::EndOfFileRecords() {
  SDRecord** end = &fileRecords;
  while (*end != nullptr) end = &(*end)->next;
  return end;
}

ESTATUS SDRFile::ParseBinInfo() {
  SDRecord** end = EndOfFileRecords();
  unsigned short body_length = 0;
  for (unsigned short index = 0;; ++index) {
    const unsigned char* const bytes = get_sdr_addr(index, &body_length);
    if (bytes == nullptr) break;
    const int size = body_length + kRecordHeaderSize;
    const auto left = ipm_sdr_size - (bytes - ipm_SDR);
    if (size > kMaxRecordSize || size > left) return kInvalidRecordLength;
    std::unique_ptr<SDRecord> record = tarvek::NewRecord();
    if (record == nullptr) return kInsufficientMemory;
    std::copy_n(bytes, size, record->Record);
    record->length = body_length;
    *end = record.release();
    end = &(*end)->next;
  }
  return setInputSdrVersion();
}

ESTATUS SDRFile::setInputSdrVersion() {
  ESTATUS status = kSuccess;
  for (SDRecord* record = fileRecords; record != nullptr; record = record->next) {
    ++g_inputSdrRecord;
    unsigned char* const bytes = record->Record;
    if (!g_input_sdr_version.empty() || !IsVersionRecord(bytes)) continue;
    // A body length that the file made up must not lead out of the record.
    const int end = std::min(bytes[kRecordBodyLengthOffset] + kRecordHeaderSize, kMaxRecordSize);
    bytes[end] = 0;
    if (!StoreInputVersion(reinterpret_cast<const char*>(bytes) + kOemKindOffset)) {
      status = kInsufficientMemory;
    }
  }
  return status;
}
