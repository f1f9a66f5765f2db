#include "control/doctor/lock_finding.h"

#include "control/doctor/finding.h"

namespace tarvek::control {
namespace {

constexpr const char* kSubject = "lock";
constexpr const char* kBreak = "tarvekctl update INPUT --break-lock";

std::string Describe(const LockHolder& holder) {
  const std::string pid = std::to_string(holder.pid);
  return holder.program.empty() ? "process " + pid : holder.program + " (process " + pid + ")";
}

}  // namespace

Finding LockFinding(const LockReport& report, bool is_root) {
  switch (report.state) {
    case LockState::kFree:
      return Good(kSubject, "No run holds the lock.");
    case LockState::kHeld:
      return Note(kSubject,
                  "The lock is held by " +
                      (report.holder ? Describe(*report.holder) : std::string("a process")) + ".",
                  "Wait for its end.", "tarvekctl status");
    case LockState::kStale:
      return Problem(kSubject, "A run that is gone has left the lock behind.",
                     "Have the next update remove it.", kBreak);
    case LockState::kCannotTell:
      break;
  }
  const std::string sentence = "Nobody can tell whether the lock is held: " + report.why + ".";
  if (!is_root) return Problem(kSubject, sentence, "Look as root.", "sudo tarvekctl doctor");
  return Problem(kSubject, sentence,
                 "When you know that no run is under way, have the next update remove it.", kBreak);
}

}  // namespace tarvek::control
