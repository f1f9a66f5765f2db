#include "driver/result_files.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "driver/history_log.h"
#include "driver/run_settings.h"
#include "driver/text_file.h"

namespace {

constexpr const char* kCallerInfoFile = "ZetaInfo.xml";
constexpr const char* kProgressFileName = "Get_ratio.xml_tmp";
constexpr const char* kProgressAnswerName = "Get_ratio.xml";
constexpr int kMaxTries = 12;
constexpr useconds_t kTryPause = 500 * 1000;  // microseconds

struct CodeMessage {
  std::string_view code;
  std::string_view message;
};

// The wording is what callers and operators know, the missing blank before "(Not" and the
// trailing blank of the last one included.
constexpr std::array<CodeMessage, 9> kCodeMessages{{
    {"SDRC01", "Illegal parameter format."},
    {"SDRC02", "SDRVersion unmatched."},
    {"SDRC03", "Can't open IPMI driver."},
    {"SDRC04", "This SDR data is not supported.(Not Found HWID in mchk_fil)"},
    {"SDRC05", "Get Device ID Command Error."},
    {"SDRC06", "mchk_fil is not opened."},
    {"SDRC07", "Not Found SDRVersion Record in input file."},
    {"SDRC08", "Timeout was generated."},
    {"Duplex", "The update/backup has already been being executed. "},
}};

bool FileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

const char* ResultFileName(int mode) {
  switch (mode) {
    case kVersionQuery:
      return "Get_version.xml";
    case kNormalUpdate:
      return "Update_normal.xml";
    case kForcedUpdate:
      return "Update_force.xml";
    case kProgressFile:
      return kProgressFileName;
    case kProgressQuery:
      return kProgressAnswerName;
    default:
      return nullptr;
  }
}

std::string ResultData(int mode, const std::string& data1, const std::string& data2) {
  switch (mode) {
    case kVersionQuery:
      return "<cmp>" + data1 + "</cmp><version>" + data2 + "</version>";
    case kProgressFile:
    case kProgressQuery:
      return data1;
    default:
      return "";
  }
}

/// Holds an update's result back until its "OK" file has been there long enough.
void HoldFinalResult() {
  const std::time_t elapsed = std::time(nullptr) - ok_start_time;
  // A clock that was set back must not lengthen the wait.
  const std::time_t wait = std::min<std::time_t>(type2_wait_time - elapsed, type2_wait_time);
  if (gTest2Flag == 1) Bmc_HistoryLog("update end");
  if (wait > 0) sleep(static_cast<unsigned>(wait));
  if (gTest2Flag == 1) Bmc_HistoryLog("result file reply");
}

}  // namespace

void set_xml_path() {
  xml_path.clear();
  if (FileExists(kCallerInfoFile)) return;
  const std::unique_ptr<char, decltype(&std::free)> directory(get_current_dir_name(), &std::free);
  if (directory == nullptr) return;
  const std::string_view name(directory.get());
  const auto levels = std::count(name.begin(), name.end(), '/');
  std::string prefix;
  for (auto level = levels; level > 0; --level) {
    prefix += "../";
    if (FileExists(prefix + kCallerInfoFile)) {
      xml_path = prefix;
      return;
    }
  }
}

std::string get_xml_file(const char* name) { return xml_path + name; }

int XmlWrite(int mode, const std::string& code, const std::string& data1,
             const std::string& data2) {
  if (g_direct_flg == 1 || g_eu_flg == kNoMode) return 0;
  if ((mode == kNormalUpdate || mode == kForcedUpdate) && ok_start_time != 0) HoldFinalResult();

  const char* name = ResultFileName(mode);
  if (name == nullptr) return 0;
  std::FILE* file = tarvek::OpenOutput(get_xml_file(name).c_str(), tarvek::Keep::kNothing);
  if (file == nullptr) return 1;
  const std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<Response><result_code>" +
      code + "</result_code><data>" + ResultData(mode, data1, data2) + "</data></Response>\n";
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool closed = std::fclose(file) == 0;
  return written && closed ? 0 : 1;
}

void OutputDataCreate(const std::string& code) {
  Bmc_HistoryLog(GetErrorMessage(code));
  if (g_direct_flg != 1 && g_eu_flg != kBackup) XmlWrite(g_eu_flg, code, "", "");
}

std::string GetErrorMessage(const std::string& code) {
  const auto* const found = std::find_if(kCodeMessages.begin(), kCodeMessages.end(),
                                         [&](const CodeMessage& row) { return row.code == code; });
  return found != kCodeMessages.end() ? std::string(found->message) : std::string();
}

std::string IntToString(int /*ratio*/) { return std::to_string(g_ratio); }

int CopyXmlFile() {
  const std::string progress = get_xml_file(kProgressFileName);
  if (!FileExists(progress)) return XmlWrite(kProgressQuery, "No-Command", "", "");

  const std::string answer = get_xml_file(kProgressAnswerName);
  for (int attempt = 1; attempt <= kMaxTries; ++attempt) {
    if (CopyFile(progress.c_str(), answer.c_str(), 0) == 1) return 0;
    if (attempt < kMaxTries) usleep(kTryPause);
  }
  OutputDataCreate("SDRC08");
  return 1;
}

int CopyFile(const char* source, const char* destination, int /*unused*/) {
  std::FILE* from = tarvek::OpenInput(source);
  if (from == nullptr) return 0;
  std::FILE* to = tarvek::OpenOutput(destination, tarvek::Keep::kNothing);
  if (to == nullptr) {
    std::fclose(from);
    return 0;
  }
  for (int c = std::getc(from); c != EOF; c = std::getc(from)) std::putc(c, to);
  std::fclose(from);
  std::fclose(to);
  return 1;
}

void RemoveProgressFile() {
  const std::string progress = get_xml_file(kProgressFileName);
  for (int attempt = 1; attempt <= kMaxTries; ++attempt) {
    if (unlink(progress.c_str()) == 0) return;
    if (attempt < kMaxTries) usleep(kTryPause);
  }
}
