#include "control/doctor/lock_finding.h"

#include <gtest/gtest.h>

namespace tarvek::control {
namespace {

TEST(LockFinding, SaysWhoHoldsItAndWhatToDo) {
  const LockHolder named{77, "tarvek -update -sdr", false};
  const LockHolder nameless{77, "", false};
  struct Case {
    LockReport report;
    bool is_root;
    Gravity gravity;
    const char* sentence;
    const char* command;
  };
  const Case cases[] = {
      {{}, true, Gravity::kGood, "No run holds the lock.", ""},
      {{LockState::kHeld, {}, {}, named, ""},
       true,
       Gravity::kNote,
       "The lock is held by tarvek -update -sdr (process 77).",
       "tarvekctl status"},
      {{LockState::kHeld, {}, {}, nameless, ""},
       true,
       Gravity::kNote,
       "The lock is held by process 77.",
       "tarvekctl status"},
      {{LockState::kStale, {}, {}, {}, ""},
       true,
       Gravity::kProblem,
       "A run that is gone has left the lock behind.",
       "tarvekctl update INPUT --break-lock"},
      {{LockState::kCannotTell, {}, {}, {}, "why"},
       true,
       Gravity::kProblem,
       "Nobody can tell whether the lock is held: why.",
       "tarvekctl update INPUT --break-lock"},
      {{LockState::kCannotTell, {}, {}, {}, "why"},
       false,
       Gravity::kProblem,
       "Nobody can tell whether the lock is held: why.",
       "sudo tarvekctl doctor"},
  };
  for (const Case& c : cases) {
    const Finding finding = LockFinding(c.report, c.is_root);
    EXPECT_EQ(finding.subject, "lock");
    EXPECT_EQ(finding.gravity, c.gravity);
    EXPECT_EQ(finding.sentence, c.sentence);
    EXPECT_EQ(finding.command, c.command);
  }
}

}  // namespace
}  // namespace tarvek::control
