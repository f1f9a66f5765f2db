#include "tests/blackbox/simulated_server.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

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

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// The child's side of RunProgram().
[[noreturn]] void Exec(const std::vector<std::string>& arguments, const std::string& directory,
                       int input, int output, int errors) {
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  setenv("TZ", "UTC", 1);
  if (chdir(directory.c_str()) != 0) _exit(126);
  std::vector<char*> words;
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  execv(words[0], words.data());
  _exit(127);
}

/// An unnamed file with `bytes`, read from its start.
int FileWith(const std::string& bytes) {
  std::string name = (std::filesystem::temp_directory_path() / "tarvek-io-XXXXXX").string();
  const int fd = mkostemp(name.data(), O_CLOEXEC);
  unlink(name.c_str());
  EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  lseek(fd, 0, SEEK_SET);
  return fd;
}

std::string TakeFile(int fd) {
  lseek(fd, 0, SEEK_SET);
  std::string text;
  std::array<char, 65536> buffer{};
  for (ssize_t n = read(fd, buffer.data(), buffer.size()); n > 0;
       n = read(fd, buffer.data(), buffer.size())) {
    text.append(buffer.data(), static_cast<std::size_t>(n));
  }
  close(fd);
  return text;
}

}  // namespace

Started StartProgram(const std::vector<std::string>& arguments, const std::string& directory,
                     const std::string& input) {
  const int in = FileWith(input);
  Started started;
  started.output = FileWith("");
  started.errors = FileWith("");
  started.pid = fork();
  if (started.pid == 0) Exec(arguments, directory, in, started.output, started.errors);
  close(in);
  return started;
}

Outcome WaitFor(const Started& started) {
  int status = 0;
  waitpid(started.pid, &status, 0);
  Outcome outcome;
  if (WIFEXITED(status)) outcome.exit_status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
  outcome.console = TakeFile(started.output);
  outcome.errors = TakeFile(started.errors);
  return outcome;
}

Outcome RunProgram(const std::vector<std::string>& arguments, const std::string& directory,
                   const std::string& input) {
  return WaitFor(StartProgram(arguments, directory, input));
}

void SimulatedServer::SetUp() {
  tarvek_test::UsePrivateLock();
  std::string name = (std::filesystem::temp_directory_path() / "tarvek-box-XXXXXX").string();
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

Outcome SimulatedServer::Tarvek(const std::vector<std::string>& arguments,
                                const RunOptions& options) {
  return RunProgram(Launch(arguments, options), (directory_ / options.directory).string(),
                    options.input);
}

Started SimulatedServer::TarvekUntilStopped(const std::vector<std::string>& arguments,
                                            const RunOptions& options) {
  const Started started = StartProgram(Launch(arguments, options),
                                       (directory_ / options.directory).string(), options.input);
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
  const Outcome outcome = RunProgram(
      {BMCSIM_PROGRAM, "--state", (state_ / "bmc").string(), "--dump=hex"}, directory_.string());
  EXPECT_EQ(outcome.exit_status, 0) << outcome.errors;
  return Lines(outcome.console);
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
