// What each result of the tool means to people: the one table behind messages and documents.
#pragma once

#include <span>
#include <string_view>

#include "control/contract/result.h"

namespace tarvek::control {

/// A result code of the tool, and what a person is told about it.
struct Advice {
  std::string_view code;    // as in the result file: "Complete", "SDRC03", "SDR077"
  std::string_view what;    // what happened, one sentence
  std::string_view state;   // the state that the server is in by this alone, one sentence
  std::string_view remedy;  // what to do, with the command to type
};

/// Every result code, in the order of the documents: the words, SDRC01 to SDRC08, SDR001 to SDR079.
std::span<const Advice> AllAdvice();

/// @return the row of a code; null for one that the tool has not.
const Advice* AdviceFor(std::string_view code);

/// The sentence about the server's state once it was read back, which always holds, whatever the
/// table says of the code.
/// @param changed  as in Result.
std::string_view StateSentence(InService in_service, std::optional<bool> changed);

}  // namespace tarvek::control
