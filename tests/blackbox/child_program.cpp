#include "tests/blackbox/child_program.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace blackbox {
namespace {

constexpr int kNoDirectory = 126;
constexpr int kNoProgram = 127;

std::vector<char*> Pointers(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// The test's environment with the child's own variables in it.
std::vector<std::string> Environment(const Surroundings& surroundings) {
  std::vector<std::pair<std::string, std::string>> own = surroundings.environment;
  own.emplace_back("TZ", "UTC");
  std::vector<std::string> words;
  for (const auto& [name, value] : own) words.push_back(name + "=" + value);
  const auto is_own = [&](const std::string& word) {
    for (const auto& variable : own) {
      if (word.rfind(variable.first + "=", 0) == 0) return true;
    }
    return false;
  };
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (!is_own(*variable)) words.emplace_back(*variable);
  }
  return words;
}

/// An unnamed file with `bytes`, read from its start.
int FileWith(const std::string& bytes) {
  const int fd = memfd_create("tarvek-io", MFD_CLOEXEC);
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

/// The child's side of StartProgram().
[[noreturn]] void Exec(char* const* arguments, char* const* environment, const char* directory,
                       int input, const Started& outputs, const Surroundings& surroundings) {
  dup2(input, STDIN_FILENO);
  dup2(outputs.output, STDOUT_FILENO);
  dup2(outputs.errors, STDERR_FILENO);
  if (chdir(directory) != 0) _exit(kNoDirectory);
  // What the caller of the tests has open is not for the child to inherit.
  (void)close_range(STDERR_FILENO + 1, ~0U, 0);
  for (const int fd : surroundings.closed) close(fd);
  for (const auto& [resource, limit] : surroundings.limits) {
    const rlimit both{limit, limit};
    setrlimit(resource, &both);
  }
  alarm(kWatchdogSeconds);
  if (surroundings.traced) ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  execve(arguments[0], arguments, environment);
  _exit(kNoProgram);
}

}  // namespace

Started StartProgram(const std::vector<std::string>& arguments, const std::string& directory,
                     const Surroundings& surroundings) {
  std::vector<std::string> words = arguments;
  std::vector<std::string> variables = Environment(surroundings);
  const std::vector<char*> argv = Pointers(words);
  const std::vector<char*> envp = Pointers(variables);
  const int input = FileWith(surroundings.input);
  Started started;
  started.output = FileWith("");
  started.errors = FileWith("");
  started.pid = fork();
  if (started.pid == 0) {
    Exec(argv.data(), envp.data(), directory.c_str(), input, started, surroundings);
  }
  close(input);
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
                   const Surroundings& surroundings) {
  return WaitFor(StartProgram(arguments, directory, surroundings));
}

}  // namespace blackbox
