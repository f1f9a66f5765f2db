// Two sets that are held against each other.
#pragma once

#include <vector>

#include "inspect/decoded_set.h"
#include "inspect/diff/diff.h"
#include "inspect/json/record_json.h"
#include "inspect/options.h"

namespace tarvek::inspect {

/// A set and its records as fields.
struct DecodedSet {
  RecordSet set;
  std::vector<Record> decoded;  // one for one with those of the set
  std::vector<int> numbers;     // theirs in the input, from 1: some may have been left out

  /// The records as JSON has them; valid while this object stays as it is.
  std::vector<SetRecord> Shown() const;
};

struct SetPair {
  DecodedSet old_set;
  DecodedSet new_set;
};

/// Loads all records of an input.
/// @throws InputError, OptionError.
DecodedSet LoadSet(const std::string& path, const LoadOptions& load);

/// Loads all records of the old input and of the new one. A tag is set for whichever of them is a
/// script.
/// @throws InputError, OptionError.
SetPair LoadPair(const Options& options);

/// Leaves those records out that are not selected.
void KeepSelected(DecodedSet* set);

Difference CompareSets(const SetPair& sets);

}  // namespace tarvek::inspect
