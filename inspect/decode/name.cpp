#include <algorithm>
#include <string_view>

#include "inspect/decode/record.h"
#include "inspect/decode/utf8.h"

namespace tarvek::inspect {

namespace {

constexpr int kEncodingShift = 6;
constexpr unsigned kReservedBit = 0x20;
constexpr unsigned kLengthMask = 0x1F;
constexpr std::size_t kByteBits = 8;

using Span = std::span<const unsigned char>;

std::size_t BitsPerCharacter(NameEncoding encoding) {
  switch (encoding) {
    case NameEncoding::kUnicode:
      return 2 * kByteBits;
    case NameEncoding::kBcdPlus:
      return kByteBits / 2;
    case NameEncoding::kSixBit:
      return 6;
    case NameEncoding::kAscii:
      break;
  }
  return kByteBits;
}

void AppendBcdPlus(Span bytes, std::size_t characters, std::string* text) {
  constexpr std::string_view kCharacters = "0123456789 -.:,_";
  constexpr unsigned kNibbleBits = 4;
  constexpr unsigned kNibbleMask = 0x0F;
  for (std::size_t i = 0; i < characters; ++i) {
    const unsigned byte = bytes[i / 2];
    *text += kCharacters[(i % 2 == 0 ? byte >> kNibbleBits : byte) & kNibbleMask];
  }
}

/// Four characters in three bytes: each takes the next six bits, from the lowest bit of a byte up.
void AppendSixBit(Span bytes, std::size_t characters, std::string* text) {
  constexpr std::size_t kBits = 6;
  constexpr unsigned kMask = 0x3F;
  constexpr unsigned kFirstCharacter = ' ';
  for (std::size_t i = 0; i < characters; ++i) {
    const std::size_t bit = i * kBits;
    const std::size_t byte = bit / kByteBits;
    unsigned pair = bytes[byte];
    if (byte + 1 < bytes.size()) pair |= static_cast<unsigned>(bytes[byte + 1]) << kByteBits;
    *text += static_cast<char>(((pair >> (bit % kByteBits)) & kMask) + kFirstCharacter);
  }
}

void AppendUnicode(Span bytes, std::size_t characters, std::string* text) {
  const auto unit = [&](std::size_t i) {
    return bytes[2 * i] | static_cast<char32_t>(bytes[2 * i + 1]) << kByteBits;
  };
  for (std::size_t i = 0; i < characters; ++i) {
    if (i + 1 < characters && IsHighSurrogate(unit(i)) && IsLowSurrogate(unit(i + 1))) {
      AppendUtf8(FromSurrogates(unit(i), unit(i + 1)), text);
      ++i;
    } else {
      AppendUtf8(unit(i), text);
    }
  }
}

}  // namespace

std::optional<Name> DecodeName(Span bytes, std::size_t offset) {
  if (bytes.empty()) return std::nullopt;
  Name name;
  name.encoding = static_cast<NameEncoding>(bytes[0] >> kEncodingShift);
  name.declared_length = static_cast<int>(bytes[0] & kLengthMask);
  name.reserved_bit = (bytes[0] & kReservedBit) != 0;
  name.offset = offset + 1;

  const std::size_t bits = BitsPerCharacter(name.encoding);
  const auto declared = static_cast<std::size_t>(name.declared_length);
  const Span there = bytes.subspan(1);
  const std::size_t characters = std::min(declared, there.size() * kByteBits / bits);
  name.characters = static_cast<int>(characters);
  name.bytes_due = (declared * bits + kByteBits - 1) / kByteBits;
  name.byte_count = (characters * bits + kByteBits - 1) / kByteBits;

  const Span text = there.first(name.byte_count);
  switch (name.encoding) {
    case NameEncoding::kUnicode:
      AppendUnicode(text, characters, &name.text);
      break;
    case NameEncoding::kBcdPlus:
      AppendBcdPlus(text, characters, &name.text);
      break;
    case NameEncoding::kSixBit:
      AppendSixBit(text, characters, &name.text);
      break;
    case NameEncoding::kAscii:
      name.text = Latin1ToUtf8(text);
      break;
  }
  return name;
}

}  // namespace tarvek::inspect
