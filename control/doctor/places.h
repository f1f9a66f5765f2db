// The directories and the program that an update needs.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "control/doctor/doctor.h"

namespace tarvek::control {

/// What a run may take in the state directory: the copies of its files, its log, its backup.
inline constexpr std::uint64_t kNeededSpace = 64ULL * 1024 * 1024;
/// What the tool's lock may take in the memory that processes share.
inline constexpr std::uint64_t kNeededSharedSpace = 64ULL * 1024;

/// What is known about a directory that is to be written to.
struct DirectoryLook {
  std::string path;      // as it was asked for
  std::string existing;  // the nearest one that is there; the same, or one above it
  int error = 0;         // an errno: why that one cannot be looked at
  bool is_directory = false;
  uid_t owner = 0;
  mode_t mode = 0;
  int write_error = 0;  // an errno: why nothing can be made in it
  std::uint64_t free_bytes = 0;
};

DirectoryLook LookAtDirectory(const std::string& path);

/// The state directory and the space in it.
/// @param user  who will write to it.
std::vector<Finding> StateDirectoryFindings(const DirectoryLook& look, uid_t user);

/// The memory that processes share, in which the tool's lock is.
Finding SharedMemoryFinding(const DirectoryLook& look);

struct ToolLook {
  std::string path;
  int error = 0;  // an errno: why it cannot be looked at
  bool is_regular = false;
  int run_error = 0;  // an errno: why it cannot be run
};

ToolLook LookAtTool(const std::string& path);
Finding ToolFinding(const ToolLook& look);

}  // namespace tarvek::control
