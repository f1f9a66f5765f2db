#include "control/system/child.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <string_view>

namespace tarvek::control {
namespace {

constexpr const char* kNullDevice = "/dev/null";
constexpr int kLockNumber = 3;  // the descriptor by which a program holds its directory's lock

// The C library has these since 2.36, and there not for C++.
Descriptor OpenPidfd(pid_t pid) {
  return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

/// The descriptor of a child that was started: it must be had, or nobody knew when it ends. Only a
/// system that is short of memory or files refuses, and not for long.
Descriptor MustOpenPidfd(pid_t pid) {
  constexpr int kPause = 10;  // milliseconds
  for (;;) {
    Descriptor pidfd = OpenPidfd(pid);
    if (pidfd) return pidfd;
    WaitFor(-1, nullptr, kPause);
  }
}

void SendSignal(int pidfd, int signal) {
  syscall(SYS_pidfd_send_signal, pidfd, signal, nullptr, 0);
}

/// What a program's start is described with, freed with it.
class SpawnPlan {
 public:
  explicit SpawnPlan(const Interrupts& interrupts) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    sigset_t defaults{};
    sigemptyset(&defaults);
    for (const int signal : {SIGHUP, SIGPIPE, SIGINT, SIGTERM}) sigaddset(&defaults, signal);
    posix_spawnattr_setsigdefault(&attributes_, &defaults);
    posix_spawnattr_setsigmask(&attributes_, &interrupts.before());
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, kNullDevice, O_RDONLY, 0);
  }
  ~SpawnPlan() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  void Output(int fd) {
    posix_spawn_file_actions_adddup2(&actions_, fd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, fd, STDERR_FILENO);
  }
  void NoOutput() {
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, kNullDevice, O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, kNullDevice, O_WRONLY, 0);
  }
  /// Hands one descriptor on, and none above it. The last one to be settled.
  void KeepOnly(int fd, int as) {
    posix_spawn_file_actions_adddup2(&actions_, fd, as);
    posix_spawn_file_actions_addclosefrom_np(&actions_, as + 1);
  }
  void KeepNone() { posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1); }
  void In(int directory) { posix_spawn_file_actions_addfchdir_np(&actions_, directory); }

  pid_t Start(const std::string& program, const std::vector<std::string>& arguments,
              char* const* environment) {
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    pid_t pid = -1;
    const int error =
        posix_spawn(&pid, program.c_str(), &actions_, &attributes_, words.data(), environment);
    if (error != 0) throw SystemError(program, "cannot be run", error);
    return pid;
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

#ifdef __SANITIZE_ADDRESS__
constexpr std::array<std::string_view, 4> kKeptVariables{"LD_PRELOAD=", "TZ=", "BMCSIM_",
                                                         "ASAN_OPTIONS="};
#else
constexpr std::array<std::string_view, 3> kKeptVariables{"LD_PRELOAD=", "TZ=", "BMCSIM_"};
#endif

/// The environment of the tool: fixed, but for what puts a simulated BMC or another clock under it.
std::vector<std::string> ToolEnvironment() {
  std::vector<std::string> environment{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C"};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    for (const std::string_view kept : kKeptVariables) {
      if (text.substr(0, kept.size()) == kept) environment.emplace_back(text);
    }
  }
  return environment;
}

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Whether a process has a directory as its working directory.
bool WorksIn(const std::string& pid, const struct stat& directory) {
  struct stat info {};
  return stat(("/proc/" + pid + "/cwd").c_str(), &info) == 0 && SameFile(info, directory);
}

/// Whether a process holds the directory open as its lock; a shell that somebody has there does
/// not.
bool HoldsLock(const std::string& pid, const struct stat& directory) {
  struct stat info {};
  const std::string lock = "/proc/" + pid + "/fd/" + std::to_string(kLockNumber);
  return stat(lock.c_str(), &info) == 0 && SameFile(info, directory);
}

}  // namespace

Child Child::Start(const std::string& program, const std::vector<std::string>& arguments,
                   const Directory& directory, int output, const Interrupts& interrupts) {
  // Of a description of its own: the lock lives as long as the program.
  const Descriptor lock(openat(directory.fd(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock || flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    throw SystemError(directory.path(), "cannot be locked", errno);
  }
  // What could fail behind the start is tried before it, and its place kept: a program that was
  // started is waited for.
  Descriptor place = OpenPidfd(getpid());
  if (!place) throw SystemError(program, "could not be waited for", errno);
  const std::vector<std::string> environment = ToolEnvironment();
  std::vector<char*> entries;
  entries.reserve(environment.size() + 1);
  for (const std::string& entry : environment) entries.push_back(const_cast<char*>(entry.c_str()));
  entries.push_back(nullptr);

  SpawnPlan plan(interrupts);
  plan.In(directory.fd());
  plan.Output(output);
  plan.KeepOnly(lock.get(), kLockNumber);
  const pid_t started = plan.Start(program, arguments, entries.data());
  place.Close();
  return {started, MustOpenPidfd(started), true};
}

std::optional<Child> Child::FindIn(const Directory& directory) {
  struct stat place {};
  if (fstat(directory.fd(), &place) != 0) return std::nullopt;
  DIR* const processes = opendir("/proc");
  if (processes == nullptr) return std::nullopt;
  std::optional<Child> found;
  while (const dirent* const entry = readdir(processes)) {
    const std::string name = static_cast<const char*>(entry->d_name);
    pid_t number = 0;
    const char* const end = name.data() + name.size();
    if (std::from_chars(name.data(), end, number).ptr != end) continue;
    if (!WorksIn(name, place) || !HoldsLock(name, place)) continue;
    Descriptor process = OpenPidfd(number);
    // The number may be another process's by now.
    if (!process || !WorksIn(name, place)) continue;
    found = Child(number, std::move(process), false);
    break;
  }
  closedir(processes);
  return found;
}

void Child::Signal(int signal) const { SendSignal(pidfd_.get(), signal); }

ChildEnd Child::Reap() const {
  if (!ours_) return {};
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0) {
    if (errno != EINTR) return {};
  }
  if (WIFSIGNALED(status)) return {true, -1, WTERMSIG(status)};
  return {true, WEXITSTATUS(status), 0};
}

void StartDetached(const std::string& program, const std::vector<std::string>& arguments, int kept,
                   const Interrupts& interrupts) {
  SpawnPlan plan(interrupts);
  plan.NoOutput();
  plan.KeepOnly(kept, kLockNumber);
  plan.Start(program, arguments, environ);
}

int RunQuietly(const std::string& program, const std::vector<std::string>& arguments,
               const Interrupts& interrupts, int milliseconds) {
  try {
    SpawnPlan plan(interrupts);
    plan.NoOutput();
    plan.KeepNone();
    const pid_t pid = plan.Start(program, arguments, environ);
    const Descriptor pidfd = OpenPidfd(pid);
    const bool ended = pidfd && WaitFor(pidfd.get(), nullptr, milliseconds) == Woken::kReadable;
    if (!ended) kill(pid, SIGKILL);
    int status = 0;
    const bool told = waitpid(pid, &status, ended ? 0 : WNOHANG) == pid && WIFEXITED(status);
    return told ? WEXITSTATUS(status) : -1;
  } catch (const SystemError&) {
    return -1;
  }
}

}  // namespace tarvek::control
