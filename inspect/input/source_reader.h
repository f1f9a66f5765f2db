// An SDR source file, read with the tool's own grammar.
#pragma once

#include "inspect/input/record_set.h"
#include "inspect/input/snapshot.h"
#include "sdrfile/utilities/tag_table.h"

namespace tarvek::inspect {

/// Reads all records of a source file, and marks those that the tool would program.
/// @param tags  the tags that are set; null: none is.
/// @param set   receives records and remarks.
/// @throws InputError  at the first fault that ends the tool's parse.
void ReadSource(const Snapshot& input, const TagTbl* tags, RecordSet* set);

}  // namespace tarvek::inspect
