// Reading an input of any form with the tool's own readers.
#pragma once

#include <string>
#include <vector>

#include "inspect/input/input_error.h"
#include "inspect/input/record_set.h"

namespace tarvek::inspect {

struct LoadOptions {
  bool force_script = false;      // the input is a script, whatever it begins with
  std::vector<std::string> tags;  // set before a script runs; only scripts take them
  bool pass_over_tags = false;    // for an input that is none, instead of complaining
};

/// Thrown when options do not go with an input.
class OptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads an input. Its form is told by what it holds, never by its name.
/// @param path  a file, or "-": standard input.
/// @throws InputError   when it cannot be read, or when the tool would refuse it.
/// @throws OptionError  when tags are given for what is no script.
RecordSet Load(const std::string& path, const LoadOptions& options);

/// @return the form of an input that begins with `bytes`, as Load() tells it.
Format TellFormat(std::string_view bytes);

}  // namespace tarvek::inspect
