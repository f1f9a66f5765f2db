// Text of records as UTF-8.
#pragma once

#include <span>
#include <string>

namespace tarvek::inspect {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// The character that a high and a low surrogate stand for.
constexpr char32_t FromSurrogates(char32_t high, char32_t low) {
  constexpr char32_t kFirstPaired = 0x10000;
  constexpr unsigned kHalfBits = 10;
  return kFirstPaired + ((high - 0xD800) << kHalfBits) + (low - 0xDC00);
}

/// Appends a character; the replacement character for what is none.
void AppendUtf8(char32_t character, std::string* text);

/// 8-bit ASCII and Latin-1 as UTF-8, NULs included.
std::string Latin1ToUtf8(std::span<const unsigned char> bytes);

}  // namespace tarvek::inspect
