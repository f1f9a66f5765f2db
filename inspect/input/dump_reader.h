// Records as other tools dump them: raw, or in hexadecimal.
#pragma once

#include "inspect/input/record_set.h"
#include "inspect/input/snapshot.h"

namespace tarvek::inspect {

/// Reads records one after the other, each its 5-byte header and its body.
/// @throws InputError  at a record that is not whole.
void ReadRawDump(const Snapshot& input, RecordSet* set);

/// Reads hexadecimal, one record a line, all with their record IDs or all without; empty lines
/// and what follows "#" or "//" are passed over. A record without an ID has the ID 0.
/// @throws InputError  at a line that is no record.
void ReadHexDump(const Snapshot& input, RecordSet* set);

}  // namespace tarvek::inspect
