#include "tests/fuzz/nowhere_files.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "tests/fuzz/require.h"

namespace {

// The descriptor of every such file: the largest that select() takes, so no real one's.
constexpr int kNowhere = FD_SETSIZE - 1;

bool active = false;
int open_files = 0;

int OpenNowhere() {
  ++open_files;
  return kNowhere;
}

int CloseNowhere(void* /*cookie*/ = nullptr) {
  --open_files;
  return 0;
}

ssize_t WriteNowhere(void* /*cookie*/, const char* /*bytes*/, std::size_t size) {
  return static_cast<ssize_t>(size);
}

/// A stream of a file that was counted when it was opened.
std::FILE* StreamToNowhere(const char* mode) {
  std::FILE* const stream =
      fopencookie(nullptr, mode, {nullptr, WriteNowhere, nullptr, CloseNowhere});
  tarvek_fuzz::Require(stream != nullptr, "there is a stream");
  setvbuf(stream, nullptr, _IONBF, 0);
  return stream;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker fixes the names
extern "C" {
int __real_open(const char* path, int flags, ...);
std::FILE* __real_fopen(const char* path, const char* mode);
std::FILE* __real_fdopen(int fd, const char* mode);
ssize_t __real_write(int fd, const void* bytes, std::size_t size);
int __real_close(int fd);

int __wrap_open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return active ? OpenNowhere() : __real_open(path, flags, mode);
}

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (!active) return __real_fopen(path, mode);
  OpenNowhere();
  return StreamToNowhere(mode);
}

std::FILE* __wrap_fdopen(int fd, const char* mode) {
  return fd == kNowhere ? StreamToNowhere(mode) : __real_fdopen(fd, mode);
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t size) {
  return fd == kNowhere ? static_cast<ssize_t>(size) : __real_write(fd, bytes, size);
}

int __wrap_close(int fd) { return fd == kNowhere ? CloseNowhere() : __real_close(fd); }
}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace tarvek_fuzz {

NowhereFiles::NowhereFiles() {
  // Without it every time stamp looks at the system's time zone file.
  static const int zone_set = setenv("TZ", "UTC0", 1);
  Require(zone_set == 0, "the time zone can be set");
  active = true;
}

NowhereFiles::~NowhereFiles() {
  active = false;
  Require(open_files == 0, "what was opened is closed");
}

}  // namespace tarvek_fuzz
