// libbmcsim.so: put under a program with LD_PRELOAD it answers the program's IPMI driver calls
// from a simulated BMC, and can let the program's waits pass at once. Every other path and
// descriptor goes on to the system untouched.
//
// A node's descriptor is in truth an open of the state file: a real descriptor that the program
// can select on, duplicate limits and close, and at the same time the one whose lock keeps other
// processes away for the length of a request. So the library holds no descriptor of its own but
// the trace's.
//
// It takes no memory from the heap while the program runs, and nothing it does needs undoing: a
// program that is killed inside a request, or whose signal handler ends it there, leaves no lock
// (the system drops it with the descriptor) and a whole state file (see bmc_state.h). It expects
// one thread to talk to the BMC.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "simulator/machine.h"
#include "simulator/preload.h"
#include "simulator/real_calls.h"

namespace bmcsim {
namespace {

constexpr unsigned kIpmiMajor = 240;
constexpr mode_t kNodeMode = S_IFCHR | 0600;

__attribute__((constructor)) void StartMachine() { g_machine.Start(); }
__attribute__((destructor)) void FinishMachine() { g_machine.Finish(); }

// What an open of `path` is to give: true with `result` when it is ours.
bool OpenSimulated(const char* path, int flags, int& result) {
  if (!g_machine.started() || path == nullptr) return false;
  const Driver driver = g_machine.nodes().DriverOf(path);
  if (driver != Driver::kNone) {
    const CpuMeter meter;
    result = g_machine.OpenNode(driver, flags);
    return true;
  }
  if (g_machine.nodes().IsDirectory(path)) {
    result = Real().open("/dev", flags);
    return true;
  }
  if (!DeviceNodes::IsKnown(path)) return false;
  errno = ENOENT;
  result = -1;
  return true;
}

// open has a mode only when the flags say so.
mode_t TakeMode(int flags, va_list arguments) {
  const bool has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return has_mode ? va_arg(arguments, mode_t) : 0;
}

int OpenAny(const char* path, int flags, mode_t mode) {
  int result = -1;
  return OpenSimulated(path, flags, result) ? result : Real().open(path, flags, mode);
}

int OpenAnyAt(int directory, const char* path, int flags, mode_t mode) {
  int result = -1;
  return OpenSimulated(path, flags, result) ? result : Real().openat(directory, path, flags, mode);
}

// Makes a state file's status that of the node that it stands in for.
template <typename Status>
void ShowNode(Status& status) {
  status.st_mode = kNodeMode;
  status.st_rdev = makedev(kIpmiMajor, 0);
  status.st_size = 0;
}

}  // namespace
}  // namespace bmcsim

using bmcsim::g_machine;
using bmcsim::Real;

BMCSIM_EXPORT int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAny(path, flags, mode);
}

BMCSIM_EXPORT int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAny(path, flags | O_LARGEFILE, mode);
}

BMCSIM_EXPORT int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAnyAt(directory, path, flags, mode);
}

BMCSIM_EXPORT int openat64(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAnyAt(directory, path, flags | O_LARGEFILE, mode);
}

// What a hardened program calls in place of open without a mode; the names are the C library's.
// NOLINTBEGIN(bugprone-reserved-identifier): the C library fixes the names
BMCSIM_EXPORT int __open_2(const char* path, int flags) { return bmcsim::OpenAny(path, flags, 0); }
BMCSIM_EXPORT int __open64_2(const char* path, int flags) {
  return bmcsim::OpenAny(path, flags | O_LARGEFILE, 0);
}
BMCSIM_EXPORT int __openat_2(int directory, const char* path, int flags) {
  return bmcsim::OpenAnyAt(directory, path, flags, 0);
}
BMCSIM_EXPORT int __openat64_2(int directory, const char* path, int flags) {
  return bmcsim::OpenAnyAt(directory, path, flags | O_LARGEFILE, 0);
}
// NOLINTEND(bugprone-reserved-identifier)

BMCSIM_EXPORT int close(int fd) {
  bmcsim::Port* port = g_machine.FindPort(fd);
  if (port != nullptr) port->fd = -1;
  return Real().close(fd);
}

BMCSIM_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  bmcsim::Port* port = g_machine.FindPort(fd);
  if (port == nullptr) return Real().ioctl(fd, request, argument);
  const bmcsim::CpuMeter meter;
  return g_machine.Ioctl(*port, request, argument);
}

BMCSIM_EXPORT int select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set,
                         timeval* timeout) {
  if (!g_machine.started()) return Real().select(count, read_set, write_set, error_set, timeout);
  const bmcsim::CpuMeter meter;
  return g_machine.Select(count, read_set, write_set, error_set, timeout);
}

BMCSIM_EXPORT int fstat(int fd, struct stat* status) noexcept {
  const int result = Real().fstat(fd, status);
  if (result == 0 && g_machine.FindPort(fd) != nullptr) bmcsim::ShowNode(*status);
  return result;
}

BMCSIM_EXPORT int fstat64(int fd, struct stat64* status) noexcept {
  const int result = Real().fstat64(fd, status);
  if (result == 0 && g_machine.FindPort(fd) != nullptr) bmcsim::ShowNode(*status);
  return result;
}
