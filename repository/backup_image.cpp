#include "repository/backup_image.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"
#include "errors/prg_error.h"
#include "transport/checksum.h"
#include "transport/ipmi_commands.h"

namespace {

constexpr std::string_view kFileId = "KOV IPMI";
constexpr unsigned char kImageType = 9;
constexpr std::uint32_t kIdentityPosition = kImageFileHeaderSize;
constexpr std::uint32_t kSdrPosition = kIdentityPosition + kIdentityBlockSize;
constexpr mode_t kImageMode = 0600;
constexpr std::uint32_t kLargestArea = SHRT_MAX;  // bytes; what binread() can read

template <typename T, std::size_t N>
void Clear(T (&block)[N]) {
  std::fill(std::begin(block), std::end(block), T{});
}

int ReportReadFailure(int error) {
  pErr.Report(kBackupFileError, tarvek::Format("_read : errno=%d", error).c_str());
  return 0;
}

int ReportWriteFailure(int error) {
  const tarvek::Text text =
      error == ENOSPC ? "No Space" : tarvek::Format("_write : errno=%d", error);
  pErr.Report(kBackupFileError, text.c_str());
  return 0;
}

/// Whether one call moved a whole block.
bool IsWhole(ssize_t moved, unsigned short n) { return n <= SHRT_MAX && moved == n; }

/// A descriptor just opened, as the block functions take it.
/// @return -1 with `errno` set when there is none, or when a short does not carry it.
short ImageDescriptor(int fd) {
  if (fd <= SHRT_MAX) return static_cast<short>(fd);
  close(fd);
  errno = EMFILE;
  return -1;
}

/// The local time as seconds since the epoch.
std::uint32_t CreationTime() {
  tzset();
  return static_cast<std::uint32_t>(std::time(nullptr) - timezone);
}

void FillHeader() {
  Clear(ipm_head);
  std::copy(kFileId.begin(), kFileId.end(), ipm_head);
  ipm_head[kImageMajorOffset] = ipm_major;
  ipm_head[kImageMinorOffset] = ipm_minor;
  ipm_head[kImageTypeOffset] = kImageType;
  tarvek::WriteLong(ipm_head + kImageCreationTime, CreationTime());
  tarvek::WriteLong(ipm_head + kImageIdentityPosition, kIdentityPosition);
  tarvek::WriteLong(ipm_head + kImageSdrPosition, kSdrPosition);
  ipm_head[kImageHeaderChecksummedBytes] = calc_sum(ipm_head, kImageHeaderChecksummedBytes);
}

void ClearImage() {
  Clear(ipm_head);
  Clear(ipm_ipmi);
  Clear(ipm_sdr_ctrl);
  Clear(ipm_SDR);
  ipm_sdr_size = 0;
}

void DescribeBmc() {
  ipm_bmc.name = "Basbrd Mgmt Ctlr";
  ipm_bmc.answer_length =
      ipm_ipmi[kIdentityAuxPresent] != 0 ? kDeviceIdAnswerSizeWithAux : kDeviceIdAnswerSize;
  ipm_bmc.slot = ipm_ipmi[kIdentitySlot];
  ipm_bmc.slot_valid = ipm_ipmi[kIdentitySlotValid];
  std::copy_n(ipm_ipmi, ipm_bmc.device_id.size(), ipm_bmc.device_id.begin());
}

/// Goes past an event log. Its last byte is read: a length that the file does not hold is a
/// truncated file, which a place beyond the end would not show.
bool SkipEventLog(short fd) {
  unsigned char control[kEventLogControlSize] = {};
  if (binread(fd, control, kEventLogControlSize) == 0) return false;
  const std::uint32_t length = tarvek::ReadLong(control + kEventLogLength);
  if (length == 0) return true;
  static_assert(sizeof(off_t) > sizeof length, "any length is a step forward");
  if (lseek(fd, static_cast<off_t>(length) - 1, SEEK_CUR) == -1) {
    const int error = errno;
    close(fd);
    ReportReadFailure(error);
    return false;
  }
  unsigned char last = 0;
  return binread(fd, &last, 1) == 1;
}

bool ReadSdrBlocks(short fd) {
  if (binread(fd, ipm_sdr_ctrl, kSdrControlSize) == 0) return false;
  const std::uint32_t length = tarvek::ReadLong(ipm_sdr_ctrl + kControlAreaLength);
  if (length == 0) return true;
  // Tested in its 32 bits: cut to 16, a wrong length could pass for an empty record area.
  if (length > kLargestArea) {
    close(fd);
    ReportReadFailure(0);
    return false;
  }
  if (binread(fd, ipm_SDR, static_cast<unsigned short>(length)) == 0) return false;
  ipm_sdr_size = static_cast<unsigned short>(length);
  return true;
}

bool ReadBlocks(short fd) {
  if (binread(fd, ipm_head, kImageFileHeaderSize) == 0) return false;
  if (binread(fd, ipm_ipmi, kIdentityBlockSize) == 0) return false;
  DescribeBmc();
  if (tarvek::ReadLong(ipm_head + kImageEventLogPosition) != 0 && !SkipEventLog(fd)) return false;
  return tarvek::ReadLong(ipm_head + kImageSdrPosition) == 0 || ReadSdrBlocks(fd);
}

int ReportChecksum(const char* block) {
  pErr.Report(kImageChecksumError, block);
  return 0;
}

}  // namespace

int sdrBinCreate(const char* path) {
  const bool saved = chk_ipmi_version() == 1 && get_new_sdr() == 1 &&
                     get_new_sdr_info(ipm_sdr_ctrl) == 1 && set_backup(path) == 1;
  if (!saved) return kReported;
  Bmc_HistoryLog("SDR backup complete.");
  return kSuccess;
}

int set_backup(const char* path) {
  FillHeader();
  const short fd = ImageDescriptor(
      tarvek::OpenTrusted(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK, kImageMode));
  if (fd < 0) {
    pErr.Report(kOutputOpenFailed, tarvek::Format("_open : errno=%d", errno).c_str());
    return 0;
  }
  const bool written = binwrite(fd, ipm_head, kImageFileHeaderSize) == 1 &&
                       binwrite(fd, ipm_ipmi, kIdentityBlockSize) == 1 &&
                       binwrite(fd, ipm_sdr_ctrl, kSdrControlSize) == 1 &&
                       binwrite(fd, ipm_SDR, ipm_sdr_size) == 1;
  if (!written) return 0;
  // Some file systems tell only now that bytes did not reach the disk: a failed write, told as one.
  return close(fd) == 0 ? 1 : ReportWriteFailure(errno);
}

int get_backup(const char* path) {
  const short fd = ImageDescriptor(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (fd < 0 || tarvek::IsDevice(fd)) {
    if (fd >= 0) close(fd);
    pErr.Report(kInputOpenFailed, path);
    return 0;
  }
  ClearImage();
  if (!ReadBlocks(fd)) return 0;
  if (chk_backup() == 1) return 1;
  close(fd);
  return 0;
}

int chk_backup() {
  if (!std::equal(kFileId.begin(), kFileId.end(), ipm_head)) {
    pErr.Report(kNotBackupFile, "illegal File ID");
    return 0;
  }
  // The blocks' names are spelled as the logs have always had them.
  if (calc_sum(ipm_head, kImageHeaderChecksummedBytes) != ipm_head[kImageHeaderChecksummedBytes]) {
    return ReportChecksum("IPMI header infomation");
  }
  if (calc_sum(ipm_sdr_ctrl, kChecksummedBytes) != ipm_sdr_ctrl[kChecksummedBytes]) {
    return ReportChecksum("IPMI SDR Contorol infomation");
  }
  if (calc_sum(ipm_SDR, ipm_sdr_size) != ipm_sdr_ctrl[kControlAreaChecksum]) {
    return ReportChecksum("IPMI SDR Records");
  }
  return 1;
}

int binwrite(short fd, const unsigned char* buf, unsigned short n) {
  errno = 0;  // a short count sets none
  if (IsWhole(write(fd, buf, n), n)) return 1;
  const int error = errno;
  close(fd);
  return ReportWriteFailure(error);
}

int binread(short fd, unsigned char* buf, unsigned short n) {
  errno = 0;  // a short count sets none
  if (IsWhole(read(fd, buf, n), n)) return 1;
  const int error = errno;
  close(fd);
  return ReportReadFailure(error);
}
