#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>

#include "inspect/check/check.h"
#include "inspect/commands.h"
#include "inspect/decoded_set.h"
#include "inspect/exit_status.h"
#include "inspect/json/record_json.h"
#include "inspect/output.h"
#include "inspect/show/paint.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

Paint PaintOf(Severity severity) {
  switch (severity) {
    case Severity::kError:
      return Paint::kBad;
    case Severity::kWarning:
      return Paint::kWarning;
    case Severity::kNote:
      break;
  }
  return Paint::kNote;
}

int ListRules() {
  StandardOutput output;
  for (const Rule& rule : Rules()) {
    output.Write(std::string(rule.name) + ' ' + std::string(SeverityName(rule.severity)) + ": " +
                 std::string(rule.sentence) + '\n');
  }
  output.Finish();
  return kExitGood;
}

std::string LineOf(const Finding& finding, bool color) {
  std::string line = Escaped(ToText(finding.place)) + ": " +
                     Painted(SeverityName(finding.severity), PaintOf(finding.severity), color) +
                     ": ";
  if (finding.record) line += "record " + std::to_string(*finding.record);
  if (finding.record && finding.name) line += " \"" + Escaped(*finding.name) + '"';
  if (finding.record) line += ": ";
  return line + Escaped(finding.message) + " [" + std::string(finding.rule) + "]\n";
}

/// "1 error, 2 warnings", of what there is.
std::string Totals(const std::vector<Finding>& findings) {
  constexpr std::array kSeverities{Severity::kError, Severity::kWarning, Severity::kNote};
  std::string text;
  for (const Severity severity : kSeverities) {
    const auto count = std::count_if(findings.begin(), findings.end(), [&](const Finding& finding) {
      return finding.severity == severity;
    });
    if (count == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' +
            std::string(SeverityName(severity)) + (count == 1 ? "" : "s");
  }
  return text;
}

void WriteText(const RecordSet& set, const std::vector<Finding>& findings, bool color,
               StandardOutput* output) {
  for (const Finding& finding : findings) output->Write(LineOf(finding, color));
  const std::string records =
      std::to_string(set.records.size()) + (set.records.size() == 1 ? " record" : " records");
  output->Write(Escaped(set.name) + ": " + records + ", " +
                (findings.empty() ? "nothing found" : Totals(findings)) + '\n');
}

void WriteJson(const std::vector<Finding>& findings, StandardOutput* output) {
  std::vector<std::string> places;
  places.reserve(findings.size());
  std::vector<FindingJson> rows;
  for (const Finding& finding : findings) {
    places.push_back(ToText(finding.place));
    rows.push_back({finding.rule, SeverityName(finding.severity), finding.record, finding.name,
                    places.back(), finding.message});
  }
  output->Write(JsonText(CheckJson(rows)) + '\n');
}

bool Fails(const std::vector<Finding>& findings, const std::string& fail_on) {
  const auto counts = [&](Severity severity) {
    if (fail_on == "note") return true;
    return severity == Severity::kError || (severity == Severity::kWarning && fail_on != "error");
  };
  return std::any_of(findings.begin(), findings.end(),
                     [&](const Finding& finding) { return counts(finding.severity); });
}

}  // namespace

int RunCheck(const Options& options) {
  if (options.list_rules) return ListRules();
  const RecordSet set = Load(options.input, options.load);
  CheckOptions check;
  check.capacity = options.capacity;
  const std::vector<Finding> findings = Check(set, DecodeAll(set), check);
  StandardOutput output;
  if (options.json) {
    WriteJson(findings, &output);
  } else {
    WriteText(set, findings, options.color, &output);
  }
  output.Finish();
  return Fails(findings, options.fail_on) ? kExitFound : kExitGood;
}

}  // namespace tarvek::inspect
