// A backup image, read with the tool's own reader.
#pragma once

#include "inspect/input/record_set.h"
#include "inspect/input/snapshot.h"

namespace tarvek::inspect {

/// Reads a backup image's records, and its identity block.
/// @throws InputError  for an image that the tool would refuse.
void ReadImage(const Snapshot& input, RecordSet* set);

}  // namespace tarvek::inspect
