#include "simulator/real_calls.h"

#include <dlfcn.h>

#include "simulator/sim_clock.h"

namespace bmcsim {
namespace {

template <typename Function>
void Resolve(const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

const RealCalls& Real() {
  static constinit RealCalls calls = {};
  static constinit bool resolved = false;
  if (resolved) return calls;
  Resolve("open", calls.open);
  Resolve("openat", calls.openat);
  Resolve("close", calls.close);
  Resolve("ioctl", calls.ioctl);
  Resolve("select", calls.select);
  Resolve("fstat", calls.fstat);
  Resolve("fstat64", calls.fstat64);
  Resolve("usleep", calls.usleep);
  Resolve("sleep", calls.sleep);
  Resolve("nanosleep", calls.nanosleep);
  Resolve("clock_nanosleep", calls.clock_nanosleep);
  Resolve("time", calls.time);
  Resolve("clock_gettime", calls.clock_gettime);
  Resolve("gettimeofday", calls.gettimeofday);
  resolved = true;
  return calls;
}

std::int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

timespec Timespec(std::int64_t nanoseconds) {
  return {static_cast<time_t>(nanoseconds / kNanosecondsPerSecond),
          static_cast<long>(nanoseconds % kNanosecondsPerSecond)};
}

std::int64_t RealClock(clockid_t clock) {
  timespec now = {};
  Real().clock_gettime(clock, &now);
  return Nanoseconds(now);
}

}  // namespace bmcsim
