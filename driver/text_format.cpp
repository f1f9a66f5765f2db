#include "driver/text_format.h"

#include <cstdarg>
#include <cstdio>

namespace tarvek {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";
constexpr unsigned kNibbleBits = 4;
constexpr unsigned kNibbleMask = 0x0F;

void AppendHex(std::string& text, unsigned char byte) {
  text += kHexDigits[byte >> kNibbleBits];
  text += kHexDigits[byte & kNibbleMask];
}

}  // namespace

std::string HexImage(std::string_view caption, std::span<const unsigned char> bytes) {
  constexpr std::size_t kCharactersPerByte = 3;
  std::string text;
  text.reserve(caption.size() + bytes.size() * kCharactersPerByte);
  text = caption;
  for (const unsigned char byte : bytes) {
    AppendHex(text, byte);
    text += ' ';
  }
  return text;
}

std::string HexByte(unsigned char byte) {
  std::string text;
  AppendHex(text, byte);
  return text;
}

std::string Format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}

}  // namespace tarvek
