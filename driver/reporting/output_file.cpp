#include "driver/reporting/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"

namespace tarvek {
namespace {

constexpr mode_t kOutputMode = 0666;  // less what the caller's umask takes away
constexpr char kFiller = '\n';        // also where a text is read line by line it says nothing

int OpenText(const char* path, int how) {
  return OpenTrusted(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | how, kOutputMode);
}

/// Writes all of `text` where the descriptor stands.
bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// Lays `text` over the first `size` bytes of a file, and line feeds over those behind it, in a
/// single write.
/// @param size  at least the text's, at most kLongestOutput.
/// @return how many bytes were written.
std::size_t Lay(int fd, std::string_view text, std::size_t size, std::size_t offset = 0) {
  static std::array<char, kLongestOutput> bytes;  // more than a small stack has room for
  std::fill_n(std::copy(text.begin(), text.end(), bytes.begin()), size - text.size(), kFiller);
  ssize_t written = 0;
  do {
    written = pwrite(fd, bytes.data(), size, static_cast<off_t>(offset));
  } while (written < 0 && errno == EINTR);
  return written < 0 ? 0 : static_cast<std::size_t>(written);
}

/// Puts line feeds behind what a file holds until it has `wanted` bytes, or cannot grow.
/// @return the size that it has then.
std::size_t Grow(int fd, std::size_t size, std::size_t wanted) {
  while (size < wanted) {
    const std::size_t added = Lay(fd, "", wanted - size, size);
    if (added == 0) break;
    size += added;
  }
  return size;
}

bool Cut(int fd, std::size_t size) { return ftruncate(fd, static_cast<off_t>(size)) == 0; }

/// Lays a text over that of a file of `size` bytes.
/// @return false when that failed: the file may hold anything then.
bool Overwrite(int fd, std::string_view text, std::size_t size) {
  const std::size_t covered = std::max(size, text.size());
  if (covered > kLongestOutput || Grow(fd, size, text.size()) < text.size()) return false;
  if (Lay(fd, text, covered) != covered) return false;
  // A file that cannot be cut has white space behind its text, which does no harm.
  if (size > text.size()) static_cast<void>(Cut(fd, text.size()));
  return true;
}

/// Writes a text into an empty file, or leaves it empty.
bool FillEmpty(int fd, std::string_view text) {
  // With as much white space behind the text a write may be cut to its half and still cover it.
  const std::size_t size = Grow(fd, 0, std::min(2 * text.size(), kLongestOutput));
  const bool covered = size >= text.size() && Lay(fd, text, size) >= text.size();
  static_cast<void>(Cut(fd, covered ? text.size() : 0));
  return covered;
}

/// Replaces what an open file holds. Pipes and devices hold nothing.
bool Replace(int fd, std::string_view text) {
  struct stat info {};
  const bool known = fstat(fd, &info) == 0;
  if (known && !S_ISREG(info.st_mode)) return WriteAll(fd, text);
  if (known && Overwrite(fd, text, static_cast<std::size_t>(info.st_size))) return true;
  return Cut(fd, 0) && FillEmpty(fd, text);
}

/// Gives a file without a name the name `path`, which nothing may have.
bool GiveName(int fd, const char* path) {
  const Text unnamed = Format("/proc/self/fd/%d", fd);
  return linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
}

/// Lets a file that is not there yet appear with its text in it. Where that fails nothing is lost.
void CreateWhole(const char* path, std::string_view text) {
  struct stat info {};
  if (lstat(path, &info) == 0) return;
  const int fd = open(DirectoryOf(path).c_str(), O_TMPFILE | O_WRONLY, kOutputMode);
  if (fd < 0) return;
  if (WriteAll(fd, text)) GiveName(fd, path);
  close(fd);
}

}  // namespace

Written WriteOutput(const char* path, Keep keep, std::string_view text) {
  const bool append = keep == Keep::kContent;
  // What is created whole is written once more: those who watch the file wait for its closing.
  if (!append) CreateWhole(path, text);
  const int fd = OpenText(path, append ? O_APPEND : 0);
  if (fd < 0) return Written::kNotOpened;
  const bool written = append ? WriteAll(fd, text) : Replace(fd, text);
  // Some file systems tell only now that the bytes did not reach the disk.
  return close(fd) == 0 && written ? Written::kWhole : Written::kLost;
}

}  // namespace tarvek
