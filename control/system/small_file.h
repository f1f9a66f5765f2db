// Files of the system's and of people's that are small when they are what they should be.
#pragma once

#include <cstddef>
#include <string>

namespace tarvek::control {

struct SmallFile {
  int error = 0;      // an errno: why it could not be read
  std::string bytes;  // what it holds, when it could be read
  bool whole = true;  // false: it holds more than was asked for
};

/// Reads a regular file, those of /proc among them. Never waits: a pipe or a device is refused with
/// EINVAL, a directory with EISDIR.
/// @param directory  what a relative path begins at; AT_FDCWD: the working directory.
/// @param most       so many bytes are read at most.
/// @param flags      more flags for opening it, such as O_NOFOLLOW.
SmallFile ReadSmallFile(int directory, const std::string& path, std::size_t most, int flags = 0);

}  // namespace tarvek::control
