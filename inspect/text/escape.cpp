#include "inspect/text/escape.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tarvek::inspect {
namespace {

constexpr std::uint32_t kDelete = 0x7F;
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

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// What does something instead of standing there, or is not seen at all: controls, line and
// paragraph ends, marks of the writing direction, blanks without width, tags.
constexpr std::array<Range, 11> kActing{{
    {0x00, 0x1F},
    {kDelete, 0x9F},
    {0x00AD, 0x00AD},
    {0x061C, 0x061C},
    {0x200B, 0x200F},
    {0x2028, 0x202E},
    {0x2060, 0x206F},
    {0xFEFF, 0xFEFF},
    {0xFFF9, 0xFFFB},
    {0xE0000, 0xE007F},
    {0x180E, 0x180E},
}};

bool Acts(std::uint32_t code) {
  return std::any_of(kActing.begin(), kActing.end(),
                     [&](const Range& range) { return code >= range.first && code <= range.last; });
}

std::string Hex(std::uint32_t value, int digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr unsigned kNibbleBits = 4;
  constexpr unsigned kNibble = 0x0F;
  std::string text;
  for (int i = digits - 1; i >= 0; --i) {
    text += kDigits[(value >> (kNibbleBits * static_cast<unsigned>(i))) & kNibble];
  }
  return text;
}

/// A character as JSON has it in ASCII: beyond 16 bits two halves.
std::string JsonCode(std::uint32_t code) {
  constexpr std::uint32_t kFirstBeyond = 0x10000;
  constexpr std::uint32_t kHalf = 10;
  constexpr std::uint32_t kHalfMask = 0x3FF;
  constexpr int kDigits = 4;
  if (code < kFirstBeyond) return "\\u" + Hex(code, kDigits);
  code -= kFirstBeyond;
  return "\\u" + Hex(0xD800U + (code >> kHalf), kDigits) + "\\u" +
         Hex(0xDC00U + (code & kHalfMask), kDigits);
}

bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= ' ' && static_cast<unsigned char>(c) < kDelete; });
}

}  // namespace

std::string Escaped(std::string_view text) {
  if (IsPlain(text)) return std::string(text);
  std::string shown;
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    const std::size_t size = std::max<std::size_t>(character.size, 1);
    if (character.size != 0 && !Acts(character.code)) {
      shown += text.substr(0, size);
    } else {
      for (const char c : text.substr(0, size)) {
        shown += "\\x" + Hex(static_cast<unsigned char>(c), 2);
      }
    }
    text.remove_prefix(size);
  }
  return shown;
}

std::string JsonEscaped(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    const std::size_t size = std::max<std::size_t>(character.size, 1);
    if (character.size != 0 && Acts(character.code)) {
      shown += JsonCode(character.code);
    } else {
      shown += text.substr(0, size);
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
