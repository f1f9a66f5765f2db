#include "control/show/telling.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace tarvek::control {
namespace {

/// Waits until some bytes can be written at once. What can be written is, whatever interrupts came.
/// @return false when an interrupt came first.
bool WaitForReader(int fd, const Interrupts& interrupts) {
  for (;;) {
    std::array<pollfd, 2> fds{{{fd, POLLOUT, 0}, {interrupts.fd(), POLLIN, 0}}};
    if (poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) return true;
    if (fds[0].revents != 0) return true;
    if (fds[1].revents != 0) return false;
  }
}

volatile std::sig_atomic_t g_came = 0;
void NoteAndComeBack(int /*signal*/) { g_came = 1; }

/// Writes once. A terminal that takes some bytes may still have the others wait: INT and TERM end
/// that.
ssize_t WriteUnlessInterrupted(int fd, std::string_view bytes) {
  struct sigaction action {};
  action.sa_handler = NoteAndComeBack;  // without SA_RESTART
  sigset_t both{};
  sigemptyset(&both);
  std::array<struct sigaction, 2> before{};
  constexpr std::array kEnds{SIGINT, SIGTERM};
  for (std::size_t i = 0; i < kEnds.size(); ++i) {
    sigaddset(&both, kEnds[i]);
    sigaction(kEnds[i], &action, &before[i]);
  }
  pthread_sigmask(SIG_UNBLOCK, &both, nullptr);
  const ssize_t count = write(fd, bytes.data(), bytes.size());
  const int error = errno;
  pthread_sigmask(SIG_BLOCK, &both, nullptr);
  for (std::size_t i = 0; i < kEnds.size(); ++i) sigaction(kEnds[i], &before[i], nullptr);
  errno = error;
  return count;
}

}  // namespace

int Tell(int fd, std::string_view text, const Interrupts& interrupts) {
  constexpr std::size_t kPiece = 4096;  // what a pipe that is ready takes without a wait
  while (!text.empty() && WaitForReader(fd, interrupts)) {
    g_came = 0;
    const ssize_t count = WriteUnlessInterrupted(fd, text.substr(0, kPiece));
    const bool stopped = g_came != 0 && count < static_cast<ssize_t>(std::min(text.size(), kPiece));
    if (stopped || (count < 0 && errno == EINTR)) return 0;
    if (count < 0) return errno == EPIPE ? 0 : errno;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace tarvek::control
