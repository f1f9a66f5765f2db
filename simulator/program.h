#ifndef TARVEK_SIMULATOR_PROGRAM_H_
#define TARVEK_SIMULATOR_PROGRAM_H_

#include <string>

#include "simulator/launcher_options.h"

namespace bmcsim {

/// Makes a plan of the command line its text: it is a file's name, or the text itself, which has a
/// colon.
///
/// @param error  receives what went wrong, for people, when the result is false: also when the text
///               is no plan.
bool TakeFaultPlan(std::string& fault, std::string& error);

/// Runs the program that the options name on the simulated BMC: becomes it.
///
/// @return only when the program could not be run: the exit status.
int RunProgram(const LauncherOptions& options);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_PROGRAM_H_
