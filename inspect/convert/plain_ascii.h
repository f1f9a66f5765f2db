// Text of records for files that are plain ASCII.
#pragma once

#include <string>
#include <string_view>

namespace tarvek::inspect {

/// @return `text` in printable ASCII alone: what Escaped() leaves as a character beyond it stands
///   as \uNNNN, or as \UNNNNNNNN. Nothing in it ends a line.
std::string PlainAscii(std::string_view text);

}  // namespace tarvek::inspect
