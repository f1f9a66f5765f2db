#include "driver/reporting/text_format.h"

namespace tarvek {

Text HexImage(std::string_view caption, std::span<const unsigned char> bytes) {
  Text text(caption);
  for (const unsigned char byte : bytes) text.Append(HexByte(byte)).Append(' ');
  return text;
}

FixedText<3> HexByte(unsigned char byte) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  constexpr unsigned kNibbleBits = 4;
  constexpr unsigned kNibbleMask = 0x0F;
  const char digits[] = {kHexDigits[byte >> kNibbleBits], kHexDigits[byte & kNibbleMask]};
  return std::string_view(digits, sizeof(digits));
}

Text Format(const char* format, ...) {
  Text text;
  std::va_list arguments;
  va_start(arguments, format);
  text.AppendFormatted(format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace tarvek
