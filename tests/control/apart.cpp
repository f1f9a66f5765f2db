#include "tests/control/apart.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iostream>

namespace control_test {
namespace {

constexpr int kNamespaces = CLONE_NEWPID | CLONE_NEWNS;
bool is_apart = false;

/// Makes this user the root of a new user namespace, so that programs keep the right to look at
/// each other.
bool BecomeRoot(unsigned user, unsigned group) {
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream users("/proc/self/uid_map");
  users << "0 " << user << " 1\n";
  std::ofstream groups("/proc/self/gid_map");
  groups << "0 " << group << " 1\n";
  return users.flush() && groups.flush();
}

bool Leave() {
  if (unshare(kNamespaces) == 0) return true;
  const unsigned user = getuid();
  const unsigned group = getgid();
  return unshare(CLONE_NEWUSER | kNamespaces) == 0 && BecomeRoot(user, group);
}

bool MountProcesses() {
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("proc", "/proc", "proc", 0, nullptr) == 0;
}

}  // namespace

int RunApart(const std::function<int()>& work) {
  const bool left = Leave();
  if (!left) return work();
  std::cout.flush();
  const pid_t first = fork();
  if (first == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    is_apart = MountProcesses();
    const int status = work();
    std::cout.flush();
    _exit(status);
  }
  int status = 0;
  if (first < 0 || waitpid(first, &status, 0) != first) return 1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

bool IsApart() { return is_apart; }

}  // namespace control_test
