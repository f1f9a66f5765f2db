#include "control/engine/session.h"

#include "control/messages/advice.h"

namespace tarvek::control {

Result Unchanged(const Session& session, ExitStatus status, Outcome outcome, std::string what,
                 std::string remedy) {
  Result result;
  result.command = session.command;
  result.status = status;
  result.outcome = outcome;
  result.changed = false;
  result.in_service = InService::kPrevious;
  result.message = {std::move(what), std::string(StateSentence(InService::kPrevious, false)),
                    std::move(remedy)};
  return result;
}

void Refuse(const Session& session, ExitStatus status, const std::string& what,
            const std::string& remedy, const std::string& result_code) {
  Result result = Unchanged(session, status, Outcome::kRefused, what, remedy);
  if (!result_code.empty()) result.result_code = result_code;
  throw Stop(std::move(result));
}

void FailUnchanged(const Session& session, const std::string& what, const std::string& remedy,
                   const std::string& result_code) {
  Result result = Unchanged(session, ExitStatus::kBmcFailed, Outcome::kFailed, what, remedy);
  if (!result_code.empty()) result.result_code = result_code;
  throw Stop(std::move(result));
}

void StopBusy(const Session& session, const std::string& what, const std::string& remedy) {
  throw Stop(Unchanged(session, ExitStatus::kBusy, Outcome::kBusy, what, remedy));
}

void StopInUse(const Session& session, const std::string& what, const std::string& remedy) {
  Result result = Unchanged(session, ExitStatus::kBusy, Outcome::kBusy, what, remedy);
  result.changed.reset();
  result.in_service = InService::kUnknown;
  result.message.state = "This command changed nothing; what the other program does is not known.";
  throw Stop(std::move(result));
}

void StopInterrupted(const Session& session) {
  throw Stop(Unchanged(session, ExitStatus::kInterrupted, Outcome::kInterrupted,
                       "The command was interrupted before anything was written.",
                       "Run it again: " + session.again + "."));
}

}  // namespace tarvek::control
