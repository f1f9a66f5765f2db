// Feeds any text to the configuration script's reader, lexer and interpreter, and to the loader
// where the script names one of the SDR files that are there.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "config/cfg_file.h"
#include "driver/run_settings.h"
#include "errors/prg_error.h"
#include "sdrfile/sdr_file.h"

namespace {

constexpr const char* kScript = "script.cfg";

constexpr const char* kBoard =
    "_LF_NAME 'F.SDR'\n"
    "_LF_VERSION '01.00'\n"
    "_LF_FMT_VER '1.5'\n"
    "_IPMI_VERSION '1.50'\n"
    "_SDR (\n"
    "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n"
    "_SDR_TYPE 12\n_SDR_TAG 'CPU#'\n_REC_LEN 06\n0000 51 12 01 01\n"
    ")\n";

/// Removed when the program ends, unless it crashes.
std::filesystem::path directory;

void LeaveDirectory() {
  std::error_code ignored;
  std::filesystem::current_path("/", ignored);
  std::filesystem::remove_all(directory, ignored);
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  std::string name = (std::filesystem::temp_directory_path() / "tarvek-fuzz-XXXXXX").string();
  Require(mkdtemp(name.data()) != nullptr, "a directory to work in");
  directory = name;
  // The corpus and what a crash leaves are named relative to where the fuzzer was started.
  Require(std::atexit(LeaveDirectory) == 0, "the directory's removal");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory);
  if (!std::filesystem::exists("f.sdr")) {
    std::ofstream("f.sdr") << kBoard;
    std::ofstream("bad.sdr") << "_LF_VERSION '1'\n";
    std::filesystem::create_symlink("/dev/null", "tarvek_ratio.log");
  }
  std::ofstream(kScript, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

  g_eu_flg = kProgressQuery;  // a mode in which the loader only parses
  g_option_flg = kScriptInput;
  PrgError::firstError = false;  // no result file
  CfgFile script(kProtocolId);
  const ESTATUS status = script.Process(kScript);
  Require(status >= kSuccess && status <= kReported, "the status is a known one");
  Require(gTempFile == nullptr, "the echo is closed");
  std::filesystem::current_path(before);
  return 0;
}
