// What is known of this machine without asking its BMC: what that served when it was last read, and
// the last run.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "control/contract/result.h"
#include "control/system/files.h"

namespace tarvek::control {

/// What the BMC served when it was last read.
struct ServedState {
  std::string product;  // "01a3"
  std::string driver;
  unsigned records = 0;
  std::uint32_t added = 0;  // time stamps of the repository, seconds since 1970
  std::uint32_t erased = 0;
  std::optional<std::string> version;  // five characters
  std::optional<std::string> script;
  std::string digest;                     // of the records
  std::optional<std::string> programmed;  // the digest of what the last good run left
  long read = 0;                          // when, seconds since 1970

  /// Whether the BMC serves something else than the last good run left; absent when there was none.
  std::optional<bool> Drift() const;
};

/// A run that has ended.
struct LastRun {
  std::string id;
  int status = 0;
  long ended = 0;  // seconds since 1970
};

struct MachineState {
  std::optional<ServedState> served;
  bool readable = true;                // the BMC could be read when that was last tried
  std::optional<std::string> running;  // the run that goes on
  std::optional<LastRun> last;
};

/// @return what is known; nothing when nothing is, or what is there is not to be understood.
MachineState ReadMachineState(const Directory& state);

/// Changes what is known. A state that cannot be written stays as it was: it is read anew some
/// time.
void ChangeMachineState(const Directory& state, const std::function<void(MachineState*)>& change);

/// @return the metrics of a machine in the text format that Prometheus' node exporter collects.
std::string MetricsText(const MachineState& machine);

}  // namespace tarvek::control
