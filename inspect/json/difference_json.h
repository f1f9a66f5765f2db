// What differs between two sets as JSON.
#pragma once

#include <vector>

#include "inspect/diff/diff.h"
#include "inspect/json/record_json.h"

namespace tarvek::inspect {

/// The whole object that `diff` writes.
/// @param old_set, new_set  the records that the indices of `difference` are of.
Json DifferenceJson(const std::vector<SetRecord>& old_set, const std::vector<SetRecord>& new_set,
                    const Difference& difference);

}  // namespace tarvek::inspect
