// A set of records for people: a line a record.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// Takes a piece of what is shown.
using Writer = std::function<void(std::string_view text)>;

/// Shows a table of all records, then totals by type, the version and the script.
/// @param color  with a terminal's colours.
void ShowTable(const RecordSet& set, bool color, const Writer& write);

/// Shows every field of every record.
void ShowLong(const RecordSet& set, bool color, const Writer& write);

/// Shows the records' bytes in hexadecimal, one record a line, with record ID 0.
/// @param all  those too that the tool would not program.
void ShowRaw(const RecordSet& set, bool all, const Writer& write);

}  // namespace tarvek::inspect
