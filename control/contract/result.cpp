#include "control/contract/result.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace tarvek::control {
namespace {

constexpr std::array<std::pair<Outcome, const char*>, 7> kOutcomes{{
    {Outcome::kDone, "done"},
    {Outcome::kNothing, "nothing"},
    {Outcome::kRefused, "refused"},
    {Outcome::kFailed, "failed"},
    {Outcome::kInterrupted, "interrupted"},
    {Outcome::kBusy, "busy"},
    {Outcome::kUsage, "usage"},
}};

constexpr std::array<std::pair<InService, const char*>, 4> kInService{{
    {InService::kInput, "input"},
    {InService::kPrevious, "previous"},
    {InService::kOther, "other"},
    {InService::kUnknown, "unknown"},
}};

template <typename Table, typename Value>
const char* NameOf(const Table& table, Value value) {
  for (const auto& [key, name] : table) {
    if (key == value) return name;
  }
  return "";
}

template <typename Table>
auto ValueOf(const Table& table, const std::string& name) {
  for (const auto& [value, known] : table) {
    if (name == known) return value;
  }
  throw std::runtime_error("no such word: " + name);
}

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

template <typename Value>
std::optional<Value> Maybe(const Json& json) {
  return json.is_null() ? std::optional<Value>() : json.get<Value>();
}

// The keys that every command has; what else an object holds is the command's own.
constexpr std::array kCommonKeys{"schema",        "command",     "status",  "outcome",
                                 "changed",       "in_service",  "differs", "version_before",
                                 "version_after", "result_code", "error",   "message",
                                 "run",           "log",         "backup"};

}  // namespace

const char* OutcomeName(Outcome outcome) { return NameOf(kOutcomes, outcome); }
const char* InServiceName(InService in_service) { return NameOf(kInService, in_service); }

Json ResultJson(const Result& result) {
  Json json{{"schema", 1},
            {"command", result.command},
            {"status", static_cast<int>(result.status)},
            {"outcome", OutcomeName(result.outcome)},
            {"changed", OrNull(result.changed)},
            {"in_service", InServiceName(result.in_service)},
            {"differs", OrNull(result.differs)},
            {"version_before", OrNull(result.version_before)},
            {"version_after", OrNull(result.version_after)},
            {"result_code", OrNull(result.result_code)},
            {"error", nullptr},
            {"message",
             {{"what", result.message.what},
              {"state", result.message.state},
              {"remedy", result.message.remedy}}},
            {"run", OrNull(result.run)},
            {"log", OrNull(result.log)},
            {"backup", OrNull(result.backup)}};
  if (result.error) {
    json["error"] = {{"number", result.error->number}, {"text", result.error->text}};
  }
  for (const auto& [key, value] : result.more.items()) json[key] = value;
  return json;
}

std::string JsonLine(const Json& json) {
  constexpr int kOneLine = -1;
  return json.dump(kOneLine, ' ', false, Json::error_handler_t::replace) + '\n';
}

Result ResultFromJson(const Json& json) {
  Result result;
  result.command = json.at("command").get<std::string>();
  result.status = static_cast<ExitStatus>(json.at("status").get<int>());
  result.outcome = ValueOf(kOutcomes, json.at("outcome").get<std::string>());
  result.changed = Maybe<bool>(json.at("changed"));
  result.in_service = ValueOf(kInService, json.at("in_service").get<std::string>());
  result.differs = Maybe<bool>(json.at("differs"));
  result.version_before = Maybe<std::string>(json.at("version_before"));
  result.version_after = Maybe<std::string>(json.at("version_after"));
  result.result_code = Maybe<std::string>(json.at("result_code"));
  if (const Json& error = json.at("error"); !error.is_null()) {
    result.error = {error.at("number").get<int>(), error.at("text").get<std::string>()};
  }
  const Json& message = json.at("message");
  result.message = {message.at("what").get<std::string>(), message.at("state").get<std::string>(),
                    message.at("remedy").get<std::string>()};
  result.run = Maybe<std::string>(json.at("run"));
  result.log = Maybe<std::string>(json.at("log"));
  result.backup = Maybe<std::string>(json.at("backup"));
  result.more = json;
  for (const char* const key : kCommonKeys) result.more.erase(key);
  return result;
}

}  // namespace tarvek::control
