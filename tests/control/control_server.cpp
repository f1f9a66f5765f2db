#include "tests/control/control_server.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <thread>

#include "simulator/run_environment.h"
#include "tests/unit/support/lock_name.h"

namespace control_test {
namespace {

constexpr std::chrono::seconds kPatience{20};

const std::vector<std::string> kKeys{"schema",        "command",     "status",  "outcome",
                                     "changed",       "in_service",  "differs", "version_before",
                                     "version_after", "result_code", "error",   "message",
                                     "run",           "log",         "backup"};

/// The keys of a result whose values are the same in every run; of the others, whether they are.
Json FieldsOf(const Json& result) {
  const Json& error = result["error"];
  return {{"schema", result["schema"]},
          {"status", result["status"]},
          {"outcome", result["outcome"]},
          {"changed", result["changed"]},
          {"in_service", result["in_service"]},
          {"differs", result["differs"]},
          {"version_before", result["version_before"]},
          {"version_after", result["version_after"]},
          {"result_code", result["result_code"]},
          {"error", error.is_null() ? error : error["number"]},
          {"run", result["run"].is_string()},
          {"log", result["log"].is_string()},
          {"backup", result["backup"].is_string()}};
}

Json WordsOf(const Expected& expected) {
  return {{"schema", 1},
          {"status", expected.status},
          {"outcome", expected.outcome},
          {"changed", expected.changed},
          {"in_service", expected.in_service},
          {"differs", expected.differs},
          {"version_before", expected.version_before},
          {"version_after", expected.version_after},
          {"result_code", expected.result_code},
          {"error", expected.error},
          {"run", expected.run},
          {"log", expected.log},
          {"backup", expected.backup}};
}

std::string FieldOf(const std::string& stat, int field) {
  // The name in it may hold blanks; what is behind it may not.
  std::istringstream rest(stat.substr(stat.rfind(')') + 2));
  std::string word;
  for (int i = 0; i <= field; ++i) rest >> word;
  return word;
}

std::string StatOf(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(file, text);
  return text;
}

char StateOf(pid_t pid) {
  const std::string stat = StatOf(pid);
  return stat.empty() ? ' ' : FieldOf(stat, 0)[0];
}

}  // namespace

void PrintTo(const Expected& expected, std::ostream* out) { *out << expected.status; }

void ControlServer::SetUp() {
  SimulatedServer::SetUp();
  // Who is left by its parent comes to this process, which sees to its end.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  std::filesystem::create_directory(state_directory());
}

void ControlServer::TearDown() {
  for (const pid_t child : ChildrenOf(getpid())) {
    if (StateOf(child) != 'Z') ADD_FAILURE() << "left running: " << StatOf(child);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  SimulatedServer::TearDown();
}

RunOptions ControlServer::Timed(RunOptions options) {
  if (options.clock.empty()) options.clock = "virtual";
  return options;
}

Words ControlServer::CommandLine(const Words& words) const {
  Words all{TARVEKCTL_PROGRAM, "--state-dir", state_directory()};
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

Started ControlServer::StartCtl(const Words& words, const RunOptions& options) {
  Words all = CommandLine(words);
  all.emplace_back("--json");
  return StartProgram(all, (directory() / options.directory).string(), Beneath(Timed(options)));
}

Said ControlServer::Finish(const Started& started) {
  Said said;
  said.outcome = blackbox::WaitFor(started);
  std::istringstream lines(said.outcome.console);
  for (std::string line; std::getline(lines, line);) {
    Json json = Json::parse(line, nullptr, false);
    if (json.is_discarded()) {
      ADD_FAILURE() << "no JSON: " << line;
    } else if (json.contains("phase")) {
      EXPECT_TRUE(said.result.is_null()) << "progress behind the result";
      said.progress.push_back(std::move(json));
    } else {
      EXPECT_TRUE(said.result.is_null()) << "two results";
      said.result = std::move(json);
    }
  }
  return said;
}

Said ControlServer::Ctl(const Words& words, const RunOptions& options) {
  return Finish(StartCtl(words, options));
}

Outcome ControlServer::People(const Words& words, const RunOptions& options) {
  return RunProgram(CommandLine(words), (directory() / options.directory).string(),
                    Beneath(Timed(options)));
}

int ControlServer::OnTerminal(const Words& words, const RunOptions& options, std::string* told,
                              unsigned short columns) {
  Words all = CommandLine(words);
  std::vector<char*> argv;
  for (std::string& word : all) argv.push_back(word.data());
  argv.push_back(nullptr);
  const blackbox::Surroundings surroundings = Beneath(Timed(options));
  int terminal = -1;
  const winsize size{0, columns, 0, 0};
  const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
  if (pid == 0) {
    for (const auto& [name, value] : surroundings.environment)
      setenv(name.c_str(), value.c_str(), 1);
    alarm(blackbox::kWatchdogSeconds);
    if (chdir(directory().c_str()) == 0) execv(argv[0], argv.data());
    _exit(127);
  }
  std::array<char, 4096> piece{};
  for (ssize_t count = 0; (count = read(terminal, piece.data(), piece.size())) > 0;) {
    told->append(piece.data(), static_cast<std::size_t>(count));
  }
  close(terminal);
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ControlServer::WriteInput(const std::vector<SourceRecord>& records, const std::string& name) {
  Write(name, SdrText(records));
  InputIs(records);
}

void ControlServer::InputIs(const std::vector<SourceRecord>& records) { input_ = HexOf(records); }

void ControlServer::Serve(const std::vector<SourceRecord>& records, const Words& options) {
  std::string text;
  for (const std::string& line : HexOf(records)) text += line + '\n';
  std::ofstream(base() / "load") << text;
  Words words{"--load", (base() / "load").string()};
  words.insert(words.end(), options.begin(), options.end());
  CreateBmc(words);
  Write("mchk_fil", "01a3\n");
}

void ControlServer::ExpectResult(const Said& said, const Expected& expected) {
  ASSERT_TRUE(said.result.is_object()) << said.outcome.console << said.outcome.errors;
  const Json& result = said.result;
  SCOPED_TRACE(result["message"].dump());
  std::vector<std::string> keys;
  for (const auto& [key, value] : result.items()) keys.push_back(key);
  ASSERT_GE(keys.size(), kKeys.size());
  keys.resize(kKeys.size());
  ASSERT_EQ(keys, kKeys);
  EXPECT_EQ(said.outcome.exit_status, expected.status);
  EXPECT_EQ(said.outcome.errors, "");
  ASSERT_EQ(result["message"].size(), 3U);
  for (const char* const part : {"what", "state", "remedy"}) {
    EXPECT_FALSE(result["message"][part].get<std::string>().empty()) << part;
  }
  if (!result["error"].is_null()) {
    ASSERT_EQ(result["error"].size(), 2U);
    EXPECT_FALSE(result["error"]["text"].get<std::string>().empty());
  }
  EXPECT_EQ(FieldsOf(result), WordsOf(expected));
  if (expected.run) {
    EXPECT_THAT(result["run"].get<std::string>(),
                testing::MatchesRegex("[0-9]{8}-[0-9]{6}-[0-9a-f]{8}"));
  }
  for (const char* const file : {"log", "backup"}) {
    if (!result[file].is_string()) continue;
    const std::filesystem::path path = directory() / result[file].get<std::string>();
    EXPECT_TRUE(std::filesystem::is_regular_file(path)) << path;
  }

  const std::vector<std::string> served = Repository();
  if (expected.in_service == "input") {
    EXPECT_EQ(served, input_);
  } else if (expected.in_service == "previous") {
    EXPECT_EQ(served, before_);
  } else if (expected.in_service == "other") {
    EXPECT_NE(served, before_);
    EXPECT_NE(served, input_);
  }
  if (expected.changed.is_boolean()) {
    EXPECT_EQ(expected.changed.get<bool>(), served != before_);
  }
  if (expected.differs.is_boolean()) {
    EXPECT_EQ(expected.differs.get<bool>(), served != input_);
  }
}

void ControlServer::ExpectNothingLeft() {
  EXPECT_FALSE(IsLocked());
  for (const auto& entry : std::filesystem::directory_iterator(state_directory())) {
    EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
  }
  if (!std::filesystem::exists(StatePath("runs"))) return;
  for (const auto& entry : std::filesystem::directory_iterator(StatePath("runs"))) {
    EXPECT_TRUE(std::filesystem::exists(entry.path() / "result.json")) << entry.path();
    EXPECT_FALSE(std::filesystem::exists(entry.path() / "ballast")) << entry.path();
  }
}

std::vector<pid_t> ControlServer::ChildrenOf(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    const auto pid = static_cast<pid_t>(std::stol(name));
    const std::string stat = StatOf(pid);
    if (!stat.empty() && FieldOf(stat, 1) == std::to_string(parent)) children.push_back(pid);
  }
  return children;
}

pid_t ControlServer::StoppedToolOf(pid_t leader) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < end) {
    for (const pid_t child : ChildrenOf(leader)) {
      if (StateOf(child) == 'T') return child;
    }
    if (StateOf(leader) == 'Z') break;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ADD_FAILURE() << "no tool has stopped";
  return -1;
}

std::string ControlServer::WriteTool(const std::string& script) {
  const std::string path = (base() / "tool").string();
  std::ofstream(path) << "#!/bin/sh\nTARVEK=" << TARVEK_PROGRAM << "\nHERE=" << base().string()
                      << '\n'
                      << script;
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

std::string ControlServer::LastRun() const {
  std::string last;
  for (const auto& entry : std::filesystem::directory_iterator(StatePath("runs"))) {
    last = std::max(last, entry.path().filename().string());
  }
  return last;
}

void ControlServer::LeaveLock() { tarvek_test::TakeLockAsAnotherRun(); }

SourceRecord OemRecord(std::size_t size, std::uint8_t filler) {
  SourceRecord record;
  record.bytes = {0x00, 0x00, 0x51, 0xC0, static_cast<std::uint8_t>(size)};
  record.bytes.insert(record.bytes.end(), {0x0B, 0x00, 0x00});
  record.bytes.resize(5 + size, filler);
  return record;
}

}  // namespace control_test
