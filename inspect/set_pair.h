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

/// Loads the selected records of an input; with `all`, all of them.
/// @throws InputError, OptionError.
DecodedSet LoadSet(const std::string& path, const LoadOptions& load, bool all);

/// Loads the old input and the new one. A tag is set for whichever of them is a script.
/// @throws InputError, OptionError.
SetPair LoadPair(const Options& options);

Difference CompareSets(const SetPair& sets);

}  // namespace tarvek::inspect
