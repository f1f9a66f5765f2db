#include "control/doctor/places.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>

#include "control/doctor/finding.h"
#include "control/system/shell_word.h"

namespace tarvek::control {
namespace {

constexpr const char* kState = "state-directory";
constexpr const char* kSpace = "space";
constexpr const char* kSharedMemory = "shared-memory";
constexpr const char* kTool = "tool";
constexpr std::uint64_t kMebibyte = 1024ULL * 1024;
constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

std::string Above(const std::string& path) {
  const std::size_t end = path.find_last_not_of('/');
  const std::size_t slash = path.rfind('/', end);
  if (end == std::string::npos) return "/";
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// The errno of a call that returned `result`.
int ErrorOf(int result) { return result == 0 ? 0 : errno; }

Finding SpaceFinding(const DirectoryLook& look) {
  const std::string there =
      std::to_string(look.free_bytes / kMebibyte) + " MiB are free in " + look.existing;
  if (look.free_bytes >= kNeededSpace) return Good(kSpace, there + ".");
  return Problem(kSpace, there + ", " + std::to_string(kNeededSpace / kMebibyte) + " are needed.",
                 "Make room there, or name another place with --state-dir.",
                 "df -h " + ShellWord(look.existing));
}

Finding StateFinding(const DirectoryLook& look, uid_t user) {
  const std::string word = ShellWord(look.path);
  const std::string elsewhere = "Name another place with --state-dir.";
  if (look.error != 0) {
    return Problem(kState, look.existing + " cannot be looked at: " + ErrorWords(look.error) + ".",
                   elsewhere);
  }
  if (!look.is_directory) return Problem(kState, look.existing + " is no directory.", elsewhere);
  if (look.write_error != 0) {
    return Problem(
        kState,
        "Nothing can be made in " + look.existing + ": " + ErrorWords(look.write_error) + ".",
        user == 0 ? elsewhere : "Run it as root, or name another place with --state-dir.",
        user == 0 ? "" : "sudo tarvekctl doctor");
  }
  if (look.existing != look.path) return Good(kState, look.path + " will be made.");
  if (look.owner != user) {
    return Problem(kState,
                   look.path + " belongs to another user (" + std::to_string(look.owner) +
                       "), who could change what is run.",
                   "Make it this user's own.", "chown " + std::to_string(user) + " " + word);
  }
  if ((look.mode & kOthersMayWrite) != 0) {
    return Problem(kState, "Others may write to " + look.path + ", and so change what is run.",
                   "Take their right to it.", "chmod 0700 " + word);
  }
  return Good(kState, look.path + " can be written to.");
}

}  // namespace

DirectoryLook LookAtDirectory(const std::string& path) {
  DirectoryLook look;
  look.path = path;
  look.existing = path;
  struct stat status {};
  look.error = ErrorOf(stat(path.c_str(), &status));
  while (look.error == ENOENT && look.existing != "/" && look.existing != ".") {
    look.existing = Above(look.existing);
    look.error = ErrorOf(stat(look.existing.c_str(), &status));
  }
  if (look.error != 0) return look;
  look.is_directory = S_ISDIR(status.st_mode);
  look.owner = status.st_uid;
  look.mode = status.st_mode;
  look.write_error = ErrorOf(faccessat(AT_FDCWD, look.existing.c_str(), W_OK | X_OK, AT_EACCESS));
  struct statvfs space {};
  if (statvfs(look.existing.c_str(), &space) == 0) {
    look.free_bytes = static_cast<std::uint64_t>(space.f_bavail) * space.f_frsize;
  }
  return look;
}

std::vector<Finding> StateDirectoryFindings(const DirectoryLook& look, uid_t user) {
  std::vector<Finding> findings{StateFinding(look, user)};
  if (look.error == 0 && look.is_directory) findings.push_back(SpaceFinding(look));
  return findings;
}

Finding SharedMemoryFinding(const DirectoryLook& look) {
  if (look.error != 0 || look.existing != look.path || !look.is_directory) {
    return Problem(kSharedMemory, look.path + ", where the lock is kept, is not there.",
                   "Mount it.", "mount -t tmpfs -o mode=1777 tmpfs " + ShellWord(look.path));
  }
  if (look.write_error != 0) {
    return Problem(
        kSharedMemory,
        "The lock cannot be made in " + look.path + ": " + ErrorWords(look.write_error) + ".",
        "Mount it for writing.", "mount -o remount,rw " + ShellWord(look.path));
  }
  if (look.free_bytes < kNeededSharedSpace) {
    return Problem(kSharedMemory, look.path + ", where the lock is kept, is full.",
                   "Remove what a program has left there.", "ls -lS " + ShellWord(look.path));
  }
  return Good(kSharedMemory, "The lock can be made in " + look.path + ".");
}

ToolLook LookAtTool(const std::string& path) {
  ToolLook look{path, 0, false, 0};
  struct stat status {};
  look.error = ErrorOf(stat(path.c_str(), &status));
  if (look.error != 0) return look;
  look.is_regular = S_ISREG(status.st_mode);
  look.run_error = ErrorOf(faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS));
  return look;
}

Finding ToolFinding(const ToolLook& look) {
  if (look.error != 0) {
    return Problem(kTool, look.path + " cannot be found: " + ErrorWords(look.error) + ".",
                   "Install tarvek, or name it with --tool.");
  }
  if (!look.is_regular) {
    return Problem(kTool, look.path + " is no program.", "Name tarvek with --tool.");
  }
  if (look.run_error != 0) {
    return Problem(kTool, look.path + " cannot be run: " + ErrorWords(look.run_error) + ".",
                   "Make it a program that can be run, on a file system that allows it.",
                   "chmod a+x " + ShellWord(look.path));
  }
  return Good(kTool, look.path + " is there.");
}

}  // namespace tarvek::control
