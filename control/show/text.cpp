#include "control/show/text.h"

#include <algorithm>
#include <array>
#include <vector>

#include "inspect/show/paint.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

using inspect::Escaped;

/// "version:  01.02": a value of `status`.
std::string Row(const char* name, const std::string& value) {
  constexpr std::size_t kColumn = 10;
  std::string row = std::string(name) + ':';
  row.resize(std::max(row.size() + 1, kColumn), ' ');
  return row + value + '\n';
}

std::string TextOf(const Json& value, const char* none) {
  if (value.is_null()) return none;
  return value.is_string() ? Escaped(value.get<std::string>()) : value.dump();
}

std::string StatusText(const Result& result) {
  const bool read = result.in_service != InService::kUnknown;
  const char* const none = read ? "none" : "not read";
  std::string text = Row("version", result.version_after ? Escaped(*result.version_after) : none);
  text += Row("board", TextOf(result.more.at("board"), "unknown"));
  text += Row("script", TextOf(result.more.at("script"), none));
  text += Row("driver", TextOf(result.more.at("driver"), "none"));
  const Json& drift = result.more.at("drift");
  text +=
      Row("drift", !read               ? "not read"
                   : drift.is_null()   ? "unknown: no run of tarvekctl has programmed this BMC"
                   : drift.get<bool>() ? "yes: the BMC serves other records than the last run left"
                                       : "no");
  const Json& percent = result.more.at("percent");
  if (!percent.is_null()) {
    text += Row("run", result.run.value_or("") + ", " + percent.dump() + " %");
  }
  return text;
}

std::string PlanText(const Result& result) {
  std::string text =
      result.more.value("findings_text", "") + result.more.value("difference_text", "");
  if (result.more.contains("requests")) {
    text += "An update takes about " + result.more.at("requests").dump() + " requests and " +
            result.more.at("seconds").dump() + " seconds.\n";
  }
  return text;
}

std::string Links(const Result& result) {
  std::string text;
  if (result.run) text += "run:      " + *result.run + '\n';
  if (result.backup) text += "backup:   " + Escaped(*result.backup) + '\n';
  if (result.log) text += "log:      " + Escaped(*result.log) + '\n';
  return text;
}

}  // namespace

std::string MessageText(const Result& result) {
  std::string text;
  for (const std::string* const sentence :
       {&result.message.what, &result.message.state, &result.message.remedy}) {
    if (!sentence->empty()) text += *sentence + '\n';
  }
  return text;
}

std::string ResultText(const Result& result, bool /*color*/) {
  if (result.command == "status" && result.more.contains("board")) return StatusText(result);
  if (result.command == "plan") return PlanText(result);
  const bool updates = result.command == "update" || result.command == "restore";
  return updates ? result.more.value("difference_text", "") + Links(result) : "";
}

std::string HistoryText(const Json& runs) {
  if (runs.empty()) return "No runs.\n";
  constexpr std::size_t kColumns = 6;
  std::vector<std::array<std::string, kColumns>> rows;
  std::array<std::size_t, kColumns> widths{};
  for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
    const bool goes_on = run->contains("percent");
    rows.push_back({TextOf(run->at("run"), "-"), run->at("command").get<std::string>(),
                    goes_on ? "going on" : run->at("outcome").get<std::string>(),
                    TextOf(run->at("version_before"), "none") + " -> " +
                        TextOf(run->at("version_after"), "none"),
                    TextOf(run->value("input", Json()), ""), TextOf(run->at("log"), "")});
    for (std::size_t i = 0; i < kColumns; ++i) {
      widths[i] = std::max(widths[i], inspect::Width(rows.back()[i]));
    }
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < kColumns; ++i) {
      line += row[i] + std::string(widths[i] - inspect::Width(row[i]) + 2, ' ');
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  }
  return text;
}

std::string FindingsText(const Json& findings, bool color) {
  std::string text;
  for (const Json& finding : findings) {
    const std::string gravity = finding.at("gravity").get<std::string>();
    const inspect::Paint paint = gravity == "good"   ? inspect::Paint::kGood
                                 : gravity == "note" ? inspect::Paint::kNote
                                                     : inspect::Paint::kBad;
    text += inspect::Painted(gravity, paint, color) + ": " + TextOf(finding.at("subject"), "") +
            ": " + TextOf(finding.at("sentence"), "") + '\n';
    for (const char* const key : {"remedy", "command"}) {
      const std::string more = TextOf(finding.at(key), "");
      const char* const mark = std::string_view(key) == "command" ? "    # " : "    ";
      if (!more.empty()) text += mark + more + '\n';
    }
  }
  return text;
}

}  // namespace tarvek::control
