#include "control/system/watch.h"

#include <gtest/gtest.h>

#include "control/system/interrupts.h"
#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

constexpr int kAtOnce = 0;  // milliseconds

/// A directory that is watched, and in which nothing has happened since.
class WatchTest : public ::testing::Test {
 protected:
  WatchTest() {
    directory_.Write("there", "1");
    EXPECT_TRUE(directory_.TryLock("lock"));
    watch_.Add(directory_);
    EXPECT_FALSE(HasTold());
  }

  /// Whether the watch told of anything since it was last asked.
  bool HasTold() const {
    const bool told = WaitFor(watch_.fd(), nullptr, kAtOnce) == Woken::kReadable;
    watch_.Drain();
    return told;
  }

  const ScratchDirectory scratch_;
  const Directory directory_ = Directory::Open(scratch_.Path(""));
  Watch watch_;
};

TEST_F(WatchTest, TellsOfAFileThatAppears) {
  directory_.Write("new", "1");
  EXPECT_TRUE(HasTold());
  EXPECT_FALSE(HasTold());
}

TEST_F(WatchTest, TellsOfAFileThatIsReplaced) {
  directory_.Write("there", "2");
  EXPECT_TRUE(HasTold());
}

TEST_F(WatchTest, TellsOfAFileThatGoes) {
  directory_.Remove("there");
  EXPECT_TRUE(HasTold());
}

// Who waits for a run tries its lock each time that something has happened: if that were something
// itself, waiting would never rest.
TEST_F(WatchTest, SaysNothingOfALockThatIsTriedAndOfFilesThatAreRead) {
  EXPECT_TRUE(directory_.TryLock("lock"));
  EXPECT_EQ(directory_.Read("there"), "1");
  EXPECT_EQ(directory_.Names().size(), 2U);
  EXPECT_FALSE(HasTold());
}

}  // namespace
}  // namespace tarvek::control
