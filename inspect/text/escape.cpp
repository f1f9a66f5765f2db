#include "inspect/text/escape.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tarvek::inspect {
namespace {

constexpr std::uint32_t kDelete = 0x7F;
constexpr std::uint32_t kLastC1 = 0x9F;
constexpr unsigned kContinuationBits = 6;
constexpr unsigned char kContinuationMask = 0xC0;
constexpr unsigned char kContinuation = 0x80;

/// A character at the start of a text.
struct Character {
  std::size_t size = 0;  // bytes; 0: these bytes are no UTF-8
  std::uint32_t code = 0;
};

/// The lead bytes of UTF-8: how many bytes their characters have, and the least code of those.
struct Lead {
  unsigned char mask;
  unsigned char bits;
  std::size_t size;
  std::uint32_t least;
};
constexpr std::array<Lead, 4> kLeads{{
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
}};

bool IsScalar(std::uint32_t code) {
  constexpr std::uint32_t kLast = 0x10FFFF;
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code <= kLast && !surrogate;
}

Character FirstCharacter(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const auto* const lead = std::find_if(kLeads.begin(), kLeads.end(), [&](const Lead& row) {
    return (first & row.mask) == row.bits;
  });
  if (lead == kLeads.end() || text.size() < lead->size) return {};
  std::uint32_t code = first & static_cast<unsigned char>(~lead->mask);
  for (std::size_t i = 1; i < lead->size; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & kContinuationMask) != kContinuation) return {};
    code = (code << kContinuationBits) | (byte & ~kContinuationMask & 0xFFU);
  }
  if (code < lead->least || !IsScalar(code)) return {};
  return {lead->size, code};
}

/// Whether a character does something instead of standing there: controls, line and paragraph
/// ends, marks of the writing direction.
bool Acts(std::uint32_t code) {
  if (code < ' ' || (code >= kDelete && code <= kLastC1)) return true;
  const bool direction = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ||
                         code == 0x200E || code == 0x200F || code == 0x061C;
  return direction || code == 0x2028 || code == 0x2029;
}

}  // namespace

std::string Escaped(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr unsigned kNibbleBits = 4;
  constexpr unsigned kNibble = 0x0F;
  const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && static_cast<unsigned char>(c) < kDelete;
  });
  if (plain) return std::string(text);
  std::string shown;
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    const std::size_t size = std::max<std::size_t>(character.size, 1);
    if (character.size != 0 && !Acts(character.code)) {
      shown += text.substr(0, size);
    } else {
      for (const char c : text.substr(0, size)) {
        const auto byte = static_cast<unsigned char>(c);
        shown += "\\x";
        shown += kDigits[byte >> kNibbleBits];
        shown += kDigits[byte & kNibble];
      }
    }
    text.remove_prefix(size);
  }
  return shown;
}

std::size_t Width(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & kContinuationMask) != kContinuation;
  }));
}

}  // namespace tarvek::inspect
