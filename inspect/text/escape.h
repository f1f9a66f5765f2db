// Text from files and records, made safe to show.
#pragma once

#include <string>
#include <string_view>

namespace tarvek::inspect {

/// @return `text` as a terminal or a page may have it: what could move a cursor, end a line or turn
///   the writing direction stands as \xNN, one for each byte; so does every byte that belongs to no
///   UTF-8 character. A backslash stays as it is: what is shown is for people.
std::string Escaped(std::string_view text);

/// @return `text`, which is JSON, with the same characters as \uXXXX: the same JSON. Bytes that
///   belong to no UTF-8 character stay.
std::string JsonEscaped(std::string_view text);

/// @return how many columns of a terminal `text`, which was escaped, takes: one for each character.
std::size_t Width(std::string_view text);

}  // namespace tarvek::inspect
