// A set's records as fields.
#pragma once

#include <vector>

#include "inspect/decode/record.h"
#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// @return the records of `set`, one for one.
inline std::vector<Record> DecodeAll(const RecordSet& set) {
  std::vector<Record> records;
  records.reserve(set.records.size());
  for (const InputRecord& record : set.records) records.push_back(Decode(record.bytes));
  return records;
}

}  // namespace tarvek::inspect
