// The language of SDR source files, for the mutator.
#include <string>

#include "sdrfile/token.h"
#include "tests/fuzz/token_mutator.h"

namespace tarvek_fuzz {
namespace {

Language MakeLanguage() {
  Language language;
  for (const KeywordEntry& entry : KeywordTable) {
    if (!entry.text.empty() && entry.text != "\n") language.words.emplace_back(entry.text);
  }
  language.values = {"00",          "01",
                     "12",          "20",
                     "3F",          "40",
                     "41",          "C0",
                     "FF",          "0",
                     "7",           "0000",
                     "0100",        "2000",
                     "FFFF",        "00000",
                     "12#",         "0C#",
                     "#",           "C0107700005344522056657200",
                     "'1.5'",       "'1.3'",
                     "'1.4'",       "'2.0'",
                     "'1.50'",      "'1.00'",
                     "'0.90'",      "'CPU1'",
                     "'CPU#'",      "'BMC'",
                     "'IMBDEVICE'", "''",
                     "'",           "'SDR Ver.01.02'",
                     "\x1A",        "_SDR_TYPE 12\n_REC_LEN 02\n0102\n"};
  // Texts at the limits: of an ID string, of an OEM record's, of a tag and of a line.
  for (const std::size_t limit : {22U, 32U, 56U, 255U}) {
    language.values.push_back('\'' + std::string(limit, 'x') + '\'');
    language.values.push_back('\'' + std::string(limit + 1, 'y') + '\'');
  }
  for (const std::size_t bytes : {63U, 64U, 65U, 127U}) {
    language.values.push_back(std::string(2 * bytes, 'A'));
  }
  language.quote = '\'';
  language.record_word = "_SDR_TYPE";
  language.length_word = "_REC_LEN";
  return language;
}

}  // namespace

const Language& FuzzedLanguage() {
  static const Language language = MakeLanguage();
  return language;
}

}  // namespace tarvek_fuzz
