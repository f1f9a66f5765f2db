// The language of configuration scripts, for the mutator.
#include <string>

#include "config/cfg_words.h"
#include "tests/fuzz/token_mutator.h"

namespace tarvek_fuzz {
namespace {

Language MakeLanguage() {
  Language language;
  for (const CfgWord& word : CfgWordTable) language.words.emplace_back(word.word);
  // What opens and closes blocks is what gives a script its shape.
  for (const char* word : {"IFSET", "ELSE", "ENDIF", "SET", "CLEAR", "SDRNAME"}) {
    language.words.insert(language.words.end(), 3, word);
  }
  language.values = {"f.sdr",
                     "bad.sdr",
                     "none.sdr",
                     "FIRST",
                     "LAST",
                     "COMPARE",
                     "first",
                     "a",
                     "b",
                     "CPU1",
                     "CPU2",
                     "CPU#",
                     "#",
                     "\"\"",
                     "\"a b\"",
                     "\"",
                     "\"CPU#\"",
                     "\x01",
                     "\x7F",
                     "\x80",
                     "//",
                     "\nSET a\nIFSET a\n",
                     "\nIFSET CPU1 a\nSDRNAME f.sdr\nENDIF\n"};
  // Arguments at the limits: of a tag, of a text, of a menu's and of a line.
  for (const std::size_t limit : {31U, 80U, 128U, 255U}) {
    language.values.push_back(std::string(limit, 'x'));
    language.values.push_back('"' + std::string(limit + 1, 'y') + '"');
  }
  language.quote = '"';
  return language;
}

}  // namespace

const Language& FuzzedLanguage() {
  static const Language language = MakeLanguage();
  return language;
}

}  // namespace tarvek_fuzz
