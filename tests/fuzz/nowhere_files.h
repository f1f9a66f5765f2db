// Files without a file system: what the code under test opens is empty and keeps nothing.
//
// A log line costs six system calls, which is most of what a run costs that does little else. The
// calls are those that the product makes, wrapped by the linker (see CMakeLists.txt).
#pragma once

namespace tarvek_fuzz {

/// While one lives, every file is to be had, empty, and takes all that is written to it. There is
/// one at a time.
class NowhereFiles {
 public:
  NowhereFiles();
  /// Requires that everything that was opened has been closed again.
  ~NowhereFiles();
  NowhereFiles(const NowhereFiles&) = delete;
  NowhereFiles& operator=(const NowhereFiles&) = delete;
};

}  // namespace tarvek_fuzz
