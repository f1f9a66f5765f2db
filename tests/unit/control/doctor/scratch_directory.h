// A directory of files for one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace tarvek::control {

class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "tarvekctl-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    directory_ = name;
  }
  ~ScratchDirectory() { std::filesystem::remove_all(directory_); }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string Path(const std::string& name) const { return directory_ / name; }
  /// Makes a file, and the directories above it.
  void Write(const std::string& name, std::string_view bytes) const {
    std::filesystem::create_directories((directory_ / name).parent_path());
    std::ofstream(directory_ / name, std::ios::binary) << bytes;
  }
  void MakeLink(const std::string& name, const std::string& target) const {
    std::filesystem::create_directories((directory_ / name).parent_path());
    std::filesystem::create_symlink(target, directory_ / name);
  }

 private:
  std::filesystem::path directory_;
};

}  // namespace tarvek::control
