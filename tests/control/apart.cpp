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

/// What `work` returns in a process of its own, which ends with this one.
int StatusOfChild(const std::function<int()>& work) {
  std::cout.flush();
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int status = work();
    std::cout.flush();
    _exit(status);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return 1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int RunApart(const std::function<int()>& work) {
  return StatusOfChild([&work] {
    if (!Leave()) return work();
    return StatusOfChild([&work] {
      is_apart = MountProcesses();
      return work();
    });
  });
}

bool IsApart() { return is_apart; }

}  // namespace control_test
