// Every byte of a record in words.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// A field of a record as people read it.
struct LongField {
  std::string_view label;  // as section 43 names it; lives as long as the program
  std::string text;        // its value in words; UTF-8, control characters as they stand
  std::size_t offset = 0;  // in the record, header included, from 0
  std::size_t count = 0;   // bytes
  std::string_view key;    // of the JSON object that tells it; empty where none does
  bool explained = true;   // false: reserved, left-over or unknown; `text` is hexadecimal
};

/// The fields of `record` in the order of its bytes, header first. Every byte of `record.bytes` is
/// in at least one of them: what has no meaning is in one that says so.
std::vector<LongField> Explain(const Record& record);

/// "5F 00 1A": `count` bytes from `offset` on, as many as there are.
std::string HexText(std::span<const unsigned char> bytes);

/// A number in the fewest digits that read back to it, "." as the decimal point; "-0" is "0".
std::string NumberText(double value);

}  // namespace tarvek::inspect
