// A simulated server for whole runs: a fresh directory, a simulated BMC's state file, a lock of
// its own, and the tarvek binary that ships.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/blackbox/child_program.h"

namespace blackbox {

using Bytes = std::vector<std::uint8_t>;

struct RunOptions {
  std::string driver = "openipmi";  // "none": no node exists
  std::string fault;                // a fault plan; empty: none
  std::string input;                // standard input
  std::string directory;            // working directory below the server's; empty: the server's own
  std::vector<std::string> launcher;  // further arguments for the launcher

  // Of a run without the launcher alone, which puts the simulator under the tool directly and
  // takes a third of the time.
  bool direct = false;
  std::string failing;  // which calls fail (call_ledger.h); empty: none is counted
  std::vector<std::pair<__rlimit_resource, rlim_t>> limits;
  std::vector<int> closed;  // descriptors that the tool does not have
  bool traced = true;       // a trace costs a descriptor
  std::string clock;        // as --clock; empty: a virtual one that starts at kEpoch and stands
};

/// Where the virtual clock starts: 2001-09-09 01:46:40 UTC.
inline constexpr long kEpoch = 1000000000;

class SimulatedServer : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Makes the BMC anew. Without options: product 01A3h, a dozen records.
  void CreateBmc(const std::vector<std::string>& options = {});

  /// A server as an update finds it: a BMC with a few old records of version 01.02, its product
  /// in "mchk_fil", and a caller's information file.
  void CreateServer(int old_records = 4, const std::string& version = "SDR Version 01.02");

  /// Runs `tarvek` with `arguments` to its end.
  Outcome Tarvek(const std::vector<std::string>& arguments, const RunOptions& options = {});

  /// Starts `tarvek` so that the test can lead it through its instructions (SteppedRun); a run
  /// without the launcher.
  Started StartTraced(const std::vector<std::string>& arguments, const RunOptions& options);

  /// Starts `tarvek` under a fault plan that stops it (signal STOP), and waits until it has
  /// stopped.
  /// @return the run, to be handed to Continue().
  Started TarvekUntilStopped(const std::vector<std::string>& arguments, const RunOptions& options);
  /// Lets a stopped run go on to its end.
  static Outcome Continue(const Started& stopped);

  /// The repository that the BMC serves, record by record in hex, as the simulator dumps it:
  /// without record IDs.
  std::vector<std::string> Repository();

  /// Requests and answers since the trace was last cleared, as "> 28 22", "< 2C 22 00 01 00".
  std::vector<std::string> Trace();
  /// The requests alone, as "28 22" lines.
  std::vector<std::string> Requests();
  void ClearTrace();

  /// What the runs with failing calls have reported since it was last asked, line by line.
  std::vector<std::string> TakeCallReport();

  /// Keeps the BMC as it is now, and makes it so again.
  void KeepBmc();
  void RestoreBmc();

  void Write(const std::string& name, const std::string& bytes);
  std::string Read(const std::string& name);
  bool Exists(const std::string& name);
  void Remove(const std::string& name);

  /// The log's lines without their time stamps.
  std::vector<std::string> Log(const std::string& name = "tarvek.log");

  /// Whether some run holds the single-run lock, or left it behind.
  static bool LockExists();
  static void RemoveLock();

  /// What puts the BMC under a program without the launcher.
  Surroundings Beneath(const RunOptions& options) const;

  const std::filesystem::path& directory() const { return directory_; }
  /// Where the BMC's state, its trace and the directory stand.
  const std::filesystem::path& base() const { return state_; }
  std::string Path(const std::string& name) const { return (directory_ / name).string(); }

 private:
  std::vector<std::string> Launch(const std::vector<std::string>& arguments,
                                  const RunOptions& options) const;
  Started StartDirectly(const std::vector<std::string>& arguments, const RunOptions& options,
                        bool traced) const;

  std::filesystem::path directory_;
  std::filesystem::path state_;  // the BMC's state and its trace live beside the directory
};

/// The text of a result file as a whole.
std::string ResultText(const std::string& code, const std::string& data = "");
std::string VersionResult(const std::string& code, const std::string& word,
                          const std::string& version);

}  // namespace blackbox
