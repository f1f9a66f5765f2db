// What is wrong, or looks wrong, with a set of records.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/decode/record.h"
#include "inspect/input/record_set.h"

namespace tarvek::inspect {

enum class Severity {
  kNote,     // worth knowing
  kWarning,  // very likely wrong
  kError,    // the tool fails on it, or the BMC is misled for certain
};

/// @return "note", "warning" or "error".
std::string_view SeverityName(Severity severity);

/// A rule that sets are held to.
struct Rule {
  std::string_view name;  // lower case, words joined by "-"; never changes
  Severity severity = Severity::kNote;
  std::string_view sentence;  // what breaks it
};

/// All rules, in the order in which the findings of one record come.
std::span<const Rule> Rules();

/// A rule that is broken, and where.
struct Finding {
  std::string_view rule;  // its name; lives as long as the program
  Severity severity = Severity::kNote;
  std::optional<int> record;        // its number, from 1; absent: the set
  std::optional<std::string> name;  // of the record, where it has one; not escaped
  Place place;
  std::string message;  // what is wrong and what to do about it; not escaped
};

struct CheckOptions {
  std::optional<std::size_t> capacity;  // bytes that the BMC's repository holds
};

/// Holds a set to every rule.
///
/// @param decoded  the records of `set`, one for one.
/// @return by record, those about the set last; those of a record in the order of Rules().
std::vector<Finding> Check(const RecordSet& set, const std::vector<Record>& decoded,
                           const CheckOptions& options);

}  // namespace tarvek::inspect
