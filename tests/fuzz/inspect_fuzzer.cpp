// Feeds any bytes to the companion's readers and, by a forced update, to the tool over a simulated
// BMC: what the one reads the other writes, and what the one refuses the other does, too.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <vector>

#include "config/cfg_file.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "errors/prg_error.h"
#include "inspect/input/load.h"
#include "inspect/input/programmable.h"
#include "repository/backup_image.h"
#include "sdrfile/sdr_file.h"
#include "simulator/bmc_model.h"
#include "simulator/bmc_state.h"
#include "tests/fuzz/scratch_directory.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace {

using tarvek::inspect::Format;
using tarvek::inspect::RecordSet;
using tarvek_fuzz::Require;
using Records = std::vector<std::vector<unsigned char>>;

constexpr const char* kInput = "input";
constexpr std::size_t kIdSize = 2;       // of a record ID, which is the BMC's
constexpr std::size_t kWholePiece = 16;  // what the tool reads first of a record, of some inputs

const char* const kBoard =
    "_LF_NAME 'F.SDR'\n_LF_VERSION '01.00'\n_LF_FMT_VER '1.5'\n_IPMI_VERSION '1.50'\n_SDR (\n"
    "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n"
    "_SDR_TYPE 12\n_SDR_TAG 'CPU#'\n_REC_LEN 06\n0000 51 12 01 01\n"
    "_SDR_TYPE C0\n_REC_LEN 07\n0000 51 C0 02 01 02\n)\n";

bmcsim::BmcState& Bmc() {
  static const std::unique_ptr<bmcsim::BmcState> state = std::make_unique<bmcsim::BmcState>();
  return *state;
}

class Programmer : public SDRFile {
 public:
  Programmer() : SDRFile(kProtocolId) {}
  static void StartAfresh() { run_ = RunState(); }
};

void StartAfresh() {
  bmcsim::InitialiseState(bmcsim::Identity{}, Bmc());
  Programmer::StartAfresh();
  gSDRFirstPass = 1;
  gSDRCompare = 0;
  gProgrammed = 0;
  gIPMIVer1pt0 = false;
  gIPMIVer1pt5 = false;
  g_inputSdrRecord = 1;
  g_input_sdr_version.clear();
  ipm_sdr_size = 0;
  g_ratio = 0;
  g_eu_flg = kForcedUpdate;
  g_direct_flg = 1;  // no result files
}

/// The tool's run behind its checks of the machine.
int Update(Format format) {
  StartAfresh();
  if (format == Format::kScript) {
    g_option_flg = kScriptInput;
    CfgFile script(kProtocolId);
    return script.Process(kInput);
  }
  g_option_flg = format == Format::kImage ? kImageInput : kSdrFileInput;
  if (g_option_flg == kImageInput && get_backup(kInput) == 0) return kReported;
  gTempFile = std::fopen("/dev/null", "w");
  Require(gTempFile != nullptr, "the null device opens");
  int status = kSuccess;
  {
    Programmer loader;
    status = loader.LoadFile(kInput, nullptr);
  }
  std::fclose(gTempFile);
  gTempFile = nullptr;
  return status;
}

/// What the BMC serves, without record IDs.
Records Served() {
  const bmcsim::Control& control = bmcsim::ActiveControl(Bmc());
  const auto& bytes = Bmc().store_bytes[control.served];
  Records records;
  for (std::size_t offset = 0; offset < control.store[control.served].used;) {
    const std::size_t size = bmcsim::RecordLength(Bmc(), control, control.served, offset);
    Require(size != 0, "the BMC holds whole records");
    records.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(offset + kIdSize),
                         bytes.begin() + static_cast<std::ptrdiff_t>(offset + size));
    offset += size;
  }
  return records;
}

Records Sent(const RecordSet& set) {
  Records records;
  for (const tarvek::inspect::InputRecord& record : set.records) {
    if (!record.selected) continue;
    records.emplace_back(record.bytes.begin() + kIdSize, record.bytes.end());
  }
  return records;
}

/// Whether the set asks the BMC for something that the files alone do not decide.
bool DependsOnTheBmc(const RecordSet& set) {
  std::size_t bytes = 0;
  bool short_record = false;
  for (const tarvek::inspect::InputRecord& record : set.records) {
    bytes += record.bytes.size();
    short_record = short_record || record.bytes.size() < kWholePiece;
  }
  const bool too_large = bytes > bmcsim::Identity{}.capacity;
  return too_large || (short_record && set.reads_whole_pieces);
}

bool Programs(const RecordSet& set) {
  return set.format != Format::kScript ||
         std::any_of(set.files.begin(), set.files.end(),
                     [](const auto& file) { return !file.compare; });
}

/// @return whether the companion takes the input.
bool Read(Format format, RecordSet* set) {
  try {
    *set = tarvek::inspect::Load(kInput, {format == Format::kScript, {}});
    tarvek::inspect::RequireProgrammable(*set, false);
    return true;
  } catch (const tarvek::inspect::InputError& error) {
    Require(!tarvek::inspect::ToText(error).empty(), "a complaint has words");
    return false;
  }
}

void Compare(Format format) {
  RecordSet set;
  const bool taken = Read(format, &set);
  if (format == Format::kRaw || format == Format::kHex) return;  // which the tool does not read
  const int status = Update(format);
  if (!taken) {
    Require(status != kSuccess, "the tool refuses what the companion refuses");
    return;
  }
  if (!Programs(set) || DependsOnTheBmc(set)) return;
  Require(status == kSuccess, "the tool takes what the companion takes");
  Require(Served() == Sent(set), "the tool writes what the companion reads");
}

}  // namespace

// What the tool sends goes to the simulated BMC.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker fixes it
extern "C" int __wrap__Z11Bmc_Access2PKhhPhS1_(const unsigned char* req, unsigned char len,
                                               unsigned char* resp, unsigned char* resplen) {
  constexpr std::uint32_t kNow = 1000000000;
  bmcsim::BmcModel model(Bmc());
  bmcsim::Answer answer;
  model.Handle(req[kNetFnLunOffset], req[kCommandOffset],
               {req + kImageHeaderSize, static_cast<std::size_t>(len - kImageHeaderSize)}, kNow,
               answer);
  const std::size_t room = *resplen;
  const std::size_t size = std::min(answer.bytes().size(), room);
  resp[kNetFnLunOffset] = static_cast<unsigned char>(req[kNetFnLunOffset] + kResponseBit);
  resp[kCommandOffset] = req[kCommandOffset];
  std::copy_n(answer.bytes().begin(), size, resp + kImageHeaderSize);
  *resplen = static_cast<unsigned char>(size + kImageHeaderSize);
  return 0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker fixes it
extern "C" int __wrap_usleep(unsigned /*microseconds*/) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvek_fuzz::Visit here;
  if (size == 0) return 0;
  PrgError::firstError = false;
  std::ofstream("f.sdr") << kBoard;
  std::ofstream(kInput, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Format format = tarvek::inspect::TellFormat(bytes);
  Compare(format);
  return 0;
}
