#include "tests/unit/support/lock_name.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace tarvek_test {
namespace {

constexpr const char* kLockName = "/tarvek_exe";
constexpr mode_t kLockMode = 0777;

/// Lets `id` mean in the new user namespace what it means outside.
bool KeepId(const char* map, unsigned id) {
  std::ofstream file(map);
  file << id << ' ' << id << " 1\n";
  return static_cast<bool>(file.flush());
}

bool LeaveMountNamespace() {
  if (unshare(CLONE_NEWNS) == 0) return true;
  const unsigned user = getuid();
  const unsigned group = getgid();
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  return KeepId("/proc/self/uid_map", user) && KeepId("/proc/self/gid_map", group);
}

bool MountOwnSemaphores() {
  return LeaveMountNamespace() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0;
}

/// Waits for every other test that takes the machine's lock; the claim ends with the process.
bool ClaimMachine() {
  const auto path = std::filesystem::temp_directory_path() / "tarvek-unit-lock";
  // Another user's file is only opened: creating it may be forbidden in a shared directory.
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) fd = open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
  return fd >= 0 && flock(fd, LOCK_EX) == 0;
}

}  // namespace

void UsePrivateLock() {
  static const bool apart = MountOwnSemaphores() || ClaimMachine();
  ASSERT_TRUE(apart) << "neither a mount namespace nor a file lock to be had";
}

bool LockExists() {
  sem_t* const lock = sem_open(kLockName, 0);
  if (lock == SEM_FAILED) return false;
  sem_close(lock);
  return true;
}

void TakeLockAsAnotherRun() {
  sem_t* const lock = sem_open(kLockName, O_CREAT | O_EXCL, kLockMode, 0U);
  ASSERT_NE(lock, SEM_FAILED);
  sem_close(lock);
}

void RemoveLock() { sem_unlink(kLockName); }

}  // namespace tarvek_test
