#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "config/cfg_file.h"
#include "driver/reporting/text_file.h"

namespace {

constexpr int kMaxSilenceMs = 2000;  // how long a pipe's writer may keep the tool waiting

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

/// Where the comment of a line begins, or its end when it has none. "//" inside double quotes
/// belongs to the argument; so it does after an unbalanced quote, to the end of the line.
char* FindComment(char* line) {
  bool in_quotes = false;
  char* p = line;
  for (; *p != '\0'; ++p) {
    if (*p == '"') in_quotes = !in_quotes;
    if (!in_quotes && p[0] == '/' && p[1] == '/') break;
  }
  return p;
}

bool IsPipe(std::FILE* stream) {
  struct stat info {};
  return fstat(fileno(stream), &info) == 0 && S_ISFIFO(info.st_mode);
}

bool WaitForInput(std::FILE* stream) {
  pollfd source{fileno(stream), POLLIN, 0};
  return poll(&source, 1, kMaxSilenceMs) > 0;
}

}  // namespace

ESTATUS CfgFile::Read(const char* path) {
  state->line_number = 0;
  matched_length = 0;
  state->fp = tarvek::OpenInput(path);
  if (state->fp == nullptr) return kScriptOpenFailed;

  end_of_lines.emplace(&lines);
  // A pipe whose writer does not come is no empty script: nobody has written one.
  ESTATUS status = !IsPipe(state->fp) || WaitForInput(state->fp) ? kSuccess : kScriptOpenFailed;
  while (status == kSuccess && ReadLine() == 1) status = AddCommand();
  // A script that cannot be read to its end must not be run by half; a directory opens, and
  // fails here.
  if (status == kSuccess && std::ferror(state->fp) != 0) status = kScriptOpenFailed;
  if (status == kSuccess && state->line_number > kMaxCfgLines) status = kInsufficientMemory;
  end_of_lines.reset();
  std::fclose(state->fp);
  state->fp = nullptr;
  return status;
}

/// Stores the current line if it begins with a command word, a delimiter behind it or not.
ESTATUS CfgFile::AddCommand() {
  const bool known =
      std::any_of(CfgWordTable.begin(), CfgWordTable.end(), [this](const CfgWord& word) {
        return word.id != kCfgNone && tarvek::BeginsWithWord(state->line, word);
      });
  if (known) return Add(&lines, state->line);
  Display(kInvalidCommand, kFruSdr, static_cast<unsigned short>(state->line_number), nullptr);
  return kReported;
}

bool CfgFile::AtEnd() const {
  return std::feof(state->fp) != 0 || std::ferror(state->fp) != 0 ||
         state->line_number > kMaxCfgLines;
}

/// The script's next byte, or EOF. Inputs are opened without blocking; so a pipe whose writer
/// has nothing ready yet is waited for here, but not for ever.
int CfgFile::NextByte() {
  for (;;) {
    const int byte = getc_unlocked(state->fp);
    if (byte != EOF || std::ferror(state->fp) == 0 || errno != EAGAIN) return byte;
    if (!WaitForInput(state->fp)) return EOF;
    std::clearerr(state->fp);
  }
}

/// Reads at most 255 bytes, up to and including a line feed, into the line buffer.
/// @return whether there was anything. What a read error has cut short is nothing: nobody has
///   written that line.
bool CfgFile::ReadPiece() {
  std::size_t length = 0;
  for (int byte = 0; byte != '\n' && length < sizeof(state->line) - 1;) {
    byte = NextByte();
    if (byte == EOF) break;
    state->line[length++] = static_cast<char>(byte);
  }
  if (std::ferror(state->fp) != 0) length = 0;
  state->line[length] = '\0';
  return length != 0;
}

int CfgFile::ReadLine() {
  while (!AtEnd()) {
    if (!ReadPiece()) continue;
    if (++state->line_number > kMaxCfgLines) break;
    RemoveIndent(state->line);
    RemoveComments(state->line);
    if (IsLineGood(state->line) == 1) return 1;
  }
  return 0;
}

void CfgFile::RemoveIndent(char* line) const {
  const char* text = line;
  while (IsBlank(*text)) ++text;
  std::memmove(line, text, std::strlen(text) + 1);
}

ESTATUS CfgFile::RemoveComments(char* line) const {
  char* end = FindComment(line);
  while (end != line && (IsBlank(end[-1]) || IsLineEnd(end[-1]))) --end;
  *end = '\0';
  return kSuccess;
}

int CfgFile::IsLineGood(char* line) const {
  const bool good = line[0] != '\0' && std::strncmp(line, "//", 2) != 0 && !IsLineEnd(line[0]);
  if (!good) line[0] = '\0';
  return good ? 1 : 0;
}
