#include "inspect/input/input_error.h"

#include <algorithm>
#include <string_view>

#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kShownBefore = 80;  // bytes of a line, before the place and from it on
constexpr std::size_t kShownBehind = 80;
constexpr const char* kCut = "...";

/// The line, or what is around the place in a long one, and a caret below it.
std::string Quoted(const InputError& error) {
  std::string line = error.line;
  std::size_t before = std::min(static_cast<std::size_t>(error.place.column - 1), line.size());
  if (line.size() - before > kShownBehind) {
    line.replace(before + kShownBehind, std::string::npos, kCut);
  }
  if (before > kShownBefore) {
    line.replace(0, before - kShownBefore, kCut);
    before = kShownBefore + std::string_view(kCut).size();
  }
  // Tabs would put the caret elsewhere.
  std::replace(line.begin(), line.end(), '\t', ' ');
  return "  " + Escaped(line) + "\n  " + std::string(Width(Escaped(line.substr(0, before))), ' ') +
         "^\n";
}

/// A word as it was found; a long one is cut.
std::string Found(const std::string& word) {
  return word.size() <= kShownBehind ? word : word.substr(0, kShownBehind) + kCut;
}

}  // namespace

std::string ToText(const InputError& error) {
  std::string text = Escaped(ToText(error.place)) + ": " + Escaped(error.what()) + '\n';
  if (error.place.column > 0 && !error.line.empty()) text += Quoted(error);
  if (!error.expected.empty()) text += "  expected " + Escaped(error.expected) + '\n';
  if (!error.found.empty()) text += "  found " + Escaped(Found(error.found)) + '\n';
  return text;
}

}  // namespace tarvek::inspect
