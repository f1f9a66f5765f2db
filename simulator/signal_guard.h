#ifndef TARVEK_SIMULATOR_SIGNAL_GUARD_H_
#define TARVEK_SIMULATOR_SIGNAL_GUARD_H_

#include <csignal>

namespace bmcsim {

/// Keeps the program's signal handlers out while it lives, so that none of them meets the simulator
/// half way through a request: a handler may make a request of its own, and may never return.
/// What the hardware raises is let through, since nothing would happen to it later.
class SignalGuard {
 public:
  SignalGuard() {
    sigset_t held;
    sigfillset(&held);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP}) sigdelset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &programs_);
  }
  SignalGuard(const SignalGuard&) = delete;
  SignalGuard& operator=(const SignalGuard&) = delete;
  ~SignalGuard() { pthread_sigmask(SIG_SETMASK, &programs_, nullptr); }

  /// The program's own mask.
  const sigset_t& programs() const { return programs_; }

 private:
  sigset_t programs_;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_SIGNAL_GUARD_H_
