#include "control/system/interrupts.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

namespace tarvek::control {
namespace {

using Clock = std::chrono::steady_clock;

/// What is left of a waiting time, in milliseconds; -1: no end.
int Left(Clock::time_point end, int milliseconds) {
  if (milliseconds < 0) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

}  // namespace

Interrupts::Interrupts() {
  std::signal(SIGHUP, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t ends{};
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigprocmask(SIG_BLOCK, &ends, &before_);
  fd_ = signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK);
}

Interrupts::~Interrupts() {
  if (fd_ >= 0) close(fd_);
  // One that came and was never counted would strike now, and take the exit status with it.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_IGN);
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

int Interrupts::Count() const {
  signalfd_siginfo signal{};
  while (fd_ >= 0 && read(fd_, &signal, sizeof signal) == sizeof signal) ++count_;
  return count_;
}

Woken WaitFor(int fd, const Interrupts* interrupts, int milliseconds) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    std::array<pollfd, 2> fds{
        {{fd, POLLIN, 0}, {interrupts == nullptr ? -1 : interrupts->fd(), POLLIN, 0}}};
    const int count = poll(fds.data(), fds.size(), Left(end, milliseconds));
    if (count == 0) return Woken::kTimeOut;
    if (count < 0 && errno != EINTR) return Woken::kTimeOut;
    if (count < 0) continue;
    if (fds[1].revents != 0) return Woken::kInterrupted;
    if (fds[0].revents != 0) return Woken::kReadable;
  }
}

}  // namespace tarvek::control
