#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "sdrfile/sdr_file.h"

namespace {

constexpr char kQuote = '\'';
constexpr char kDynamicMark = '#';
constexpr int kFirstNonNibble = 16;
constexpr std::size_t kMaxNumberDigits = 4;
constexpr unsigned kNibbleBits = 4;

// Most tokens are hexadecimal data. A look at its first character spares such a token the search
// through the keywords.
constexpr std::array<bool, 256> MakeKeywordStarts() {
  std::array<bool, 256> starts{};
  for (const KeywordEntry& entry : KeywordTable) {
    const char first = entry.text.empty() ? '\0' : entry.text.front();
    starts[static_cast<unsigned char>(first)] = true;
  }
  return starts;
}
constexpr auto kKeywordStarts = MakeKeywordStarts();

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

/// Reduces a line's end to a line feed. A carriage return also ends the last line of a file
/// without a line feed, and a line whose line feed did not fit the buffer any more.
void DropCarriageReturn(FileRecord* file) {
  const std::size_t length = std::strlen(file->line);
  if (length >= 2 && file->line[length - 2] == '\r' && file->line[length - 1] == '\n') {
    file->line[length - 2] = '\n';
    file->line[length - 1] = '\0';
    return;
  }
  if (length == 0 || file->line[length - 1] != '\r') return;
  const int following = std::getc(file->fp);
  if (following != EOF) std::ungetc(following, file->fp);
  if (following == EOF || following == '\n') file->line[length - 1] = '\0';
}

/// Reads the next line, or the next 255 bytes of a longer one, into `file->line`.
/// @return false at the end of the input; a read error, as on a directory, ends it too.
bool ReadLine(FileRecord* file) {
  file->DropLine();
  if (file->fp == nullptr) return false;
  if (std::fgets(file->line, kLineBufferSize, file->fp) == nullptr) {
    file->DropLine();
    return false;
  }
  DropCarriageReturn(file);
  file->pos = file->line;
  ++file->lineNumber;
  return true;
}

/// The end of the quoted token at `start`: behind its closing quote, or where its line ends.
char* EndOfQuoted(char* start) {
  char* end = start + 1;
  while (*end != kQuote && *end != '\n' && *end != '\0') ++end;
  return *end == kQuote ? end + 1 : end;
}

char* EndOfPlain(char* start) {
  char* end = start;
  while (!IsBlank(*end) && *end != '\n' && *end != '\0') ++end;
  return end;
}

}  // namespace

void SDRFile::SkipBlankSpace(char** p) const {
  if (*p == nullptr) return;
  while (IsBlank(**p)) ++*p;
  if (**p == '\0') *p = nullptr;
}

int SDRFile::IsNewLineNeeded(FileRecord* file) const {
  if (file->line[0] == '\0' || file->pos == nullptr) return 1;
  SkipBlankSpace(&file->pos);
  // A line that ends without a line feed ends all the same.
  if (file->pos == nullptr) return 1;
  if (file->pos[0] == '/' && file->pos[1] == '/') return 1;
  return file->pos[0] == '\n' ? 1 : 0;
}

void SDRFile::GetNextToken(FileRecord* file, char* text) const {
  text[0] = '\0';
  while (IsNewLineNeeded(file) == 1) {
    if (!ReadLine(file)) return;
  }
  char* const start = file->pos;
  file->pos = *start == kQuote ? EndOfQuoted(start) : EndOfPlain(start);
  // A token is never longer than the line that `text` has room for.
  *std::copy(start, file->pos, text) = '\0';
}

unsigned int SDRFile::LookUpKeyword(const char* text) const {
  if (!kKeywordStarts[static_cast<unsigned char>(text[0])]) return kUnknown;
  const std::string_view wanted(text);
  const auto* const found =
      std::find_if(KeywordTable.begin(), KeywordTable.end(),
                   [&](const KeywordEntry& entry) { return entry.text == wanted; });
  return found != KeywordTable.end() ? found->id : static_cast<unsigned int>(kUnknown);
}

int SDRFile::IsStaticData(const char* text) const {
  while (*text != '\0' && AsciiDigitToNibble(*text) < kFirstNonNibble) ++text;
  return *text == '\0' ? 1 : 0;
}

int SDRFile::IsDynamicData(char* text) const {
  const char* end = text;
  while (*end != '\0' && AsciiDigitToNibble(*end) < kFirstNonNibble) ++end;
  if (end[0] != kDynamicMark || end[1] != '\0') return 0;
  StripTrailingCharacter(text);
  return 1;
}

int SDRFile::IsASCIIText(const char* text) const {
  const std::string_view whole(text);
  return !whole.empty() && whole.front() == kQuote && whole.back() == kQuote ? 1 : 0;
}

void SDRFile::StripTrailingCharacter(char* text) const {
  const std::size_t length = std::strlen(text);
  if (length > 0) text[length - 1] = '\0';
}

void SDRFile::StripQuotes(char* text) const {
  const std::size_t length = std::strlen(text);
  if (length > 0) std::memmove(text, text + 1, length);
  StripTrailingCharacter(text);
}

void SDRFile::ClassifyToken(TokenTbl* token) const {
  token->id = LookUpKeyword(token->text);
  if (token->id != kUnknown) return;
  if (IsStaticData(token->text) == 1) {
    token->id = kStaticData;
  } else if (IsDynamicData(token->text) == 1) {
    token->id = kDynamicData;
  } else if (IsASCIIText(token->text) == 1) {
    StripQuotes(token->text);
    token->id = kAsciiText;
  }
}

unsigned short SDRFile::StringToUInt(const char* text) const {
  const std::string_view digits(text);
  bool valid = !digits.empty() && digits.size() <= kMaxNumberDigits;
  unsigned int value = 0;
  for (std::size_t i = 0; valid && i < digits.size(); ++i) {
    const int nibble = AsciiDigitToNibble(digits[i]);
    valid = nibble < kFirstNonNibble;
    value = (value << kNibbleBits) | static_cast<unsigned int>(nibble);
  }
  if (valid) return static_cast<unsigned short>(value);
  Report(kInvalidHexNumber);
  return 0;
}

void SDRFile::GetAndClassifyToken(FileRecord* file, TokenTbl* token) const {
  GetNextToken(file, token->text);
  ClassifyToken(token);
}
