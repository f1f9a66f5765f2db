#include "tests/control/chaos/processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace chaos {
namespace {

bool Look(pid_t pid, Process* process) {
  const std::string path = "/proc/" + std::to_string(pid) + "/stat";
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  std::array<char, 512> text{};
  const ssize_t count = read(fd, text.data(), text.size() - 1);
  close(fd);
  const char* const name = std::strchr(text.data(), '(');
  const char* const end = std::strrchr(text.data(), ')');
  if (count <= 0 || name == nullptr || end == nullptr) return false;
  process->pid = pid;
  process->name.assign(name + 1, end);
  return std::sscanf(end + 2, "%c %d", &process->state, &process->parent) == 2;
}

}  // namespace

std::vector<Process> OtherProcesses() {
  std::vector<Process> processes;
  DIR* const directory = opendir("/proc");
  while (const dirent* const entry = directory == nullptr ? nullptr : readdir(directory)) {
    const pid_t pid = std::atoi(entry->d_name);
    Process process;
    if (pid > 0 && pid != getpid() && Look(pid, &process)) processes.push_back(process);
  }
  if (directory != nullptr) closedir(directory);
  return processes;
}

void EndOthers() {
  for (;;) {
    const std::vector<Process> processes = OtherProcesses();
    if (processes.empty()) return;
    for (const Process& process : processes) {
      if (process.state != 'Z') kill(process.pid, SIGKILL);
    }
    for (const Process& process : processes) {
      if (process.parent == getpid()) waitpid(process.pid, nullptr, 0);
    }
  }
}

}  // namespace chaos
