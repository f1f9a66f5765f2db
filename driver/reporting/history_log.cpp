#include "driver/reporting/history_log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <span>
#include <utility>

#include "driver/reporting/console.h"
#include "driver/reporting/output_file.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"

namespace {

constexpr const char* kVersionLog = "tarvek_version.log";
constexpr const char* kOldVersionLog = "tarvek_version.old";
constexpr const char* kRatioLog = "tarvek_ratio.log";
constexpr const char* kMainLog = "tarvek.log";
constexpr off_t kMaxVersionLogSize = 2000000;  // bytes
constexpr int kTmYearBase = 1900;

using Line = tarvek::FixedText<tarvek::kTextSize + 1>;  // with its line feed

const char* LogFileName() {
  switch (g_eu_flg) {
    case kVersionQuery:
      return kVersionLog;
    case kProgressQuery:
      return kRatioLog;
    default:
      return kMainLog;
  }
}

/// The time stamp and the text, cut to the size of a line, and the line feed behind it.
Line ComposeLine(std::string_view text) {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  const std::tm stamp = local != nullptr ? *local : std::tm{};
  tarvek::Text line =
      tarvek::Format("%4.4d/%2.2d/%2.2d %2.2d:%2.2d:%2.2d  ", stamp.tm_year + kTmYearBase,
                     stamp.tm_mon + 1, stamp.tm_mday, stamp.tm_hour, stamp.tm_min, stamp.tm_sec);
  line.Append(text);
  return Line(line).Append('\n');
}

void LogBytes(const char* caption, std::span<const unsigned char> bytes) {
  Bmc_HistoryLog(tarvek::HexImage(caption, bytes));
}

/// Where lines go instead of the log; null: to the log.
tarvek::LogSink*& Sink() {
  static tarvek::LogSink* sink = nullptr;
  return sink;
}

}  // namespace

namespace tarvek {

LogSink* SetLogSink(LogSink* sink) { return std::exchange(Sink(), sink); }

}  // namespace tarvek

void Bmc_HistoryLog(std::string_view text) {
  if (Sink() != nullptr) {
    Sink()->Line(text);
    return;
  }
  if (g_display_flg == 1 || g_eu_flg == kNoMode) tarvek::ConsoleWriteLine(text);

  tarvek::WriteOutput(LogFileName(), tarvek::Keep::kContent, ComposeLine(text));
}

void OutputBmcAccessLog(const unsigned char* request, const unsigned char* response,
                        unsigned char request_length, unsigned char response_length) {
  LogBytes("request  = ", {request, request_length});
  LogBytes("response = ", {response, response_length});
}

void RotateVersionLog() {
  std::FILE* file = tarvek::OpenInput(kVersionLog);
  if (file == nullptr) return;
  struct stat info {};
  const bool too_large = fstat(fileno(file), &info) == 0 && info.st_size > kMaxVersionLogSize;
  std::fclose(file);
  if (!too_large) return;
  unlink(kOldVersionLog);
  std::rename(kVersionLog, kOldVersionLog);
}
