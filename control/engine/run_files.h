// What a run leaves in its directory for whoever ends it, itself or another program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/engine/records.h"
#include "control/engine/session.h"
#include "control/runs/run_store.h"

namespace tarvek::control {

/// What is settled before the tool is started to write.
struct Plan {
  RecordList input;                           // that is to be in service
  std::optional<RecordList> before;           // that was; absent: it could not be read
  std::optional<std::string> version_before;  // reduced
  std::optional<std::string> version_input;
  std::optional<std::string> backup;   // the path of the backup
  std::vector<std::string> arguments;  // of the tool
  bool compares_only = false;
  std::string difference;  // what changes, in words
};

/// Leaves the plan; from then on the tool may have written.
/// @throws SystemError.
void SavePlan(const Run& run, const Plan& plan);
/// @return the plan; absent when the tool was never started to write.
/// @throws std::exception  when what is there is not to be understood.
std::optional<Plan> ReadPlan(const Run& run);

/// Leaves how far a run is.
/// @param seconds  that the phase will take; 0: a moment.
void SavePhase(const Run& run, const std::string& phase, int seconds);
/// @return how far a run is, also by the tool's own progress file.
Progress ReadProgress(const Run& run);

/// The last result code that the tool wrote in a run; empty when there is none, or none to be read.
std::string ResultCode(const Run& run);

}  // namespace tarvek::control
