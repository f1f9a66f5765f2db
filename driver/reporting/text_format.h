// Formatting that several reports share. None of it takes memory: the lack of memory must still
// be reported.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <span>
#include <string_view>

namespace tarvek {

/// A text that is kept where it stands, of at most `kSize` - 1 bytes; what does not fit is cut.
template <std::size_t kSize>
class FixedText {
 public:
  FixedText() { text_[0] = '\0'; }
  // NOLINTBEGIN(*-explicit-*): it stands for a text wherever one is asked for, as std::string does
  FixedText(std::string_view text) : FixedText() { Append(text); }
  FixedText(const char* text) : FixedText(std::string_view(text)) {}
  // NOLINTEND(*-explicit-*)

  FixedText& Append(std::string_view text) {
    size_ += text.copy(text_.data() + size_, kSize - 1 - size_);
    text_[size_] = '\0';
    return *this;
  }

  FixedText& Append(char c) { return Append(std::string_view(&c, 1)); }

  /// Appends what vsnprintf() makes of `format`, which is always a literal, and `arguments`.
  FixedText& AppendFormatted(const char* format, std::va_list arguments) {
    const int length = std::vsnprintf(text_.data() + size_, kSize - size_, format, arguments);
    if (length > 0) size_ = std::min(size_ + static_cast<std::size_t>(length), kSize - 1);
    return *this;
  }

  std::string_view view() const { return {text_.data(), size_}; }
  operator std::string_view() const { return view(); }  // NOLINT(*-explicit-*): likewise
  const char* c_str() const { return text_.data(); }
  char* data() { return text_.data(); }

  friend bool operator==(const FixedText& text, std::string_view other) {
    return text.view() == other;
  }

 private:
  std::array<char, kSize> text_;  // terminated
  std::size_t size_ = 0;
};

inline constexpr std::size_t kTextSize = 1024;  // bytes of a log line, the terminator included
using Text = FixedText<kTextSize>;
using PathText = FixedText<PATH_MAX>;

/// `caption` followed by each byte as "%02X " (so the text ends with a blank).
Text HexImage(std::string_view caption, std::span<const unsigned char> bytes);

/// One byte as two upper-case hexadecimal digits.
FixedText<3> HexByte(unsigned char byte);

/// printf() into a text. `format` is always a literal.
[[gnu::format(printf, 1, 2)]] Text Format(const char* format, ...);

}  // namespace tarvek
