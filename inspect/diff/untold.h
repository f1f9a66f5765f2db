// Bytes that differ although no field tells it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// What two records hold beside what their fields tell.
struct Untold {
  Bytes old_bytes;  // those that differ, in their order; both empty: there are none
  Bytes new_bytes;
  std::string text;  // for people: "Sensor Initialization 7F → 67"
};

/// @param told_keys  the keys of the fields that differ.
Untold FindUntold(const Record& old_record, const Record& new_record,
                  std::span<const std::string_view> told_keys);

}  // namespace tarvek::inspect
