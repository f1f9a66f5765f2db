#include <algorithm>
#include <cctype>
#include <string_view>

#include "config/cfg_words.h"
#include "inspect/input/load.h"
#include "sdrfile/token.h"

namespace tarvek::inspect {
namespace {

constexpr std::string_view kImageId = "KOV IPMI";
constexpr std::size_t kHeaderBytes = 5;  // of a record; its ID's high byte is 0 in most dumps
constexpr std::string_view kSourceBegin = "_LF_NAME";
constexpr std::string_view kBlanks = " \t\r\n";

/// The first word of a text, behind blanks and comments. As for the tool's readers, a line ends at
/// a NUL.
std::string_view FirstWord(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    line = line.substr(0, line.find('\0'));
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    const bool comment = line.substr(0, 2) == "//" || line.substr(0, 1) == "#";
    if (!line.empty() && !comment) return line.substr(0, line.find_first_of(kBlanks));
  }
  return {};
}

bool IsSourceWord(std::string_view word) {
  return word.size() > 1 && word.front() == '_' &&
         std::any_of(KeywordTable.begin(), KeywordTable.end(),
                     [&](const KeywordEntry& entry) { return entry.text == word; });
}

bool IsScriptWord(std::string_view word) {
  return std::any_of(CfgWordTable.begin(), CfgWordTable.end(), [&](const CfgWord& row) {
    return row.id != kCfgNone && row.word.size() == word.size() &&
           BeginsWithWord(std::string(word).c_str(), row);
  });
}

bool IsHex(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(),
                                      [](unsigned char c) { return std::isxdigit(c) != 0; });
}

/// Whether the beginning of an input holds what no text does.
bool IsBinary(std::string_view bytes) {
  constexpr std::size_t kLookedAt = 4096;
  constexpr unsigned char kFormFeed = 0x0C;
  constexpr unsigned char kEndMark = 0x1A;
  const std::string_view head = bytes.substr(0, kLookedAt);
  return std::any_of(head.begin(), head.end(), [](unsigned char c) {
    return c < ' ' && kBlanks.find(static_cast<char>(c)) == std::string_view::npos &&
           c != kFormFeed && c != kEndMark;
  });
}

}  // namespace

Format TellFormat(std::string_view bytes) {
  if (bytes.substr(0, kImageId.size()) == kImageId) return Format::kImage;
  const std::string_view word = FirstWord(bytes);
  // What no text holds may stand in a text all the same, in its comments and quoted texts; but a
  // record's bytes may look like a word by chance, at least like a short one behind a NUL.
  if (IsBinary(bytes) && bytes.substr(0, kHeaderBytes).find('\0') != std::string_view::npos) {
    return word == kSourceBegin ? Format::kSource : Format::kRaw;
  }
  if (IsSourceWord(word)) return Format::kSource;
  if (IsScriptWord(word)) return Format::kScript;
  if (IsBinary(bytes)) return Format::kRaw;
  return IsHex(word) ? Format::kHex : Format::kSource;
}

}  // namespace tarvek::inspect
