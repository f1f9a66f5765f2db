// What is wrong with an input.
#pragma once

#include <stdexcept>
#include <string>

#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// An input that cannot be read, or that the tool would refuse. what() is the message alone.
class InputError : public std::runtime_error {
 public:
  /// @param where    may have neither line nor offset when the whole file is meant.
  /// @param message  one sentence without a place; not escaped.
  InputError(Place where, const std::string& message)
      : std::runtime_error(message), place(std::move(where)) {}

  Place place;
  std::string line;      // the line of a text input, without its end
  std::string expected;  // what should stand there; empty: there is no saying
  std::string found;     // what stands there
};

/// @return the complaint for people, each line ended: "PLACE: message", then the line, a caret and
///   what was expected and found where they are known. Escaped.
std::string ToText(const InputError& error);

}  // namespace tarvek::inspect
