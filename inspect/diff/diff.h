// What differs between two sets of records.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/diff/fields.h"

namespace tarvek::inspect {

/// A field in which two records of one thing differ.
struct FieldChange {
  std::string_view key;  // as in the record's JSON object; lives as long as the program
  std::optional<FieldValue> old_value;  // absent where that record has no such field
  std::optional<FieldValue> new_value;
  std::string old_text;  // with its unit; "none" for no field or an empty list; not escaped
  std::string new_text;
  std::string text;        // the whole change for people: "upper_critical 95 → 90 degrees C"
  bool for_people = true;  // false: the text of another change says the same
};

/// The fields in which two records differ, in the order of the JSON object. Record IDs are no
/// difference. The bytes that differ although no field tells it are a field `data` of their own, in
/// hexadecimal. Never empty for records that differ behind their IDs.
std::vector<FieldChange> ChangedFields(const Record& old_record, const Record& new_record);

/// A record of the old set and the one of the new set that is the same thing: indices from 0.
struct Match {
  std::size_t old_index = 0;
  std::size_t new_index = 0;

  bool operator==(const Match&) const = default;
};

/// Two records of one thing that differ.
struct Change {
  Match match;
  std::vector<FieldChange> fields;
};

struct Difference {
  std::vector<std::size_t> added;    // indices in the new set, ascending
  std::vector<std::size_t> removed;  // indices in the old set, ascending
  std::vector<Match> moved;     // whose order changed, changed otherwise or not; by the new index
  std::vector<Change> changed;  // by the new index

  /// The sets hold the same records, in whatever order.
  bool IsEqual() const { return added.empty() && removed.empty() && changed.empty(); }
};

/// Compares two sets. Records are matched by what they are, not by position or name: sensors by
/// type, owner, LUN, channel and number, locators by address, associations by their container, the
/// maker's version record and its record of the script's name by being that, all other OEM and
/// unknown records by their content. Of several that are the same thing, those that are equal are
/// matched first, then the rest in order.
///
/// @param old_records  none is null.
/// @param new_records  none is null.
Difference Compare(std::span<const Record* const> old_records,
                   std::span<const Record* const> new_records);

}  // namespace tarvek::inspect
