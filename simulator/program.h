#ifndef TARVEK_SIMULATOR_PROGRAM_H_
#define TARVEK_SIMULATOR_PROGRAM_H_

#include <memory>
#include <string>

#include "simulator/fault_plan.h"
#include "simulator/launcher_options.h"

namespace bmcsim {

/// Exit status of a strict run in which a rule of the fault plan never struck.
inline constexpr int kNeverStruck = 125;

/// Reads the fault plan of the command line: a file's name, or the text itself, which has a colon.
///
/// @param text   receives the plan's text; empty when there is none.
/// @param error  receives what went wrong, for people, when the result is null.
std::unique_ptr<FaultPlan> TakeFaultPlan(const LauncherOptions& options, std::string& text,
                                         std::string& error);

/// Tells on standard error which rules of the plan never struck.
///
/// @return 0, or kNeverStruck if there was one and the options are strict about it.
int ReportUnstruck(const FaultPlan& plan, const LauncherOptions& options);

/// Runs the program that the options name on the simulated BMC. Without a fault plan this process
/// becomes the program; with one it waits for the program, tells which rules never struck, and
/// ends as the program has ended.
///
/// @return when it did not end so: the exit status.
int RunProgram(const LauncherOptions& options);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_PROGRAM_H_
