#include "control/system/watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>

namespace tarvek::control {

Watch::Watch() : fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

void Watch::Add(const Directory& directory) {
  const std::string path = "/proc/self/fd/" + std::to_string(directory.fd());
  // Not IN_CLOSE_WRITE: who tries a lock opens it for writing, and would wake himself for ever.
  if (fd_) {
    inotify_add_watch(fd_.get(), path.c_str(), IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_ONLYDIR);
  }
}

void Watch::Drain() const {
  constexpr std::size_t kPiece = 4096;
  alignas(inotify_event) std::array<char, kPiece> events{};
  while (fd_ && read(fd_.get(), events.data(), events.size()) > 0) {
  }
}

}  // namespace tarvek::control
