#include "control/lock/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include "control/lock/holder_search.h"
#include "control/system/descriptor.h"

namespace tarvek::control {
namespace {

constexpr const char* kLockFile =
    "sem.tarvek_exe";  // the semaphore "/tarvek_exe", as libc keeps it

/// What stands at the lock's name.
struct Look {
  int error = 0;  // an errno
  bool regular = false;
  FileIdentity file;
  timespec made{};

  bool IsGone() const { return error == ENOENT; }
  bool IsLock() const { return error == 0 && regular; }
  bool Shows(const FileIdentity& other) const { return IsLock() && file == other; }
};

Look Told(int result, const struct stat& status) {
  if (result != 0) return {errno, false, {}, {}};
  return {0, S_ISREG(status.st_mode), {status.st_dev, status.st_ino}, status.st_mtim};
}

/// The directory that holds the lock, under whose descriptor everything else is done.
class LockDirectory {
 public:
  explicit LockDirectory(const std::string& path)
      : directory_(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
        error_(directory_ ? 0 : errno) {}

  Look AtName() const {
    if (error_ != 0) return {error_, false, {}, {}};
    struct stat status {};
    return Told(fstatat(directory_.get(), kLockFile, &status, AT_SYMLINK_NOFOLLOW), status);
  }

  /// Opens the lock; what takes a link's or a pipe's place meanwhile is not followed or waited for.
  Descriptor Open() const {
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    return Descriptor(openat(directory_.get(), kLockFile, kFlags));
  }

  bool Remove() const { return unlinkat(directory_.get(), kLockFile, 0) == 0; }

 private:
  Descriptor directory_;
  int error_;
};

Look AtDescriptor(const Descriptor& file) {
  struct stat status {};
  return Told(fstat(file.get(), &status), status);
}

enum class Use { kNobody, kSomebody, kCannotTell };

/// Asks the kernel whether any process, seen from here or not, has the file open for writing, as
/// each has that has a semaphore mapped: it grants a lease for reading on no such file. The lease
/// is kept while `file` is open; who opens the file for writing meanwhile waits.
Use AskForUse(const Descriptor& file) {
  // By default the owner of a lease that somebody waits for is sent a signal that would end it.
  if (fcntl(file.get(), F_SETSIG, SIGURG) != 0) return Use::kCannotTell;
  if (fcntl(file.get(), F_SETLEASE, F_RDLCK) == 0) return Use::kNobody;
  return errno == EAGAIN ? Use::kSomebody : Use::kCannotTell;
}

/// Whether somebody has a lock in use that no process seen from here has mapped.
bool IsUsedUnseen(const LockDirectory& directory, const FileIdentity& lock) {
  const Descriptor file = directory.Open();
  return file && AtDescriptor(file).Shows(lock) && AskForUse(file) == Use::kSomebody;
}

LockReport CannotTell(LockReport report, std::string why) {
  report.state = LockState::kCannotTell;
  report.why = std::move(why);
  return report;
}

BreakResult WhyNotOpened() {
  if (errno == ENOENT) return BreakResult::kGone;
  return errno == EACCES || errno == EPERM ? BreakResult::kForbidden : BreakResult::kHeld;
}

/// Whether a process holds the lock, or may: then it is not removed.
bool MayBeHeld(const LockPlaces& places, const FileIdentity& lock, const Descriptor& file) {
  const HolderSearch search = FindHolder(places.processes, lock);
  if (search.holder) return true;
  const Use use = AskForUse(file);
  return use == Use::kSomebody || (use == Use::kCannotTell && !search.unseen.empty());
}

BreakResult Remove(const LockDirectory& directory) {
  if (directory.Remove()) return BreakResult::kBroken;
  return errno == ENOENT ? BreakResult::kGone : BreakResult::kForbidden;
}

}  // namespace

LockReport InspectLock(const LockPlaces& places) {
  constexpr int kMostLooks = 16;
  const LockDirectory directory(places.semaphores);
  const std::string name = places.semaphores + "/" + kLockFile;
  for (int n = 0; n < kMostLooks; ++n) {
    const Look look = directory.AtName();
    if (look.IsGone()) return {};
    LockReport report{LockState::kStale, look.file, look.made, {}, {}};
    if (look.error != 0) {
      return CannotTell(report, name + ": " + std::generic_category().message(look.error));
    }
    if (!look.regular) return CannotTell(report, name + " is no regular file");
    HolderSearch search = FindHolder(places.processes, look.file);
    if (search.holder) {
      report.state = LockState::kHeld;
      report.holder = std::move(search.holder);
      return report;
    }
    if (!directory.AtName().Shows(look.file)) continue;  // it has changed hands meanwhile
    if (!search.unseen.empty()) return CannotTell(report, search.unseen);
    if (!IsUsedUnseen(directory, look.file)) return report;
    return CannotTell(report, "a process that cannot be seen from here has " + name + " open");
  }
  return CannotTell({}, name + " changes hands all the time");
}

BreakResult BreakLock(const FileIdentity& file, const LockPlaces& places) {
  const LockDirectory directory(places.semaphores);
  const Look look = directory.AtName();
  if (look.IsGone()) return BreakResult::kGone;
  if (!look.IsLock()) return BreakResult::kHeld;
  if (!look.Shows(file)) return BreakResult::kGone;

  const Descriptor lock = directory.Open();
  if (!lock) return WhyNotOpened();
  if (!AtDescriptor(lock).Shows(file)) return BreakResult::kGone;
  if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return BreakResult::kHeld;
  if (!directory.AtName().Shows(file)) return BreakResult::kGone;
  if (MayBeHeld(places, file, lock)) return BreakResult::kHeld;
  if (!directory.AtName().Shows(file)) return BreakResult::kGone;
  return Remove(directory);
}

}  // namespace tarvek::control
