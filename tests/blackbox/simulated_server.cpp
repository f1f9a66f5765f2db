#include "tests/blackbox/simulated_server.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "simulator/repository_text.h"
#include "simulator/run_environment.h"
#include "simulator/state_file.h"
#include "tests/blackbox/call_ledger.h"
#include "tests/unit/support/lock_name.h"

namespace blackbox {
namespace {

constexpr const char* kLockFile = "/dev/shm/sem.tarvek_exe";

std::string ReadWhole(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(there is no " + path.filename().string() + ")";
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

/// Where the server's files stand: in memory, where runs take a quarter of the time, if there is
/// such a place.
std::filesystem::path PlaceForFiles() {
  constexpr const char* kMemory = "/dev/shm";
  return access(kMemory, W_OK) == 0 ? kMemory : std::filesystem::temp_directory_path();
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace

void SimulatedServer::SetUp() {
  tarvek_test::UsePrivateLock();
  std::string name = (PlaceForFiles() / "tarvek-box-XXXXXX").string();
  ASSERT_NE(mkdtemp(name.data()), nullptr);
  state_ = name;
  directory_ = state_ / "work";
  std::filesystem::create_directory(directory_);
  RemoveLock();
}

void SimulatedServer::TearDown() {
  RemoveLock();
  std::filesystem::remove_all(state_);
}

void SimulatedServer::CreateBmc(const std::vector<std::string>& options) {
  std::filesystem::remove(state_ / "bmc");
  std::vector<std::string> words{BMCSIM_PROGRAM, "--state", (state_ / "bmc").string(), "--create"};
  words.insert(words.end(), options.begin(), options.end());
  const Outcome outcome = RunProgram(words, directory_.string());
  ASSERT_EQ(outcome.exit_status, 0) << outcome.errors;
}

void SimulatedServer::CreateServer(int old_records, const std::string& version) {
  CreateBmc({"--records", std::to_string(old_records), "--version-text", version});
  Write("mchk_fil", "01a3\n");
  Write("ZetaInfo.xml", "");
}

std::vector<std::string> SimulatedServer::Launch(const std::vector<std::string>& arguments,
                                                 const RunOptions& options) const {
  std::vector<std::string> words{BMCSIM_PROGRAM,
                                 "--state",
                                 (state_ / "bmc").string(),
                                 "--driver",
                                 options.driver,
                                 "--trace",
                                 (state_ / "trace").string(),
                                 "--clock",
                                 "virtual:" + std::to_string(kEpoch)};
  if (!options.fault.empty()) words.insert(words.end(), {"--fault", options.fault});
  words.insert(words.end(), options.launcher.begin(), options.launcher.end());
  words.insert(words.end(), {"--", TARVEK_PROGRAM});
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

Surroundings SimulatedServer::Beneath(const RunOptions& options) const {
  const char* const sanitizer = std::getenv("ASAN_OPTIONS");
  Surroundings surroundings{options.input, {}, options.limits, options.closed, false};
  surroundings.environment = {
      {bmcsim::kStateVariable, (state_ / "bmc").string()},
      {bmcsim::kTraceVariable, options.traced ? (state_ / "trace").string() : ""},
      {bmcsim::kClockVariable,
       options.clock.empty() ? "virtual:" + std::to_string(kEpoch) : options.clock},
      {bmcsim::kFaultVariable, options.fault},
      {"ASAN_OPTIONS", (sanitizer == nullptr ? std::string() : std::string(sanitizer) + ":") +
                           "verify_asan_link_order=0"}};
  if (options.driver == "maker") {
    surroundings.environment.emplace_back(bmcsim::kMakerNodeVariable, bmcsim::kMakerNode);
  } else if (options.driver != "none") {
    surroundings.environment.emplace_back(bmcsim::kOpenIpmiNodeVariable,
                                          bmcsim::kDefaultOpenIpmiNode);
  }
  std::string libraries = BMCSIM_LIBRARY;
  if (!options.failing.empty()) {
    libraries = std::string(FAILING_CALLS_LIBRARY) + ":" + libraries;
    surroundings.environment.emplace_back(failing_calls::kRulesVariable, options.failing);
    surroundings.environment.emplace_back(failing_calls::kReportVariable,
                                          (state_ / "calls").string());
  }
  surroundings.environment.emplace_back("LD_PRELOAD", libraries);
  return surroundings;
}

/// What the launcher does, but for another process.
Started SimulatedServer::StartDirectly(const std::vector<std::string>& arguments,
                                       const RunOptions& options, bool traced) const {
  Surroundings surroundings = Beneath(options);
  surroundings.traced = traced;
  std::vector<std::string> words{TARVEK_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return StartProgram(words, (directory_ / options.directory).string(), surroundings);
}

Started SimulatedServer::StartTraced(const std::vector<std::string>& arguments,
                                     const RunOptions& options) {
  return StartDirectly(arguments, options, true);
}

Outcome SimulatedServer::Tarvek(const std::vector<std::string>& arguments,
                                const RunOptions& options) {
  if (options.direct) return WaitFor(StartDirectly(arguments, options, false));
  return RunProgram(Launch(arguments, options), (directory_ / options.directory).string(),
                    {options.input, {}, {}, {}});
}

Started SimulatedServer::TarvekUntilStopped(const std::vector<std::string>& arguments,
                                            const RunOptions& options) {
  const Started started =
      StartProgram(Launch(arguments, options), (directory_ / options.directory).string(),
                   {options.input, {}, {}, {}});
  int status = 0;
  waitpid(started.pid, &status, WUNTRACED);
  EXPECT_TRUE(WIFSTOPPED(status));
  return started;
}

Outcome SimulatedServer::Continue(const Started& stopped) {
  kill(stopped.pid, SIGCONT);
  return WaitFor(stopped);
}

std::vector<std::string> SimulatedServer::Repository() {
  bmcsim::StateFile file;
  std::string error;
  EXPECT_TRUE(file.Open((state_ / "bmc").string(), error)) << error;
  if (file.state() == nullptr) return {};
  file.Lock();
  const std::string text = bmcsim::HexRepository(*file.state());
  file.Unlock();
  return Lines(text);
}

std::vector<std::string> SimulatedServer::Trace() {
  const std::filesystem::path trace = state_ / "trace";
  return std::filesystem::exists(trace) ? Lines(ReadWhole(trace)) : std::vector<std::string>();
}

std::vector<std::string> SimulatedServer::Requests() {
  std::vector<std::string> requests;
  for (const std::string& line : Trace()) {
    if (line.rfind("> ", 0) == 0) requests.push_back(line.substr(2));
  }
  return requests;
}

void SimulatedServer::ClearTrace() { std::ofstream(state_ / "trace", std::ios::trunc); }

std::vector<std::string> SimulatedServer::TakeCallReport() {
  const std::filesystem::path report = state_ / "calls";
  if (!std::filesystem::exists(report)) return {};
  std::vector<std::string> lines = Lines(ReadWhole(report));
  std::filesystem::remove(report);
  return lines;
}

void SimulatedServer::KeepBmc() {
  std::filesystem::copy_file(state_ / "bmc", state_ / "kept",
                             std::filesystem::copy_options::overwrite_existing);
}

void SimulatedServer::RestoreBmc() {
  std::filesystem::copy_file(state_ / "kept", state_ / "bmc",
                             std::filesystem::copy_options::overwrite_existing);
}

void SimulatedServer::Write(const std::string& name, const std::string& bytes) {
  std::ofstream(directory_ / name, std::ios::binary) << bytes;
}

std::string SimulatedServer::Read(const std::string& name) { return ReadWhole(directory_ / name); }

bool SimulatedServer::Exists(const std::string& name) {
  return std::filesystem::exists(directory_ / name);
}

void SimulatedServer::Remove(const std::string& name) {
  std::filesystem::remove(directory_ / name);
}

std::vector<std::string> SimulatedServer::Log(const std::string& name) {
  constexpr std::size_t kStampLength = 21;
  std::vector<std::string> lines = Lines(Read(name));
  for (std::string& line : lines) {
    if (line.size() >= kStampLength) line = line.substr(kStampLength);
  }
  return lines;
}

bool SimulatedServer::LockExists() { return access(kLockFile, F_OK) == 0; }
void SimulatedServer::RemoveLock() { unlink(kLockFile); }

std::string ResultText(const std::string& code, const std::string& data) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Response><result_code>" + code +
         "</result_code><data>" + data + "</data></Response>\n";
}

std::string VersionResult(const std::string& code, const std::string& word,
                          const std::string& version) {
  return ResultText(code, "<cmp>" + word + "</cmp><version>" + version + "</version>");
}

}  // namespace blackbox
