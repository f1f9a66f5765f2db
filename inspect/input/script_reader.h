// A configuration script, run with the tool's own interpreter without loading anything.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inspect/input/record_set.h"
#include "inspect/input/snapshot.h"

namespace tarvek::inspect {

/// Runs a script, and reads the files that it names, as the tool would load them.
/// @param directory  where the script's files are looked up; empty: the working directory.
/// @param tags       set before the script runs.
/// @param set        receives the files and, of the one that is programmed last, records and
///   remarks.
/// @throws InputError  at the first fault in the script or in a file that the tool would load.
void ReadScript(const Snapshot& input, const std::string& directory,
                const std::vector<std::string>& tags, RecordSet* set);

/// The files that a script names, in whatever branch, in the order of naming, each once: what may
/// have to stand beside it. What is no right script may name others than the interpreter would
/// read.
std::vector<std::string> FilesNamed(std::string_view script);

}  // namespace tarvek::inspect
