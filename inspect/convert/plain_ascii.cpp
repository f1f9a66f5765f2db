#include "inspect/convert/plain_ascii.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>

#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

constexpr unsigned char kFirstBeyond = 0x80;

/// Takes the first character off `text`, which is valid UTF-8 and begins beyond ASCII.
std::uint32_t TakeCharacter(std::string_view* text) {
  constexpr unsigned kContinuationBits = 6;
  constexpr unsigned char kContinuationMask = 0x3F;
  const auto lead = static_cast<unsigned char>(text->front());
  const int size = std::countl_one(lead);
  std::uint32_t code = lead & (0xFFU >> (size + 1));
  for (int i = 1; i < size; ++i) {
    code = (code << kContinuationBits) |
           (static_cast<unsigned char>((*text)[static_cast<std::size_t>(i)]) & kContinuationMask);
  }
  text->remove_prefix(static_cast<std::size_t>(size));
  return code;
}

std::string CodeText(std::uint32_t code) {
  constexpr std::uint32_t kLastShort = 0xFFFF;
  std::array<char, 11> text{};
  std::snprintf(text.data(), text.size(), code <= kLastShort ? "\\u%04X" : "\\U%08X",
                static_cast<unsigned>(code));
  return text.data();
}

}  // namespace

std::string PlainAscii(std::string_view text) {
  const std::string escaped = Escaped(text);
  std::string plain;
  for (std::string_view left = escaped; !left.empty();) {
    if (static_cast<unsigned char>(left.front()) < kFirstBeyond) {
      plain += left.front();
      left.remove_prefix(1);
    } else {
      plain += CodeText(TakeCharacter(&left));
    }
  }
  return plain;
}

}  // namespace tarvek::inspect
