#ifndef TARVEK_SIMULATOR_SUPERVISOR_H_
#define TARVEK_SIMULATOR_SUPERVISOR_H_

#include <functional>
#include <string>

namespace bmcsim {

/// How a program has ended.
struct ProgramEnd {
  int status = 0;  ///< exit status, when no signal ended it
  int signal = 0;  ///< the signal that ended it, or 0
};

/// Runs a program and waits for its end, as if this process were the program: signals that are sent
/// to this process go on to it, when it stops this process stops, and it dies with this process.
/// Its end is to be this process's: from then on no signal is heeded.
///
/// @param become  turns the process that it is called in into the program; returns, with the errno,
///                only when that failed.
/// @param failed  receives that errno, or 0.
ProgramEnd RunSupervised(const std::function<int()>& become, int& failed);

/// Ends this process as the program has ended: with its status, or by its signal.
[[noreturn]] void EndAs(const ProgramEnd& end);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_SUPERVISOR_H_
