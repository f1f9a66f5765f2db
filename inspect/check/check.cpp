#include "inspect/check/check.h"

#include <algorithm>
#include <tuple>

#include "driver/reporting/text_format.h"
#include "inspect/check/subject.h"

namespace tarvek::inspect {

void Findings::Add(RuleId rule, std::size_t index, std::string message) {
  AddAt(rule, index, subject_.Input(index).place, std::move(message));
}

void Findings::AddAt(RuleId rule, std::size_t index, Place place, std::string message) {
  const Record& record = subject_.records[index];
  const Rule& broken = RuleOf(rule);
  Finding finding{broken.name, broken.severity,  static_cast<int>(index) + 1,
                  {},          std::move(place), std::move(message)};
  if (record.name) finding.name = record.name->text;
  entries_.push_back({index, rule, std::move(finding)});
}

void Findings::AddToSet(RuleId rule, std::string message) {
  AddToSetAt(rule, {subject_.set.name, 0, 0, {}}, std::move(message));
}

void Findings::AddToSetAt(RuleId rule, Place place, std::string message) {
  const Rule& broken = RuleOf(rule);
  entries_.push_back(
      {subject_.records.size(),
       rule,
       {broken.name, broken.severity, {}, {}, std::move(place), std::move(message)}});
}

std::vector<Finding> Findings::Take() && {
  std::stable_sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    return std::tie(a.order, a.rule) < std::tie(b.order, b.rule);
  });
  std::vector<Finding> findings;
  findings.reserve(entries_.size());
  for (Entry& entry : entries_) findings.push_back(std::move(entry.finding));
  return findings;
}

std::string HexNumber(int byte) {
  return std::string(HexByte(static_cast<unsigned char>(byte)).c_str()) + "h";
}

std::string RecordNumber(std::size_t index) { return "record " + std::to_string(index + 1); }

std::vector<Finding> Check(const RecordSet& set, const std::vector<Record>& decoded,
                           const CheckOptions& options) {
  const Subject subject{set, decoded, options};
  Findings findings(subject);
  CheckSource(subject, &findings);
  CheckSizes(subject, &findings);
  CheckNames(subject, &findings);
  CheckDuplicates(subject, &findings);
  CheckReadings(subject, &findings);
  CheckCodes(subject, &findings);
  CheckAssociations(subject, &findings);
  CheckOwners(subject, &findings);
  CheckVersion(subject, &findings);
  return std::move(findings).Take();
}

}  // namespace tarvek::inspect
