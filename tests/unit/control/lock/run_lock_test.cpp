#include "control/lock/run_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "control/system/descriptor.h"
#include "tests/unit/control/lock/lock_machine.h"
#include "tests/unit/support/lock_name.h"

namespace tarvek::control {
namespace {

constexpr uid_t kNobody = 65534;
constexpr int kSkipped = 99;

/// Does `work` in a process without root's rights.
/// @return what it returned.
int AsNobody(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(kNobody) != 0) _exit(kSkipped);
    _exit(work());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(InspectLock, NoLockIsFree) {
  const LockMachine machine;
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kFree);
  std::filesystem::remove(machine.Places().semaphores);
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kFree);
}

TEST(InspectLock, ALockThatNoProcessHasMappedIsStale) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  machine.AddProcess(2, "");  // a kernel thread, or a zombie
  const LockReport report = InspectLock(machine.Places());
  EXPECT_EQ(report.state, LockState::kStale);
  EXPECT_EQ(report.file, lock);
  EXPECT_FALSE(report.holder);
  EXPECT_NEAR(static_cast<double>(report.made.tv_sec), static_cast<double>(std::time(nullptr)), 60);
}

TEST(InspectLock, AnEmptyLockCountsToo) {
  const LockMachine machine;
  std::ofstream(machine.LockPath()).flush();
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kStale);
}

TEST(InspectLock, ALiveProcessHoldsIt) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  const MappingProcess process(machine.LockPath());
  machine.ShowProcess(process.pid());
  const LockReport report = InspectLock(machine.Places());
  ASSERT_EQ(report.state, LockState::kHeld);
  ASSERT_TRUE(report.holder);
  EXPECT_EQ(report.file, lock);
  EXPECT_EQ(report.holder->pid, process.pid());
  EXPECT_NE(report.holder->program.find("tarvek_control_test"), std::string::npos);
  EXPECT_FALSE(report.holder->only_reads);
}

TEST(InspectLock, AKilledProcessHoldsItNoMore) {
  const LockMachine machine;
  machine.MakeLock();
  const MappingProcess process(machine.LockPath());
  machine.ShowProcess(process.pid());
  process.Kill();  // a zombie
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kStale);
}

TEST(InspectLock, WhoHasAnEarlierLockMappedDoesNotHoldThisOne) {
  const LockMachine machine;
  machine.MakeLock();
  const MappingProcess process(machine.LockPath());
  machine.ShowProcess(process.pid());
  std::filesystem::remove(machine.LockPath());
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kFree);
  machine.MakeLock();
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kStale);
}

TEST(InspectLock, TellsTheHoldersCommandLine) {
  using namespace std::string_literals;
  const std::string lost(70000, 'x');
  struct Case {
    std::string command_line;
    std::string program;
    bool only_reads;
  };
  const Case cases[] = {
      {"/usr/sbin/tarvek\0-VERSION\0-sdr\0"s, "/usr/sbin/tarvek -VERSION -sdr", true},
      {"tarvek\0-update\0-sdr\0-backup\0"s, "tarvek -update -sdr -backup", false},
      {"-version\0"s, "-version", false},  // a name, not an option
      {"tarvek -version"s, "tarvek -version", false},
      {""s, "", false},
      {"t\0-version\0"s + lost, "t -version " + lost.substr(0, 65536 - 11), false},
  };
  for (const Case& c : cases) {
    const LockMachine machine;
    machine.MakeLock();
    machine.AddProcess(77, "7f0-7f1 r--p 00000000 00:00 0\n" + machine.MapsLine(), c.command_line);
    const LockReport report = InspectLock(machine.Places());
    ASSERT_TRUE(report.holder) << c.program;
    EXPECT_EQ(report.holder->pid, 77);
    EXPECT_EQ(report.holder->program, c.program);
    EXPECT_EQ(report.holder->only_reads, c.only_reads) << c.program;
  }
}

TEST(InspectLock, FindsAMappingAmongManyAndOnTheBorderOfWhatIsReadAtOnce) {
  for (const std::size_t length : {16370U, 16380U, 16384U, 32768U, 60000U}) {
    const LockMachine machine;
    machine.MakeLock();
    machine.AddProcess(9, std::string(length, 'x') + "\n" + machine.MapsLine());
    EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kHeld) << length;
  }
}

TEST(InspectLock, AProcessThatIsGoneIsNoObstacle) {
  const LockMachine machine;
  machine.MakeLock();
  std::filesystem::create_directory(machine.ProcessPath(55));
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kStale);
}

TEST(InspectLock, WhatIsNoProcessIsNotLookedAt) {
  const LockMachine machine;
  machine.MakeLock();
  const std::filesystem::path processes = machine.Places().processes;
  for (const char* name : {"self", "12x", "-3", "0", "99999999999"}) {
    std::filesystem::create_directories(processes / name / "maps");
  }
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kStale);
}

TEST(InspectLock, AProcessThatCannotBeReadMeansThatItCannotBeTold) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  std::filesystem::create_directories(machine.ProcessPath(55) / "maps");  // reading it fails
  const LockReport report = InspectLock(machine.Places());
  EXPECT_EQ(report.state, LockState::kCannotTell);
  EXPECT_EQ(report.file, lock);
  EXPECT_EQ(report.why, machine.ProcessPath(55).string() + "/maps: Is a directory");
}

TEST(InspectLock, AProcessThatMayNotBeReadMeansThatItCannotBeTold) {
  const LockMachine machine;
  machine.MakeLock();
  machine.AddProcess(55, "");
  std::filesystem::permissions(machine.ProcessPath(55) / "maps", std::filesystem::perms::none);
  EXPECT_EQ(AsNobody([&] {
              const LockReport report = InspectLock(machine.Places());
              const std::string why = machine.ProcessPath(55).string() + "/maps: Permission denied";
              return report.state == LockState::kCannotTell && report.why == why ? 0 : 1;
            }),
            0);
}

TEST(InspectLock, AHolderIsToldThoughAnotherProcessCannotBeRead) {
  const LockMachine machine;
  machine.MakeLock();
  std::filesystem::create_directories(machine.ProcessPath(3) / "maps");
  std::filesystem::create_directories(machine.ProcessPath(99) / "maps");
  machine.AddProcess(55, machine.MapsLine());
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kHeld);
}

TEST(InspectLock, ALineWithoutEndMeansThatItCannotBeTold) {
  const LockMachine machine;
  machine.MakeLock();
  machine.AddProcess(9, std::string(100000, 'x'));
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kCannotTell);
}

TEST(InspectLock, HiddenProcessesMeanThatItCannotBeTold) {
  const LockMachine machine;
  machine.MakeLock();
  std::filesystem::remove_all(machine.ProcessPath(1));
  machine.AddProcess(55, "");
  const LockReport report = InspectLock(machine.Places());
  EXPECT_EQ(report.state, LockState::kCannotTell);
  EXPECT_EQ(report.why, machine.Places().processes + " shows this user's own processes alone");
  std::filesystem::remove_all(machine.Places().processes);
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kCannotTell);
}

TEST(InspectLock, AHolderOfAnotherContainerMeansThatItCannotBeTold) {
  const LockMachine machine;
  machine.MakeLock();
  const MappingProcess unseen(machine.LockPath());
  const LockReport report = InspectLock(machine.Places());
  EXPECT_EQ(report.state, LockState::kCannotTell);
  EXPECT_EQ(report.why,
            "a process that cannot be seen from here has " + machine.LockPath() + " open");
  unseen.Kill();
  EXPECT_EQ(InspectLock(machine.Places()).state, LockState::kStale);
}

/// What is no regular file at the lock's name, made by each of these.
std::vector<std::function<void(const std::string&)>> MakersOfStrangers() {
  return {
      [](const std::string& path) { std::filesystem::create_symlink("/dev/null", path); },
      [](const std::string& path) { std::filesystem::create_symlink(path + "-gone", path); },
      [](const std::string& path) { std::filesystem::create_directory(path); },
      [](const std::string& path) { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); },
  };
}

TEST(InspectLock, WhatIsNoRegularFileMeansThatItCannotBeTold) {
  for (const auto& make : MakersOfStrangers()) {
    const LockMachine machine;
    make(machine.LockPath());
    const LockReport report = InspectLock(machine.Places());
    EXPECT_EQ(report.state, LockState::kCannotTell);
    EXPECT_EQ(report.why, machine.LockPath() + " is no regular file");
  }
}

TEST(InspectLock, TellsTheToolsOwnLock) {
  tarvek_test::UsePrivateLock();
  ASSERT_FALSE(tarvek_test::LockExists());
  EXPECT_EQ(InspectLock().state, LockState::kFree);
  tarvek_test::TakeLockAsAnotherRun();
  const LockReport left = InspectLock();
  // Some machines let nobody look at their first process.
  EXPECT_TRUE(left.state == LockState::kStale || left.state == LockState::kCannotTell);
  {
    const MappingProcess process("/dev/shm/sem.tarvek_exe");
    const LockReport held = InspectLock();
    EXPECT_EQ(held.state, LockState::kHeld);
    EXPECT_EQ(BreakLock(held.file), BreakResult::kHeld);
    ASSERT_TRUE(held.holder);
    EXPECT_EQ(held.holder->pid, process.pid());
  }
  EXPECT_EQ(BreakLock(left.file), BreakResult::kBroken);
  EXPECT_FALSE(tarvek_test::LockExists());
}

TEST(BreakLock, RemovesALockThatNobodyHolds) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kBroken);
  EXPECT_FALSE(machine.LockExists());
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kGone);
}

TEST(BreakLock, LeavesAnotherLockAlone) {
  const LockMachine machine;
  FileIdentity other = machine.MakeLock();
  ++other.inode;
  EXPECT_EQ(BreakLock(other, machine.Places()), BreakResult::kGone);
  EXPECT_TRUE(machine.LockExists());
}

TEST(BreakLock, LeavesAHeldLockAlone) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  const MappingProcess process(machine.LockPath());
  machine.ShowProcess(process.pid());
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kHeld);
  EXPECT_TRUE(machine.LockExists());
}

TEST(BreakLock, LeavesALockAloneThatAProcessOfAnotherContainerHolds) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  const MappingProcess unseen(machine.LockPath());
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kHeld);
  std::filesystem::create_directories(machine.ProcessPath(55) / "maps");
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kHeld);
  EXPECT_TRUE(machine.LockExists());
}

TEST(BreakLock, TakesTheKernelsWordForAProcessThatCannotBeRead) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  std::filesystem::create_directories(machine.ProcessPath(55) / "maps");
  ASSERT_EQ(InspectLock(machine.Places()).state, LockState::kCannotTell);
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kBroken);
}

TEST(BreakLock, LeavesALockAloneThatCannotBeTold) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  std::filesystem::create_directories(machine.ProcessPath(55) / "maps");
  if (geteuid() != 0) GTEST_SKIP() << "only root can be one who does not own the lock";
  // Who does not own the lock is not told by the kernel either, though it may remove it.
  std::filesystem::permissions(machine.Places().semaphores, std::filesystem::perms::all);
  EXPECT_EQ(
      AsNobody([&] { return BreakLock(lock, machine.Places()) == BreakResult::kHeld ? 0 : 1; }), 0);
  EXPECT_TRUE(machine.LockExists());
}

TEST(BreakLock, NeverRemovesWhatIsNoRegularFile) {
  for (const auto& make : MakersOfStrangers()) {
    const LockMachine machine;
    make(machine.LockPath());
    EXPECT_EQ(BreakLock(machine.Identity(), machine.Places()), BreakResult::kHeld);
    EXPECT_TRUE(machine.LockExists());
  }
}

TEST(BreakLock, GivesWayToAnotherProgramThatBreaksIt) {
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  const Descriptor other(open(machine.LockPath().c_str(), O_RDONLY));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  EXPECT_EQ(BreakLock(lock, machine.Places()), BreakResult::kHeld);
  EXPECT_TRUE(machine.LockExists());
}

TEST(BreakLock, IsForbiddenWhereNothingMayBeRemoved) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be one who does not own the directory";
  const LockMachine machine;
  const FileIdentity lock = machine.MakeLock();
  EXPECT_EQ(AsNobody([&] {
              return BreakLock(lock, machine.Places()) == BreakResult::kForbidden ? 0 : 1;
            }),
            0);
  std::filesystem::permissions(machine.LockPath(), std::filesystem::perms::none);
  EXPECT_EQ(AsNobody([&] {
              return BreakLock(lock, machine.Places()) == BreakResult::kForbidden ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(machine.LockExists());
}

TEST(BreakLock, OfManyAtOnceOneBreaksIt) {
  constexpr int kRounds = 20;
  constexpr std::size_t kBreakers = 6;
  const LockMachine machine;
  for (int round = 0; round < kRounds; ++round) {
    const FileIdentity lock = machine.MakeLock();
    std::vector<pid_t> breakers;
    for (std::size_t n = 0; n < kBreakers; ++n) {
      breakers.push_back(fork());
      if (breakers.back() == 0) _exit(static_cast<int>(BreakLock(lock, machine.Places())));
    }
    int broken = 0;
    for (const pid_t breaker : breakers) {
      int status = 0;
      waitpid(breaker, &status, 0);
      broken += WEXITSTATUS(status) == static_cast<int>(BreakResult::kBroken) ? 1 : 0;
    }
    EXPECT_EQ(broken, 1);
    EXPECT_FALSE(machine.LockExists());
  }
}

}  // namespace
}  // namespace tarvek::control
