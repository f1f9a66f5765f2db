#include <cstring>

#include "config/cfg_file.h"

namespace {

constexpr char kFirstPrintable = ' ';
constexpr char kLastPrintable = '~';

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool IsEndOfText(char c) { return c == '\0' || c == '\r' || c == '\n'; }

/// Bytes outside printable ASCII all count as control characters: arguments are names and log
/// texts, and no other letters are taken there, deliberately.
bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < kFirstPrintable || byte > kLastPrintable;
}

/// Finds the end of the argument that begins at `start`; its first character may be any.
char* FindArgumentEnd(char* start, bool quoted) {
  char* p = start + 1;
  while (!IsControl(*p) && *p != '"' && (quoted || *p != ' ')) ++p;
  return p;
}

/// Judges the character at which an argument ended.
ESTATUS CheckArgumentEnd(char end, bool quoted) {
  if (end == '\0') return quoted ? kClosingQuoteMissing : kSuccess;
  if (end == '"') return quoted ? kSuccess : kScriptLineFailed;
  return !quoted && IsBlank(end) ? kSuccess : kControlCharacter;
}

}  // namespace

ESTATUS CfgFile::Parse() {
  for (cursor = lines; cursor != nullptr; cursor = cursor->next) {
    const ESTATUS status = GetCfgWord();
    if (status == kSuccess && matched_length != 0) continue;
    Display(kInvalidCommand, kFruSdr, static_cast<unsigned short>(cursor->line_number), nullptr);
    Report(status);
    return kReported;
  }
  return kSuccess;
}

ESTATUS CfgFile::GetCfgWord() {
  cursor->id = kCfgNone;
  for (const CfgWord& word : CfgWordTable) {
    if (!tarvek::BeginsWithWord(cursor->text, word)) continue;
    const char delimiter = cursor->text[word.word.size()];
    if (!IsBlank(delimiter) && !IsEndOfText(delimiter)) continue;
    const ESTATUS status = TakeCommand(word);
    if (cursor->id != kCfgNone || status != kSuccess) return status;
  }
  return kInvalidString;
}

/// Fills the cursor line in for the command that it begins with, and cuts its text behind the
/// word; after a fault, before it.
ESTATUS CfgFile::TakeCommand(const CfgWord& word) {
  ESTATUS status = kSuccess;
  cursor->id = word.id;
  matched_length = word.word.size();
  if (word.id != kCfgNone) {
    cursor->max_arguments = word.max_arguments;
    cursor->max_argument_length = word.max_argument_length;
    status = ParseLine(cursor->text + matched_length);
    if (status == kSuccess && cursor->argument_count > word.max_arguments) {
      status = kTooManyArguments;
    }
  }
  if (status != kSuccess) matched_length = 0;
  cursor->text[matched_length] = '\0';
  return status;
}

ESTATUS CfgFile::ParseLine(char* rest) {
  for (;;) {
    while (IsBlank(*rest)) ++rest;
    if (IsEndOfText(*rest)) return kSuccess;
    if (cursor->argument_count >= kMaxCfgArguments) return kTooManyArguments;
    const ESTATUS status = TakeArgument(&rest);
    if (status != kSuccess) return status;
  }
}

/// Takes the argument that begins at `*rest`, and moves `*rest` behind what ended it.
ESTATUS CfgFile::TakeArgument(char** rest) {
  const bool quoted = **rest == '"';
  char* const start = quoted ? *rest + 1 : *rest;
  if (quoted && IsEndOfText(*start)) return kUnbalancedQuotes;
  if (quoted && *start == '"') {
    *start = '\0';
    RecordArgument(start);
    *rest = start + 1;
    return kSuccess;
  }
  // The first character of an unquoted argument is not looked at, deliberately.
  if (quoted && IsControl(*start)) return kControlCharacter;

  RecordArgument(start);
  char* const end = FindArgumentEnd(start, quoted);
  const char ended_by = *end;
  const ESTATUS status = CheckArgumentEnd(ended_by, quoted);
  // A double quote is taken out of the text also where it may not stand.
  if (status == kSuccess || ended_by == '"') *end = '\0';
  if (status != kSuccess) return status;
  *rest = ended_by == '\0' ? end : end + 1;
  if (end - start <= cursor->max_argument_length) return kSuccess;
  return cursor->max_argument_length == 0 ? kTooManyArguments : kArgumentTooLong;
}

void CfgFile::RecordArgument(char* argument) {
  cursor->arguments[cursor->argument_count++] = argument;
}
