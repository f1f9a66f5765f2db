// A caller may start the tool with its standard input closed: then the first file that is opened
// has descriptor 0, which is as good as any other.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace tarvek_test {

/// For as long as it lives, standard input is closed and the next descriptor that is opened is 0.
class NoStandardInput {
 public:
  NoStandardInput() : kept_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    close(STDIN_FILENO);
  }
  ~NoStandardInput() {
    close(STDIN_FILENO);
    if (kept_ < 0) return;
    dup2(kept_, STDIN_FILENO);
    close(kept_);
  }
  NoStandardInput(const NoStandardInput&) = delete;
  NoStandardInput& operator=(const NoStandardInput&) = delete;

  /// @return whether descriptor 0 is free, so that nothing was left open.
  bool IsFree() const { return fcntl(STDIN_FILENO, F_GETFD) == -1; }

 private:
  int kept_;  // the standard input; -1 when there was none
};

}  // namespace tarvek_test
