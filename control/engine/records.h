// Sets of records as they are compared: bytes behind the record ID, in order.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/input/record_set.h"

namespace tarvek::control {

/// The bytes of each record behind its ID, which is the BMC's to give.
using RecordList = std::vector<std::string>;

/// @return those of the records that the tool would program; of an image all.
RecordList RecordsOf(const std::vector<inspect::InputRecord>& records);

/// One record a line in hexadecimal; and the opposite.
std::string ToLines(const RecordList& records);
/// @throws std::runtime_error  for what is no such text.
RecordList FromLines(std::string_view lines);

/// A number by which sets are told apart, 16 hexadecimal digits (like FNV-1a, by words).
/// No proof against malice.
std::string DigestOf(const RecordList& records);

/// The part of a version text that versions are compared by: of 17 characters or more the five from
/// the 13th on, of 13 to 16 those from the 13th on, else all of it.
std::string ReducedVersion(const std::string& version);

/// How many requests the tool sends for an update that writes `records`, with a clear that takes
/// two looks, on a BMC that serves `served` records now.
std::size_t RequestsFor(const RecordList& records, const RecordList& served);

}  // namespace tarvek::control
