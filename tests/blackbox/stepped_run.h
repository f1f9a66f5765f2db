// A run that a test leads through one function of tarvek, instruction by instruction, to see what a
// signal does that strikes exactly there. Only tarvek's own instructions are steps: a call of a
// library is one step, as it was made by the system.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tests/blackbox/child_program.h"

namespace blackbox {

/// Where a program's functions stand in its file, by their linker names.
using Places = std::map<std::string, std::uintptr_t>;

/// The functions that a program defines, or, if it is a library, offers.
Places PlacesOf(const std::string& path, bool library);

class SteppedRun {
 public:
  /// Whether this machine lets a test lead a program, and what forbids it if not.
  static bool IsPossible(std::string& reason);

  /// @param started  a program that was started to be traced, and not yet waited for.
  /// @param program  its path.
  explicit SteppedRun(const Started& started, std::string program);
  SteppedRun(const SteppedRun&) = delete;
  SteppedRun& operator=(const SteppedRun&) = delete;
  /// Kills a run that was not let go.
  ~SteppedRun();

  /// Lets the run go on to its next call of the function that begins at `place` (as an offset into
  /// the program, as all places here are).
  /// @return false when the run has ended.
  bool Enter(std::uintptr_t place);

  /// Lets the run go on to the next time when it comes to `place`; it must be elsewhere now.
  bool RunTo(std::uintptr_t place) { return RunToAddress(base_ + place); }

  /// Where the run is: its next instruction.
  std::uintptr_t Place() const;

  /// The second argument of the function that was just entered: the first, in a method.
  std::uint64_t SecondArgument() const;

  /// One instruction, or a whole call of a library.
  /// @return false when the function has returned.
  bool Step();

  /// Where the library's function begins that the last step has called; 0: it has called none.
  std::uintptr_t called() const { return called_; }

  /// Where in this run's memory a library begins.
  std::uintptr_t BaseOf(const std::string& library) const;

  /// Whether a signal that came now would wait.
  bool Holds(int signal) const;

  /// Sends the run a signal, or none (0), and lets it go on to its end.
  Outcome LetGo(int signal);

 private:
  struct Range {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
  };

  bool Resume(int request);
  bool RunToAddress(std::uintptr_t address);
  void ReadProgramRange();

  Started started_;
  std::string program_;
  bool stopped_ = false;
  std::uintptr_t base_ = 0;
  Range code_;                 // the program's own instructions
  std::uintptr_t return_ = 0;  // where the function that was entered returns to
  std::uintptr_t stack_ = 0;   // and the stack pointer then
  std::uintptr_t called_ = 0;
};

}  // namespace blackbox
