#include "simulator/state_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace bmcsim {
namespace {

constexpr mode_t kFileMode = 0644;

bool WriteAll(int fd, const BmcState& state) {
  const char* bytes = reinterpret_cast<const char*>(&state);
  std::size_t left = sizeof state;
  while (left > 0) {
    const ssize_t written = write(fd, bytes, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    left -= static_cast<std::size_t>(written);
  }
  return true;
}

std::string WithReason(const std::string& what, int reason) {
  return what + ": " + std::strerror(reason);
}

}  // namespace

StateFile::~StateFile() { Close(); }

void StateFile::Close() {
  if (state_ != nullptr) munmap(state_, sizeof(BmcState));
  if (fd_ != -1) close(fd_);
  state_ = nullptr;
  fd_ = -1;
}

// The file is written under another name and then linked to its own, so that nobody ever sees
// half of it and of two who make it at once one is told.
bool StateFile::Create(const std::string& path, const BmcState& state, std::string& error) {
  std::string temporary = path + ".XXXXXX";
  const int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd == -1) {
    error = WithReason("cannot create " + path, errno);
    return false;
  }
  const bool whole = WriteAll(fd, state) && fchmod(fd, kFileMode) == 0;
  const bool placed = whole && link(temporary.c_str(), path.c_str()) == 0;
  if (!placed) error = WithReason("cannot create " + path, errno);
  unlink(temporary.c_str());
  close(fd);
  return placed;
}

bool StateFile::Open(const std::string& path, std::string& error) {
  fd_ = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd_ == -1) return Fail(path, std::strerror(errno), error);
  struct stat status = {};
  if (fstat(fd_, &status) != 0) return Fail(path, std::strerror(errno), error);
  if (!S_ISREG(status.st_mode)) return Fail(path, "it is not a regular file", error);
  if (status.st_size != static_cast<off_t>(sizeof(BmcState))) {
    return Fail(path, "it is not a simulated BMC's state (its size is another)", error);
  }
  void* memory = mmap(nullptr, sizeof(BmcState), PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
  if (memory == MAP_FAILED) return Fail(path, std::strerror(errno), error);
  state_ = static_cast<BmcState*>(memory);
  Lock();
  const std::string wrong = CheckState(*state_);
  Unlock();
  return wrong.empty() || Fail(path, wrong, error);
}

bool StateFile::Fail(const std::string& path, const std::string& what, std::string& error) {
  error = "cannot use " + path + " as a BMC's state: " + what;
  Close();
  return false;
}

void StateFile::Lock() {
  while (flock(fd_, LOCK_EX) == -1 && errno == EINTR) {
  }
}

void StateFile::Unlock() { flock(fd_, LOCK_UN); }

BmcState* StateFile::Detach() {
  BmcState* const detached = state_;
  state_ = nullptr;
  Close();
  return detached;
}

}  // namespace bmcsim
