#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <exception>
#include <iostream>
#include <memory>

#include "control/commands.h"
#include "control/options.h"
#include "control/show/progress.h"
#include "control/show/telling.h"
#include "control/show/text.h"
#include "inspect/text/escape.h"

namespace {

using namespace tarvek::control;  // NOLINT(google-build-using-namespace): this is its program

Result RunVerb(const Session& session, const Options& options) {
  switch (options.verb) {
    case Verb::kStatus:
      return RunStatus(session, options);
    case Verb::kPlan:
      return RunPlan(session, options);
    case Verb::kUpdate:
    case Verb::kRestore:
      return RunUpdate(session, options);
    case Verb::kResume:
      return RunResume(session, options);
    case Verb::kBackup:
      return RunBackup(session, options);
    case Verb::kHistory:
      return RunHistory(session);
    case Verb::kShow:
      return RunShow(session, options);
    case Verb::kWait:
      return RunWait(session, options);
    case Verb::kDoctor:
    case Verb::kNone:
      break;
  }
  return {};
}

/// What the machine lacks for the command, which has changed nothing.
Result Lacking(const Options& options, const std::string& what) {
  Result result;
  result.command = options.command;
  result.status = ExitStatus::kUnfit;
  result.outcome = Outcome::kRefused;
  result.message = {what + ".", "Nothing was changed.",
                    "See what is missing: tarvekctl doctor; run it as root."};
  return result;
}

/// @throws Stop, and what else ends a command before it has changed anything.
Result Run(const Options& options, const Interrupts& interrupts) {
  if (options.verb == Verb::kDoctor) return RunDoctor(options, interrupts);
  const RunStore store(options.state_directory);
  const bool follows = options.verb == Verb::kUpdate || options.verb == Verb::kRestore ||
                       options.verb == Verb::kWait;
  const std::unique_ptr<ProgressSink> sink = follows && !options.detach
                                                 ? MakeProgressSink(options.json, options.command)
                                                 : MakeQuietSink();
  ReadingPlace reading(store);
  const Session session{store,           reading,       interrupts,   &interrupts,       *sink,
                        options.command, options.again, options.tool, options.break_lock};
  return RunVerb(session, options);
}

Result RunOrComplain(const Options& options, const Interrupts& interrupts) {
  try {
    return Run(options, interrupts);
  } catch (const Stop& stop) {
    return stop.result;
  } catch (const std::bad_alloc&) {
    return Lacking(options, "Memory ran out");
  } catch (const std::exception& error) {
    return Lacking(options, tarvek::inspect::Escaped(error.what()));
  }
}

bool IsComplaint(const Result& result) {
  return result.status != ExitStatus::kDone && result.status != ExitStatus::kNothing;
}

std::string Words(const Result& result, const Options& options) {
  if (options.json) return JsonLine(ResultJson(result));
  if (options.detach && result.run && !IsComplaint(result)) return *result.run + '\n';
  if (result.more.contains("metrics")) return result.more.at("metrics").get<std::string>();
  std::string text;
  if (result.more.contains("findings") && options.verb == Verb::kDoctor) {
    text = FindingsText(result.more.at("findings"), options.color);
  }
  if (result.more.contains("runs")) return HistoryText(result.more.at("runs"));
  text += ResultText(result, options.color);
  const bool known = result.in_service != InService::kUnknown;
  const bool tells = options.format.empty() && (options.verb != Verb::kStatus || !known);
  if (!IsComplaint(result) && tells) text += MessageText(result);
  return text;
}

/// Tells what a command came to: complaints on standard error, all else on standard output. Where
/// it cannot be told, the exit status still does.
void TellResult(const Result& result, const Options& options, const Interrupts& interrupts) {
  interrupts.Count();  // those that come from here on end a waiting for who reads
  const int error = Tell(STDOUT_FILENO, Words(result, options), interrupts);
  std::string complaint;
  if (error != 0) {
    complaint = std::string("tarvekctl: standard output: cannot be written: ") +
                std::strerror(error) + '\n';
  }
  if (IsComplaint(result) && !options.json) complaint += "tarvekctl: " + MessageText(result);
  Tell(STDERR_FILENO, complaint, interrupts);
}

/// Standard input, output and error are there, if only as the null device: what is opened later
/// must not take their places.
void FillStandardDescriptors() {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd >= 0) close(fd);
}

}  // namespace

int main(int argc, char* argv[]) {
  FillStandardDescriptors();
  try {
    Options options;
    const int status = ParseCommandLine(argc, argv, &options);
    if (options.verb == Verb::kNone) return status;
    const Interrupts interrupts;
    const Result result = RunOrComplain(options, interrupts);
    TellResult(result, options, interrupts);
    return static_cast<int>(result.status);
  } catch (const std::exception& error) {
    std::cerr << "tarvekctl: " << tarvek::inspect::Escaped(error.what()) << '\n';
    return static_cast<int>(ExitStatus::kUnfit);
  }
}
