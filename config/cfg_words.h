// The commands of the script language.
#pragma once

#include <array>
#include <string_view>

/// Command ids: what the interpreter dispatches on.
enum CfgCommand : int {
  kCfgNone = 0,
  kCfgConfiguration = 1,
  kCfgDisplay = 2,
  kCfgMenuTitle = 3,
  kCfgMenuPrompt = 4,
  kCfgMenu = 5,
  kCfgProbe = 6,
  kCfgFound = 7,
  kCfgPrompt = 8,
  kCfgYes = 9,
  kCfgNo = 10,
  kCfgIfSet = 11,
  kCfgElse = 12,
  kCfgEndIf = 13,
  kCfgFruName = 14,
  kCfgFruAddress = 15,
  kCfgFruArea = 16,
  kCfgFruField = 17,
  kCfgSdrName = 18,
  kCfgSet = 19,
  kCfgClear = 20,
  kCfgClearSdr = 21,
  kCfgErrorLevel = 22,
  kCfgBoot = 23,
};

/// One command: its word and what it takes.
struct CfgWord {
  std::string_view word;    // upper case; terminated
  int id;                   // a CfgCommand
  int max_arguments;        // how many arguments it takes at most
  int max_argument_length;  // characters of one argument; 0: it takes none
};

inline constexpr int gNumOfCfgTableEntries = 24;

// The commands. Their order matters: the first row that fits a line wins.
extern const std::array<CfgWord, gNumOfCfgTableEntries> CfgWordTable;

namespace tarvek {

/// Whether `text` (terminated) begins with the word, in any letter case. What follows the word
/// is not looked at.
bool BeginsWithWord(const char* text, const CfgWord& word);

}  // namespace tarvek
