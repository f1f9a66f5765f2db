#include "tests/blackbox/stepped_run.h"

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

namespace blackbox {

Places PlacesOf(const std::string& path, bool library) {
  std::vector<std::string> words{NM_PROGRAM, "--defined-only", path};
  if (library) words.insert(words.begin() + 1, "-D");
  const Outcome nm = RunProgram(words, "/");
  EXPECT_EQ(nm.exit_status, 0) << nm.errors;
  Places places;
  std::istringstream lines(nm.console);
  std::uintptr_t offset = 0;
  std::string kind;
  std::string name;
  while (lines >> std::hex >> offset >> kind >> name) places[name] = offset;
  return places;
}

#ifdef __x86_64__

namespace {

constexpr std::uint64_t kByteMask = 0xFF;
constexpr std::uint64_t kBreakpoint = 0xCC;  // int3, after which the run stops

user_regs_struct Registers(pid_t pid) {
  user_regs_struct registers{};
  EXPECT_EQ(ptrace(PTRACE_GETREGS, pid, nullptr, &registers), 0);
  return registers;
}

std::uint64_t Word(pid_t pid, std::uintptr_t address) {
  return static_cast<std::uint64_t>(ptrace(PTRACE_PEEKDATA, pid, address, nullptr));
}

}  // namespace

bool SteppedRun::IsPossible(std::string& reason) {
  const pid_t child = fork();
  if (child == 0) _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : errno);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  reason = std::string("no program may be traced here: ") + std::strerror(WEXITSTATUS(status));
  return false;
}

SteppedRun::SteppedRun(const Started& started, std::string program)
    : started_(started), program_(std::move(program)) {
  int status = 0;
  waitpid(started_.pid, &status, 0);  // a traced program stops when it begins
  stopped_ = WIFSTOPPED(status);
  EXPECT_TRUE(stopped_);
  ptrace(PTRACE_SETOPTIONS, started_.pid, nullptr, PTRACE_O_EXITKILL);
  ReadProgramRange();
}

SteppedRun::~SteppedRun() {
  if (!stopped_) return;
  kill(started_.pid, SIGKILL);
  WaitFor(started_);
}

void SteppedRun::ReadProgramRange() {
  std::ifstream maps("/proc/" + std::to_string(started_.pid) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(program_) == std::string::npos) continue;
    std::istringstream fields(line);
    Range range;
    char dash = 0;
    std::string rights;
    fields >> std::hex >> range.begin >> dash >> range.end >> rights;
    if (base_ == 0) base_ = range.begin;
    if (rights.find('x') != std::string::npos) code_ = range;
  }
  EXPECT_NE(code_.begin, 0U);
}

std::uintptr_t SteppedRun::BaseOf(const std::string& library) const {
  std::ifstream maps("/proc/" + std::to_string(started_.pid) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(library) != std::string::npos) return std::stoul(line, nullptr, 16);
  }
  ADD_FAILURE() << library << " is not loaded";
  return 0;
}

/// Goes on until the run stops again.
/// @return false when it has ended.
bool SteppedRun::Resume(int request) {
  int status = 0;
  do {
    if (ptrace(static_cast<__ptrace_request>(request), started_.pid, nullptr, nullptr) != 0) {
      ADD_FAILURE() << "the run cannot be led on: " << std::strerror(errno);
      return stopped_ = false;
    }
    if (waitpid(started_.pid, &status, 0) != started_.pid || !WIFSTOPPED(status)) {
      ADD_FAILURE() << "the run has ended with status " << status;
      return stopped_ = false;
    }
  } while (WSTOPSIG(status) != SIGTRAP);
  return true;
}

/// Goes on to the instruction at `address`, without a step.
bool SteppedRun::RunToAddress(std::uintptr_t address) {
  const std::uint64_t word = Word(started_.pid, address);
  ptrace(PTRACE_POKETEXT, started_.pid, address, (word & ~kByteMask) | kBreakpoint);
  if (!Resume(PTRACE_CONT)) return false;
  ptrace(PTRACE_POKETEXT, started_.pid, address, word);
  user_regs_struct registers = Registers(started_.pid);
  EXPECT_EQ(registers.rip, address + 1);
  registers.rip = address;
  ptrace(PTRACE_SETREGS, started_.pid, nullptr, &registers);
  return true;
}

std::uintptr_t SteppedRun::Place() const { return Registers(started_.pid).rip - base_; }

bool SteppedRun::Enter(std::uintptr_t place) {
  if (return_ != 0 && !Resume(PTRACE_SINGLESTEP)) return false;  // off the last call's entry
  if (!RunToAddress(base_ + place)) return false;
  const user_regs_struct registers = Registers(started_.pid);
  return_ = Word(started_.pid, registers.rsp);
  stack_ = registers.rsp;
  return true;
}

std::uint64_t SteppedRun::SecondArgument() const { return Registers(started_.pid).rsi; }

bool SteppedRun::Step() {
  called_ = 0;
  if (!Resume(PTRACE_SINGLESTEP)) return false;
  user_regs_struct registers = Registers(started_.pid);
  if (registers.rip < code_.begin || registers.rip >= code_.end) {
    called_ = registers.rip;
    if (!RunToAddress(Word(started_.pid, registers.rsp))) return false;
    registers = Registers(started_.pid);
  }
  return registers.rip != return_ || registers.rsp <= stack_;
}

bool SteppedRun::Holds(int signal) const {
  std::ifstream status("/proc/" + std::to_string(started_.pid) + "/status");
  const std::string caption = "SigBlk:";
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(caption, 0) != 0) continue;
    const std::uint64_t mask = std::stoull(line.substr(caption.size()), nullptr, 16);
    return (mask >> (signal - 1) & 1U) != 0;
  }
  ADD_FAILURE() << "the system does not tell which signals are held";
  return false;
}

Outcome SteppedRun::LetGo(int signal) {
  if (signal != 0) kill(started_.pid, signal);
  ptrace(PTRACE_DETACH, started_.pid, nullptr, nullptr);
  stopped_ = false;
  return WaitFor(started_);
}

#else

bool SteppedRun::IsPossible(std::string& reason) {
  reason = "the stepper knows the instructions of x86-64 alone";
  return false;
}

SteppedRun::SteppedRun(const Started& started, std::string program)
    : started_(started), program_(std::move(program)) {}
SteppedRun::~SteppedRun() = default;
std::uintptr_t SteppedRun::BaseOf(const std::string& /*library*/) const { return base_; }
bool SteppedRun::Enter(std::uintptr_t /*place*/) { return false; }
bool SteppedRun::RunToAddress(std::uintptr_t /*address*/) { return false; }
std::uintptr_t SteppedRun::Place() const { return base_; }
std::uint64_t SteppedRun::SecondArgument() const { return 0; }
bool SteppedRun::Step() { return false; }
bool SteppedRun::Holds(int /*signal*/) const { return false; }
Outcome SteppedRun::LetGo(int /*signal*/) { return {}; }

#endif

}  // namespace blackbox
