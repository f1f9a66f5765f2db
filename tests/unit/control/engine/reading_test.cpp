#include "control/engine/reading.h"

#include <gtest/gtest.h>

#include <csignal>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

class Waiting : public testing::Test {
 protected:
  Child Start(const std::string& command) {
    const Descriptor output = directory_.Append("output");
    return Child::Start("/bin/sh", {"-c", command}, directory_, output.get(), interrupts_);
  }

  ScratchDirectory scratch_;
  const Interrupts interrupts_;
  const Directory directory_ =
      Directory::OpenOrMake(scratch_.Path("work"), Directory::kPrivateDirectory);
  bool interrupted_ = false;
};

TEST_F(Waiting, EndsWithTheProgram) {
  const Child child = Start("exit 7");
  const auto end = WaitForChild(child, &interrupts_, &interrupted_, [] { return true; });
  ASSERT_TRUE(end.has_value());
  EXPECT_EQ(end->status, 7);
  EXPECT_FALSE(interrupted_);
}

TEST_F(Waiting, HandsTheFirstInterruptOn) {
  const Child child = Start("sleep 1000 & wait");
  raise(SIGTERM);
  const auto end = WaitForChild(child, &interrupts_, &interrupted_, [] { return true; });
  ASSERT_TRUE(end.has_value());
  EXPECT_EQ(end->signal, SIGTERM);
  EXPECT_TRUE(interrupted_);
}

TEST_F(Waiting, IsGivenUpForAProgramThatDoesNotEnd) {
  const Child child = Start("exec sleep 1000");
  int left = 2;
  EXPECT_FALSE(WaitForChild(child, &interrupts_, &interrupted_, [&] { return left-- > 0; }));
  child.Signal(SIGKILL);
  EXPECT_EQ(child.Reap().signal, SIGKILL);
}

}  // namespace
}  // namespace tarvek::control
