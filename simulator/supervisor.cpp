#include "simulator/supervisor.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

namespace bmcsim {
namespace {

// A shell's way to tell by an exit status what signal has ended a program.
constexpr int kSignalStatus = 128;

/// Holds the signals that concern the program back, to be taken one by one. One that was ignored
/// from the start stays ignored; but the program's end is always heard of. They are held back to
/// this process's own end, which is the program's: one that comes too late for it changes nothing.
class HeldSignals {
 public:
  HeldSignals() {
    struct sigaction heard = {};
    heard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &heard, &former_child_action_);
    sigemptyset(&held_);
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGTSTP, SIGCONT, SIGCHLD}) {
      sigaddset(&held_, signal);
    }
    sigprocmask(SIG_BLOCK, &held_, &former_);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  /// Makes everything as it was, for the program.
  void Release() const {
    sigaction(SIGCHLD, &former_child_action_, nullptr);
    sigprocmask(SIG_SETMASK, &former_, nullptr);
  }

  /// Takes a CONT that has come, if one has.
  static void DropContinue() {
    sigset_t it;
    sigemptyset(&it);
    sigaddset(&it, SIGCONT);
    const timespec at_once = {};
    (void)sigtimedwait(&it, nullptr, &at_once);
  }

  siginfo_t Take() const {
    siginfo_t taken = {};
    while (sigwaitinfo(&held_, &taken) == -1 && errno == EINTR) {
    }
    return taken;
  }

 private:
  sigset_t held_{};
  sigset_t former_{};
  struct sigaction former_child_action_ = {};
};

/// A pipe through which the child tells that it could not become the program.
class FailurePipe {
 public:
  FailurePipe() {
    if (pipe2(ends_, O_CLOEXEC) != 0) ends_[0] = ends_[1] = -1;
  }
  FailurePipe(const FailurePipe&) = delete;
  FailurePipe& operator=(const FailurePipe&) = delete;
  ~FailurePipe() {
    for (const int end : ends_) close(end);
  }

  void Tell(int reason) const {
    if (write(ends_[1], &reason, sizeof reason) < 0) _exit(reason);
  }

  /// Waits until the child is the program, or is not.
  int Hear() {
    close(ends_[1]);
    ends_[1] = -1;
    int reason = 0;
    while (read(ends_[0], &reason, sizeof reason) == -1 && errno == EINTR) {
    }
    return reason;
  }

 private:
  int ends_[2];
};

// What the terminal sends goes to the program as well, which is in the same process group. An alarm
// was set by whoever has become us.
bool IsForUsAlone(const siginfo_t& signal) {
  return signal.si_signo != SIGCHLD && (signal.si_code <= 0 || signal.si_signo == SIGALRM);
}

ProgramEnd WaitFor(pid_t program, const HeldSignals& signals) {
  while (true) {
    int status = 0;
    const pid_t changed = waitpid(program, &status, WNOHANG | WUNTRACED);
    if (changed == program && WIFSTOPPED(status)) {
      kill(getpid(), SIGSTOP);
      // The program is told once and at once: a CONT that reaches it at its end takes away the STOP
      // by which a leak checker there holds it.
      HeldSignals::DropContinue();
      kill(program, SIGCONT);
    } else if (changed == program) {
      if (WIFSIGNALED(status)) return {0, WTERMSIG(status)};
      return {WEXITSTATUS(status), 0};
    }
    if (changed != 0) continue;
    const siginfo_t signal = signals.Take();
    if (IsForUsAlone(signal)) kill(program, signal.si_signo);
  }
}

}  // namespace

ProgramEnd RunSupervised(const std::function<int()>& become, int& failed) {
  const HeldSignals signals;
  FailurePipe pipe;
  const pid_t self = getpid();
  const pid_t program = fork();
  if (program == -1) {
    failed = errno;
    return {};
  }
  if (program == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != self) _exit(EXIT_FAILURE);
    signals.Release();
    pipe.Tell(become());
    _exit(EXIT_FAILURE);
  }
  failed = pipe.Hear();
  return WaitFor(program, signals);
}

void EndAs(const ProgramEnd& end) {
  if (end.signal == 0) std::exit(end.status);
  const rlimit no_dump = {0, 0};  // the program has left its own
  setrlimit(RLIMIT_CORE, &no_dump);
  struct sigaction deadly = {};
  deadly.sa_handler = SIG_DFL;
  sigaction(end.signal, &deadly, nullptr);
  sigset_t it;
  sigemptyset(&it);
  sigaddset(&it, end.signal);
  sigprocmask(SIG_UNBLOCK, &it, nullptr);
  kill(getpid(), end.signal);
  std::exit(kSignalStatus + end.signal);
}

}  // namespace bmcsim
