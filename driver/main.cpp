#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <span>

#include "driver/run.h"

namespace {

/// Fills the standard descriptors that the caller left closed: what is opened later must never
/// become standard output.
void OccupyStandardDescriptors() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd > STDERR_FILENO) close(fd);
}

}  // namespace

int main(int argc, char* argv[]) {
  OccupyStandardDescriptors();
  // Neither a console that goes away nor a log that has grown to the caller's file-size limit
  // may end an update in its middle.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  const std::span<char* const> arguments(argv, static_cast<std::size_t>(argc));
  return tarvek::Run(arguments.empty() ? arguments : arguments.subspan(1));
}
