#include "inspect/decode/utf8.h"

namespace tarvek::inspect {

void AppendUtf8(char32_t character, std::string* text) {
  constexpr char32_t kLastCharacter = 0x10FFFF;
  constexpr unsigned kTailBits = 6;
  constexpr char32_t kTailMask = 0x3F;
  constexpr char32_t kTailMark = 0x80;
  if (IsHighSurrogate(character) || IsLowSurrogate(character) || character > kLastCharacter) {
    character = kReplacementCharacter;
  }
  const auto append = [text](char32_t byte) { *text += static_cast<char>(byte); };
  const auto tail = [&](unsigned rest) {
    append(kTailMark | ((character >> (rest * kTailBits)) & kTailMask));
  };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0 | (character >> kTailBits));
    tail(0);
  } else if (character < 0x10000) {
    append(0xE0 | (character >> (2 * kTailBits)));
    tail(1);
    tail(0);
  } else {
    append(0xF0 | (character >> (3 * kTailBits)));
    tail(2);
    tail(1);
    tail(0);
  }
}

std::string Latin1ToUtf8(std::span<const unsigned char> bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const unsigned char byte : bytes) AppendUtf8(byte, &text);
  return text;
}

}  // namespace tarvek::inspect
