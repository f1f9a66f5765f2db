#include "simulator/program.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "simulator/console.h"
#include "simulator/new_state.h"
#include "simulator/run_environment.h"
#include "simulator/strike_notes.h"
#include "simulator/supervisor.h"

namespace bmcsim {
namespace {

namespace fs = std::filesystem;

std::string Absolute(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  return error ? path : absolute.string();
}

fs::path OwnDirectory() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error).parent_path();
}

std::string FindLibrary() {
  std::error_code error;
  const fs::path here = OwnDirectory();
  for (const char* place : {".", "../lib/tarvek", "../" BMCSIM_LIBDIR "/tarvek", "../lib"}) {
    fs::path candidate = here / place / kPreloadLibrary;
    if (fs::exists(candidate, error)) return fs::weakly_canonical(candidate, error).string();
  }
  return {};
}

// The PATH, and behind it the directories of the administrator's programs, which an ordinary user's
// PATH lacks: a rehearsal needs nobody's rights.
std::string SearchPath() {
  const char* path = std::getenv("PATH");
  std::string places = path == nullptr ? "/usr/bin:/bin" : path;
  std::vector<std::string> further = {"/usr/sbin", "/sbin"};
  const fs::path here = OwnDirectory();
  if (here.filename() == "bin") further.insert(further.begin(), here.parent_path() / "sbin");
  for (const std::string& place : further) {
    if ((":" + places + ":").find(":" + place + ":") == std::string::npos) places += ":" + place;
  }
  return places;
}

// Where the shell would find the program; empty when nowhere.
std::string FindProgram(const std::string& name, const std::string& places) {
  if (name.find('/') != std::string::npos) return name;
  std::error_code error;
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

// Puts an entry before those that a list of the dynamic linker has already.
void PutFirst(const char* list, const std::string& entry) {
  const char* former = std::getenv(list);
  const bool others = former != nullptr && *former != '\0';
  SetVariable(list, others ? entry + ":" + former : entry);
}

// A blank separates the libraries of the list as a colon does, but not the directories in which
// those that are named without one are looked for.
void Preload(const std::string& library) {
  const fs::path path = library;
  if (library.find(' ') == std::string::npos) return PutFirst("LD_PRELOAD", library);
  PutFirst("LD_LIBRARY_PATH", path.parent_path().string());
  PutFirst("LD_PRELOAD", path.filename().string());
}

void SetEnvironment(const LauncherOptions& options, const std::string& fault,
                    const std::string& library) {
  SetVariable(kStateVariable, Absolute(options.state));
  SetVariable(kOpenIpmiNodeVariable, options.openipmi_node);
  SetVariable(kMakerNodeVariable, options.maker_node);
  SetVariable(kFaultVariable, fault);
  SetVariable(kStrikesVariable, "");
  SetVariable(kTraceVariable, options.trace.empty() ? "" : Absolute(options.trace));
  SetVariable(kClockVariable, options.clock);
  SetVariable(kStatsVariable, options.stats.empty() ? "" : Absolute(options.stats));
  Preload(library);
}

int BecomeProgram(const std::string& program, const LauncherOptions& options) {
  const std::size_t count = options.program.size();
  const auto arguments = std::make_unique<char*[]>(count + 1);  // a null pointer ends them
  for (std::size_t i = 0; i < count; ++i) {
    arguments[i] = const_cast<char*>(options.program[i].c_str());
  }
  execv(program.c_str(), arguments.get());
  return errno;
}

int RunWithPlan(FaultPlan& plan, const std::string& program, const LauncherOptions& options) {
  StrikeNotes notes;
  const std::string place = notes.Create();
  if (place.empty()) {
    return Fail(std::string("cannot note what the fault plan does: ") + std::strerror(errno));
  }
  SetVariable(kStrikesVariable, place);
  plan.NoteStrikesIn(notes.bytes());
  int failed = 0;
  const ProgramEnd end = RunSupervised([&] { return BecomeProgram(program, options); }, failed);
  if (failed != 0) return Fail("cannot run " + program + ": " + std::strerror(failed));
  if (const int status = ReportUnstruck(plan, options); status != 0) return status;
  EndAs(end);
}

}  // namespace

std::unique_ptr<FaultPlan> TakeFaultPlan(const LauncherOptions& options, std::string& text,
                                         std::string& error) {
  const std::string& given = options.fault;
  const bool read = !given.empty() && ReadText(given, FaultPlan::kMaxText, text, error);
  if (!read && !given.empty() && given.find(':') == std::string::npos) {
    error.insert(0, "cannot read the fault plan " + given + ": ");
    return nullptr;
  }
  if (!read) text = given;
  auto plan = std::make_unique<FaultPlan>();
  if (!plan->Parse(text, error)) return nullptr;
  return plan;
}

int ReportUnstruck(const FaultPlan& plan, const LauncherOptions& options) {
  const std::vector<std::string_view> rules = plan.Unstruck();
  for (const std::string_view rule : rules) {
    (void)Fail("the fault plan's rule '" + std::string(rule) + "' never struck");
  }
  return options.strict && !rules.empty() ? kNeverStruck : 0;
}

int RunProgram(const LauncherOptions& options) {
  std::string error;
  std::string fault;
  const auto plan = TakeFaultPlan(options, fault, error);
  if (plan == nullptr) return Fail(error);
  const std::string library = FindLibrary();
  if (library.empty()) return Fail(std::string("cannot find ") + kPreloadLibrary);
  if (library.find_first_of(":;") != std::string::npos) {
    return Fail("the path " + library + " holds a colon or a semicolon, which separate paths");
  }
  const std::string places = SearchPath();
  const std::string program = FindProgram(options.program[0], places);
  if (program.empty()) return Fail("there is no program " + options.program[0]);
  if (!PrepareState(options, error)) return Fail(error);
  AllowSanitizer();
  SetEnvironment(options, fault, library);
  SetVariable("PATH", places);
  if (!plan->empty()) return RunWithPlan(*plan, program, options);
  const int failed = BecomeProgram(program, options);
  return Fail("cannot run " + program + ": " + std::strerror(failed));
}

}  // namespace bmcsim
