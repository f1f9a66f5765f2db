// Everything that is looked at before anything is written.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/engine/input.h"
#include "control/engine/reading.h"
#include "control/engine/session.h"

namespace tarvek::control {

/// What was found, and what is to be done.
struct Examination {
  Input input;
  Bmc bmc;
  std::optional<Served> served;        // absent: it cannot be held in an image
  std::vector<std::string> arguments;  // of the tool
  int seconds = 0;                     // that the tool will take, about
  std::size_t requests = 0;
};

/// Examines INPUT and the machine.
/// @param work  the tool's working directory with the copies; receives what else the tool needs.
/// @throws Stop  when there is nothing to do, or it cannot be done.
Examination Examine(const Session& session, const Request& request, const Directory& work);

/// What an update changes: the records served, against those of INPUT.
/// @param color  for a terminal.
std::string DifferenceTextOf(const Served& served, const Input& input, bool color);
/// Adds what an update changes to a result: `difference`, as `tarvek-sdr diff --json` has it, and
/// `difference_text`.
void AddDifference(const Served& served, const Input& input, Result* result);
/// Adds the version that INPUT has, or null, to a result: `version_input`.
void AddVersion(const Input& input, Result* result);

}  // namespace tarvek::control
