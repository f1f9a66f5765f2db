// A directory of the fuzzer's own, in which what the code under test logs goes nowhere.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/fuzz/require.h"

namespace tarvek_fuzz {

/// In memory where there is such a place: a disk makes a fuzzer fifty times slower.
inline std::filesystem::path ScratchParent() {
  const char* const memory = "/dev/shm";
  return access(memory, W_OK | X_OK) == 0 ? memory : std::filesystem::temp_directory_path();
}

/// Removed when the program ends, unless it crashes. A function's static.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    // Without it every time stamp looks at the system's time zone file.
    Require(setenv("TZ", "UTC0", 1) == 0, "the time zone can be set");
    std::string name = (ScratchParent() / "tarvek-fuzz-XXXXXX").string();
    Require(mkdtemp(name.data()) != nullptr, "there is a directory to work in");
    path_ = name;
    for (const char* file : {"tarvek.log", "tarvek_version.log", "tarvek_ratio.log",
                             "Get_ratio.xml_tmp", "Get_version.xml", "Update_normal.xml"}) {
      std::filesystem::create_symlink("/dev/null", path_ / file);
    }
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// Makes the scratch directory the working directory for one input: the corpus and what a crash
/// leaves are named relative to where the fuzzer was started.
class Visit {
 public:
  Visit() : before_(std::filesystem::current_path()) {
    static const ScratchDirectory directory;
    std::filesystem::current_path(directory.path());
  }
  ~Visit() { std::filesystem::current_path(before_); }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

 private:
  std::filesystem::path before_;
};

}  // namespace tarvek_fuzz
