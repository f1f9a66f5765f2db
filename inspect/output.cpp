#include "inspect/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tarvek::inspect {
namespace {

constexpr std::size_t kHeldBytes = std::size_t{1} << 16U;
constexpr mode_t kFileMode = 0666;  // less what the umask takes away

[[noreturn]] void Fail(const std::string& name, int error) {
  throw OutputError(name + ": cannot be written: " + std::strerror(error));
}

/// @return 0, or the error that ended the writing.
int WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

int WriteAndClose(int fd, std::string_view bytes) {
  const int error = WriteAll(fd, bytes);
  // Some file systems tell only now that the bytes did not reach the disk.
  const int closed = close(fd) == 0 ? 0 : errno;
  return error != 0 ? error : closed;
}

bool IsSpecial(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
}

/// The file that a name leads to, through links.
std::string TargetOf(const std::string& path) {
  char* const real = realpath(path.c_str(), nullptr);
  if (real == nullptr) return path;
  std::string target(real);
  std::free(real);
  return target;
}

/// A file that is not there yet has the mode that the umask leaves; one that is keeps its own.
mode_t ModeFor(const std::string& path) {
  struct stat info {};
  constexpr mode_t kPermissions = 07777;
  if (stat(path.c_str(), &info) == 0) return info.st_mode & kPermissions;
  const mode_t mask = umask(0);
  umask(mask);
  return kFileMode & ~mask;
}

}  // namespace

void StandardOutput::Write(std::string_view text) {
  if (gone_) return;
  held_ += text;
  if (held_.size() >= kHeldBytes) Finish();
}

void StandardOutput::Finish() {
  if (gone_) return;
  const int error = WriteAll(STDOUT_FILENO, held_);
  held_.clear();
  gone_ = error == EPIPE;
  if (error != 0 && !gone_) Fail("standard output", error);
}

void WriteFile(const std::string& path, std::string_view bytes) {
  if (IsSpecial(path)) {
    const int fd = open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    const int error = fd < 0 ? errno : WriteAndClose(fd, bytes);
    if (error != 0) Fail(path, error);
    return;
  }
  const std::string target = TargetOf(path);
  std::string temporary = target + ".XXXXXX";
  const int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) Fail(path, errno);
  int error = fchmod(fd, ModeFor(target)) == 0 ? 0 : errno;
  const int written = WriteAndClose(fd, bytes);
  if (error == 0) error = written;
  if (error == 0 && rename(temporary.c_str(), target.c_str()) != 0) error = errno;
  if (error == 0) return;
  unlink(temporary.c_str());
  Fail(path, error);
}

bool OnTerminal() { return isatty(STDOUT_FILENO) == 1; }

}  // namespace tarvek::inspect
