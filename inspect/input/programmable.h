// What the tool would send.
#pragma once

#include <cstddef>
#include <vector>

#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// Refuses a set that holds a record which the tool refuses to send: one of a body of more than 64
/// bytes from a source file.
/// @param all  whether records count that are not selected.
/// @throws InputError  at the first such record.
void RequireProgrammable(const RecordSet& set, bool all);

}  // namespace tarvek::inspect
