// Results in words.
#pragma once

#include <string>

#include "control/contract/result.h"

namespace tarvek::control {

/// The three sentences of a result, a line each, what is empty left out.
std::string MessageText(const Result& result);

/// What a command says on standard output: what it was asked for, and how it came out. Complaints
/// are not in it.
/// @param color  for a terminal.
std::string ResultText(const Result& result, bool color);

/// The runs of `history`, a line each, the newest first.
std::string HistoryText(const Json& runs);

/// What `doctor` found, by the objects of its result.
std::string FindingsText(const Json& findings, bool color);

}  // namespace tarvek::control
