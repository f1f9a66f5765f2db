// Formatting that several reports share.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tarvek {

/// `caption` followed by each byte as "%02X " (so the text ends with a blank).
std::string HexImage(std::string_view caption, std::span<const unsigned char> bytes);

/// One byte as two upper-case hexadecimal digits.
std::string HexByte(unsigned char byte);

/// printf() into a string; the result is as long as it takes. `format` is always a literal.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

}  // namespace tarvek
