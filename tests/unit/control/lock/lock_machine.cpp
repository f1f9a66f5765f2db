#include "tests/unit/control/lock/lock_machine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>

namespace tarvek::control {
namespace {

constexpr std::size_t kSemaphoreSize = 32;

/// The process's part: tells that the file is mapped, and waits for its end.
[[noreturn]] void MapAndStay(const std::string& path, int told) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int fd = open(path.c_str(), O_RDWR);
  void* const mapped = mmap(nullptr, kSemaphoreSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  const char good = mapped == MAP_FAILED ? 'n' : 'y';
  if (write(told, &good, 1) != 1) _exit(EXIT_FAILURE);
  for (;;) pause();
}

}  // namespace

MappingProcess::MappingProcess(const std::string& path) : pid_(-1) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return;
  pid_ = fork();
  if (pid_ == 0) MapAndStay(path, ends[1]);
  char good = 'n';
  EXPECT_EQ(read(ends[0], &good, 1), 1);
  EXPECT_EQ(good, 'y');
  close(ends[0]);
  close(ends[1]);
}

MappingProcess::~MappingProcess() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void MappingProcess::Kill() const {
  kill(pid_, SIGKILL);
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
}

LockMachine::LockMachine() {
  std::string name = "/dev/shm/tarvekctl-lock-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) std::abort();
  directory_ = name;
  std::filesystem::permissions(directory_, std::filesystem::perms(0755));
  std::filesystem::create_directory(directory_ / "shm");
  AddProcess(1, "7f0000000000-7f0000001000 r--p 00000000 08:01 12   /sbin/init\n");
}

LockMachine::~LockMachine() { std::filesystem::remove_all(directory_); }

LockPlaces LockMachine::Places() const { return {directory_ / "shm", directory_ / "proc"}; }

std::string LockMachine::LockPath() const { return directory_ / "shm" / "sem.tarvek_exe"; }

FileIdentity LockMachine::MakeLock() const {
  std::ofstream(LockPath()) << std::string(kSemaphoreSize, '\0');
  return Identity();
}

FileIdentity LockMachine::Identity() const {
  struct stat status {};
  EXPECT_EQ(lstat(LockPath().c_str(), &status), 0);
  return {status.st_dev, status.st_ino};
}

bool LockMachine::LockExists() const {
  struct stat status {};
  return lstat(LockPath().c_str(), &status) == 0;
}

std::filesystem::path LockMachine::ProcessPath(pid_t pid) const {
  return directory_ / "proc" / std::to_string(pid);
}

void LockMachine::AddProcess(pid_t pid, const std::string& maps,
                             const std::string& command_line) const {
  std::filesystem::create_directories(ProcessPath(pid));
  std::ofstream(ProcessPath(pid) / "maps") << maps;
  std::ofstream(ProcessPath(pid) / "cmdline") << command_line;
}

void LockMachine::ShowProcess(pid_t pid) const {
  std::filesystem::create_symlink("/proc/" + std::to_string(pid), ProcessPath(pid));
}

std::string LockMachine::MapsLine() const {
  const FileIdentity lock = Identity();
  std::array<char, 128> line{};
  std::snprintf(line.data(), line.size(), "7f10-7f11 rw-s 00000000 %02x:%02x %lu   /x (deleted)\n",
                major(lock.device), minor(lock.device), static_cast<unsigned long>(lock.inode));
  return line.data();
}

}  // namespace tarvek::control
