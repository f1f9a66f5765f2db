#include "control/lock/holder_search.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <memory>
#include <system_error>
#include <vector>

#include "control/system/descriptor.h"
#include "control/system/small_file.h"

namespace tarvek::control {
namespace {

constexpr pid_t kFirstProcess = 1;
constexpr int kDecimal = 10;
constexpr int kHexadecimal = 16;

/// Takes a number from the front of a text, and the character behind it.
/// @return false when there is no number, or another character.
template <typename Number>
bool TakeNumber(std::string_view* text, int base, char behind, Number* number) {
  const char* const end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, *number, base);
  if (error != std::errc()) return false;
  if (stop != end && *stop != behind) return false;
  text->remove_prefix(static_cast<std::size_t>(stop - text->data()) + (stop == end ? 0 : 1));
  return true;
}

std::optional<pid_t> ProcessOf(std::string_view name) {
  pid_t pid = 0;
  if (!TakeNumber(&name, kDecimal, '\0', &pid) || !name.empty() || pid <= 0) return {};
  return pid;
}

std::string Words(int error) { return std::generic_category().message(error); }

/// @param error  out: why they cannot be listed, or 0.
std::vector<pid_t> ListProcesses(const std::string& processes, int* error) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(processes.c_str()), closedir);
  std::vector<pid_t> list;
  *error = directory == nullptr ? errno : 0;
  while (*error == 0) {
    errno = 0;
    const dirent* const entry = readdir(directory.get());
    *error = entry == nullptr ? errno : 0;
    if (entry == nullptr) break;
    if (const std::optional<pid_t> pid = ProcessOf(entry->d_name)) list.push_back(*pid);
  }
  return list;
}

/// Looks for the file in the lines of a text that comes in pieces.
class MapsReader {
 public:
  explicit MapsReader(const FileIdentity& file) : file_(file) {}

  /// @return whether one of the lines that end in this piece is a mapping of the file.
  bool Take(std::string_view piece) {
    rest_.append(piece);
    std::size_t begin = 0;
    bool found = false;
    for (std::size_t end = rest_.find('\n'); !found && end != std::string::npos;
         end = rest_.find('\n', begin)) {
      found = IsMappingOf(std::string_view(rest_).substr(begin, end - begin), file_);
      begin = end + 1;
    }
    rest_.erase(0, begin);
    return found;
  }

  /// No line of the kernel's is as long as this.
  bool IsOverlong() const {
    constexpr std::size_t kLongestLine = 65536;
    return rest_.size() > kLongestLine;
  }

 private:
  FileIdentity file_;
  std::string rest_;  // the line that has not ended yet
};

/// @param found  out: whether the process has the file mapped.
/// @return why that cannot be told, or 0.
int SearchMaps(const std::string& path, const FileIdentity& file, bool* found) {
  const Descriptor maps(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!maps) return errno;
  MapsReader reader(file);
  for (;;) {
    constexpr std::size_t kPiece = 16384;
    std::array<char, kPiece> piece{};
    const ssize_t count = read(maps.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0 ? 0 : errno;
    *found = reader.Take({piece.data(), static_cast<std::size_t>(count)});
    if (*found) return 0;
    if (reader.IsOverlong()) return EIO;
  }
}

LockHolder Describe(const std::string& processes, pid_t pid) {
  constexpr std::size_t kLongestCommandLine = 65536;
  const std::string path = processes + "/" + std::to_string(pid) + "/cmdline";
  const SmallFile file = ReadSmallFile(AT_FDCWD, path, kLongestCommandLine);
  std::vector<std::string> arguments;
  for (std::size_t begin = 0; begin < file.bytes.size();) {
    const std::size_t end = std::min(file.bytes.find('\0', begin), file.bytes.size());
    arguments.push_back(file.bytes.substr(begin, end - begin));
    begin = end + 1;
  }
  LockHolder holder{pid, {}, false};
  for (const std::string& argument : arguments) {
    holder.program += (holder.program.empty() ? "" : " ") + argument;
  }
  // What was not read may say more.
  if (file.whole && !arguments.empty())
    holder.only_reads = OnlyReads(std::span(arguments).subspan(1));
  return holder;
}

}  // namespace

bool IsMappingOf(std::string_view line, const FileIdentity& file) {
  constexpr int kFieldsBefore = 3;  // addresses, rights, offset
  for (int field = 0; field < kFieldsBefore; ++field) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos) return false;
    line.remove_prefix(blank + 1);
  }
  unsigned major_number = 0;
  unsigned minor_number = 0;
  std::uint64_t inode = 0;
  return TakeNumber(&line, kHexadecimal, ':', &major_number) &&
         TakeNumber(&line, kHexadecimal, ' ', &minor_number) &&
         TakeNumber(&line, kDecimal, ' ', &inode) && inode == file.inode &&
         makedev(major_number, minor_number) == file.device;
}

bool OnlyReads(std::span<const std::string> arguments) {
  const auto has = [&](const char* option) {
    return std::any_of(arguments.begin(), arguments.end(), [&](const std::string& argument) {
      return strcasecmp(argument.c_str(), option) == 0;
    });
  };
  return (has("-version") || has("-backup")) && !has("-update") && !has("-direct");
}

HolderSearch FindHolder(const std::string& processes, const FileIdentity& file) {
  int error = 0;
  const std::vector<pid_t> list = ListProcesses(processes, &error);
  HolderSearch search;
  if (error != 0) {
    search.unseen = processes + ": " + Words(error);
  } else if (std::find(list.begin(), list.end(), kFirstProcess) == list.end()) {
    // There always is a first process: who does not see it does not see those of others.
    search.unseen = processes + " shows this user's own processes alone";
  }
  for (const pid_t pid : list) {
    bool found = false;
    const std::string path = processes + "/" + std::to_string(pid) + "/maps";
    error = SearchMaps(path, file, &found);
    if (found) return {Describe(processes, pid), {}};
    const bool ended = error == ENOENT || error == ESRCH;
    if (error != 0 && !ended && search.unseen.empty()) search.unseen = path + ": " + Words(error);
  }
  return search;
}

}  // namespace tarvek::control
