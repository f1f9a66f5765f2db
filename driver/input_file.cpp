#include "driver/input_file.h"

#include <fcntl.h>
#include <unistd.h>

namespace tarvek {

std::FILE* OpenInput(const char* path) {
  const int fd = open(path, O_RDONLY | O_NONBLOCK);
  if (fd < 0) return nullptr;
  std::FILE* const stream = fdopen(fd, "r");
  if (stream == nullptr) close(fd);
  return stream;
}

}  // namespace tarvek
