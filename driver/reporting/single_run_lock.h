// The single-run lock: the existence of a named POSIX semaphore keeps two updates or
// backups apart. Nobody waits on, posts or closes it.
#pragma once

#include <semaphore.h>

#include <atomic>
#include <csignal>

static_assert(std::atomic<sem_t*>::is_always_lock_free, "a signal handler reads it");
inline std::atomic<sem_t*> sem_ptr{nullptr};  // the lock's handle; null while this run has it not

/// Takes the lock; a version query only tests it and gives it back at once, and a progress
/// query leaves it alone.
/// @return 0: go on; 1: another run holds it, reported as "Busy" to a version query and as
///   "Duplex" to every other run.
int CheckDuplex();

/// Releases the lock if this run holds it and, with a status other than 0, ends the process
/// with that status, after the last act if there is one. Safe as a signal handler: the status is
/// then the signal's number.
void sem_post_proc(int status);

/// Makes sem_post_proc() the handler of the signals that end a run: termination, abort and
/// interrupt.
void InstallReleaseHandlers();

namespace tarvek {

/// Holds the signals that end a run back for as long as it lives: whatever is done meanwhile is not
/// begun or done when one of them strikes. May be nested. Only for what takes no time.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_{};
};

/// Settles what is done when a signal ends the run, while the lock is still held: nothing (null),
/// or a call of `act`. That is made in the signal handler and cut off after five seconds.
/// @param act  does only what a signal handler may do.
void SetLastAct(void (*act)());

}  // namespace tarvek
