// The calls of libbmcsim.so that wait, and those that tell the time.

#include <sys/time.h>
#include <unistd.h>

#include <ctime>

#include "simulator/machine.h"
#include "simulator/preload.h"
#include "simulator/real_calls.h"
#include "simulator/sim_clock.h"

namespace bmcsim {
namespace {

void PassAtOnce(std::int64_t nanoseconds) {
  const CpuMeter meter;
  g_machine.clock().Advance(nanoseconds);
}

// What a clock shows to the program; `real` is what it shows in truth.
std::int64_t Shown(clockid_t clock, std::int64_t real) {
  switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_TAI:
      return g_machine.clock().shows_real_time() ? real : g_machine.clock().WallNow(real);
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_BOOTTIME:
      return g_machine.clock().Now(real);
    default:
      return real;
  }
}

std::int64_t WallClock() { return g_machine.clock().WallNow(RealClock(CLOCK_REALTIME)); }

}  // namespace
}  // namespace bmcsim

using bmcsim::g_machine;
using bmcsim::Real;

BMCSIM_EXPORT int usleep(useconds_t microseconds) {
  if (!g_machine.started()) return Real().usleep(microseconds);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().usleep(microseconds);
  bmcsim::PassAtOnce(microseconds * bmcsim::kNanosecondsPerMicrosecond);
  return 0;
}

BMCSIM_EXPORT unsigned sleep(unsigned seconds) {
  if (!g_machine.started()) return Real().sleep(seconds);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().sleep(seconds);
  bmcsim::PassAtOnce(seconds * bmcsim::kNanosecondsPerSecond);
  return 0;
}

BMCSIM_EXPORT int nanosleep(const timespec* wait, timespec* rest) {
  if (!g_machine.started()) return Real().nanosleep(wait, rest);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().nanosleep(wait, rest);
  bmcsim::PassAtOnce(bmcsim::Nanoseconds(*wait));
  return 0;
}

BMCSIM_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec* wait,
                                  timespec* rest) {
  if (!g_machine.started()) return Real().clock_nanosleep(clock, flags, wait, rest);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().clock_nanosleep(clock, flags, wait, rest);
  std::int64_t nanoseconds = bmcsim::Nanoseconds(*wait);
  if ((flags & TIMER_ABSTIME) != 0) nanoseconds -= bmcsim::Shown(clock, bmcsim::RealClock(clock));
  if (nanoseconds > 0) bmcsim::PassAtOnce(nanoseconds);
  return 0;
}

BMCSIM_EXPORT int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const int result = Real().clock_gettime(clock, now);
  if (result == 0) *now = bmcsim::Timespec(bmcsim::Shown(clock, bmcsim::Nanoseconds(*now)));
  return result;
}

BMCSIM_EXPORT time_t time(time_t* now) noexcept {
  if (g_machine.clock().shows_real_time()) return Real().time(now);
  const auto seconds = static_cast<time_t>(bmcsim::WallClock() / bmcsim::kNanosecondsPerSecond);
  if (now != nullptr) *now = seconds;
  return seconds;
}

BMCSIM_EXPORT int gettimeofday(timeval* now, void* zone) noexcept {
  const int result = Real().gettimeofday(now, zone);
  if (result == 0 && !g_machine.clock().shows_real_time()) {
    const timespec shown = bmcsim::Timespec(bmcsim::WallClock());
    now->tv_sec = shown.tv_sec;
    now->tv_usec = static_cast<suseconds_t>(shown.tv_nsec / bmcsim::kNanosecondsPerMicrosecond);
  }
  return result;
}
