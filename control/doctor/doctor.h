// What is missing on this machine for updates, and how to mend it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/system/interrupts.h"

namespace tarvek::control {

enum class Gravity {
  kGood,     // as it should be
  kNote,     // worth knowing; an update works all the same
  kProblem,  // an update would fail
};

/// @return "good", "note" or "problem".
const char* GravityName(Gravity gravity);

/// One thing that was looked at.
struct Finding {
  /// A word that never changes: "node", "modules", "container", "virtual-machine", "bmc",
  /// "manufacturer", "boards", "requests", "programs", "lock", "shared-memory", "tool",
  /// "state-directory" or "space".
  std::string subject;
  Gravity gravity = Gravity::kGood;
  std::string sentence;  // what is so; not escaped
  std::string remedy;    // what to do; empty for what is good
  std::string command;   // to type; empty where no command mends it
};

struct DoctorOptions {
  std::string tool;                   // the path of tarvek
  std::string state_directory;        // of tarvekctl
  std::optional<std::string> boards;  // a hardware list
  std::string root;                   // put before the system's directories but /dev; for tests
};

/// Looks at everything. Sends only requests that change nothing. Takes no lock. A driver's node is
/// told by opening it. Without one, nothing is said about the BMC.
/// @return one finding a subject at most; what was found so far when an interrupt comes.
std::vector<Finding> Examine(const DoctorOptions& options, const Interrupts* interrupts);

}  // namespace tarvek::control
