#include "tests/unit/support/fresh_run.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "driver/reporting/history_log.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/single_run_lock.h"
#include "errors/prg_error.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"
#include "sdrfile/utilities/lib_funct.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace tarvek_test {
namespace {

template <typename T, std::size_t N>
void Clear(T (&array)[N]) {
  std::fill(std::begin(array), std::end(array), T{});
}

void ResetSettings() {
  g_eu_flg = kNoMode;
  g_force_flg = kNormalUpdate;
  g_option_flg = kNoInput;
  g_direct_flg = 0;
  g_display_flg = 0;
  gTestFlag = 0;
  gTest2Flag = 0;
  gMemAllocFlag = 0;
  sdr_filename = "BMCSDR.SDR";
  cfg_filename = nullptr;
  bin_filename = "BMCSDR.BIN";
  backup_filename = "BMCSDR.BAK";
  ff_retry = 10;
  other_retry = 3;
  retry_wait = 10000000;
  lock_retry = 1;
  lock_wait = 60;
  CommandWaitTimeoutPeriod = 15000000;
  IpmbWaitTimeoutPeriod = 15000000;
  BusyWaitTimeoutPeriod = 10000000;
  g_HW_sdr_version.clear();
  g_input_sdr_version.clear();
  gCFGIdentifyOEMSDR.clear();
}

void ResetReporting() {
  xml_path = "";
  g_ratio = 0;
  ok_start_time = 0;
  type2_wait_time = 30;
  sem_ptr = nullptr;
  tarvek::SetLastAct(nullptr);
  PrgError::firstError = true;
  if (gErrorBlock == nullptr) gErrorBlock = new (std::nothrow) char[kReserveBlockSize];
  Clear(ipmi_snd_image);
  Clear(ipmi_rcv_image);
}

void ResetTransport() {
  ipmi_fd = 0;
  kov_ipmi = 0;
  open_ipmi = 0;
  gIgnoreResponse = 0;
  gErrRtyMsg = 0;
  gErrMsgRepr = 0;
  gSDRFirstPass = 1;
  ipmi_err_type = 0;
  ipmi_err_status = 0;
  Clear(ipm_ipmi);
  Clear(ipm_head);
  Clear(ipm_sdr_ctrl);
  Clear(ipm_SDR);
  ipm_kov = 0;
  ipm_ver = 0;
  ipm_type = 0;
  ipm_sdr_size = 0;
  sdrRecordSize = 1;
}

/// Reaches what a programmer keeps for the run.
struct FreshProgrammer : RepositoryProgrammer {
  static void Forget() { run_ = RunState(); }
};

void ResetLoader() {
  if (gTempFile != nullptr) std::fclose(gTempFile);
  gTempFile = nullptr;
  g_inputSdrRecord = 1;
  gIPMIVer1pt0 = false;
  MS_cc_ignore = 0;
  gIPMIVer1pt5 = false;
  gFormatVer15X = false;
  gUseRecord = false;
  gNullString = false;
  gSetAll = false;
  gSDRCompare = 0;
  gProgrammed = 0;
  gIPMI_Version = 1;
  FreshProgrammer::Forget();
}

}  // namespace

void ResetGlobals() {
  ResetSettings();
  ResetReporting();
  ResetTransport();
  ResetLoader();
}

void FreshRun::SetUp() {
  setenv("TZ", "UTC", 1);
  before_ = std::filesystem::current_path();
  std::string name = (std::filesystem::temp_directory_path() / "tarvek-unit-XXXXXX").string();
  ASSERT_NE(mkdtemp(name.data()), nullptr);
  directory_ = name;
  std::filesystem::current_path(directory_);
  FakeMachine::Reset();
  ResetGlobals();
}

void FreshRun::TearDown() {
  ResetGlobals();
  std::filesystem::current_path(before_);
  std::filesystem::remove_all(directory_);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(there is no " + path + ")";
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<std::string> LogTexts(const std::string& path) {
  constexpr std::size_t kStampLength = 21;
  std::ifstream file(path, std::ios::binary);
  std::vector<std::string> texts;
  for (std::string line; std::getline(file, line);) {
    texts.push_back(line.size() >= kStampLength ? line.substr(kStampLength) : line);
  }
  return texts;
}

std::string ResultText(const std::string& code, const std::string& data) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Response><result_code>" + code +
         "</result_code><data>" + data + "</data></Response>\n";
}

}  // namespace tarvek_test
