#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "sdrfile/sdr_file.h"

namespace {

constexpr char kQuote = '\'';
constexpr char kLineEnd = '\n';
constexpr std::size_t kFullLine = kLineBufferSize - 1;  // bytes of a line that fill the buffer
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

/// The length of what fgets() has read into `line`, which was full of line feeds before: what was
/// read may hold zero bytes of its own.
std::size_t LengthRead(const char (&line)[kLineBufferSize]) {
  const auto* const feed = static_cast<const char*>(std::memchr(line, kLineEnd, sizeof(line)));
  if (feed == nullptr) return kFullLine;
  // The terminator stands behind a line feed that was read, and before one that was there.
  const auto before = static_cast<std::size_t>(feed - line);
  const bool was_read = before < kFullLine && feed[1] == '\0';
  return was_read ? before + 1 : before - 1;
}

/// Whether the line ends behind what was read of it, which has no line feed: there the input ends,
/// or the line feed did not fit the buffer any more.
bool EndsHere(std::FILE* fp, std::size_t length) {
  if (length < kFullLine) return true;
  const int following = std::getc(fp);
  if (following != EOF) std::ungetc(following, fp);
  return following == EOF || following == kLineEnd;
}

/// Reduces a line's end to a line feed.
/// @param length  bytes of the line, at least one.
void DropCarriageReturn(FileRecord* file, std::size_t length) {
  char* const last = file->line + length - 1;
  if (*last == '\r') {
    if (EndsHere(file->fp, length)) *last = '\0';
  } else if (length > 1 && *last == kLineEnd && last[-1] == '\r') {
    last[-1] = kLineEnd;
    *last = '\0';
  }
}

/// Reads the next line, or the next 255 bytes of a longer one, into `file->line`.
/// @return false at the end of the input; a read error, as on a directory, ends it too.
bool ReadLine(FileRecord* file) {
  file->DropLine();
  if (file->fp == nullptr) return false;
  std::memset(file->line, kLineEnd, sizeof(file->line));
  if (std::fgets(file->line, kLineBufferSize, file->fp) == nullptr) {
    file->DropLine();
    return false;
  }
  DropCarriageReturn(file, LengthRead(file->line));
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
  const std::size_t length = std::strlen(token->text);  // as it stands on the line
  ClassifyToken(token);
  if (watcher == nullptr) return;
  const std::ptrdiff_t end = file->pos != nullptr ? file->pos - file->line : 0;
  watcher->OnToken(*token, *file, static_cast<int>(end - static_cast<std::ptrdiff_t>(length)));
}
