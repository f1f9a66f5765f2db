#include "control/show/telling.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

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

}  // namespace

int Tell(int fd, std::string_view text, const Interrupts& interrupts) {
  constexpr std::size_t kPiece = 4096;  // what a pipe that is ready takes without a wait
  while (!text.empty() && WaitForReader(fd, interrupts)) {
    const ssize_t count = write(fd, text.data(), std::min(text.size(), kPiece));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno == EPIPE ? 0 : errno;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace tarvek::control
