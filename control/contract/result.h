// What a command came to: the one object behind its exit status, its words and its JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "control/contract/exit_status.h"

namespace tarvek::control {

using Json = nlohmann::ordered_json;

enum class Outcome { kDone, kNothing, kRefused, kFailed, kInterrupted, kBusy, kUsage };

/// What the BMC serves: the records of INPUT, those that it had before, others, or nobody knows.
enum class InService { kInput, kPrevious, kOther, kUnknown };

/// A message for people: what happened; what state the server is in; what to do, with the command
/// to type. Each one sentence or more, none empty; what comes from outside is escaped.
struct Message {
  std::string what;
  std::string state;
  std::string remedy;
};

/// One of the tool's numbered errors.
struct NumberedError {
  int number = 0;
  std::string text;
};

struct Result {
  std::string command;
  ExitStatus status = ExitStatus::kDone;
  Outcome outcome = Outcome::kDone;
  /// Whether the BMC serves something else than before; absent where what it serves is unknown.
  std::optional<bool> changed = false;
  InService in_service = InService::kPrevious;
  std::optional<bool> differs;                // what is served differs from INPUT in a byte
  std::optional<std::string> version_before;  // five characters
  std::optional<std::string> version_after;
  std::optional<std::string> result_code;  // of the tool
  std::optional<NumberedError> error;
  Message message;
  std::optional<std::string> run;     // its id
  std::optional<std::string> log;     // the path of its log
  std::optional<std::string> backup;  // the path of its backup
  Json more = Json::object();         // the command's own keys
};

/// @return "done", "nothing", "refused", "failed", "interrupted", "busy" or "usage".
const char* OutcomeName(Outcome outcome);
/// @return "input", "previous", "other" or "unknown".
const char* InServiceName(InService in_service);

/// @return the object of the schema's "result".
Json ResultJson(const Result& result);

/// @return `json` as a line of a file or an output: bytes that are no UTF-8 are replaced.
std::string JsonLine(const Json& json);

/// The opposite of ResultJson().
/// @throws std::exception  for what is no such object.
Result ResultFromJson(const Json& json);

}  // namespace tarvek::control
