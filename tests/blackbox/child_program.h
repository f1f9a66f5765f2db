// Running a program from a test: its input, its outputs, what surrounds it, and its end.
#pragma once

#include <sys/resource.h>

#include <string>
#include <utility>
#include <vector>

namespace blackbox {

/// How a run of a program ended.
struct Outcome {
  int exit_status = -1;  // -1 when a signal ended it
  int signal = 0;
  std::string console;  // standard output
  std::string errors;   // standard error: the simulator's complaints
};

/// A program that was started and not yet waited for.
struct Started {
  int pid = -1;
  int output = -1;
  int errors = -1;
};

/// What surrounds a program.
struct Surroundings {
  std::string input;                                             // its standard input
  std::vector<std::pair<std::string, std::string>> environment;  // beside the test's own
  std::vector<std::pair<__rlimit_resource, rlim_t>> limits;      // soft and hard ones alike
  std::vector<int> closed;                                       // descriptors it does not have
  bool traced = false;                                           // the test leads it (ptrace)
};

/// A run that goes on for longer is ended by SIGALRM. No run of these tests waits in truth, so
/// only one that hangs can reach it.
inline constexpr unsigned kWatchdogSeconds = 60;

/// Starts a program in a working directory.
/// @param arguments  the program's path, and what it is told.
Started StartProgram(const std::vector<std::string>& arguments, const std::string& directory,
                     const Surroundings& surroundings = {});

/// Waits for the end of a program.
Outcome WaitFor(const Started& started);

/// Runs a program to its end.
Outcome RunProgram(const std::vector<std::string>& arguments, const std::string& directory,
                   const Surroundings& surroundings = {});

}  // namespace blackbox
