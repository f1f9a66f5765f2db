#include <csignal>
#include <exception>
#include <iostream>

#include "inspect/commands.h"
#include "inspect/exit_status.h"
#include "inspect/output.h"
#include "inspect/text/escape.h"

namespace {

using namespace tarvek::inspect;  // NOLINT(google-build-using-namespace): this is its program

int Run(const Options& options) {
  switch (options.command) {
    case Command::kShow:
      return RunShow(options);
    case Command::kCheck:
      return RunCheck(options);
    case Command::kDiff:
      return RunDiff(options);
    case Command::kConvert:
      return RunConvert(options);
    case Command::kReport:
      return RunReport(options);
    case Command::kNone:
      break;
  }
  return kExitGood;
}

int Complain(const std::string& what, int status) {
  std::cerr << "tarvek-sdr: " << what << '\n';
  return status;
}

}  // namespace

int main(int argc, char* argv[]) {
  // A reader that goes away is no reason to die: the exit status still tells.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    Options options;
    const int status = ParseCommandLine(argc, argv, &options);
    return options.command == Command::kNone ? status : Run(options);
  } catch (const InputError& error) {
    std::cerr << ToText(error);
    return kExitFailed;
  } catch (const OptionError& error) {
    return Complain(Escaped(error.what()), kExitWrongUse);
  } catch (const OutputError& error) {
    return Complain(Escaped(error.what()), kExitFailed);
  } catch (const std::bad_alloc&) {
    return Complain("memory ran out", kExitFailed);
  } catch (const std::exception& error) {
    return Complain(Escaped(error.what()), kExitFailed);
  }
}
