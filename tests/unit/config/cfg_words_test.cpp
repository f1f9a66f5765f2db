#include "config/cfg_words.h"

#include <gtest/gtest.h>

namespace {

struct Row {
  const char* word;
  int id;
  int max_arguments;
  int max_argument_length;
};

constexpr Row kRows[] = {
    {"NOTACMD", 0, 0, 0},      {"CONFIGURATION", 1, 1, 31}, {"DISPLAY", 2, 1, 80},
    {"MENUTITLE", 3, 1, 80},   {"MENUPROMPT", 4, 0, 0},     {"MENU", 5, 2, 128},
    {"PROBE", 6, 5, 31},       {"FOUND", 7, 2, 31},         {"PROMPT", 8, 1, 80},
    {"YES", 9, 1, 31},         {"NO", 10, 1, 31},           {"IFSET", 11, 4, 31},
    {"ELSE", 12, 0, 0},        {"ENDIF", 13, 0, 0},         {"FRUNAME", 14, 2, 31},
    {"FRUADDRESS", 15, 4, 31}, {"FRUAREA", 16, 3, 31},      {"FRUFIELD", 17, 2, 80},
    {"SDRNAME", 18, 3, 31},    {"SET", 19, 1, 31},          {"CLEAR", 20, 1, 31},
    {"CLEARSDR", 21, 0, 0},    {"ERRORLEVEL", 22, 1, 31},   {"BOOT", 23, 0, 0},
};

TEST(CfgWords, TableHoldsEveryCommandInItsOrder) {
  ASSERT_EQ(gNumOfCfgTableEntries, 24);
  ASSERT_EQ(CfgWordTable.size(), std::size(kRows));
  for (std::size_t i = 0; i < CfgWordTable.size(); ++i) {
    SCOPED_TRACE(kRows[i].word);
    EXPECT_EQ(CfgWordTable[i].word, kRows[i].word);
    EXPECT_EQ(CfgWordTable[i].id, kRows[i].id);
    EXPECT_EQ(CfgWordTable[i].max_arguments, kRows[i].max_arguments);
    EXPECT_EQ(CfgWordTable[i].max_argument_length, kRows[i].max_argument_length);
  }
}

TEST(CfgWords, AWordIsFoundInAnyLetterCaseAndWhateverFollows) {
  const CfgWord& set = CfgWordTable[19];
  EXPECT_TRUE(tarvek::BeginsWithWord("SET", set));
  EXPECT_TRUE(tarvek::BeginsWithWord("sEt a", set));
  EXPECT_TRUE(tarvek::BeginsWithWord("SETTING", set));
  EXPECT_FALSE(tarvek::BeginsWithWord("SE", set));
  EXPECT_FALSE(tarvek::BeginsWithWord("", set));
  EXPECT_FALSE(tarvek::BeginsWithWord(" SET", set));
}

}  // namespace
