#ifndef TARVEK_SIMULATOR_LAUNCHER_OPTIONS_H_
#define TARVEK_SIMULATOR_LAUNCHER_OPTIONS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/bmc_state.h"
#include "simulator/sample_records.h"

namespace bmcsim {

/// What a command line of bmcsim asks for.
struct LauncherOptions {
  enum class Task : std::uint8_t { kHelp, kVersion, kCreate, kDump, kDumpHex, kServe, kRun };

  Task task = Task::kRun;
  bool create = false;  ///< --create: the state file must be new
  std::string state = "bmcsim.state";
  std::string openipmi_node;  ///< empty: there is none
  std::string maker_node;     ///< empty: there is none
  std::string fault;          ///< file name or text
  bool strict = false;        ///< --strict: a rule of the plan that never strikes is a failure
  std::string trace;
  std::string clock;
  std::string stats;
  std::string serve;  ///< socket to serve a QEMU machine on
  std::string load;   ///< file of records in hex for a new state
  SampleSet set;
  bool describes_set = false;        ///< an option about the set of a new state was given
  std::vector<std::string> program;  ///< the program and its arguments

  /// What the options about the BMC itself change, in their order.
  std::vector<std::function<void(Identity&)>> changes;

  /// A BMC's identity with the changes made.
  Identity Apply(Identity identity) const;
};

/// Usage, every option, the fault plan's grammar.
std::string LauncherHelp();

/// Reads a command line.
///
/// @param arguments  those behind the program's name.
/// @param error      receives what is wrong, for people, when the result is empty.
std::optional<LauncherOptions> ParseLauncherOptions(std::span<const char* const> arguments,
                                                    std::string& error);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_LAUNCHER_OPTIONS_H_
