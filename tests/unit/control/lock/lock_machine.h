// A directory for the lock and one for processes: a machine of a test's own, in which no other test
// and no real run stands.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <filesystem>
#include <string>

#include "control/lock/run_lock.h"

namespace tarvek::control {

/// A process that has a file mapped, as the tool has its lock, until it is ended.
class MappingProcess {
 public:
  explicit MappingProcess(const std::string& path);
  ~MappingProcess();
  MappingProcess(const MappingProcess&) = delete;
  MappingProcess& operator=(const MappingProcess&) = delete;

  pid_t pid() const { return pid_; }
  /// Kills it. It stays a zombie, which has nothing mapped, until this object goes.
  void Kill() const;

 private:
  pid_t pid_;
};

/// The machine: with a first process that has nothing mapped. Its lock's directory is in memory,
/// where device and inode of a file are what a mapping says.
class LockMachine {
 public:
  LockMachine();
  ~LockMachine();
  LockMachine(const LockMachine&) = delete;
  LockMachine& operator=(const LockMachine&) = delete;

  LockPlaces Places() const;
  std::string LockPath() const;

  /// Makes the lock, as somebody would who is gone.
  FileIdentity MakeLock() const;
  FileIdentity Identity() const;
  bool LockExists() const;

  /// Adds a process.
  /// @param command_line  its arguments, each with a zero byte behind it.
  void AddProcess(pid_t pid, const std::string& maps, const std::string& command_line = "") const;
  /// Adds a real process, as the kernel shows it.
  void ShowProcess(pid_t pid) const;
  /// @return the line of a mapping of the lock.
  std::string MapsLine() const;
  std::filesystem::path ProcessPath(pid_t pid) const;

 private:
  std::filesystem::path directory_;
};

}  // namespace tarvek::control
