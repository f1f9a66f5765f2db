// A directory of files for one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace tarvek::inspect {

class Scratch {
 public:
  Scratch() : directory_(std::filesystem::temp_directory_path() / "tarvek-sdr.XXXXXX") {
    std::string name = directory_;
    if (mkdtemp(name.data()) == nullptr) std::abort();
    directory_ = name;
  }
  ~Scratch() { std::filesystem::remove_all(directory_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  /// @return the path of a file that holds `bytes`.
  std::string File(const std::string& name, std::string_view bytes) const {
    const std::filesystem::path path = directory_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  std::string Path(const std::string& name) const { return directory_ / name; }

 private:
  std::filesystem::path directory_;
};

/// A source file of these records, its header on lines 1 to 7.
inline std::string Source(std::string_view records) {
  return "_LF_NAME 'TEST.SDR'\n_LF_VERSION '1'\n_LF_FMT_VER '1.5'\n_IPMI_VERSION '1.50'\n_SDR (\n"
         "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE'\n_DEV_BUS 00 _DEV_ADDRESS 20\n" +
         std::string(records) + ")\n";
}

/// A record of 16 bytes: an OEM record whose last byte is `mark`, two hexadecimal digits.
inline std::string OemRecord(std::string_view mark, std::string_view tags = "") {
  return "_SDR_TYPE C0\n" + std::string(tags) +
         "_REC_LEN 10\n0000 51 C0 0B 11 22 33 00 01 02 03 04 05 06 " + std::string(mark) + "\n";
}

}  // namespace tarvek::inspect
