#include "simulator/sim_clock.h"

#include <gtest/gtest.h>

namespace bmcsim_test {
namespace {

using bmcsim::SimClock;

constexpr std::int64_t kReal = 5000000000;

SimClock ClockOf(const std::string& text) {
  SimClock clock;
  std::string error;
  EXPECT_TRUE(clock.Parse(text, error)) << error;
  return clock;
}

TEST(SimClockTest, RealClockIsTheMachines) {
  for (const char* text : {"", "real"}) {
    const SimClock clock = ClockOf(text);
    EXPECT_FALSE(clock.is_virtual());
    EXPECT_EQ(clock.Now(kReal), kReal);
  }
}

TEST(SimClockTest, VirtualClockRunsAheadByTheSkippedWaits) {
  SimClock clock = ClockOf("virtual");
  EXPECT_TRUE(clock.is_virtual());
  EXPECT_EQ(clock.Now(kReal), kReal);
  clock.Advance(30);
  clock.Advance(12);
  EXPECT_EQ(clock.Now(kReal), kReal + 42);
  EXPECT_EQ(clock.Now(kReal + 1), kReal + 43);
}

TEST(SimClockTest, FixedClockMovesByWaitsAlone) {
  SimClock clock = ClockOf("virtual:1700000000");
  EXPECT_TRUE(clock.is_virtual());
  EXPECT_EQ(clock.Now(kReal), 1700000000 * bmcsim::kNanosecondsPerSecond);
  EXPECT_EQ(clock.Now(2 * kReal), 1700000000 * bmcsim::kNanosecondsPerSecond);
  clock.Advance(7);
  EXPECT_EQ(clock.Now(kReal), 1700000000 * bmcsim::kNanosecondsPerSecond + 7);
}

TEST(SimClockTest, ParsingAgainForgetsTheWaits) {
  SimClock clock = ClockOf("virtual");
  clock.Advance(99);
  std::string error;
  ASSERT_TRUE(clock.Parse("virtual", error));
  EXPECT_EQ(clock.Now(0), 0);
}

TEST(SimClockTest, OtherTextsAreRefused) {
  for (const char* text : {"Real", "virtual:", "virtual:x", "virtual:1x", "virtual:-1", "virtua",
                           "virtual 5", "virtual:4294967296", "virtual:99999999999999999999"}) {
    SimClock clock;
    std::string error;
    EXPECT_FALSE(clock.Parse(text, error)) << text;
    EXPECT_EQ(error, "clock '" + std::string(text) +
                         "': it is real, virtual or virtual:EPOCH (seconds since 1970)");
    EXPECT_FALSE(clock.is_virtual());
  }
}

}  // namespace
}  // namespace bmcsim_test
