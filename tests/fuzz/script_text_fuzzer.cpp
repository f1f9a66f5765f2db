// Feeds any text to the configuration script's reader, lexer and interpreter, and to the loader
// where the script names one of the SDR files that are there.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "config/cfg_file.h"
#include "driver/reporting/run_settings.h"
#include "errors/prg_error.h"
#include "sdrfile/sdr_file.h"
#include "tests/fuzz/scratch_directory.h"

namespace {

using tarvek_fuzz::Require;

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

/// Makes the files that a script may name, once.
void MakeSdrFiles() {
  if (std::filesystem::exists("f.sdr")) return;
  std::ofstream("f.sdr") << kBoard;
  std::ofstream("bad.sdr") << "_LF_VERSION '1'\n";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvek_fuzz::Visit here;
  MakeSdrFiles();
  std::ofstream(kScript, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

  g_eu_flg = kProgressQuery;  // a mode in which the loader only parses
  g_option_flg = kScriptInput;
  PrgError::firstError = false;  // no result file
  CfgFile script(kProtocolId);
  const ESTATUS status = script.Process(kScript);
  Require(status >= kSuccess && status <= kReported, "the status is a known one");
  Require(gTempFile == nullptr, "the echo is closed");
  return 0;
}
