#ifndef TARVEK_SIMULATOR_REAL_CALLS_H_
#define TARVEK_SIMULATOR_REAL_CALLS_H_

#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

namespace bmcsim {

/// The C library's functions that stand behind those of the preload library.
struct RealCalls {
  int (*open)(const char*, int, ...);
  int (*openat)(int, const char*, int, ...);
  int (*close)(int);
  int (*ioctl)(int, unsigned long, ...);
  int (*select)(int, fd_set*, fd_set*, fd_set*, timeval*);
  int (*fstat)(int, struct stat*);
  int (*fstat64)(int, struct stat64*);
  int (*usleep)(useconds_t);
  unsigned (*sleep)(unsigned);
  int (*nanosleep)(const timespec*, timespec*);
  int (*clock_nanosleep)(clockid_t, int, const timespec*, timespec*);
  time_t (*time)(time_t*);
  int (*clock_gettime)(clockid_t, timespec*);
  int (*gettimeofday)(timeval*, void*);
};

/// Finds them at its first call, which other libraries' start-up code may make before our own has
/// run.
const RealCalls& Real();

std::int64_t Nanoseconds(const timespec& time);
timespec Timespec(std::int64_t nanoseconds);

/// What a clock of the machine shows in truth, nanoseconds.
std::int64_t RealClock(clockid_t clock);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_REAL_CALLS_H_
