// A program that is run as a child, apart from the terminal, and outlives who started it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "control/system/files.h"
#include "control/system/interrupts.h"

namespace tarvek::control {

/// How a program ended.
struct ChildEnd {
  bool known = false;  // false: it was another process's child
  int status = -1;     // its exit status, or -1
  int signal = 0;      // that ended it, or 0
};

/// A running program, a child of this process or not.
class Child {
 public:
  /// Starts a program in a session of its own: standard input is the null device, both outputs go
  /// to `output`, no other descriptor is handed on but one that holds a lock on the directory, by
  /// which the program can be found again (FindIn). The environment is PATH, LANG=C, and
  /// LD_PRELOAD, TZ and what begins with BMCSIM_ as they are here.
  /// @throws SystemError.
  static Child Start(const std::string& program, const std::vector<std::string>& arguments,
                     const Directory& directory, int output, const Interrupts& interrupts);

  /// The program that was started in this directory and still runs, whoever started it.
  /// @param program  its path.
  static std::optional<Child> FindIn(const Directory& directory);

  pid_t pid() const { return pid_; }
  int pidfd() const { return pidfd_.get(); }  // readable when it has ended

  /// Sends it a signal; nothing happens when it has ended.
  void Signal(int signal) const;
  /// @return how it ended, once its descriptor is readable.
  ChildEnd Reap() const;

 private:
  Child(pid_t pid, Descriptor pidfd, bool ours)
      : pid_(pid), pidfd_(std::move(pidfd)), ours_(ours) {}

  pid_t pid_;
  Descriptor pidfd_;
  bool ours_;
};

/// Starts a program that nobody waits for, in a session of its own, with standard input, output and
/// error at the null device. `kept` stays open in it as descriptor 3.
/// @throws SystemError.
void StartDetached(const std::string& program, const std::vector<std::string>& arguments, int kept,
                   const Interrupts& interrupts);

/// Runs a program to its end with the null device around it.
/// @return its exit status; -1 when it could not be run or did not end within the time.
int RunQuietly(const std::string& program, const std::vector<std::string>& arguments,
               const Interrupts& interrupts, int milliseconds);

}  // namespace tarvek::control
