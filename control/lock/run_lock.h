// The tool's single-run lock, looked at from outside: a named semaphore, whose existence is the
// lock.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>

namespace tarvek::control {

/// A file, whatever name leads to it.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const FileIdentity&) const = default;
};

enum class LockState {
  kFree,        // there is no lock
  kHeld,        // a live process holds it
  kStale,       // no live process holds it: every process could be looked at
  kCannotTell,  // some process could not be looked at, or the lock itself
};

/// A process that holds the lock.
struct LockHolder {
  pid_t pid = 0;
  std::string program;      // its command line, for people; not escaped
  bool only_reads = false;  // a version query or a backup
};

/// Where the lock and the processes are; elsewhere for tests.
struct LockPlaces {
  std::string semaphores = "/dev/shm";
  std::string processes = "/proc";
};

struct LockReport {
  LockState state = LockState::kFree;
  FileIdentity file;  // unless it is free
  timespec made{};    // when the lock was made
  std::optional<LockHolder> holder;
  std::string why;  // of kCannotTell: what could not be read, and why; not escaped
};

/// Looks at the lock. A holder is told by the device and the inode of what it has mapped, so a
/// process of any name counts. Where no process that can be seen has it mapped, the kernel is asked
/// whether any has it open all the same, one of another container that shares the semaphores, say:
/// then it cannot be told who that is. The kernel tells that to the lock's owner and to root; who
/// is neither, and sees the processes of one container alone, is not told.
LockReport InspectLock(const LockPlaces& places = {});

enum class BreakResult {
  kBroken,     // the lock was removed
  kGone,       // it was gone already, or another one has taken its place
  kHeld,       // somebody holds it or breaks it, or that cannot be told: left alone
  kForbidden,  // it may not be removed
};

/// Removes a lock that nobody holds, under a lock on the file itself, so that of several programs
/// that do so only one does, after comparing the file again. Between the last look and the removal
/// a few instructions remain in which another program that breaks locks by hand may have made way
/// for a new one.
///
/// Processes that cannot be looked at are no obstacle here if the kernel says that no process has
/// the lock open: a semaphore in use is open for writing as long as it is mapped.
/// @param file  the lock as it was looked at.
BreakResult BreakLock(const FileIdentity& file, const LockPlaces& places = {});

}  // namespace tarvek::control
