#include "control/system/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "control/system/descriptor.h"

namespace tarvek::control {
namespace {

SmallFile Failure(int error) { return {error, {}, true}; }

}  // namespace

SmallFile ReadSmallFile(int directory, const std::string& path, std::size_t most, int flags) {
  const Descriptor file(
      openat(directory, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | flags));
  if (!file) return Failure(errno);
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return Failure(errno);
  if (S_ISDIR(status.st_mode)) return Failure(EISDIR);
  if (!S_ISREG(status.st_mode)) return Failure(EINVAL);
  SmallFile result;
  result.bytes.reserve(std::min(static_cast<std::size_t>(status.st_size), most));
  constexpr std::size_t kPiece = 65536;
  std::array<char, kPiece> piece{};
  for (;;) {
    const ssize_t count = read(file.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Failure(errno);
    if (count == 0) return result;
    const std::size_t taken = std::min(static_cast<std::size_t>(count), most - result.bytes.size());
    result.bytes.append(piece.data(), taken);
    result.whole = taken == static_cast<std::size_t>(count);
    if (!result.whole) return result;
  }
}

}  // namespace tarvek::control
