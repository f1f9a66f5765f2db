#include "driver/version_cache.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "driver/reporting/output_file.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"

namespace tarvek {
namespace {

constexpr const char* kCacheName = "sdrversion_HW";
constexpr int kTextLineSize = 254;  // bytes, the terminator included

/// Skips white space.
/// @return the byte behind it, or EOF.
int NextWord(std::FILE* file) {
  int byte = std::getc(file);
  while (std::isspace(byte) != 0) byte = std::getc(file);
  return byte;
}

unsigned DigitValue(int digit) {
  constexpr int kTen = 10;
  return static_cast<unsigned>(std::isdigit(digit) != 0 ? digit - '0'
                                                        : std::tolower(digit) - 'a' + kTen);
}

/// Reads hexadecimal digits, of which `byte` is the first, and puts back what follows them.
/// @return their value; none when there is no digit, or when 32 bits do not hold it.
std::optional<std::uint32_t> ReadDigits(std::FILE* file, int byte) {
  constexpr std::uint64_t kTooLarge = std::uint64_t{1} << 32;
  constexpr unsigned kBase = 16;
  const bool any = std::isxdigit(byte) != 0;
  std::uint64_t value = 0;
  for (; std::isxdigit(byte) != 0; byte = std::getc(file)) {
    // What is too large once stays so, however many digits there are.
    value = std::min(value * kBase + DigitValue(byte), kTooLarge);
  }
  std::ungetc(byte, file);
  if (!any || value == kTooLarge) return std::nullopt;
  return static_cast<std::uint32_t>(value);
}

/// Reads a time stamp as scanf() reads "%x\n": a sign and "0x" may lead it, white space may stand
/// around it, and what is negative is counted down from the end of the 32 bits. A number that these
/// do not hold, of which scanf() says nothing, is no time stamp.
std::optional<std::uint32_t> ReadStamp(std::FILE* file) {
  int byte = NextWord(file);
  const bool negative = byte == '-';
  if (negative || byte == '+') byte = std::getc(file);
  if (byte == '0') {
    const int next = std::getc(file);
    const bool prefix = next == 'x' || next == 'X';
    if (!prefix) std::ungetc(next, file);
    if (prefix) byte = std::getc(file);
  }
  const std::optional<std::uint32_t> value = ReadDigits(file, byte);
  if (value) std::ungetc(NextWord(file), file);
  return value && negative ? 0 - *value : value;
}

/// Reads a line without its last character. That is cut off without a look: it is the line feed
/// of every line that this tool has written.
std::string ReadText(std::FILE* file) {
  std::array<char, kTextLineSize> line{};
  if (std::fgets(line.data(), kTextLineSize, file) == nullptr) return "";
  std::string text(line.data());
  if (!text.empty()) text.pop_back();
  return text;
}

bool HasLineFeed(const std::string& text) { return text.find('\n') != std::string::npos; }

}  // namespace

void LoadVersionCache(const RepositoryStamps& stamps) {
  std::FILE* const file = OpenInput(kCacheName);
  if (file == nullptr) return;
  const std::optional<std::uint32_t> addition = ReadStamp(file);
  const std::optional<std::uint32_t> erase = ReadStamp(file);
  if (addition == stamps.addition && erase == stamps.erase) {
    g_HW_sdr_version = ReadText(file);
    gCFGIdentifyOEMSDR = ReadText(file);
  }
  // A cache that cannot be read to its end may have lost one of its texts.
  if (std::ferror(file) != 0) {
    g_HW_sdr_version.clear();
    gCFGIdentifyOEMSDR.clear();
  }
  std::fclose(file);
}

void StoreVersionCache(const RepositoryStamps& stamps) {
  Text text = Format("%04x\n%04x\n", stamps.addition, stamps.erase);
  text.Append(g_HW_sdr_version).Append('\n');
  if (!gCFGIdentifyOEMSDR.empty()) text.Append(gCFGIdentifyOEMSDR).Append('\n');
  // A cache that was cut short would tell of another version, or of another script; so would one
  // with a text of several lines.
  const bool whole = text.view().size() < kTextSize - 1 && !HasLineFeed(g_HW_sdr_version) &&
                     !HasLineFeed(gCFGIdentifyOEMSDR);
  if (!whole || WriteOutput(kCacheName, Keep::kNothing, text) == Written::kLost) unlink(kCacheName);
}

}  // namespace tarvek
