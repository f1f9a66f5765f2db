#include "sdrfile/utilities/lib_funct.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <span>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"

namespace {

constexpr int kMicrosecondsPerMs = 1000;
constexpr int kInvalidNibble = 16;
constexpr unsigned kNibbleBits = 4;
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kLastSevenBit = 0x7F;
constexpr unsigned char kEndOfFileMark = 0x1A;
constexpr std::size_t kMaxCountedLine = 255;  // bytes of a scanned line, its line feed counted

constexpr std::array<unsigned char, 256> MakeNibbleTable() {
  std::array<unsigned char, 256> table{};
  table.fill(kInvalidNibble);
  constexpr std::string_view kUpper = "0123456789ABCDEF";
  constexpr std::string_view kLower = "0123456789abcdef";
  for (std::size_t value = 0; value < kUpper.size(); ++value) {
    table[static_cast<unsigned char>(kUpper[value])] = static_cast<unsigned char>(value);
    table[static_cast<unsigned char>(kLower[value])] = static_cast<unsigned char>(value);
  }
  return table;
}
constexpr auto kNibbles = MakeNibbleTable();

unsigned char Upper(char c) {
  return static_cast<unsigned char>(std::toupper(static_cast<unsigned char>(c)));
}

bool TagMatches(const char (&entry)[kTagNameSize], const char* name) {
  for (int i = 0; i < kTagNameSize; ++i) {
    const bool equal = Upper(entry[i]) == Upper(name[i]);
    const bool wildcard = name[i] == '#' && std::isdigit(static_cast<unsigned char>(entry[i])) != 0;
    if (!equal && !wildcard) return false;
    if (equal && name[i] == '\0') return true;
  }
  return true;
}

bool ModeIs(const char* mode, const char* wanted) { return strcasecmp(mode, wanted) == 0; }

std::FILE* OpenStream(const char* path, const char* mode) {
  const bool input = ModeIs(mode, "r") || ModeIs(mode, "rb");
  return input ? tarvek::OpenInput(path) : std::fopen(path, mode);
}

/// Whether a scanned file may hold `byte`; the end-of-file mark only as its very last byte.
bool IsTextByte(int byte, bool last) {
  if (byte == '\r' || byte == '\t') return true;
  if (byte == kEndOfFileMark) return last;
  return byte >= kFirstPrintable && byte <= kLastSevenBit;
}

/// Scans a text input from its start for characters and lines that its readers do not take.
/// Only the first offending line is reported.
/// @return 0, or 81 once 70 or 72 was reported.
int ScanText(std::FILE* stream, const PrgError& reporter) {
  unsigned short line_number = 1;
  std::size_t counted = 0;
  for (int c = std::getc(stream); c != EOF;) {
    const int following = std::getc(stream);
    if (c != '\n' && !IsTextByte(c, following == EOF)) {
      reporter.Display(kInvalidCharacterOnLine, kFruSdr, line_number, nullptr);
      return kReported;
    }
    ++counted;
    // The end of the file counts as one more byte of a last line without a line feed.
    const bool line_ends = c == '\n' || following == EOF;
    const std::size_t length = c == '\n' ? counted : counted + 1;
    if (line_ends && length > kMaxCountedLine) {
      reporter.Display(kLineTooLong, kFruSdr, line_number, nullptr);
      return kReported;
    }
    if (c == '\n') {
      ++line_number;
      counted = 0;
    }
    c = following;
  }
  return kSuccess;
}

void DumpRow(std::span<const unsigned char> bytes) {
  tarvek::Text row;
  for (const unsigned char byte : bytes) row.Append(' ').Append(tarvek::HexByte(byte));
  row.Append("   ");
  for (const unsigned char byte : bytes) {
    row.Append(std::isprint(byte) != 0 ? static_cast<char>(byte) : '.');
  }
  row.Append('\n');
  std::fputs(row.c_str(), gTempFile);
}

}  // namespace

int LibFunct::SleepMs(unsigned short ms) const {
  return usleep(static_cast<useconds_t>(ms) * kMicrosecondsPerMs);
}

int LibFunct::WriteLn(const char* text) const {
  Bmc_HistoryLog(text);
  if (gTempFile == nullptr || std::fputs(text, gTempFile) < 0) return Report(kTempFileWriteFailed);
  return kSuccess;
}

int LibFunct::CheckTable(const TagTbl* list, const char* name) const {
  for (; list != nullptr; list = list->next) {
    if (TagMatches(list->name, name)) return 1;
  }
  return 0;
}

int LibFunct::OpenFile(const char* path, FileRecord* fr, const char* mode) const {
  fr->fp = OpenStream(path, mode);
  if (fr->fp == nullptr) return kInputOpenFailed;

  struct stat info {};
  const bool empty = fstat(fileno(fr->fp), &info) == 0 && info.st_size == 0;
  if (empty && !ModeIs(mode, "w")) return kReported;

  const int status = ModeIs(mode, "rb") ? ScanText(fr->fp, *this) : kSuccess;
  std::rewind(fr->fp);
  fr->DropLine();
  fr->lineNumber = 0;
  return status;
}

char* LibFunct::ValidString(char* s) const {
  for (const char* p = s; *p != '\0'; ++p) {
    const auto byte = static_cast<unsigned char>(*p);
    if (byte >= kFirstPrintable && byte <= kLastSevenBit) continue;
    s[0] = '\0';
    break;
  }
  return s;
}

int LibFunct::AsciiDigitToNibble(char c) const { return kNibbles[static_cast<unsigned char>(c)]; }

int LibFunct::StringToBytes(const char* hex, unsigned char* out, unsigned int n) const {
  const std::size_t digits = std::strlen(hex);
  const std::size_t capacity = 2 * static_cast<std::size_t>(n);
  if (n == 0 || digits == 0 || digits > capacity) return kInvalidHexNumber;

  const std::size_t value_bytes = (digits + 1) / 2;
  std::fill_n(out, n - value_bytes, static_cast<unsigned char>(0));
  out += n - value_bytes;
  if (digits % 2 != 0) {
    const int nibble = AsciiDigitToNibble(*hex++);
    if (nibble == kInvalidNibble) return kInvalidHexNumber;
    *out++ = static_cast<unsigned char>(nibble);
  }
  for (; *hex != '\0'; hex += 2) {
    const int high = AsciiDigitToNibble(hex[0]);
    const int low = AsciiDigitToNibble(hex[1]);
    if (high == kInvalidNibble || low == kInvalidNibble) return kInvalidHexNumber;
    *out++ = static_cast<unsigned char>((high << kNibbleBits) | low);
  }
  return kSuccess;
}

int LibFunct::HexDumpBufferToASCIIFile(unsigned char* buf, char* title) const {
  constexpr std::size_t kRows = 4;
  constexpr std::size_t kRowLength = 16;
  ValidString(title);
  // The record's bytes go through the same cleaning as a caption, on purpose: it changes the
  // record that is sent afterwards, and the BMC's own record IDs make up for the lost byte.
  const char* const text = ValidString(reinterpret_cast<char*>(buf));
  if (gTempFile == nullptr) return kSuccess;
  std::fprintf(gTempFile, "%s\n%s\n", title, text);
  for (std::size_t row = 0; row < kRows; ++row) DumpRow({buf + row * kRowLength, kRowLength});
  std::fputc('\n', gTempFile);
  return kSuccess;
}
