#include "control/engine/lock_gate.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <vector>

#include "control/lock/run_lock.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

constexpr const char* kKilled = ".killed";
constexpr int kPause = 100;  // milliseconds
constexpr std::chrono::seconds kPatience{10};

bool Before(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

std::optional<timespec> Written(const Directory& directory, const char* name) {
  struct stat info {};
  if (fstatat(directory.fd(), name, &info, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return info.st_mtim;
}

/// Whether the log tells of a run that took the lock and did not give it back: lines behind the
/// mode's, and no end.
bool TookAndKept(const std::string& log) {
  const std::size_t mode = log.rfind("<<execute ");
  if (mode == std::string::npos) return false;
  const std::size_t next = log.find('\n', mode);
  return next != std::string::npos && next + 1 < log.size() &&
         log.find("=== Tarvek end ===", next) == std::string::npos;
}

/// Whether the tool made this lock in `work` and was killed there: the lock was made while it ran,
/// and it has written since what it writes only with the lock, or was seen to be killed since. As
/// long as it ran, nobody else could make one.
bool LeftIn(const Directory& work, const LockReport& lock) {
  const std::optional<timespec> started = Written(work, "mchk_fil");
  if (!started || Before(lock.made, *started)) return false;
  // A progress file is written by who has the lock alone, and removed before it is given back.
  std::optional<timespec> last = Written(work, "Get_ratio.xml_tmp");
  const std::optional<timespec> logged = Written(work, "tarvek.log");
  if (logged && TookAndKept(work.Read("tarvek.log").value_or("")) &&
      (!last || Before(*last, *logged))) {
    last = logged;
  }
  if (last && !Before(*last, lock.made)) return true;
  const std::optional<timespec> killed = Written(work, kKilled);
  return killed && !Before(*killed, lock.made);
}

/// Whether a child of tarvekctl's left this lock. Nobody holds it, so none of them runs any more.
bool IsOurs(const RunStore& store, const LockReport& lock) {
  const auto left_in = [&lock](const auto& open_directory) {
    try {
      return LeftIn(open_directory(), lock);
    } catch (const std::exception&) {
      return false;  // one goes that another command has done with
    }
  };
  const std::vector<std::string> scratches = store.Scratches();
  const std::vector<std::string> runs = store.Ids();
  return std::any_of(scratches.begin(), scratches.end(),
                     [&](const std::string& name) {
                       return left_in([&] { return store.state().Sub(name); });
                     }) ||
         std::any_of(runs.begin(), runs.end(), [&](const std::string& id) {
           return left_in([&] { return store.Find(id).value().Work(); });
         });
}

std::string NameOf(const LockReport& lock) {
  if (!lock.holder) return "another program";
  return "process " + std::to_string(lock.holder->pid) + " (" +
         inspect::Escaped(lock.holder->program) + ")";
}

[[noreturn]] void StopAt(const Session& session, const LockReport& lock) {
  switch (lock.state) {
    case LockState::kStale:
      StopBusy(session,
               "The single-run lock is there, and no process holds it: a run of tarvek was killed.",
               "See that no tarvek runs, then type: " + session.again + " --break-lock.");
    case LockState::kCannotTell:
      StopInUse(session,
                "The single-run lock is there, and whether a process holds it cannot be told: " +
                    inspect::Escaped(lock.why) + ".",
                "See that no tarvek runs, then type: " + session.again +
                    " --break-lock. It removes what nobody has open.");
    default:
      StopInUse(session, "The single-run lock is held by " + NameOf(lock) + ".",
                "Wait until it has ended, then run the command again: tarvekctl status tells.");
  }
}

}  // namespace

void WaitForFreeLock(const Session& session) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const LockReport lock = InspectLock();
    if (lock.state == LockState::kFree) return;
    if (lock.state == LockState::kStale || lock.state == LockState::kCannotTell) {
      // Before it is removed the kernel is asked whether anybody has it open.
      if (!IsOurs(session.store, lock) && !session.break_lock) StopAt(session, lock);
      const BreakResult broken = BreakLock(lock.file);
      if (broken == BreakResult::kBroken || broken == BreakResult::kGone) continue;
      StopInUse(session, "The single-run lock could not be removed: somebody has it open.",
                "See which programs run: tarvekctl doctor. Then run the command again: " +
                    session.again + ".");
    }
    const bool reads = lock.state == LockState::kHeld && lock.holder && lock.holder->only_reads;
    if (!reads || std::chrono::steady_clock::now() >= end) StopAt(session, lock);
    if (WaitFor(-1, session.stops, kPause) == Woken::kInterrupted) StopInterrupted(session);
  }
}

void SweepWhenFree(const Session& session) {
  if (InspectLock().state == LockState::kFree) session.store.Sweep();
}

void NoteKilled(const Directory& work) {
  try {
    work.Write(kKilled, "");
  } catch (const SystemError&) {
    // What the tool wrote may tell.
  }
}

}  // namespace tarvek::control
