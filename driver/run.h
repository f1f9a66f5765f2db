// One run of the tool, from its start banner to its end banner.
#pragma once

#include <span>

namespace tarvek {

/// Does the job that the arguments behind the program's name ask for.
/// @return the exit status: 0 for every run that got past the single-run lock and for every
///   progress query; 1 for a parameter error, for a lock held by another run, and for a direct
///   update that the operator refused. How the job went is in the result file and the log.
int Run(std::span<char* const> arguments);

}  // namespace tarvek
