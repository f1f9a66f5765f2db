#include "simulator/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace bmcsim {

void OccupyStandardDescriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    const int way = fd == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", way | O_CLOEXEC) != fd) _exit(kOwnError);
  }
}

int Fail(const std::string& message) {
  (void)std::fprintf(stderr, "bmcsim: %s\n", message.c_str());
  return kOwnError;
}

int Print(const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (written && std::fflush(stdout) == 0) return 0;
  return Fail(std::string("cannot write to standard output: ") + std::strerror(errno));
}

bool ReadText(const std::string& path, std::size_t most, std::string& text, std::string& error) {
  text.clear();
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  std::array<char, 4096> piece{};
  ssize_t count = fd == -1 ? -1 : 1;
  while (count > 0 && text.size() <= most) {
    count = read(fd, piece.data(), piece.size());
    if (count < 0 && errno == EINTR) {
      count = 1;
    } else if (count > 0) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
  }
  if (count < 0) error = std::strerror(errno);
  if (count > 0) error = "it is longer than " + std::to_string(most) + " bytes";
  if (fd != -1) close(fd);
  return count == 0;
}

}  // namespace bmcsim
