// INT and TERM as things that are waited for, never as things that strike.
#pragma once

#include <csignal>
#include <optional>

namespace tarvek::control {

/// While it lives, INT and TERM end nothing: they are counted and can be waited for. HUP and PIPE
/// are ignored: a terminal or a reader that goes away ends no run. One at a time. When it goes, INT
/// and TERM stay ignored: what a command came to is settled then, and its exit status tells it.
class Interrupts {
 public:
  Interrupts();
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  /// Readable when one has come that Count() has not counted yet.
  int fd() const { return fd_; }
  /// @return how many have come so far.
  int Count() const;

  /// What a child process is to have: the signals that were blocked before.
  const sigset_t& before() const { return before_; }

 private:
  sigset_t before_{};
  int fd_ = -1;
  mutable int count_ = 0;
};

/// Waits until `fd` is readable, an interrupt comes, or time runs out.
/// @param fd            -1: none.
/// @param interrupts    null: none.
/// @param milliseconds  -1: no end. Real time.
enum class Woken { kReadable, kInterrupted, kTimeOut };
Woken WaitFor(int fd, const Interrupts* interrupts, int milliseconds);

}  // namespace tarvek::control
