#ifndef TARVEK_SIMULATOR_NEW_STATE_H_
#define TARVEK_SIMULATOR_NEW_STATE_H_

#include <string>

#include "simulator/launcher_options.h"

namespace bmcsim {

/// Sees to the state file that the options name: makes it, or finds it and changes the BMC's
/// identity in it.
///
/// @param error  receives what went wrong, for people, when the result is false; then nothing was
///               made and nothing changed.
bool PrepareState(const LauncherOptions& options, std::string& error);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_NEW_STATE_H_
