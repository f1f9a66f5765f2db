// A limit on the time that the code under test takes.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace tarvek_test {

/// Ends the process where it computes for 30 seconds more: a test of something that takes a
/// second, and minutes when its time grows with the square of its input.
inline void LimitCpuTime() {
  constexpr rlim_t kSeconds = 30;
  rusage used{};
  ASSERT_EQ(getrusage(RUSAGE_SELF, &used), 0);
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_CPU, &limit), 0);
  limit.rlim_cur = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + kSeconds;
  ASSERT_EQ(setrlimit(RLIMIT_CPU, &limit), 0);
}

}  // namespace tarvek_test
