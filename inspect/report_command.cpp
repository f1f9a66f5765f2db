#include <algorithm>
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
/// @param findings  of the whole input.
std::vector<ReportFinding> FindingsOf(const std::vector<Finding>& findings,
                                      const DecodedSet& shown) {
  std::vector<ReportFinding> told;
  for (const Finding& finding : findings) {
    if (finding.record &&
        !std::binary_search(shown.numbers.begin(), shown.numbers.end(), *finding.record)) {
      continue;
    }
    told.push_back({std::string(finding.rule), std::string(SeverityName(finding.severity)),
                    finding.record, finding.name.value_or(""), ToText(finding.place),
                    finding.message});
  }
  return told;
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
    sets.new_set = LoadSet(options.input, options.load);
  } else {
    sets = LoadPair(options);
  }
  const std::vector<Finding> findings = Check(sets.new_set.set, sets.new_set.decoded, {});
  if (!options.old_input.empty()) {
    if (!options.all) {
      KeepSelected(&sets.old_set);
      KeepSelected(&sets.new_set);
    }
    data.old_set = SetOf(sets.old_set);
    data.difference = DifferenceOf(sets);
  }
  data.set = SetOf(sets.new_set);
  data.findings = FindingsOf(findings, sets.new_set);
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
