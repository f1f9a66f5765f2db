#include "driver/reporting/version_compare.h"

#include <string>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_format.h"

namespace {

constexpr std::size_t kFieldStart = 12;  // the version proper stands behind a 12-character title
constexpr std::size_t kFieldLength = 5;

void ReduceToField(std::string& version) {
  if (version.size() > kFieldStart) version = version.substr(kFieldStart, kFieldLength);
}

const char* ComparisonWord(int bmc_against_input) {
  if (bmc_against_input == 0) return "Even";
  return bmc_against_input < 0 ? "Upper" : "Lower";
}

int StopWith(std::string_view code, std::string_view word) {
  XmlWrite(g_eu_flg, code, word, g_HW_sdr_version);
  if (code != "OK")
    Bmc_HistoryLog(tarvek::Text(GetErrorMessage("SDRC02")).Append(':').Append(code));
  return 1;
}

}  // namespace

int CompareBmcVersion() {
  if (g_eu_flg == kForcedUpdate || g_eu_flg == kProgressQuery) return 0;
  if (g_input_sdr_version.empty()) {
    OutputDataCreate("SDRC07");
    return 1;
  }
  ReduceToField(g_HW_sdr_version);
  ReduceToField(g_input_sdr_version);
  const int order = g_HW_sdr_version.compare(g_input_sdr_version);
  if (g_eu_flg == kVersionQuery) return StopWith("OK", ComparisonWord(order));
  // An equal version is refused like an older one: a normal update moves strictly forward.
  if (order >= 0) return StopWith("Down Grade", "");
  Bmc_HistoryLog("CompareSDRVersion() success.");
  return 0;
}
