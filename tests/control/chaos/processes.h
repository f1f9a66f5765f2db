// The processes of a machine apart.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace chaos {

struct Process {
  pid_t pid = 0;
  pid_t parent = 0;
  char state = ' ';  // 'T': it has stopped, 'Z': it has ended
  std::string name;
};

/// All but this one.
std::vector<Process> OtherProcesses();

/// Ends all others.
void EndOthers();

}  // namespace chaos
