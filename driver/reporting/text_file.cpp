#include "driver/reporting/text_file.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <utility>

namespace tarvek {
namespace {

constexpr int kMaxLinks = 40;  // of a chain; as many as the kernel follows
constexpr unsigned kNullDeviceMajor = 1;
constexpr unsigned kNullDeviceMinor = 3;

/// A descriptor that is closed with its end.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    const int error = errno;
    if (fd_ >= 0) close(fd_);
    errno = error;
  }
  Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

/// Makes a stream of a descriptor, or closes it.
std::FILE* StreamOf(Descriptor fd) {
  std::FILE* const stream = fd.get() < 0 ? nullptr : fdopen(fd.get(), "r");
  if (stream != nullptr) fd.Release();
  return stream;
}

std::string_view LastName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // the whole path where there is no slash
}

bool IsNullDevice(const struct stat& info) {
  return S_ISCHR(info.st_mode) && info.st_rdev == makedev(kNullDeviceMajor, kNullDeviceMinor);
}

/// Whether a link was made by one of those who may decide where the tool writes.
bool IsTrustedLink(const Descriptor& directory, const Descriptor& link) {
  struct stat place {};
  struct stat found {};
  if (fstat(directory.get(), &place) != 0 || fstat(link.get(), &found) != 0) return false;
  if (!S_ISLNK(found.st_mode)) return false;
  return found.st_uid == geteuid() || found.st_uid == 0 || found.st_uid == place.st_uid;
}

/// Whether a directory is one of /proc, whose links lead to what has no name.
bool IsInProc(const Descriptor& directory) {
  struct statfs info {};
  return fstatfs(directory.get(), &info) == 0 && info.f_type == PROC_SUPER_MAGIC;
}

/// Reads where a link leads to.
/// @return false when it cannot be read.
bool ReadLink(const Descriptor& link, PathText& target) {
  std::array<char, PATH_MAX> bytes;
  const ssize_t length = readlinkat(link.get(), "", bytes.data(), bytes.size() - 1);
  if (length < 0) return false;
  target = std::string_view(bytes.data(), static_cast<std::size_t>(length));
  return true;
}

int RefuseLink() {
  errno = ELOOP;
  return -1;
}

/// OpenTrusted() of a path whose last name is a link.
int FollowLinks(const char* path, int flags, unsigned mode) {
  PathText target(path);
  Descriptor place(-1);  // the directory that the target is relative to
  for (int i = 0; i < kMaxLinks; ++i) {
    const int from = place.get() < 0 ? AT_FDCWD : place.get();
    Descriptor directory(openat(from, DirectoryOf(target).c_str(), O_PATH | O_DIRECTORY));
    const PathText name(LastName(target));
    const Descriptor link(openat(directory.get(), name.c_str(), O_PATH | O_NOFOLLOW));
    if (!IsTrustedLink(directory, link)) return RefuseLink();
    // What such a link says is no path; but nobody can put another one in its place.
    if (IsInProc(directory)) return openat(directory.get(), name.c_str(), flags, mode);
    if (!ReadLink(link, target)) return RefuseLink();
    place = std::move(directory);
    const int fd = openat(place.get(), target.c_str(), flags | O_NOFOLLOW, mode);
    if (fd >= 0 || errno != ELOOP) return fd;
  }
  return RefuseLink();
}

}  // namespace

bool IsDevice(int fd) {
  struct stat info {};
  if (fstat(fd, &info) != 0 || IsNullDevice(info)) return false;
  return S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode);
}

std::FILE* OpenInput(const char* path) {
  Descriptor fd(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  return IsDevice(fd.get()) ? nullptr : StreamOf(std::move(fd));
}

int OpenTrusted(const char* path, int flags, unsigned mode) {
  const int fd = open(path, flags | O_NOFOLLOW, mode);
  return fd >= 0 || errno != ELOOP ? fd : FollowLinks(path, flags, mode);
}

int OpenOwnInput(const char* path) {
  Descriptor fd(OpenTrusted(path, O_RDONLY | O_NONBLOCK | O_NOCTTY, 0));
  struct stat info {};
  if (fd.get() < 0 || fstat(fd.get(), &info) != 0) return -1;
  const bool own = S_ISREG(info.st_mode) && info.st_nlink <= 1;
  return own || IsNullDevice(info) ? fd.Release() : -1;
}

PathText DirectoryOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? "." : path.substr(0, slash + 1);
}

}  // namespace tarvek
