#include "control/engine/run_files.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <stdexcept>
#include <string_view>

namespace tarvek::control {
namespace {

constexpr const char* kPhase = "phase.json";
constexpr std::size_t kMostBytes = std::size_t{16} << 20U;

/// A phase, and the part of the whole that it takes.
struct PhaseSpan {
  const char* name;
  int from;  // percent
  int to;
};
constexpr std::array<PhaseSpan, 5> kPhases{{{"checking", 0, 1},
                                            {"reading", 1, 5},
                                            {"saving", 5, 10},
                                            {"programming", 10, 90},
                                            {"verifying", 90, 100}}};
constexpr int kWhole = 100;

std::string Between(const std::string& text, std::string_view before, std::string_view after) {
  const std::size_t begin = text.find(before);
  if (begin == std::string::npos) return "";
  const std::size_t from = begin + before.size();
  const std::size_t end = text.find(after, from);
  return end == std::string::npos ? "" : text.substr(from, end - from);
}

/// The percentage that the tool tells; 0 while it tells none.
int ToolPercent(const Directory& work) {
  const std::string text = work.Read("Get_ratio.xml_tmp", kMostBytes).value_or("");
  const std::string digits = Between(text, "<data>", "</data>");
  int percent = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), percent);
  return std::clamp(percent, 0, kWhole);
}

template <typename Value>
std::optional<Value> Maybe(const Json& json) {
  if (json.is_null()) return std::nullopt;
  return json.get<Value>();
}

Json OrNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(nullptr); }

}  // namespace

// The plan's file: a line of JSON that says how many bytes of the records and of the difference
// stand behind it, and those bytes as they are, so that much text costs little.
void SavePlan(const Run& run, const Plan& plan) {
  const std::string input = ToLines(plan.input);
  const std::string before = plan.before ? ToLines(*plan.before) : "";
  const Json head{{"input", input.size()},
                  {"before", plan.before ? Json(before.size()) : Json(nullptr)},
                  {"difference", plan.difference.size()},
                  {"version_before", OrNull(plan.version_before)},
                  {"version_input", OrNull(plan.version_input)},
                  {"backup", OrNull(plan.backup)},
                  {"arguments", plan.arguments},
                  {"compares_only", plan.compares_only}};
  run.directory().WriteDurably(Run::kProgramming,
                               JsonLine(head) + input + before + plan.difference);
}

std::optional<Plan> ReadPlan(const Run& run) {
  const std::optional<std::string> text = run.directory().Read(Run::kProgramming, kMostBytes);
  if (!text) return std::nullopt;
  std::string_view left = *text;
  const auto take = [&left](std::size_t bytes) {
    if (left.size() < bytes) throw std::runtime_error("the plan is cut off");
    const std::string_view taken = left.substr(0, bytes);
    left.remove_prefix(bytes);
    return taken;
  };
  const Json json = Json::parse(take(left.find('\n') + 1));
  Plan plan;
  plan.input = FromLines(take(json.at("input").get<std::size_t>()));
  if (const auto before = Maybe<std::size_t>(json.at("before"))) {
    plan.before = FromLines(take(*before));
  }
  plan.difference = take(json.at("difference").get<std::size_t>());
  plan.version_before = Maybe<std::string>(json.at("version_before"));
  plan.version_input = Maybe<std::string>(json.at("version_input"));
  plan.backup = Maybe<std::string>(json.at("backup"));
  json.at("arguments").get_to(plan.arguments);
  json.at("compares_only").get_to(plan.compares_only);
  return plan;
}

void SavePhase(const Run& run, const std::string& phase, int seconds) {
  try {
    run.directory().Write(
        kPhase, JsonLine({{"phase", phase}, {"since", std::time(nullptr)}, {"seconds", seconds}}));
  } catch (const SystemError&) {
    // What is only shown may be missing.
  }
}

Progress ReadProgress(const Run& run) {
  Progress progress{run.id(), "checking", 0, {}};
  try {
    const Json json = Json::parse(run.directory().Read(kPhase, kMostBytes).value_or("{}"));
    progress.phase = json.value("phase", "checking");
    const auto* const span = std::find_if(kPhases.begin(), kPhases.end(), [&](const auto& known) {
      return progress.phase == known.name;
    });
    if (span == kPhases.end()) return progress;
    progress.percent = span->from;
    if (progress.phase != std::string("programming")) return progress;
    progress.percent += (span->to - span->from) * ToolPercent(run.Work()) / kWhole;
    const long taken = std::time(nullptr) - json.value("since", 0L);
    const int seconds = json.value("seconds", 0);
    progress.seconds_left = static_cast<int>(std::clamp(seconds - taken, 0L, long{seconds}));
  } catch (const std::exception&) {
    // It is being written, or the run was removed.
  }
  return progress;
}

std::string ResultCode(const Run& run) {
  for (const char* const name : {"Update_force.xml", "Update_normal.xml"}) {
    try {
      std::string code = Between(run.Work().Read(name, kMostBytes).value_or(""), "<result_code>",
                                 "</result_code>");
      if (!code.empty()) return code;
    } catch (const SystemError&) {
      continue;
    }
  }
  return "";
}

}  // namespace tarvek::control
