// Mutations of texts that know what a token and a record is.
//
// A fuzzer of a language defines FuzzedLanguage() and is linked with token_mutator.cpp, which holds
// the functions that libFuzzer calls.
#pragma once

#include <string>
#include <vector>

namespace tarvek_fuzz {

/// A language of tokens between blanks.
struct Language {
  std::vector<std::string> words;   // its keywords
  std::vector<std::string> values;  // numbers, texts and others that are worth a try
  char quote;                       // encloses texts that hold blanks
  std::string record_word;          // the keyword that begins a record; empty: every line is one
  std::string length_word;          // the keyword before a record's length; empty: there is none
};

const Language& FuzzedLanguage();

}  // namespace tarvek_fuzz
