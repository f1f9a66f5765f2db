// The command line: what the run is to do, into the settings that everyone reads.
#pragma once

#include <span>

namespace tarvek {

/// Parses and checks the arguments behind the program's name and fills the settings of
/// run_settings.h. The texts must live as long as the run: file names point into them.
///
/// @return true when the settings describe a run. False for a parameter error: parsing has
///   stopped there, and the settings are as far as they were set.
bool ParseCommandLine(std::span<char* const> arguments);

}  // namespace tarvek
