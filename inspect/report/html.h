// Text and numbers as a page may have them.
#pragma once

#include <string>
#include <string_view>

namespace tarvek::inspect {

/// @return `text` as the content of an element or of a quoted attribute: what acts on a reader or
///   on the writing direction stands as \xNN, what means something to HTML as its entity.
std::string Html(std::string_view text);

/// Html() in an element of its own, so that a text written from right to left leaves its
/// neighbours where they are.
std::string Isolated(std::string_view text);

/// A real value in at most six digits: "3.3", "25500", "1e+12".
std::string ShortNumber(double value);

/// "1 sensor", "3 sensors".
std::string Counted(std::size_t count, std::string_view what);

/// "5Fh".
std::string HexByte(int value);

}  // namespace tarvek::inspect
