// Where the program writes to.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tarvek::inspect {

/// An output that cannot be written; what() is the whole complaint.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Standard output, written in large pieces. A reader that goes away ends the writing quietly.
class StandardOutput {
 public:
  StandardOutput() = default;
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// @throws OutputError  when it cannot be written.
  void Write(std::string_view text);
  /// Writes what is held. Without this call it is lost.
  void Finish();

 private:
  std::string held_;
  bool gone_ = false;  // the reader
};

/// Writes a file whole: under its name stands what stood there before, or all of `bytes`. Through
/// a name that is no regular file's (a pipe, a device) they are written as they come.
/// @throws OutputError  when it cannot be; nothing is left of it then.
void WriteFile(const std::string& path, std::string_view bytes);

/// Whether standard output is a terminal.
bool OnTerminal();

}  // namespace tarvek::inspect
