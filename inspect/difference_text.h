// What differs between two sets, in words.
#pragma once

#include <string>

#include "inspect/diff/diff.h"
#include "inspect/set_pair.h"

namespace tarvek::inspect {

/// What `diff` writes: a line for each record that goes or comes and for each field that changes,
/// and the totals. Each line is ended. Escaped.
/// @param difference  of the two sets.
std::string DifferenceText(const SetPair& sets, const Difference& difference, bool color);

}  // namespace tarvek::inspect
