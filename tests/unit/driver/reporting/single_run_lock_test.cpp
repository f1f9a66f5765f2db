#include "driver/reporting/single_run_lock.h"

#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "driver/reporting/console.h"
#include "driver/reporting/output_file.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "tests/unit/support/private_lock.h"

namespace tarvek_test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kDuplexMessage = "The update/backup has already been being executed. ";
constexpr int kUnexpected = 111;  // status of a child that went on where it should have ended
constexpr std::array<int, 3> kReleasingSignals{15, 6, 2};

using SingleRunLock = LockedRun;

/// Runs `action` in a child process; the child ends with kUnexpected if `action` returns.
pid_t Start(const std::function<void()>& action) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  action();
  _exit(kUnexpected);
}

/// @return the exit status of a child, or -1 when it did not exit by itself.
int StatusOf(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

int StatusOfChild(const std::function<void()>& action) { return StatusOf(Start(action)); }

TEST_F(SingleRunLock, UpdatesAndBackupsTakeTheLockAndKeepIt) {
  for (const int mode : {kNormalUpdate, kForcedUpdate, kBackup}) {
    SCOPED_TRACE(mode);
    g_eu_flg = mode;
    EXPECT_EQ(CheckDuplex(), 0);
    EXPECT_TRUE(LockExists());
    EXPECT_NE(sem_ptr.load(), nullptr);
    EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
    sem_post_proc(0);
    EXPECT_FALSE(LockExists());
    EXPECT_EQ(sem_ptr.load(), nullptr);
  }
}

TEST_F(SingleRunLock, TheLockIsAFreshSemaphoreThatStandsAtZero) {
  g_eu_flg = kNormalUpdate;
  const mode_t mask = umask(0);
  EXPECT_EQ(CheckDuplex(), 0);
  umask(mask);
  int value = -1;
  EXPECT_EQ(sem_getvalue(sem_ptr.load(), &value), 0);
  EXPECT_EQ(value, 0);
  struct stat info {};
  ASSERT_EQ(stat("/dev/shm/sem.tarvek_exe", &info), 0);
  EXPECT_EQ(info.st_mode & 0777U, 0777U);
}

TEST_F(SingleRunLock, ASecondRunIsRefused) {
  struct Case {
    int mode;
    const char* file;
  };
  constexpr std::array<Case, 2> kCases{
      {{kNormalUpdate, "Update_normal.xml"}, {kForcedUpdate, "Update_force.xml"}}};
  TakeLockAsAnotherRun();
  for (const Case& c : kCases) {
    g_eu_flg = c.mode;
    EXPECT_EQ(CheckDuplex(), 1);
    EXPECT_EQ(sem_ptr.load(), nullptr);
    EXPECT_EQ(ReadFile(c.file), ResultText("Duplex"));
    EXPECT_EQ(LogTexts(), Lines{kDuplexMessage});
    EXPECT_TRUE(LockExists()) << "the other run's lock stays";
    std::filesystem::remove("tarvek.log");
  }
}

TEST_F(SingleRunLock, ASecondBackupIsRefusedInTheLogAlone) {
  TakeLockAsAnotherRun();
  g_eu_flg = kBackup;
  EXPECT_EQ(CheckDuplex(), 1);
  EXPECT_EQ(ReadFile("tarvek.log"), std::string("2001/09/09 01:46:40  ") + kDuplexMessage + "\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
}

TEST_F(SingleRunLock, ASecondDirectUpdateIsRefusedOnTheConsole) {
  TakeLockAsAnotherRun();
  g_eu_flg = kNormalUpdate;
  g_direct_flg = 1;
  g_display_flg = 1;
  int result = 0;
  EXPECT_EQ(ConsoleOf([&] { result = CheckDuplex(); }), std::string(kDuplexMessage) + "\n");
  EXPECT_EQ(result, 1);
  EXPECT_FALSE(std::filesystem::exists("Update_normal.xml"));
}

TEST_F(SingleRunLock, ARefusedRunReleasesNothing) {
  TakeLockAsAnotherRun();
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(CheckDuplex(), 1);
  sem_post_proc(0);
  EXPECT_TRUE(LockExists());
}

TEST_F(SingleRunLock, ARefusalIsNotHeldBack) {
  TakeLockAsAnotherRun();
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(CheckDuplex(), 1);
  EXPECT_TRUE(machine().sleeps.empty());
}

TEST_F(SingleRunLock, AVersionQueryOnlyTestsTheLock) {
  g_eu_flg = kVersionQuery;
  EXPECT_EQ(CheckDuplex(), 0);
  EXPECT_FALSE(LockExists());
  EXPECT_EQ(sem_ptr.load(), nullptr);
  EXPECT_TRUE(std::filesystem::is_empty(".")) << "neither a log nor a result file";
}

TEST_F(SingleRunLock, AVersionQueryDoesNotRemoveALockThatIsTakenAfterItsTest) {
  g_eu_flg = kVersionQuery;
  EXPECT_EQ(CheckDuplex(), 0);
  TakeLockAsAnotherRun();
  sem_post_proc(0);
  EXPECT_TRUE(LockExists());
}

TEST_F(SingleRunLock, AVersionQueryDuringAnUpdateIsBusyAndDisturbsNothing) {
  TakeLockAsAnotherRun();
  g_eu_flg = kVersionQuery;
  EXPECT_EQ(CheckDuplex(), 1);
  EXPECT_EQ(ReadFile("Get_version.xml"), ResultText("Busy", "<cmp></cmp><version></version>"));
  EXPECT_EQ(ReadFile("tarvek_version.log"), "2001/09/09 01:46:40  \n");
  EXPECT_TRUE(LockExists());
  sem_post_proc(0);
  EXPECT_TRUE(LockExists());
}

TEST_F(SingleRunLock, AProgressQueryNeitherTakesNorTestsTheLock) {
  g_eu_flg = kProgressQuery;
  EXPECT_EQ(CheckDuplex(), 0);
  EXPECT_FALSE(LockExists());
  TakeLockAsAnotherRun();
  EXPECT_EQ(CheckDuplex(), 0);
  sem_post_proc(0);
  EXPECT_TRUE(LockExists());
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(SingleRunLock, ReleasingTwiceLeavesTheNextRunsLockAlone) {
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(CheckDuplex(), 0);
  sem_post_proc(0);
  TakeLockAsAnotherRun();
  sem_post_proc(0);
  EXPECT_TRUE(LockExists());
}

TEST_F(SingleRunLock, ALockThatWasReleasedCanBeTakenAgain) {
  g_eu_flg = kNormalUpdate;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(CheckDuplex(), 0);
    EXPECT_TRUE(LockExists());
    sem_post_proc(0);
  }
}

TEST_F(SingleRunLock, OfManyUpdatesStartedAtOnceExactlyOneGoesOn) {
  constexpr int kRuns = 8;
  std::array<int, 2> start{};
  ASSERT_EQ(pipe(start.data()), 0);
  g_eu_flg = kNormalUpdate;
  std::vector<pid_t> runs;
  for (int i = 0; i < kRuns; ++i) {
    runs.push_back(Start([&] {
      close(start[1]);
      char unused = 0;
      if (read(start[0], &unused, 1) != 0) _exit(kUnexpected);  // until the starter closes it
      _exit(CheckDuplex());
    }));
  }
  close(start[0]);
  close(start[1]);
  int went_on = 0;
  int refused = 0;
  for (const pid_t run : runs) {
    const int status = StatusOf(run);
    went_on += status == 0 ? 1 : 0;
    refused += status == 1 ? 1 : 0;
  }
  EXPECT_EQ(went_on, 1);
  EXPECT_EQ(refused, kRuns - 1);
  EXPECT_EQ(LogTexts(), Lines(kRuns - 1, kDuplexMessage));
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("Duplex"));
  EXPECT_TRUE(LockExists()) << "the run that went on was not ended in an orderly way";
}

TEST_F(SingleRunLock, ReleasingWithAStatusEndsTheProcess) {
  g_eu_flg = kNormalUpdate;
  for (const int status : {1, 2, 6, 15, 77}) {
    EXPECT_EQ(StatusOfChild([&] {
                if (CheckDuplex() != 0) return;
                sem_post_proc(status);
              }),
              status);
    EXPECT_FALSE(LockExists());
  }
}

TEST_F(SingleRunLock, EachReleasingSignalEndsTheRunWithItsNumber) {
  g_eu_flg = kNormalUpdate;
  for (const int number : kReleasingSignals) {
    SCOPED_TRACE(number);
    EXPECT_EQ(StatusOfChild([&] {
                InstallReleaseHandlers();
                if (CheckDuplex() != 0 || !LockExists()) return;
                raise(number);
              }),
              number);
    EXPECT_FALSE(LockExists());
  }
}

TEST_F(SingleRunLock, AnAbortReleasesTheLock) {
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(StatusOfChild([] {
              InstallReleaseHandlers();
              if (CheckDuplex() == 0) std::abort();
            }),
            6);
  EXPECT_FALSE(LockExists());
}

TEST_F(SingleRunLock, ASignalWithoutTheLockLeavesAForeignLockAlone) {
  TakeLockAsAnotherRun();
  for (const int number : kReleasingSignals) {
    SCOPED_TRACE(number);
    EXPECT_EQ(StatusOfChild([&] {
                InstallReleaseHandlers();
                raise(number);
              }),
              number);
    EXPECT_TRUE(LockExists());
  }
}

TEST_F(SingleRunLock, ASignalAfterTheReleaseLeavesTheNextRunsLockAlone) {
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(StatusOfChild([] {
              InstallReleaseHandlers();
              if (CheckDuplex() != 0) return;
              sem_post_proc(0);
              TakeLockAsAnotherRun();
              raise(SIGTERM);
            }),
            15);
  EXPECT_TRUE(LockExists());
}

TEST_F(SingleRunLock, ASignalToARefusedRunLeavesTheLockAlone) {
  TakeLockAsAnotherRun();
  g_eu_flg = kForcedUpdate;
  EXPECT_EQ(StatusOfChild([] {
              InstallReleaseHandlers();
              if (CheckDuplex() == 1) raise(SIGINT);
            }),
            2);
  EXPECT_TRUE(LockExists());
}

/// A last act that leaves a trace, and in it whether the lock was still held.
void LeaveTrace() {
  const bool held = access("/dev/shm/sem.tarvek_exe", F_OK) == 0;
  tarvek::WriteOutput("acts", tarvek::Keep::kContent, held ? "held " : "released ");
}

TEST_F(SingleRunLock, TheLastActIsDoneOnceAndBeforeTheLockIsReleased) {
  g_eu_flg = kNormalUpdate;
  for (const int number : kReleasingSignals) {
    SCOPED_TRACE(number);
    std::filesystem::remove("acts");
    EXPECT_EQ(StatusOfChild([&] {
                InstallReleaseHandlers();
                tarvek::SetLastAct(LeaveTrace);
                if (CheckDuplex() == 0) raise(number);
              }),
              number);
    EXPECT_EQ(ReadFile("acts"), "held ");
    EXPECT_FALSE(LockExists());
  }
}

TEST_F(SingleRunLock, WithoutASignalThereIsNoLastAct) {
  g_eu_flg = kNormalUpdate;
  tarvek::SetLastAct(LeaveTrace);
  EXPECT_EQ(CheckDuplex(), 0);
  sem_post_proc(0);
  EXPECT_FALSE(std::filesystem::exists("acts"));
}

TEST_F(SingleRunLock, ALastActCanBeTakenBack) {
  EXPECT_EQ(StatusOfChild([] {
              InstallReleaseHandlers();
              tarvek::SetLastAct(LeaveTrace);
              tarvek::SetLastAct(nullptr);
              raise(SIGTERM);
            }),
            15);
  EXPECT_FALSE(std::filesystem::exists("acts"));
}

TEST_F(SingleRunLock, ASecondSignalWaitsForTheLastAct) {
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(StatusOfChild([] {
              InstallReleaseHandlers();
              tarvek::SetLastAct([] {
                raise(SIGTERM);
                raise(SIGINT);
                LeaveTrace();
              });
              if (CheckDuplex() == 0) raise(SIGABRT);
            }) == kUnexpected,
            false);
  EXPECT_EQ(ReadFile("acts"), "held ");
  EXPECT_FALSE(LockExists());
}

TEST_F(SingleRunLock, ALastActThatDoesNotEndIsCutOff) {
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(StatusOfChild([] {
              sigset_t all;
              sigfillset(&all);
              sigdelset(&all, SIGTERM);
              sigprocmask(SIG_BLOCK, &all, nullptr);  // as a caller may have left it
              InstallReleaseHandlers();
              tarvek::SetLastAct([] {
                if (alarm(0) == 0) _exit(kUnexpected);  // it would have been a long wait
                raise(SIGALRM);
                _exit(kUnexpected);
              });
              if (CheckDuplex() == 0) raise(SIGTERM);
            }),
            15);
  EXPECT_FALSE(LockExists());
}

TEST_F(SingleRunLock, OtherSignalsAreLeftToTheSystem) {
  EXPECT_EQ(StatusOfChild([] {
              // The caller of the test may have had them ignored.
              std::signal(SIGHUP, SIG_DFL);
              std::signal(SIGPIPE, SIG_DFL);
              InstallReleaseHandlers();
              if (std::signal(SIGHUP, SIG_DFL) == SIG_DFL &&
                  std::signal(SIGPIPE, SIG_DFL) == SIG_DFL &&
                  std::signal(SIGTERM, SIG_DFL) == sem_post_proc) {
                _exit(0);
              }
            }),
            0);
}

TEST_F(SingleRunLock, TakingAndReleasingKeepTheSignalMask) {
  g_eu_flg = kNormalUpdate;
  sigset_t before;
  sigset_t after;
  sigemptyset(&before);
  sigaddset(&before, SIGUSR1);
  sigset_t original;
  ASSERT_EQ(sigprocmask(SIG_SETMASK, &before, &original), 0);
  EXPECT_EQ(CheckDuplex(), 0);
  sem_post_proc(0);
  ASSERT_EQ(sigprocmask(SIG_SETMASK, &original, &after), 0);
  EXPECT_EQ(sigismember(&after, SIGUSR1), 1);
  for (const int number : kReleasingSignals) EXPECT_EQ(sigismember(&after, number), 0) << number;
}

TEST_F(SingleRunLock, ASignalThatIsHeldStrikesWhenNobodyHoldsItAnyMore) {
  for (const int number : kReleasingSignals) {
    SCOPED_TRACE(number);
    WriteFile("steps", "");
    const auto step = [](const char* text) {
      tarvek::WriteOutput("steps", tarvek::Keep::kContent, text);
    };
    EXPECT_EQ(StatusOfChild([&] {
                InstallReleaseHandlers();
                {
                  const tarvek::SignalsHeld outer;
                  {
                    const tarvek::SignalsHeld inner;
                    raise(number);
                    step("inner ");
                  }
                  step("outer ");
                }
                step("after");
              }),
              number);
    EXPECT_EQ(ReadFile("steps"), "inner outer ");
  }
}

/// What `action`, run in a child, writes to standard output when that is a pipe.
std::string PipedOutputOfChild(const std::function<void()>& action, int* status) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return "(no pipe)";
  const pid_t child = Start([&] {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    action();
  });
  close(ends[1]);
  std::string output;
  std::array<char, 256> buffer{};
  for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    output.append(buffer.data(), static_cast<std::size_t>(count));
  }
  close(ends[0]);
  *status = StatusOf(child);
  return output;
}

TEST_F(SingleRunLock, ConsoleTextWrittenBeforeASignalIsNotLost) {
  g_eu_flg = kNormalUpdate;
  for (const int number : kReleasingSignals) {
    int status = 0;
    const std::string output = PipedOutputOfChild(
        [&] {
          InstallReleaseHandlers();
          if (CheckDuplex() != 0) return;
          tarvek::ConsoleWrite("a line\nand a part of one");
          raise(number);
        },
        &status);
    EXPECT_EQ(output, "a line\nand a part of one");
    EXPECT_EQ(status, number);
    EXPECT_FALSE(LockExists());
  }
}

TEST_F(SingleRunLock, ASignalThatComesWhileTheLockIsTakenOrReleasedLeavesNoLockBehind) {
  g_eu_flg = kNormalUpdate;
  // A child that does nothing but take and release the lock is hit at any point of that.
  for (int round = 0; round < 40; ++round) {
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t child = Start([&] {
      InstallReleaseHandlers();
      if (write(ready[1], "", 1) != 1) return;
      while (CheckDuplex() == 0) sem_post_proc(0);
    });
    char unused = 0;
    ASSERT_EQ(read(ready[0], &unused, 1), 1);
    for (int i = 0; i < round; ++i) sched_yield();
    kill(child, SIGTERM);
    EXPECT_EQ(StatusOf(child), 15);
    EXPECT_FALSE(LockExists()) << round;
    close(ready[0]);
    close(ready[1]);
  }
}

}  // namespace
}  // namespace tarvek_test
