#include "driver/reporting/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using Console = FreshRun;

TEST_F(Console, WritesTextAsItStands) {
  EXPECT_EQ(ConsoleOf([] { tarvek::ConsoleWrite("50% done, %s and %n\n"); }),
            "50% done, %s and %n\n");
  EXPECT_EQ(ConsoleOf([] { tarvek::ConsoleWrite(""); }), "");
}

TEST_F(Console, ShowsTheCounterOnOneLineWhenTheRunEchoes) {
  g_display_flg = 1;
  const std::string shown = ConsoleOf([] {
    tarvek::ConsoleCounter(1);
    tarvek::ConsoleCounter(2);
    tarvek::ConsoleCounter(65535);
    tarvek::ConsoleCounterEnd();
  });
  EXPECT_EQ(shown, " ----- > #1\r ----- > #2\r ----- > #65535\r\n");
}

TEST_F(Console, ShowsNoCounterInAQuietRun) {
  g_display_flg = 0;
  const std::string shown = ConsoleOf([] {
    tarvek::ConsoleCounter(1);
    tarvek::ConsoleCounterEnd();
  });
  EXPECT_EQ(shown, "");
}

/// Standard output as a pipe for as long as it lives.
class PipedOutput {
 public:
  PipedOutput() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
    read_end_ = ends[0];
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
  }
  ~PipedOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    close(read_end_);
  }
  PipedOutput(const PipedOutput&) = delete;
  PipedOutput& operator=(const PipedOutput&) = delete;

  /// What has come through so far.
  std::string Arrived() const {
    std::array<char, 256> buffer{};
    const ssize_t count = read(read_end_, buffer.data(), buffer.size());
    return {buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }

 private:
  int saved_ = -1;
  int read_end_ = -1;
};

TEST_F(Console, EveryWriteAppearsAtOnceThroughAPipe) {
  g_display_flg = 1;
  std::array<std::string, 4> arrived;
  {
    const PipedOutput pipe;
    tarvek::ConsoleWrite("first\n");
    arrived[0] = pipe.Arrived();
    tarvek::ConsoleWrite("no line feed");
    arrived[1] = pipe.Arrived();
    tarvek::ConsoleCounter(7);
    arrived[2] = pipe.Arrived();
    tarvek::ConsoleCounterEnd();
    arrived[3] = pipe.Arrived();
  }
  EXPECT_EQ(arrived[0], "first\n");
  EXPECT_EQ(arrived[1], "no line feed");
  EXPECT_EQ(arrived[2], " ----- > #7\r");
  EXPECT_EQ(arrived[3], "\n");
}

TEST_F(Console, ALineMayBeEmptyWithoutAPlace) {
  EXPECT_EQ(ConsoleOf([] { tarvek::ConsoleWriteLine(std::string_view()); }), "\n");
  EXPECT_EQ(ConsoleOf([] { tarvek::ConsoleWriteLine("a\n"); }), "a\n");
}

}  // namespace
}  // namespace tarvek_test
