// What the rules look at, and where they put what they find.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "inspect/check/check.h"
#include "inspect/check/rules.h"

namespace tarvek::inspect {

/// A set, its records decoded, and what is asked of it.
struct Subject {
  const RecordSet& set;
  const std::vector<Record>& records;  // one for one with those of `set`
  const CheckOptions& options;

  const InputRecord& Input(std::size_t index) const { return set.records[index]; }
  bool Selected(std::size_t index) const { return set.records[index].selected; }
};

/// The findings so far. Indices of records are from 0.
class Findings {
 public:
  explicit Findings(const Subject& subject) : subject_(subject) {}

  /// A finding about a record.
  void Add(RuleId rule, std::size_t index, std::string message);
  /// A finding about a place in a record.
  void AddAt(RuleId rule, std::size_t index, Place place, std::string message);
  /// A finding about the set.
  void AddToSet(RuleId rule, std::string message);
  /// A finding about a place in the set that is in no record.
  void AddToSetAt(RuleId rule, Place place, std::string message);

  /// @return all of them, in the order that Check() promises.
  std::vector<Finding> Take() &&;

 private:
  struct Entry {
    std::size_t order;  // the record's index; the count of records: the set
    RuleId rule;
    Finding finding;
  };

  const Subject& subject_;
  std::vector<Entry> entries_;
};

/// "0Ah".
std::string HexNumber(int byte);
/// "record 3".
std::string RecordNumber(std::size_t index);

// Each holds the set to some of the rules.
void CheckSource(const Subject& subject, Findings* findings);
void CheckSizes(const Subject& subject, Findings* findings);
void CheckNames(const Subject& subject, Findings* findings);
void CheckDuplicates(const Subject& subject, Findings* findings);
void CheckReadings(const Subject& subject, Findings* findings);
void CheckCodes(const Subject& subject, Findings* findings);
void CheckAssociations(const Subject& subject, Findings* findings);
void CheckOwners(const Subject& subject, Findings* findings);
void CheckVersion(const Subject& subject, Findings* findings);

}  // namespace tarvek::inspect
