// One run of the chaos, and what must hold after it.
#pragma once

#include <string>
#include <vector>

#include "tests/control/chaos/scenario.h"

namespace chaos {

/// What came of a run.
struct Verdict {
  std::vector<std::string> violations;  // none: all is well
  std::string evidence;                 // for people: what was said, served, left
  std::string outcome;                  // the exit status, or the signal
};

/// Carries a scenario out below `place`, a directory that exists and is emptied. Needs a machine
/// apart (apart.h): all other processes of it are ended.
Verdict TryScenario(const Scenario& scenario, const std::string& place);

}  // namespace chaos
