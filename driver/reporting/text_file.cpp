#include "driver/reporting/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

#include "driver/reporting/text_format.h"

namespace tarvek {
namespace {

constexpr unsigned kNullDeviceMajor = 1;
constexpr unsigned kNullDeviceMinor = 3;
constexpr mode_t kOutputMode = 0666;  // less what the caller's umask takes away

/// Makes a stream of a descriptor, or closes it.
std::FILE* StreamOf(int fd, const char* mode) {
  if (fd < 0) return nullptr;
  std::FILE* const stream = fdopen(fd, mode);
  if (stream == nullptr) close(fd);
  return stream;
}

bool IsNullDevice(const struct stat& info) {
  return S_ISCHR(info.st_mode) && info.st_rdev == makedev(kNullDeviceMajor, kNullDeviceMinor);
}

/// The directory that a path's last name stands in.
PathText DirectoryOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? "." : path.substr(0, slash + 1);
}

/// Whether a link was made by one of those who may decide where the tool writes.
bool IsTrustedLink(const char* path) {
  struct stat link {};
  struct stat directory {};
  if (lstat(path, &link) != 0 || stat(DirectoryOf(path).c_str(), &directory) != 0) return false;
  return link.st_uid == geteuid() || link.st_uid == 0 || link.st_uid == directory.st_uid;
}

int OpenText(const char* path, int how) {
  return OpenForWriting(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | how, kOutputMode);
}

/// Writes all of `text` where the descriptor stands.
bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// Cuts what a longer content has left behind `size` bytes. Pipes have no end to cut.
bool CutAt(int fd, std::size_t size) {
  return ftruncate(fd, static_cast<off_t>(size)) == 0 || errno == EINVAL;
}

}  // namespace

bool IsDevice(int fd) {
  struct stat info {};
  if (fstat(fd, &info) != 0 || IsNullDevice(info)) return false;
  return S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode);
}

std::FILE* OpenInput(const char* path) {
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (fd >= 0 && IsDevice(fd)) {
    close(fd);
    return nullptr;
  }
  return StreamOf(fd, "r");
}

int OpenForWriting(const char* path, int flags, unsigned mode) {
  const int fd = open(path, flags | O_NOFOLLOW, mode);
  if (fd >= 0 || errno != ELOOP || !IsTrustedLink(path)) return fd;
  return open(path, flags, mode);
}

std::FILE* OpenOutput(const char* path, Keep keep) {
  if (keep == Keep::kContent) return StreamOf(OpenText(path, O_APPEND), "a");
  return StreamOf(OpenText(path, O_TRUNC), "w");
}

bool WriteOutput(const char* path, Keep keep, std::string_view text) {
  // A file that is replaced is overwritten first and cut then: one who reads it meanwhile does not
  // find it empty, and on a full disk it already has its place.
  const bool append = keep == Keep::kContent;
  const int fd = OpenText(path, append ? O_APPEND : 0);
  if (fd < 0) return false;
  const bool written = WriteAll(fd, text) && (append || CutAt(fd, text.size()));
  // Some file systems tell only now that the bytes did not reach the disk.
  return close(fd) == 0 && written;
}

}  // namespace tarvek
