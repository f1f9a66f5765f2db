// A simulated server that is driven with tarvekctl: a state directory and a lock of its own, and
// what its results are held to.
#pragma once

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace control_test {

using Json = nlohmann::ordered_json;
using Words = std::vector<std::string>;
using blackbox::Outcome;
using blackbox::RunOptions;
using blackbox::SdrSet;
using blackbox::SdrText;
using blackbox::SourceRecord;
using blackbox::Started;

/// What a command said with --json.
struct Said {
  Outcome outcome;
  std::vector<Json> progress;
  Json result;  // null when there is none
};

/// A result as it is to be, every key of it.
struct Expected {
  int status = 0;
  std::string outcome = "done";
  Json changed = false;
  std::string in_service = "previous";
  Json differs = nullptr;
  Json version_before = nullptr;
  Json version_after = nullptr;
  Json result_code = nullptr;
  Json error = nullptr;  // its number
  bool run = false;
  bool log = false;
  bool backup = false;
};

void PrintTo(const Expected& expected, std::ostream* out);

/// Runs tarvekctl with the virtual clock; time moves all the same, for tarvekctl waits for things
/// that happen.
class ControlServer : public blackbox::SimulatedServer {
 public:
  void SetUp() override;
  void TearDown() override;

  using SimulatedServer::ClearTrace;
  using SimulatedServer::CreateBmc;
  using SimulatedServer::CreateServer;
  using SimulatedServer::Exists;
  using SimulatedServer::Path;
  using SimulatedServer::Read;
  using SimulatedServer::Remove;
  using SimulatedServer::Repository;
  using SimulatedServer::Requests;
  using SimulatedServer::Write;

  /// Runs a command to its end, with --json.
  Said Ctl(const Words& words, const RunOptions& options = {});
  /// Runs a command to its end, without.
  Outcome People(const Words& words, const RunOptions& options = {});
  /// Starts a command with --json.
  Started StartCtl(const Words& words, const RunOptions& options = {});
  static Said Finish(const Started& started);
  /// Runs it on a terminal.
  /// @param told     receives what was written there.
  /// @param columns  the terminal's width; 0 when it does not tell.
  /// @return the exit status.
  int OnTerminal(const Words& words, const RunOptions& options, std::string* told,
                 unsigned short columns = 0);

  /// Writes a source file and takes it for INPUT from here on.
  void WriteInput(const std::vector<SourceRecord>& records, const std::string& name = "new.sdr");
  /// What INPUT would leave in service, for inputs written otherwise.
  void InputIs(const std::vector<SourceRecord>& records);
  /// Makes the BMC serve these records.
  void Serve(const std::vector<SourceRecord>& records, const Words& options = {});
  /// Takes what is served now for what was served before the command.
  void KeepBefore() { before_ = Repository(); }
  const std::vector<std::string>& before() const { return before_; }
  const std::vector<std::string>& input() const { return input_; }

  /// Holds a result to what is expected, and to what the BMC serves in truth.
  void ExpectResult(const Said& said, const Expected& expected);
  /// Nothing is left of a command: no lock, no scratch directory, no run without a result.
  void ExpectNothingLeft();

  /// The tarvek that a tarvekctl runs; waits until there is one that has stopped (signal STOP).
  static pid_t StoppedToolOf(pid_t leader);
  /// The processes that were left to this one by those that started them.
  static std::vector<pid_t> ChildrenOf(pid_t parent);

  /// A tarvek that is a script of the shell; "$TARVEK" in it is the real one.
  std::string WriteTool(const std::string& script);

  std::string state_directory() const { return (base() / "ctl").string(); }
  std::string StatePath(const std::string& name) const { return state_directory() + "/" + name; }
  /// The newest run's id.
  std::string LastRun() const;

  /// A stranger's lock, which nobody holds.
  static void LeaveLock();
  static bool IsLocked() { return LockExists(); }

 private:
  Words CommandLine(const Words& words) const;
  static RunOptions Timed(RunOptions options);

  std::vector<std::string> before_;
  std::vector<std::string> input_;
};

/// A record in the form of a source file with a body of `size` bytes behind its header of five.
SourceRecord OemRecord(std::size_t size, std::uint8_t filler = 0x5A);

}  // namespace control_test
