// What every anomaly sweep stands on: the run modes, a server that is as new before each run, and
// what must hold after any run whatever went wrong in it.
//
// Each sweep has two sizes. The quick one, which every test run makes, takes samples; with
// TARVEK_SWEEP=full in the environment it leaves nothing out. TARVEK_SWEEP_COUNT names a file to
// which every test appends how many runs it has made.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/blackbox/simulated_server.h"

namespace blackbox {

using Words = std::vector<std::string>;

/// A run mode of the tool.
struct Mode {
  const char* name;
  Words arguments;
  const char* result_file;  // "": the mode leaves none
  const char* code;         // in that file, after a run in which nothing goes wrong
  const char* log;
  bool cached = false;  // an earlier run has left what it knows of the BMC's version

  bool IsUpdate() const { return std::string(result_file).rfind("Update", 0) == 0; }
  bool IsBackup() const { return arguments[0] == "-backup"; }
  bool IsScript() const { return arguments.size() > 1 && arguments[1] == "-cfg"; }
  bool IsDirect() const { return arguments[0] == "-direct"; }
  bool IsVersionQuery() const { return arguments[0] == "-version"; }
  /// Whether a run in which nothing goes wrong ends with the new set in the BMC.
  bool Programs() const { return std::string(code) == "Complete" || IsDirect(); }
  /// Whether the run exchanges requests with the BMC at all.
  bool Asks() const { return arguments[0] != "-ratio"; }
  /// Whether the run keeps the single-run lock.
  bool KeepsLock() const { return Asks() && !IsVersionQuery(); }
};

void PrintTo(const Mode& mode, std::ostream* out);

/// Every mode, and two of them in other surroundings. The progress query finds the progress file
/// of an update at 30 percent.
extern const std::vector<Mode> kModes;

/// Whether the tool holds instruments, a sanitizer's or those of coverage, which need memory and
/// descriptors of their own.
#ifdef TARVEK_INSTRUMENTED
inline constexpr bool kInstrumented = true;
#else
inline constexpr bool kInstrumented = false;
#endif

/// Whether this is the long sweep.
bool FullSweep();

/// Appends to the file that TARVEK_SWEEP_COUNT names, if it does, how many runs a test has made.
void ReportRuns(int runs);

/// How far a loop over k goes ahead: one by one in the long sweep.
inline int Stride(int quick) { return FullSweep() ? 1 : quick; }

/// What a fault may have cost a run besides its success. The run that only a BMC has spoilt needs
/// none of these excuses.
struct Excuses {
  int exit_status = 0;
  bool result = false;         // the result file could not be written: it may be anything
  bool log = false;            // the log may have lost lines
  bool progress_file = false;  // it could not be removed
  bool lock = false;           // it could not be released
  bool late = false;           // what failed may have come after the new set was in force
};

/// A sweep over one mode.
class Sweep : public SimulatedServer, public ::testing::WithParamInterface<Mode> {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Makes the server as new and runs the mode.
  Outcome Run(const RunOptions& options = {});

  /// Runs the mode on the server as it is.
  Outcome RunAgain(const RunOptions& options = {});

  /// What must hold after any run that was not ended by a signal. The spared mode is closed, the
  /// BMC serves one whole set, and what the run has told is true.
  void ExpectOrder(const Outcome& outcome, const Excuses& excuses = {});

  /// The mode's job was done, in order, as if nothing had gone wrong.
  void ExpectDone(const Outcome& outcome, const Excuses& excuses = {});

  /// The BMC serves the old set or the new one, whole.
  void ExpectWholeSet();

  /// A spared mode that the tool has seen open was closed.
  void ExpectSparedModeClosed();

  bool ServesNewSet() { return Repository() == new_set_; }
  bool ServesOldSet() { return Repository() == old_set_; }

  /// The code in the mode's result file. It must be one that the tool knows, and the file as whole
  /// as the tool writes it; otherwise a failure is added.
  std::string ResultCode();

  /// How many requests, or waits, a run has in which nothing goes wrong.
  int CountRequests(const std::string& driver = "openipmi");
  int CountWaits();

  /// Whether the fault plan has struck in the last run.
  bool Struck();

  /// From here on the mode's result file is looked for in this directory.
  void LookForResultIn(const std::string& directory) { result_directory_ = directory; }
  std::string ResultPath() const { return result_directory_ + GetParam().result_file; }

  /// From here on the BMC may be lying: what a version query tells of it may be anything.
  void DistrustBmc() { bmc_lies_ = true; }

  const std::vector<std::string>& old_set() const { return old_set_; }
  const std::vector<std::string>& new_set() const { return new_set_; }

 private:
  void ResetServer();
  void ExpectTruth(const Excuses& excuses);
  void ExpectTruthInLog(const Excuses& excuses);
  bool HasWholeBackup();
  void ExpectRatioOrder(const Excuses& excuses);
  void ExpectFirstErrorTold(const std::string& code);
  void ExpectVersionAnswer(const std::string& text, const std::string& code);

  std::vector<std::string> old_set_;
  std::vector<std::string> new_set_;
  std::string whole_backup_;
  std::string cache_;
  int runs_ = 0;
  bool bmc_lies_ = false;
  std::string result_directory_;  // with its slash
};

/// Names a test after its mode.
std::string ModeName(const ::testing::TestParamInfo<Mode>& row);

}  // namespace blackbox
