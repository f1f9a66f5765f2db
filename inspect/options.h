// What the command line asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspect/input/load.h"

namespace tarvek::inspect {

enum class Command { kNone, kShow, kCheck, kDiff, kConvert, kReport };
enum class ShowForm { kTable, kLong, kRaw, kJson };

struct Options {
  Command command = Command::kNone;
  std::string input;  // of diff and report: the new one
  std::string old_input;
  LoadOptions load;
  bool all = false;  // records that the tool would not program, too
  bool json = false;
  bool color = false;  // settled: by --color, NO_COLOR and the terminal
  ShowForm form = ShowForm::kTable;

  // check
  bool list_rules = false;
  std::string fail_on = "warning";
  std::optional<unsigned long> capacity;  // bytes

  // convert and report
  std::string to;
  std::string output;    // a file; empty or "-": standard output
  std::string identity;  // an image whose identity block is taken
};

/// Reads the command line.
/// @param options  out: what it asks for; the command is kNone when there is nothing left to do.
/// @return the exit status of a run that ends here: 0 after --help or --version, 2 after wrong use,
///   which was complained about.
int ParseCommandLine(int argc, const char* const argv[], Options* options);

}  // namespace tarvek::inspect
