#include "control/system/apart.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include "control/system/descriptor.h"

namespace tarvek::control {
namespace {

using Clock = std::chrono::steady_clock;

/// The copy's part: never returns.
[[noreturn]] void WorkAndEnd(const std::function<void(const Teller&)>& work, int out,
                             pid_t starter) {
  // Who started it may be gone, or go: then nobody wants the answer, and what it holds is to be
  // free.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != starter) _exit(EXIT_FAILURE);
  sigset_t none{};
  sigemptyset(&none);
  std::signal(SIGINT, SIG_IGN);  // a terminal's Ctrl-C is the caller's to take
  sigprocmask(SIG_SETMASK, &none, nullptr);
  try {
    work([out](std::string_view bytes) {
      while (!bytes.empty()) {
        const ssize_t count = write(out, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) _exit(EXIT_FAILURE);
        bytes.remove_prefix(static_cast<std::size_t>(count));
      }
    });
  } catch (...) {
    _exit(EXIT_FAILURE);
  }
  _exit(EXIT_SUCCESS);
}

/// Reads to the end of the work.
ApartEnd Receive(int in, const Interrupts* interrupts, int milliseconds, std::string* bytes) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    const int wait = milliseconds < 0 ? -1 : left > 0 ? static_cast<int>(left) : 0;
    switch (WaitFor(in, interrupts, wait)) {
      case Woken::kTimeOut:
        return ApartEnd::kTimeOut;
      case Woken::kInterrupted:
        return ApartEnd::kInterrupted;
      case Woken::kReadable:
        break;
    }
    constexpr std::size_t kPiece = 4096;
    std::array<char, kPiece> piece{};
    const ssize_t count = read(in, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return ApartEnd::kDone;
    bytes->append(piece.data(), static_cast<std::size_t>(count));
  }
}

/// Whether the copy came to its own good end. One that hangs in the kernel outlives even a KILL: it
/// is waited for for a second, and then left.
bool EndedWell(pid_t copy) {
  constexpr int kSecond = 1000;
  const Descriptor ended(static_cast<int>(syscall(SYS_pidfd_open, copy, 0)));
  if (ended) WaitFor(ended.get(), nullptr, kSecond);
  int status = 0;
  return waitpid(copy, &status, ended ? WNOHANG : 0) == copy && WIFEXITED(status) &&
         WEXITSTATUS(status) == EXIT_SUCCESS;
}

}  // namespace

ApartResult DoApart(const std::function<void(const Teller&)>& work, const Interrupts* interrupts,
                    int milliseconds) {
  std::array<int, 2> ends{};
  ApartResult result;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return result;
  const pid_t starter = getpid();
  const pid_t copy = fork();
  if (copy == 0) {
    close(ends[0]);
    WorkAndEnd(work, ends[1], starter);
  }
  close(ends[1]);
  if (copy > 0) {
    result.end = Receive(ends[0], interrupts, milliseconds, &result.bytes);
    if (result.end != ApartEnd::kDone) kill(copy, SIGKILL);
    if (!EndedWell(copy) && result.end == ApartEnd::kDone) result.end = ApartEnd::kDied;
  }
  close(ends[0]);
  return result;
}

}  // namespace tarvek::control
