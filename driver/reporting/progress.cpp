#include "driver/reporting/progress.h"

#include <algorithm>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"

namespace tarvek {
namespace {

constexpr double kShareOfWalk = 24.0;  // percent that a whole walk earns
constexpr int kReportInterval = 10;    // records between two reports

}  // namespace

void ReportProgress() { XmlWrite(kProgressFile, "OK", IntToString(g_ratio), ""); }

void SetProgress(int percent) {
  g_ratio = percent;
  ReportProgress();
}

void RaiseProgress(int percent) {
  if (g_ratio < percent) SetProgress(percent);
}

void RecordProgress::Advance(int n, int records) {
  if (!started_) {
    value_ = g_ratio;
    started_ = true;
  }
  if (g_ratio >= cap_) return;
  value_ = records > 0 ? value_ + kShareOfWalk / records : cap_;
  // Another walk may have raised the ratio since this one began: it never falls.
  g_ratio = std::max(g_ratio, static_cast<int>(std::min<double>(value_, cap_)));
  if (n % kReportInterval == 0) ReportProgress();
}

}  // namespace tarvek
