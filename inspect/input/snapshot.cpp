#include "inspect/input/snapshot.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "inspect/input/input_error.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
constexpr std::size_t kReadAtOnce = std::size_t{1} << 16U;

[[noreturn]] void Fail(const std::string& name, const std::string& why) {
  Place place;
  place.file = name;
  throw InputError(place, why);
}

[[noreturn]] void FailWithErrno(const std::string& name, const char* what) {
  const int error = errno;
  Fail(name, std::string(what) + ": " + std::strerror(error));
}

[[noreturn]] void FailWithSize(const std::string& name) { Fail(name, "is larger than 1 GiB"); }

bool IsNullDevice(const struct stat& info) {
  constexpr unsigned kMajor = 1;
  constexpr unsigned kMinor = 3;
  return S_ISCHR(info.st_mode) && major(info.st_rdev) == kMajor && minor(info.st_rdev) == kMinor;
}

/// Refuses what is no input; a terminal is one only as standard input.
void CheckKind(int fd, const std::string& name, bool standard_input) {
  struct stat info {};
  if (fstat(fd, &info) != 0) FailWithErrno(name, "cannot be read");
  if (S_ISDIR(info.st_mode)) Fail(name, "is a directory");
  const bool device = S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode);
  if (device && !standard_input && !IsNullDevice(info)) Fail(name, "is a device");
  // A pipe is measured while it is read.
  if (S_ISREG(info.st_mode) && info.st_size > static_cast<off_t>(kMostBytes)) FailWithSize(name);
}

std::string ReadAll(int fd, const std::string& name) {
  std::string bytes;
  struct stat status {};
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
    bytes.reserve(std::min(static_cast<std::size_t>(status.st_size), kMostBytes));
  }
  std::array<char, kReadAtOnce> piece;
  for (;;) {
    const ssize_t count = read(fd, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) FailWithErrno(name, "cannot be read");
    if (count == 0) return bytes;
    bytes.append(piece.data(), static_cast<std::size_t>(count));
    if (bytes.size() > kMostBytes) FailWithSize(name);
  }
}

/// Closes a descriptor that it was given, other than standard input.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ > STDIN_FILENO) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

Snapshot::Snapshot(const std::string& path) : name_(path == "-" ? "<stdin>" : path) {
  const bool standard_input = path == "-";
  const Descriptor file(standard_input ? STDIN_FILENO
                                       : open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
  if (file.get() < 0) FailWithErrno(name_, "cannot be opened");
  CheckKind(file.get(), name_, standard_input);
  bytes_ = ReadAll(file.get(), name_);
  Keep();
}

Snapshot::Snapshot(std::string name, std::string bytes)
    : name_(std::move(name)), bytes_(std::move(bytes)) {
  Keep();
}

Snapshot::~Snapshot() {
  if (fd_ >= 0) close(fd_);
}

void Snapshot::Keep() {
  fd_ = memfd_create("input", MFD_CLOEXEC);
  if (fd_ < 0) FailWithErrno(name_, "cannot be kept in memory");
  std::string_view left = bytes_;
  while (!left.empty()) {
    const ssize_t count = write(fd_, left.data(), left.size());
    if (count < 0) FailWithErrno(name_, "cannot be kept in memory");
    left.remove_prefix(static_cast<std::size_t>(count));
  }
  path_ = "/proc/self/fd/" + std::to_string(fd_);
}

}  // namespace tarvek::inspect
