// bmcsim: runs a program on a simulated BMC, makes one, shows its repository, or is QEMU's BMC.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/fault_plan.h"
#include "simulator/launcher_options.h"
#include "simulator/qemu_server.h"
#include "simulator/repository_text.h"
#include "simulator/run_environment.h"
#include "simulator/sample_records.h"
#include "simulator/state_file.h"

namespace bmcsim {
namespace {

namespace fs = std::filesystem;

constexpr int kOwnError = 2;

// The set that a new BMC comes with was made on 2018-01-01, so that what is made twice is equal.
constexpr std::uint32_t kNewSetTime = 1514764800;

int Fail(const std::string& message) {
  (void)std::fprintf(stderr, "bmcsim: %s\n", message.c_str());
  return kOwnError;
}

std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  if (!file.is_open() || file.bad()) return std::nullopt;
  return text;
}

std::string Absolute(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  return error ? path : absolute.string();
}

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

bool FillNewState(const LauncherOptions& options, BmcState& state, std::string& error) {
  if (!options.load.empty()) {
    const auto text = ReadFile(options.load);
    if (!text) {
      error = "cannot read " + options.load;
      return false;
    }
    if (!LoadHexRepository(*text, state, error)) {
      error.insert(0, options.load + ", ");
      return false;
    }
  }
  if (AddSampleSet(options.set, kNewSetTime, state)) return true;
  error = "the records do not fit the capacity";
  return false;
}

bool CreateState(const LauncherOptions& options, std::string& error) {
  const auto state = std::make_unique<BmcState>();
  InitialiseState(options.Apply(Identity()), *state);
  return FillNewState(options, *state, error) && StateFile::Create(options.state, *state, error);
}

bool ChangeState(const LauncherOptions& options, std::string& error) {
  StateFile file;
  if (!file.Open(options.state, error)) return false;
  if (options.changes.empty()) return true;
  file.Lock();
  Control control = ActiveControl(*file.state());
  control.identity = options.Apply(control.identity);
  Publish(control, *file.state());
  file.Unlock();
  return true;
}

// The state file that the run or nothing but its making is for: made, or found and changed.
bool PrepareState(const LauncherOptions& options, std::string& error) {
  const bool exists = Exists(options.state);
  if (exists && options.create) {
    error = options.state + " exists already";
    return false;
  }
  if (exists && options.describes_set) {
    error = options.state + " exists already, its records stay as they are";
    return false;
  }
  return exists ? ChangeState(options, error) : CreateState(options, error);
}

int Dump(const LauncherOptions& options) {
  std::string error;
  StateFile file;
  if (!file.Open(options.state, error)) return Fail(error);
  file.Lock();
  const bool hex = options.task == LauncherOptions::Task::kDumpHex;
  const std::string text = hex ? HexRepository(*file.state()) : DescribeRepository(*file.state());
  file.Unlock();
  (void)std::fputs(text.c_str(), stdout);
  return std::fflush(stdout) == 0 ? 0 : Fail("cannot write the repository");
}

// A plan on the command line is a file's name, or the text itself, which has a colon.
bool TakeFaultPlan(std::string& fault, std::string& error) {
  if (fault.empty()) return true;
  if (const auto text = ReadFile(fault)) {
    fault = *text;
  } else if (fault.find(':') == std::string::npos) {
    error = "cannot read the fault plan " + fault;
    return false;
  }
  const auto plan = std::make_unique<FaultPlan>();
  return plan->Parse(fault, error);
}

std::string FindLibrary() {
  std::error_code error;
  const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
  for (const char* place : {".", "../lib/tarvek", "../" BMCSIM_LIBDIR "/tarvek", "../lib"}) {
    fs::path candidate = here / place / kPreloadLibrary;
    if (fs::exists(candidate, error)) return fs::weakly_canonical(candidate, error).string();
  }
  return {};
}

// Where the shell would find the program; empty when nowhere.
std::string FindProgram(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  std::error_code error;
  const char* path = std::getenv("PATH");
  const std::string places = path == nullptr ? "/usr/bin:/bin" : path;
  for (std::size_t begin = 0; begin <= places.size();) {
    const std::size_t end = std::min(places.find(':', begin), places.size());
    const std::string place = places.substr(begin, end - begin);
    std::string candidate = (place.empty() ? "." : place) + "/" + name;
    if (access(candidate.c_str(), X_OK) == 0 && !fs::is_directory(candidate, error))
      return candidate;
    begin = end + 1;
  }
  return {};
}

// AddressSanitizer's shared runtime refuses to work behind another preloaded library unless told
// that the order is as it should be; ours replaces nothing that it relies on. The program may be
// a script that starts the sanitized one, so it is told always.
void AllowSanitizer() {
  const char* former = std::getenv("ASAN_OPTIONS");
  const std::string options = former == nullptr ? "" : std::string(former) + ":";
  setenv("ASAN_OPTIONS", (options + "verify_asan_link_order=0").c_str(), 1);
}

void SetVariable(const char* name, const std::string& value) {
  if (value.empty()) {
    unsetenv(name);
  } else {
    setenv(name, value.c_str(), 1);
  }
}

void SetEnvironment(const LauncherOptions& options, const std::string& fault,
                    const std::string& library) {
  SetVariable(kStateVariable, Absolute(options.state));
  SetVariable(kOpenIpmiNodeVariable, options.openipmi_node);
  SetVariable(kMakerNodeVariable, options.maker_node);
  SetVariable(kFaultVariable, fault);
  SetVariable(kTraceVariable, options.trace.empty() ? "" : Absolute(options.trace));
  SetVariable(kClockVariable, options.clock);
  SetVariable(kStatsVariable, options.stats.empty() ? "" : Absolute(options.stats));
  const char* former = std::getenv("LD_PRELOAD");
  const bool others = former != nullptr && *former != '\0';
  SetVariable("LD_PRELOAD", others ? library + ":" + former : library);
}

int Run(const LauncherOptions& options) {
  std::string error;
  std::string fault = options.fault;
  if (!TakeFaultPlan(fault, error)) return Fail(error);
  const std::string library = FindLibrary();
  if (library.empty()) return Fail(std::string("cannot find ") + kPreloadLibrary);
  if (library.find_first_of(" :") != std::string::npos) {
    return Fail("the path " + library + " holds a blank or a colon, which a preload list cannot");
  }
  const std::string program = FindProgram(options.program[0]);
  if (program.empty()) return Fail("there is no program " + options.program[0]);
  if (!PrepareState(options, error)) return Fail(error);
  AllowSanitizer();
  SetEnvironment(options, fault, library);

  std::vector<char*> arguments;
  for (const std::string& argument : options.program) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  execv(program.c_str(), arguments.data());
  return Fail("cannot run " + program + ": " + std::strerror(errno));
}

int Serve(const LauncherOptions& options) {
  std::string error;
  std::string fault = options.fault;
  if (!TakeFaultPlan(fault, error) || !PrepareState(options, error)) return Fail(error);
  const auto plan = std::make_unique<FaultPlan>();
  StateFile state;
  if (!plan->Parse(fault, error) || !state.Open(options.state, error)) return Fail(error);
  return ServeQemu(state, *plan, options.trace, options.serve, error) ? 0 : Fail(error);
}

int Main(std::span<const char* const> arguments) {
  using Task = LauncherOptions::Task;
  std::string error;
  const auto options = ParseLauncherOptions(arguments, error);
  if (!options) return Fail(error);
  switch (options->task) {
    case Task::kHelp:
      (void)std::fputs(LauncherHelp().c_str(), stdout);
      return 0;
    case Task::kVersion:
      (void)std::puts("bmcsim " BMCSIM_VERSION);
      return 0;
    case Task::kCreate:
      return PrepareState(*options, error) ? 0 : Fail(error);
    case Task::kDump:
    case Task::kDumpHex:
      return Dump(*options);
    case Task::kServe:
      return Serve(*options);
    case Task::kRun:
      break;
  }
  return Run(*options);
}

}  // namespace
}  // namespace bmcsim

int main(int argc, char** argv) {
  const std::vector<const char*> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  return bmcsim::Main(arguments);
}
