#include "inspect/input/image_reader.h"

#include <string>

#include "driver/reporting/run_settings.h"
#include "inspect/input/input_error.h"
#include "inspect/input/log_catcher.h"
#include "repository/backup_image.h"
#include "sdrfile/sdr_file.h"
#include "transport/ipmi_commands.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kShortestImage = kImageFileHeaderSize + kIdentityBlockSize;
constexpr std::uint32_t kLargestArea = 32767;  // bytes

/// Where the blocks of the image that was read stand; the tool reads them one after the other.
struct Blocks {
  std::size_t control = 0;  // the SDR control block
  std::size_t area = 0;     // the records
};

/// @return the bytes of the event log, with its control block, that stands before the records.
std::size_t EventLogSize(std::string_view image) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(image.data());
  if (image.size() < kShortestImage + kEventLogControlSize) return 0;
  if (ReadLong(bytes + kImageEventLogPosition) == 0) return 0;
  return kEventLogControlSize + ReadLong(bytes + kShortestImage + kEventLogLength);
}

Blocks FindBlocks(std::string_view image) {
  const std::size_t control = kShortestImage + EventLogSize(image);
  return {control, control + kSdrControlSize};
}

[[noreturn]] void FailAt(const Snapshot& input, std::size_t offset, const std::string& message) {
  throw InputError({input.name(), 0, 0, offset}, message);
}

/// Says in words, and where, what the tool's reader has refused.
[[noreturn]] void FailWith(const Snapshot& input, ESTATUS status, const std::string& told) {
  const std::string_view image = input.bytes();
  const Blocks blocks = FindBlocks(image);
  if (status == kNotBackupFile) FailAt(input, 0, told);
  if (status == kImageChecksumError) {
    const bool header = told.find("header") != std::string::npos;
    const bool control = told.find("Contorol") != std::string::npos;
    const std::size_t in_control = control ? kChecksummedBytes : kControlAreaChecksum;
    FailAt(input, header ? kImageHeaderChecksummedBytes : blocks.control + in_control,
           header    ? "the header's checksum is wrong"
           : control ? "the checksum of the SDR control block is wrong"
                     : "the checksum of the records is wrong");
  }
  if (image.size() >= blocks.area) {
    const auto* const control =
        reinterpret_cast<const unsigned char*>(image.data()) + blocks.control;
    if (ReadLong(control + kControlAreaLength) > kLargestArea) {
      FailAt(input, blocks.control + kControlAreaLength,
             "more than 32767 bytes of records, which the tool does not read");
    }
  }
  FailAt(input, image.size(), "the image ends too early");
}

/// Takes the records of the image that the tool's reader has loaded.
void TakeRecords(const Snapshot& input, RecordSet* set) {
  const std::size_t area = FindBlocks(input.bytes()).area;
  for (std::size_t offset = 0; offset < ipm_sdr_size;) {
    const unsigned char* const bytes = ipm_SDR + offset;
    const std::size_t left = ipm_sdr_size - offset;
    const unsigned char body_length =
        left >= kRecordHeaderSize ? bytes[kRecordBodyLengthOffset] : 0;
    const std::size_t size = kRecordHeaderSize + std::size_t{body_length};
    const std::string number = "record " + std::to_string(set->records.size() + 1);
    if (size > left) FailAt(input, area + offset, number + " runs past the record area");
    if (body_length > kMaxRecordBody) {
      FailAt(input, area + offset,
             number + " has a body of more than 64 bytes, which the tool does not program");
    }
    InputRecord record;
    record.bytes.assign(bytes, bytes + size);
    record.place = {input.name(), 0, 0, area + offset};
    set->records.push_back(std::move(record));
    offset += size;
  }
}

}  // namespace

void ReadImage(const Snapshot& input, RecordSet* set) {
  ESTATUS told = kSuccess;
  std::string text;
  const LogCatcher catcher([&](ESTATUS status, std::string_view message) {
    told = status;
    text = message;
  });
  g_option_flg = kImageInput;
  if (get_backup(input.path().c_str()) != 1) FailWith(input, told, text);
  TakeRecords(input, set);
  // The loader has the last word: what it refuses is refused here.
  SDRFile loader;
  FileRecord none;
  if (loader.Parse(&none, nullptr) != kSuccess) {
    FailAt(input, FindBlocks(input.bytes()).area, "the records cannot be loaded");
  }
  set->identity.assign(ipm_ipmi, ipm_ipmi + kIdentityBlockSize);
  set->reads_whole_pieces = true;
}

}  // namespace tarvek::inspect
