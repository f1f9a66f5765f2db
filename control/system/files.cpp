#include "control/system/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "control/system/small_file.h"

namespace tarvek::control {
namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

/// The name made absolute, for people.
std::string Absolute(const std::string& path) {
  std::array<char, PATH_MAX> real{};
  return realpath(path.c_str(), real.data()) == nullptr ? path : std::string(real.data());
}

/// @return 0, or the error that ended the writing.
int WriteAll(int opened, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(opened, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return 0;
}

/// Gives a file another name, unless something has it. File systems of removable disks have no
/// links; some that are mounted from elsewhere have nothing else.
/// @return 0, or the error.
int GiveFreeName(int directory, const std::string& from, const std::string& name) {
  if (renameat2(directory, from.c_str(), directory, name.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  if (linkat(directory, from.c_str(), directory, name.c_str(), 0) != 0) return errno;
  unlinkat(directory, from.c_str(), 0);
  return 0;
}

}  // namespace

SystemError::SystemError(const std::string& path, const std::string& what, int number)
    : std::runtime_error(path + ": " + what + ": " + std::strerror(number)), error(number) {}

Directory Directory::Open(const std::string& path) {
  Descriptor opened(open(path.c_str(), kDirectoryFlags));
  if (!opened) throw SystemError(path, "cannot be entered", errno);
  return {std::move(opened), Absolute(path)};
}

Directory Directory::OpenOrMake(const std::string& path, unsigned mode) {
  for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string above = path.substr(0, slash);
    if (mkdir(above.c_str(), mode) != 0 && errno != EEXIST) {
      // One that is there answers EEXIST, or EROFS where nothing may be made.
      const int error = errno;
      struct stat info {};
      if (stat(above.c_str(), &info) != 0) throw SystemError(above, "cannot be made", error);
    }
    if (slash == std::string::npos) return Open(path);
  }
}

Directory Directory::Sub(const std::string& name) const {
  Descriptor opened(openat(fd_.get(), name.c_str(), kDirectoryFlags | O_NOFOLLOW));
  if (!opened) throw SystemError(PathOf(name), "cannot be entered", errno);
  return {std::move(opened), PathOf(name)};
}

Directory Directory::MakeSub(const std::string& name, unsigned mode) const {
  if (mkdirat(fd_.get(), name.c_str(), mode) != 0) {
    throw SystemError(PathOf(name), "cannot be made", errno);
  }
  return Sub(name);
}

Directory Directory::SubOrMake(const std::string& name, unsigned mode) const {
  if (mkdirat(fd_.get(), name.c_str(), mode) != 0 && errno != EEXIST) {
    throw SystemError(PathOf(name), "cannot be made", errno);
  }
  return Sub(name);
}

std::vector<std::string> Directory::Names() const {
  const int copy = openat(fd_.get(), ".", kDirectoryFlags);
  DIR* const listing = copy < 0 ? nullptr : fdopendir(copy);
  if (listing == nullptr) throw SystemError(path_, "cannot be read", errno);
  std::vector<std::string> names;
  while (const dirent* const entry = readdir(listing)) {
    const std::string_view name = static_cast<const char*>(entry->d_name);
    if (name != "." && name != "..") names.emplace_back(name);
  }
  closedir(listing);
  std::sort(names.begin(), names.end());
  return names;
}

bool Directory::HasSpecial(const std::string& name) const {
  struct stat info {};
  return fstatat(fd_.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
         !S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode);
}

bool Directory::Has(const std::string& name) const {
  struct stat info {};
  return fstatat(fd_.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<std::string> Directory::Read(const std::string& name, std::size_t most) const {
  SmallFile file = ReadSmallFile(fd_.get(), name, most, O_NOFOLLOW);
  if (file.error == ENOENT) return std::nullopt;
  if (!file.whole) file.error = EFBIG;
  if (file.error != 0) throw SystemError(PathOf(name), "cannot be read", file.error);
  return std::move(file.bytes);
}

void Directory::Make(const std::string& name, std::string_view bytes) const {
  const Descriptor opened(openat(
      fd_.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kPrivateMode));
  const int error = opened ? WriteAll(opened.get(), bytes) : errno;
  if (error != 0) throw SystemError(PathOf(name), "cannot be written", error);
}

std::string Directory::WriteTemporary(std::string_view bytes, unsigned mode, bool durable) const {
  constexpr std::size_t kDigits = 16;
  std::string name = ".new-" + RandomDigits(kDigits);
  Descriptor opened(
      openat(fd_.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  int error = opened ? WriteAll(opened.get(), bytes) : errno;
  if (error == 0 && durable && fsync(opened.get()) != 0) error = errno;
  if (error == 0) return name;
  if (opened) unlinkat(fd_.get(), name.c_str(), 0);
  throw SystemError(path_, "cannot be written to", error);
}

void Directory::Replace(const std::string& temporary, const std::string& name) const {
  if (renameat(fd_.get(), temporary.c_str(), fd_.get(), name.c_str()) == 0) return;
  const int error = errno;
  unlinkat(fd_.get(), temporary.c_str(), 0);
  throw SystemError(PathOf(name), "cannot be written", error);
}

void Directory::Write(const std::string& name, std::string_view bytes, unsigned mode) const {
  Replace(WriteTemporary(bytes, mode, false), name);
}

void Directory::WriteDurably(const std::string& name, std::string_view bytes) const {
  Replace(WriteTemporary(bytes, kPrivateMode, true), name);
  fsync(fd_.get());
}

void Directory::WriteNew(const std::string& name, std::string_view bytes) const {
  const std::string temporary = WriteTemporary(bytes, kPrivateMode, true);
  const int error = GiveFreeName(fd_.get(), temporary, name);
  if (error != 0) {
    unlinkat(fd_.get(), temporary.c_str(), 0);
    throw SystemError(PathOf(name), "cannot be written", error);
  }
  fsync(fd_.get());
}

void Directory::WriteThrough(const std::string& name, std::string_view bytes) const {
  const Descriptor opened(
      openat(fd_.get(), name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
  struct stat info {};
  int error = opened && fstat(opened.get(), &info) == 0 ? 0 : errno;
  if (error == 0) error = S_ISREG(info.st_mode) ? EINVAL : WriteAll(opened.get(), bytes);
  if (error != 0) throw SystemError(PathOf(name), "cannot be written", error);
}

Descriptor Directory::Append(const std::string& name) const {
  Descriptor opened(openat(fd_.get(), name.c_str(),
                           O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, kPrivateMode));
  if (!opened) throw SystemError(PathOf(name), "cannot be written", errno);
  return opened;
}

Descriptor Directory::TryLock(const std::string& name) const {
  Descriptor opened(
      openat(fd_.get(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kPrivateMode));
  if (!opened) throw SystemError(PathOf(name), "cannot be made", errno);
  if (flock(opened.get(), LOCK_EX | LOCK_NB) == 0) return opened;
  if (errno != EWOULDBLOCK && errno != EINTR) {
    throw SystemError(PathOf(name), "cannot be locked", errno);
  }
  return Descriptor();
}

void Directory::Reserve(const std::string& name, std::size_t bytes) const {
  const Descriptor opened(
      openat(fd_.get(), name.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kPrivateMode));
  const int error = opened ? posix_fallocate(opened.get(), 0, static_cast<off_t>(bytes)) : errno;
  if (error == 0) return;
  Remove(name);
  throw SystemError(PathOf(name), "cannot be written", error);
}

void Directory::Rename(const std::string& from, const std::string& to) const {
  if (renameat(fd_.get(), from.c_str(), fd_.get(), to.c_str()) != 0) {
    throw SystemError(PathOf(to), "cannot be made", errno);
  }
}

void Directory::RequireOwn() const {
  struct stat info {};
  constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
  if (fstat(fd_.get(), &info) != 0) throw SystemError(path_, "cannot be looked at", errno);
  const bool own = info.st_uid == geteuid() || info.st_uid == 0;
  if (!own || (info.st_mode & kOthersWrite) != 0) {
    throw SystemError(path_, "is not safe, others may write there", EPERM);
  }
}

long Directory::Age(const std::string& name) const {
  struct stat info {};
  if (fstatat(fd_.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return 0;
  return std::time(nullptr) - info.st_mtim.tv_sec;
}

void Directory::Remove(const std::string& name) const { unlinkat(fd_.get(), name.c_str(), 0); }

// NOLINTNEXTLINE(misc-no-recursion): as deep as the directories are, and they are our own
void Directory::RemoveAll(const std::string& name) const {
  if (unlinkat(fd_.get(), name.c_str(), 0) == 0 || (errno != EISDIR && errno != EPERM)) return;
  try {
    const Directory sub = Sub(name);
    for (const std::string& inner : sub.Names()) sub.RemoveAll(inner);
  } catch (const SystemError&) {
    return;  // what cannot be removed stays
  }
  unlinkat(fd_.get(), name.c_str(), AT_REMOVEDIR);
}

std::string RandomDigits(std::size_t count) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string bytes(count, '\0');
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(count)) {
    throw SystemError("random numbers", "cannot be had", errno);
  }
  for (char& byte : bytes) byte = kDigits[static_cast<unsigned char>(byte) % kDigits.size()];
  return bytes;
}

}  // namespace tarvek::control
