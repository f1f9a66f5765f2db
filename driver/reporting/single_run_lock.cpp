#include "driver/reporting/single_run_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"

namespace {

constexpr const char* kLockName = "/tarvek_exe";
constexpr mode_t kLockMode = 0777;
constexpr int kReleasingSignals[] = {SIGTERM, SIGABRT, SIGINT};
constexpr unsigned kLastActSeconds = 5;

std::atomic<void (*)()> last_act{nullptr};
static_assert(std::atomic<void (*)()>::is_always_lock_free, "a signal handler reads it");
volatile std::sig_atomic_t ending_status = 0;  // while the last act is done: the exit status

// Under SignalsHeld the lock's name and `sem_ptr` always change together.
bool CreateLock() {
  const tarvek::SignalsHeld held;
  sem_t* const created = sem_open(kLockName, O_CREAT | O_EXCL, kLockMode, 0U);
  if (created == SEM_FAILED) return false;
  sem_ptr = created;
  return true;
}

void ReleaseLock() {
  const tarvek::SignalsHeld held;
  if (sem_ptr == nullptr) return;
  sem_unlink(kLockName);
  sem_ptr = nullptr;
}

void CutLastActOff(int /*signal_number*/) { sem_post_proc(ending_status); }

/// Does the last act, once; a BMC that never answers must not keep the run from its end.
void DoLastAct(int status) {
  const tarvek::SignalsHeld held;
  void (*const act)() = last_act.exchange(nullptr);
  if (act == nullptr) return;
  ending_status = status;
  std::signal(SIGALRM, CutLastActOff);
  sigset_t alarm_only;
  sigemptyset(&alarm_only);
  sigaddset(&alarm_only, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarm_only, nullptr);  // the caller may have had it blocked
  alarm(kLastActSeconds);
  act();
}

}  // namespace

int CheckDuplex() {
  if (g_eu_flg == kProgressQuery) return 0;
  const bool created = CreateLock();
  if (!created) OutputDataCreate(g_eu_flg == kVersionQuery ? "Busy" : "Duplex");
  if (g_eu_flg == kVersionQuery) sem_post_proc(0);
  return created ? 0 : 1;
}

void sem_post_proc(int status) {
  if (status != 0) DoLastAct(status);
  ReleaseLock();
  // Everything written to the console was flushed when it was written, so the end may skip
  // what exit() would do: that is not safe in a signal handler.
  if (status != 0) _exit(status);
}

void InstallReleaseHandlers() {
  for (const int signal_number : kReleasingSignals) std::signal(signal_number, sem_post_proc);
}

namespace tarvek {

SignalsHeld::SignalsHeld() {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal_number : kReleasingSignals) sigaddset(&held, signal_number);
  sigprocmask(SIG_BLOCK, &held, &before_);
}

SignalsHeld::~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

void SetLastAct(void (*act)()) { last_act = act; }

}  // namespace tarvek
