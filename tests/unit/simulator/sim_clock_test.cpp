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

TEST(SimClockTest, StepsMoveTheWallClockAlone) {
  for (const char* text : {"real", "virtual"}) {
    SimClock clock = ClockOf(text);
    EXPECT_EQ(clock.WallNow(kReal), kReal);
    clock.Step(100);
    EXPECT_EQ(clock.WallNow(kReal), kReal + 100);
    clock.Step(-300);
    EXPECT_EQ(clock.WallNow(kReal), kReal - 200);
    EXPECT_EQ(clock.Now(kReal), kReal);
  }
  SimClock clock = ClockOf("virtual:1700000000");
  clock.Advance(7);
  clock.Step(-5);
  EXPECT_EQ(clock.WallNow(kReal), 1700000000 * bmcsim::kNanosecondsPerSecond + 2);
  EXPECT_EQ(clock.Now(kReal), 1700000000 * bmcsim::kNanosecondsPerSecond + 7);
}

TEST(SimClockTest, WallClockStopsAtTheEpoch) {
  SimClock clock = ClockOf("virtual:5");
  clock.Step(-6 * bmcsim::kNanosecondsPerSecond);
  EXPECT_EQ(clock.WallNow(kReal), 0);
  clock.Step(2 * bmcsim::kNanosecondsPerSecond);
  EXPECT_EQ(clock.WallNow(kReal), bmcsim::kNanosecondsPerSecond);
}

TEST(SimClockTest, RealTimeIsShownUntilTheFirstStepOrTheFirstSkippedWait) {
  SimClock clock = ClockOf("real");
  EXPECT_TRUE(clock.shows_real_time());
  clock.Step(1);
  EXPECT_FALSE(clock.shows_real_time());
  EXPECT_FALSE(ClockOf("virtual").shows_real_time());
  EXPECT_FALSE(ClockOf("virtual:9").shows_real_time());
}

TEST(SimClockTest, ParsingAgainForgetsTheWaitsAndTheSteps) {
  SimClock clock = ClockOf("virtual");
  clock.Advance(99);
  clock.Step(5);
  std::string error;
  ASSERT_TRUE(clock.Parse("virtual", error));
  EXPECT_EQ(clock.Now(0), 0);
  EXPECT_EQ(clock.WallNow(0), 0);
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
