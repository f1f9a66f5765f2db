#include "control/show/telling.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

#include "control/system/descriptor.h"

namespace tarvek::control {
namespace {

constexpr std::size_t kMuch = 1 << 20;  // more than a pipe holds

class Telling : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0); }
  void TearDown() override {
    close(ends_[0]);
    close(ends_[1]);
  }

  std::array<int, 2> ends_{};
  const Interrupts interrupts_;
};

TEST_F(Telling, WaitsForASlowReader) {
  const std::string text(kMuch, 'x');
  std::string read_text;
  std::thread reader([&] {
    std::array<char, 1000> piece{};
    while (read_text.size() < text.size()) {
      const ssize_t count = read(ends_[0], piece.data(), piece.size());
      if (count <= 0) return;
      read_text.append(piece.data(), static_cast<std::size_t>(count));
    }
  });
  EXPECT_EQ(Tell(ends_[1], text, interrupts_), 0);
  reader.join();
  EXPECT_EQ(read_text, text);
}

TEST_F(Telling, IsEndedByAnInterruptWhereNobodyReads) {
  std::thread other([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    kill(getpid(), SIGTERM);
  });
  EXPECT_EQ(Tell(ends_[1], std::string(kMuch, 'x'), interrupts_), 0);
  other.join();
}

TEST_F(Telling, IsEndedByAnInterruptAtATerminalThatDoesNotTakeAll) {
  const Descriptor controller(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(grantpt(controller.get()), 0);
  ASSERT_EQ(unlockpt(controller.get()), 0);
  const Descriptor terminal(open(ptsname(controller.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(static_cast<bool>(terminal));
  std::thread other([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    kill(getpid(), SIGINT);
  });
  EXPECT_EQ(Tell(terminal.get(), std::string(kMuch, 'x'), interrupts_), 0);
  other.join();
}

TEST_F(Telling, OfWhatCanBeWrittenIsEndedByNothing) {
  raise(SIGINT);
  EXPECT_EQ(Tell(ends_[1], "told", interrupts_), 0);
  std::array<char, 8> read_text{};
  EXPECT_EQ(read(ends_[0], read_text.data(), read_text.size()), 4);
}

TEST_F(Telling, EndsQuietlyWhenTheReaderIsGone) {
  close(ends_[0]);
  EXPECT_EQ(Tell(ends_[1], "told", interrupts_), 0);
  ends_[0] = dup(ends_[1]);
}

TEST_F(Telling, SaysWhatCannotBeWritten) {
  const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(Tell(full.get(), "told", interrupts_), ENOSPC);
}

}  // namespace
}  // namespace tarvek::control
