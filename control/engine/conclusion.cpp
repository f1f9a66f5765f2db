#include "control/engine/conclusion.h"

#include <string_view>

#include "control/engine/lock_gate.h"
#include "control/messages/advice.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

constexpr int kVerifyTries = 3;
constexpr const char* kDoesNotMatch = "SDR032";  // what was compared differs

InService WhatIsServed(const Plan& plan, const End& end) {
  if (!end.after) return InService::kUnknown;
  if (*end.after == plan.input && !plan.compares_only) return InService::kInput;
  if (plan.before && *end.after == *plan.before) return InService::kPrevious;
  // Where nobody knows what was served before, other records may be those.
  return plan.before ? InService::kOther : InService::kUnknown;
}

std::optional<bool> Changed(const Plan& plan, const End& end, InService served) {
  if (served == InService::kUnknown) return std::nullopt;
  return !plan.before || *end.after != *plan.before;
}

/// The status of a run after which the BMC does not serve INPUT, but is known to serve something.
ExitStatus StatusOf(const End& end, InService served) {
  if (end.interrupted) return ExitStatus::kInterrupted;
  if (served != InService::kPrevious) return ExitStatus::kBmcFailed;
  if (end.code == "Duplex") return ExitStatus::kBusy;
  if (end.code == "Down Grade") return ExitStatus::kNothing;
  if (end.code == "SDRC03" || end.code == "SDRC04") return ExitStatus::kUnfit;
  if (end.code == "SDRC06" || end.code == "SDRC07") return ExitStatus::kBadInput;
  return ExitStatus::kBmcFailed;
}

Outcome OutcomeOf(ExitStatus status, const End& end) {
  switch (status) {
    case ExitStatus::kDone:
      return Outcome::kDone;
    case ExitStatus::kNothing:
      return Outcome::kNothing;
    case ExitStatus::kBadInput:
    case ExitStatus::kUnfit:
      return Outcome::kRefused;
    case ExitStatus::kBusy:
      return Outcome::kBusy;
    case ExitStatus::kInterrupted:
      return end.interrupted ? Outcome::kInterrupted : Outcome::kFailed;
    case ExitStatus::kBmcFailed:
    case ExitStatus::kUsage:
      break;
  }
  return Outcome::kFailed;
}

std::string ErrorWords(const End& end) {
  if (!end.error) return "";
  return " (error " + std::to_string(end.error->number) + ": " + inspect::Escaped(end.error->text) +
         ")";
}

std::string WhatHappened(const Result& result, const Plan& plan, const End& end) {
  if (result.status == ExitStatus::kDone) {
    if (end.code != "Complete") {
      return "INPUT is in service, read back and found equal, though the run did not end well" +
             ErrorWords(end) + ".";
    }
    return plan.before && *plan.before == plan.input
               ? "INPUT was written again, read back and found equal."
               : "INPUT was written, read back and found equal.";
  }
  if (result.in_service == InService::kUnknown && !end.unread.empty()) {
    return "What the BMC serves could not be read after the run: " + end.unread;
  }
  if (end.interrupted) return "The run was interrupted.";
  const Advice* const advice = AdviceFor(end.code);
  if (advice != nullptr && end.code != "OK" && end.code != "Complete") {
    const std::string_view sentence = advice->what.substr(0, advice->what.size() - 1);
    return std::string(sentence) + ErrorWords(end) + '.';
  }
  return "The run ended without having programmed INPUT" + ErrorWords(end) + ".";
}

std::string WhatToDo(const Session& session, const Result& result, const End& end) {
  if (result.status == ExitStatus::kDone) return "Reboot the server for normal operation.";
  if (result.in_service == InService::kUnknown) {
    return "See whether the BMC answers: tarvekctl doctor. Then run the command again: " +
           session.again + ".";
  }
  if (end.interrupted) return "Run the command again: " + session.again + ".";
  if (result.in_service == InService::kOther) {
    return "Bring the records back that were there before: tarvekctl restore " +
           result.backup.value_or("FILE.BAK") + ".";
  }
  const Advice* const advice = AdviceFor(end.code);
  return advice != nullptr ? std::string(advice->remedy)
                           : "See the log, then run the command again: " + session.again + ".";
}

/// A script that only compares: the tool's own word counts, if what is served could be read after
/// it.
void ConcludeComparison(const End& end, Result* result) {
  if (end.code == "Complete" && end.after) {
    result->status = ExitStatus::kNothing;
    result->outcome = Outcome::kNothing;
    result->in_service = InService::kInput;
    result->differs = false;
    result->message.what = "The BMC serves the records that the script compares.";
    result->message.remedy = "Nothing.";
  } else {
    result->differs = end.code == kDoesNotMatch ? std::optional<bool>(true) : std::nullopt;
  }
}

/// The first error in a run's log, if there is one to be read.
std::optional<NumberedError> ErrorOf(const Run& run) {
  try {
    return FirstError(run.Work().Read("tarvek.log").value_or(""));
  } catch (const SystemError&) {
    return std::nullopt;
  }
}

/// Reads what the BMC serves. Whatever fails is told in `end`: the tool may have written, so
/// nothing may end here as if it had not.
void ReadAfter(const Session& session, const Run& run, const Plan& plan, End* end) {
  try {
    end->code = ResultCode(run);
    end->error = ErrorOf(run);
    WaitForFreeLock(session);
    const Bmc bmc = IdentifyBmc(session);
    ReadFailure failure;
    const std::optional<Served> served = ReadServed(session, bmc, &failure);
    end->unread = failure.what;
    if (!served) return;
    end->after = served->records;
    end->version_after = served->version;
    const bool programmed = !plan.compares_only && served->records == plan.input;
    RememberServed(session, bmc, *served, programmed);
  } catch (const Stop& stop) {
    end->unread = stop.result.message.what;
  } catch (const std::exception& error) {
    end->unread = inspect::Escaped(error.what()) + ".";
  }
}

}  // namespace

Result Conclude(const Session& session, const Plan& plan, const End& end) {
  Result result;
  result.command = session.command;
  result.in_service = WhatIsServed(plan, end);
  result.changed = Changed(plan, end, result.in_service);
  result.version_before = plan.version_before;
  result.version_after = end.version_after;
  result.backup = plan.backup;
  if (!end.code.empty()) result.result_code = end.code;
  result.error = end.error;
  if (result.in_service != InService::kUnknown) {
    result.differs = result.in_service != InService::kInput;
  }
  if (result.in_service == InService::kInput) {
    result.status = ExitStatus::kDone;
  } else if (!end.after && end.code == "Duplex") {
    result.status = ExitStatus::kBusy;  // the other run is at work
  } else if (result.in_service == InService::kUnknown) {
    result.status = ExitStatus::kInterrupted;
  } else {
    result.status = StatusOf(end, result.in_service);
  }
  result.outcome = OutcomeOf(result.status, end);
  result.message.what = WhatHappened(result, plan, end);
  result.message.remedy = WhatToDo(session, result, end);
  if (plan.compares_only) ConcludeComparison(end, &result);
  result.message.state = StateSentence(result.in_service, result.changed);
  if (result.changed.value_or(false) && result.in_service == InService::kInput) {
    result.more["difference_text"] = plan.difference;
  }
  return result;
}

Result VerifyRun(const Session& session, const Run& run, const Plan& plan, bool interrupted) {
  Session patient = session;
  patient.stops = nullptr;
  SavePhase(run, "verifying", 0);
  session.sink.Show(ReadProgress(run));
  End end;
  end.interrupted = interrupted;
  for (int left = kVerifyTries; left > 0 && !end.after; --left) ReadAfter(patient, run, plan, &end);
  return Conclude(session, plan, end);
}

}  // namespace tarvek::control
