// The program's commands. Each reads its inputs, writes its output, and returns the exit status.
// They throw InputError, OptionError and OutputError.
#pragma once

#include "inspect/options.h"

namespace tarvek::inspect {

int RunShow(const Options& options);
int RunCheck(const Options& options);
int RunDiff(const Options& options);
int RunConvert(const Options& options);
int RunReport(const Options& options);

}  // namespace tarvek::inspect
