// Loads any bytes as a backup image and takes its records.
//
// An input is a byte of options and the image. Bit 0 of the options repairs the file ID and every
// checksum, so that what stands behind the checks is reached; bit 1 hands the image over in a pipe;
// bit 2 repeats the image's last bytes until it is as long as its blocks say, so that a short input
// makes a large image.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "driver/reporting/run_settings.h"
#include "errors/prg_error.h"
#include "repository/backup_image.h"
#include "sdrfile/sdr_file.h"
#include "tests/fuzz/scratch_directory.h"
#include "transport/checksum.h"
#include "transport/ipmi_commands.h"

namespace {

using tarvek_fuzz::Require;
using Bytes = std::vector<unsigned char>;

constexpr std::uint8_t kRepair = 1;
constexpr std::uint8_t kThroughPipe = 2;
constexpr std::uint8_t kStretch = 4;
constexpr std::size_t kLongestStretch = 131072;  // twice what a repository may have
constexpr std::size_t kPipeCapacity = 65536;     // bytes that a pipe takes without a reader
constexpr const char* kFileId = "KOV IPMI";

/// Where the SDR control block of an image is, or would be.
std::size_t ControlPosition(const Bytes& image) {
  const std::size_t identity_end = kImageFileHeaderSize + kIdentityBlockSize;
  if (tarvek::ReadLong(image.data() + kImageEventLogPosition) == 0) return identity_end;
  const std::size_t log = identity_end + kEventLogControlSize;
  if (image.size() < log) return image.size();
  return log + tarvek::ReadLong(image.data() + identity_end + kEventLogLength);
}

/// Makes an image whose record area is cut as long as it should be.
void Stretch(Bytes& image) {
  if (image.size() < kImageFileHeaderSize) return;
  const std::size_t control = ControlPosition(image);
  const std::size_t area = control + kSdrControlSize;
  if (image.size() <= area) return;
  const std::size_t length = tarvek::ReadLong(image.data() + control + kControlAreaLength);
  const std::size_t pattern = image.size() - area;
  if (length > kLongestStretch) return;
  while (image.size() < area + length) image.push_back(image[image.size() - pattern]);
}

/// Sets the file ID and the checksums of an image, as far as it goes.
void Repair(Bytes& image) {
  if (image.size() < kImageFileHeaderSize) return;
  std::copy_n(kFileId, std::strlen(kFileId), image.begin());
  image[kImageHeaderChecksummedBytes] = calc_sum(image.data(), kImageHeaderChecksummedBytes);

  const std::size_t control = ControlPosition(image);
  const std::size_t area = control + kSdrControlSize;
  if (image.size() < area) return;
  const std::size_t length = tarvek::ReadLong(image.data() + control + kControlAreaLength);
  if (length > image.size() - area) return;
  image[control + kControlAreaChecksum] = calc_sum(image.data() + area, length);
  image[control + kChecksummedBytes] = calc_sum(image.data() + control, kChecksummedBytes);
}

/// Whether these are the records of an image that passes the checks, told without the code under
/// test.
bool IsArea(const Bytes& image, const unsigned char* area, std::size_t size) {
  if (tarvek::ReadLong(image.data() + kImageSdrPosition) == 0) return size == 0;
  const std::size_t control = ControlPosition(image);
  const std::size_t position = control + kSdrControlSize;
  return image.size() >= position + size &&
         tarvek::ReadLong(image.data() + control + kControlAreaLength) == size &&
         std::equal(area, area + size, image.data() + position);
}

/// The descriptor that the next file to be opened gets.
int NextDescriptor() {
  const int next = dup(STDERR_FILENO);
  close(next);
  return next;
}

/// @param descriptor  out: the one that the image is opened with.
int LoadFromFile(const Bytes& image, int* descriptor) {
  std::ofstream("image", std::ios::binary)
      .write(reinterpret_cast<const char*>(image.data()),
             static_cast<std::streamsize>(image.size()));
  *descriptor = NextDescriptor();
  return get_backup("image");
}

int LoadFromPipe(const Bytes& image, int* descriptor) {
  int ends[2];
  Require(pipe(ends) == 0, "there is a pipe");
  const std::size_t written = std::min(image.size(), kPipeCapacity);
  Require(write(ends[1], image.data(), written) == static_cast<ssize_t>(written), "it takes bytes");
  close(ends[1]);
  *descriptor = NextDescriptor();
  const int result = get_backup(("/dev/fd/" + std::to_string(ends[0])).c_str());
  close(ends[0]);
  return result;
}

/// Takes the records of a loaded image, as an update would, and saves it again.
void UseRecords() {
  std::size_t total = 0;
  unsigned short length = 0;
  for (unsigned short i = 0; get_sdr_addr(i, &length) != nullptr; ++i) {
    total += length + std::size_t{kRecordHeaderSize};
  }
  Require(total >= ipm_sdr_size, "the records cover the area");

  SDRFile loader(kProtocolId);
  const ESTATUS status = loader.ParseBinInfo();
  Require(status == kSuccess || status == kInvalidRecordLength, "records are taken or refused");
  Require(status != kSuccess || total == ipm_sdr_size, "no record runs past the area");

  const Bytes area(ipm_SDR, ipm_SDR + ipm_sdr_size);
  Require(set_backup("again") == 1, "what was loaded can be saved");
  std::ifstream again("again", std::ios::binary);
  const std::string saved{std::istreambuf_iterator<char>(again), {}};
  Require(saved.size() == kImageFileHeaderSize + kIdentityBlockSize + kSdrControlSize + area.size(),
          "it has the size of its blocks");
  Require(std::equal(area.begin(), area.end(), saved.end() - static_cast<int>(area.size()),
                     [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); }),
          "it has the same records");
}

void StartAfresh() {
  g_eu_flg = kProgressQuery;     // a mode whose log is nobody's
  PrgError::firstError = false;  // no result file
  g_inputSdrRecord = 1;
  g_input_sdr_version.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const tarvek_fuzz::Visit here;
  StartAfresh();
  const std::uint8_t options = data[0];
  Bytes image(data + 1, data + size);
  if ((options & kStretch) != 0) Stretch(image);
  if ((options & kRepair) != 0) Repair(image);

  int descriptor = -1;  // the one that a restore leaves open
  const bool through_pipe = (options & kThroughPipe) != 0;
  const int result =
      through_pipe ? LoadFromPipe(image, &descriptor) : LoadFromFile(image, &descriptor);
  Require(result == 0 || result == 1, "an image is good or bad");
  if (result == 1) {
    Require(IsArea(image, ipm_SDR, ipm_sdr_size), "the records are the file's");
    close(descriptor);  // a loaded image stays open
    UseRecords();
  }
  Require(fcntl(descriptor, F_GETFD) == -1, "nothing else stays open");
  return 0;
}
