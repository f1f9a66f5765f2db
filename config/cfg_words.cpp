#include "config/cfg_words.h"

#include <strings.h>

// NOTACMD stands for "no command": its id keeps it from being accepted as one.
constexpr std::array<CfgWord, gNumOfCfgTableEntries> CfgWordTable{{
    {"NOTACMD", kCfgNone, 0, 0},
    {"CONFIGURATION", kCfgConfiguration, 1, 31},
    {"DISPLAY", kCfgDisplay, 1, 80},
    {"MENUTITLE", kCfgMenuTitle, 1, 80},
    {"MENUPROMPT", kCfgMenuPrompt, 0, 0},
    {"MENU", kCfgMenu, 2, 128},
    {"PROBE", kCfgProbe, 5, 31},
    {"FOUND", kCfgFound, 2, 31},
    {"PROMPT", kCfgPrompt, 1, 80},
    {"YES", kCfgYes, 1, 31},
    {"NO", kCfgNo, 1, 31},
    {"IFSET", kCfgIfSet, 4, 31},
    {"ELSE", kCfgElse, 0, 0},
    {"ENDIF", kCfgEndIf, 0, 0},
    {"FRUNAME", kCfgFruName, 2, 31},
    {"FRUADDRESS", kCfgFruAddress, 4, 31},
    {"FRUAREA", kCfgFruArea, 3, 31},
    {"FRUFIELD", kCfgFruField, 2, 80},
    {"SDRNAME", kCfgSdrName, 3, 31},
    {"SET", kCfgSet, 1, 31},
    {"CLEAR", kCfgClear, 1, 31},
    {"CLEARSDR", kCfgClearSdr, 0, 0},
    {"ERRORLEVEL", kCfgErrorLevel, 1, 31},
    {"BOOT", kCfgBoot, 0, 0},
}};

namespace tarvek {

bool BeginsWithWord(const char* text, const CfgWord& word) {
  return strncasecmp(text, word.word.data(), word.word.size()) == 0;
}

}  // namespace tarvek
