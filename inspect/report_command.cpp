#include <string>
#include <utility>
#include <vector>

#include "inspect/check/check.h"
#include "inspect/commands.h"
#include "inspect/exit_status.h"
#include "inspect/output.h"
#include "inspect/report/report.h"
#include "inspect/set_pair.h"

namespace tarvek::inspect {
namespace {

ReportRecord RecordOf(const DecodedSet& set, std::size_t index) {
  return {set.numbers[index], &set.decoded[index]};
}

ReportSet SetOf(const DecodedSet& set) {
  ReportSet report{set.set.name, FormatName(set.set.format), set.set.version, set.set.script, {}};
  for (std::size_t i = 0; i < set.decoded.size(); ++i) report.records.push_back(RecordOf(set, i));
  return report;
}

/// The findings about the records that are shown.
std::vector<ReportFinding> FindingsOf(const DecodedSet& set) {
  std::vector<ReportFinding> findings;
  for (const Finding& finding : Check(set.set, set.decoded, {})) {
    std::optional<int> number;
    if (finding.record) number = set.numbers[static_cast<std::size_t>(*finding.record - 1)];
    findings.push_back({std::string(finding.rule), std::string(SeverityName(finding.severity)),
                        number, finding.name.value_or(""), ToText(finding.place), finding.message});
  }
  return findings;
}

ReportPair PairOf(const SetPair& sets, const Match& match) {
  return {RecordOf(sets.old_set, match.old_index), RecordOf(sets.new_set, match.new_index), {}};
}

ReportDifference DifferenceOf(const SetPair& sets) {
  const Difference difference = CompareSets(sets);
  ReportDifference report;
  for (const std::size_t i : difference.added) report.added.push_back(RecordOf(sets.new_set, i));
  for (const std::size_t i : difference.removed) {
    report.removed.push_back(RecordOf(sets.old_set, i));
  }
  for (const Match& match : difference.moved) report.moved.push_back(PairOf(sets, match));
  for (const Change& change : difference.changed) {
    ReportPair pair = PairOf(sets, change.match);
    for (const FieldChange& field : change.fields) {
      if (!field.for_people) continue;
      pair.fields.push_back({std::string(field.key), field.old_text, field.new_text});
    }
    report.changed.push_back(std::move(pair));
  }
  return report;
}

}  // namespace

int RunReport(const Options& options) {
  ReportData data;
  SetPair sets;
  if (options.old_input.empty()) {
    sets.new_set = LoadSet(options.input, options.load, true);
  } else {
    sets = LoadPair(options);
    data.old_set = SetOf(sets.old_set);
    data.difference = DifferenceOf(sets);
  }
  data.set = SetOf(sets.new_set);
  data.findings = FindingsOf(sets.new_set);
  const std::string page = HtmlReport(data);
  if (options.output != "-") {
    WriteFile(options.output, page);
    return kExitGood;
  }
  StandardOutput output;
  output.Write(page);
  output.Finish();
  return kExitGood;
}

}  // namespace tarvek::inspect
