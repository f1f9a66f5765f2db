// What the command line asks for.
#pragma once

#include <cstddef>
#include <string>

namespace tarvek::control {

enum class Verb {
  kNone,
  kDoctor,
  kStatus,
  kPlan,
  kUpdate,
  kRestore,
  kBackup,
  kHistory,
  kShow,
  kWait,
  kResume,
};

struct Options {
  Verb verb = Verb::kNone;
  std::string command;  // the verb as it is typed
  std::string again;    // the whole command, to be typed again; escaped

  bool json = false;
  bool color = false;  // settled: by --color, NO_COLOR and the terminal
  std::string state_directory;
  std::string tool;  // settled: --tool, or the tarvek beside this program
  std::string self;  // the path of this program

  std::string input;   // INPUT, FILE.BAK or RUN
  std::string boards;  // empty: mchk_fil beside INPUT
  bool force = false;
  bool reprogram = false;
  bool allow_findings = false;
  bool no_backup = false;
  bool break_lock = false;
  bool detach = false;
  bool overwrite = false;
  bool as_restore = false;  // of plan
  std::size_t keep = 100;   // runs
  std::string format;       // of status
  std::string output;       // of status
  int lead = -1;            // of resume: a descriptor that is the run's lead
};

/// @return a path as it is from everywhere.
std::string AbsolutePath(const std::string& path);

/// Reads the command line.
/// @param options  out: what it asks for; the verb is kNone when there is nothing left to do.
/// @return the exit status of a run that ends here: 0 after --help or --version, 64 after wrong
/// use,
///   which was complained about (with --json as a result object).
int ParseCommandLine(int argc, const char* const argv[], Options* options);

}  // namespace tarvek::control
