#include "inspect/input/input_error.h"

#include <algorithm>

#include "inspect/text/escape.h"

namespace tarvek::inspect {

std::string ToText(const InputError& error) {
  std::string text = Escaped(ToText(error.place)) + ": " + Escaped(error.what()) + '\n';
  if (error.place.column > 0 && !error.line.empty()) {
    const std::size_t before =
        std::min(static_cast<std::size_t>(error.place.column - 1), error.line.size());
    // Tabs would put the caret elsewhere.
    std::string line = error.line;
    std::replace(line.begin(), line.end(), '\t', ' ');
    text += "  " + Escaped(line) + '\n';
    text += "  " + std::string(Width(Escaped(line.substr(0, before))), ' ') + "^\n";
  }
  if (!error.expected.empty()) text += "  expected " + Escaped(error.expected) + '\n';
  if (!error.found.empty()) text += "  found " + Escaped(error.found) + '\n';
  return text;
}

}  // namespace tarvek::inspect
