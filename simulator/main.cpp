// bmcsim: runs a program on a simulated BMC, makes one, shows its repository, or is QEMU's BMC.

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/console.h"
#include "simulator/fault_plan.h"
#include "simulator/launcher_options.h"
#include "simulator/new_state.h"
#include "simulator/program.h"
#include "simulator/qemu_server.h"
#include "simulator/repository_text.h"
#include "simulator/state_file.h"

namespace bmcsim {
namespace {

int Dump(const LauncherOptions& options) {
  std::string error;
  StateFile file;
  if (!file.Open(options.state, error)) return Fail(error);
  file.Lock();
  const bool hex = options.task == LauncherOptions::Task::kDumpHex;
  const std::string text = hex ? HexRepository(*file.state()) : DescribeRepository(*file.state());
  file.Unlock();
  return Print(text);
}

int Serve(const LauncherOptions& options) {
  std::string error;
  std::string fault;
  const auto plan = TakeFaultPlan(options, fault, error);
  StateFile state;
  if (plan == nullptr || !PrepareState(options, error) || !state.Open(options.state, error)) {
    return Fail(error);
  }
  if (!ServeQemu(state, *plan, options.trace, options.serve, error)) return Fail(error);
  return ReportUnstruck(*plan, options);
}

int Main(std::span<const char* const> arguments) {
  using Task = LauncherOptions::Task;
  std::string error;
  const auto options = ParseLauncherOptions(arguments, error);
  if (!options) return Fail(error);
  switch (options->task) {
    case Task::kHelp:
      return Print(LauncherHelp());
    case Task::kVersion:
      return Print("bmcsim " BMCSIM_VERSION "\n");
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
  return RunProgram(*options);
}

}  // namespace
}  // namespace bmcsim

int main(int argc, char** argv) {
  bmcsim::OccupyStandardDescriptors();
  const std::vector<const char*> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  return bmcsim::Main(arguments);
}
