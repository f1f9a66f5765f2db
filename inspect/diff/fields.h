// A record as a list of fields, each with a key, a value and a text.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// What a field's value may be, just as its JSON has it: of contained entities neither device nor
/// offset. Text is valid UTF-8, not escaped.
using FieldValue =
    std::variant<bool, int, std::string, Reading, Threshold, Hysteresis, std::vector<int>,
                 std::vector<std::string>, std::vector<ContainedEntity>>;

/// A field of a record.
struct Field {
  std::string_view key;  // as in the record's JSON object; of a threshold its own, "upper_critical"
  FieldValue value;
  std::string text;                // of one value, for people; not escaped
  std::string unit;                // to be written behind `text`
  std::vector<std::string> items;  // of a list, for people; `text` is empty then
  std::string_view told_by;  // the key of a field whose text says the same; empty: there is none
};

/// The fields of a record in the order of its JSON object, from `sdr_version` on; those that the
/// record does not have are left out.
std::vector<Field> FieldsOf(const Record& record);

/// "5F001A", as the value of a field.
std::string CompactHex(std::span<const unsigned char> bytes);

}  // namespace tarvek::inspect
