#include "driver/reporting/result_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/output_file.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_file.h"

namespace {

constexpr const char* kCallerInfoFile = "ZetaInfo.xml";
constexpr std::string_view kOneUp = "../";
constexpr std::size_t kLongestName = 17;  // "Update_normal.xml", "Get_ratio.xml_tmp"
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

bool FileExists(const char* path) { return access(path, F_OK) == 0; }

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

/// What stands around the three data of a result file.
using Markup = std::array<std::string_view, 4>;

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<Response><result_code>";
constexpr Markup kOneDatum{kHead, "</result_code><data>", "", "</data></Response>\n"};
constexpr Markup kVersions{kHead, "</result_code><data><cmp>", "</cmp><version>",
                           "</version></data></Response>\n"};

/// Puts the data in their places. What the text has no room for is cut off the data: the markup is
/// whole always.
tarvek::Text Compose(const Markup& markup, const std::array<std::string_view, 3>& data) {
  std::size_t room = tarvek::kTextSize - 1;
  for (const std::string_view piece : markup) room -= piece.size();
  tarvek::Text text;
  for (std::size_t i = 0; i < data.size(); ++i) {
    const std::string_view datum = data[i].substr(0, room);
    room -= datum.size();
    text.Append(markup[i]).Append(datum);
  }
  return text.Append(markup.back());
}

tarvek::Text ResultText(int mode, std::string_view code, std::string_view data1,
                        std::string_view data2) {
  switch (mode) {
    case kVersionQuery:
      return Compose(kVersions, {code, data1, data2});
    case kProgressFile:
    case kProgressQuery:
      return Compose(kOneDatum, {code, data1, ""});
    default:
      return Compose(kOneDatum, {code, "", ""});
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

ssize_t ReadFromStart(int fd, std::span<char> buffer) {
  if (lseek(fd, 0, SEEK_SET) != 0) return -1;
  ssize_t length = 0;
  do {
    length = read(fd, buffer.data(), buffer.size());
  } while (length < 0 && errno == EINTR);
  return length;
}

/// Reads a file that another run may be replacing: all of it with one read, the same twice over, or
/// not at all.
/// @return the bytes read, or -1.
ssize_t ReadAtOnce(int fd, std::span<char> buffer) {
  static std::array<char, tarvek::kLongestOutput> again;  // more than a small stack has room for
  const ssize_t length = ReadFromStart(fd, buffer);
  if (length < 0 || ReadFromStart(fd, again) != length) return -1;
  if (!std::equal(again.begin(), again.begin() + length, buffer.begin())) return -1;
  struct stat info {};
  return fstat(fd, &info) == 0 && info.st_size == length ? length : -1;
}

}  // namespace

void set_xml_path() {
  xml_path = "";
  if (FileExists(kCallerInfoFile)) return;
  const std::unique_ptr<char, decltype(&std::free)> directory(get_current_dir_name(), &std::free);
  if (directory == nullptr) return;
  const std::string_view name(directory.get());
  const auto levels = static_cast<std::size_t>(std::count(name.begin(), name.end(), '/'));
  // Further up than this no path leads: what is there cannot be opened by its name.
  constexpr std::size_t kMostLevels = (PATH_MAX - 1 - kLongestName) / kOneUp.size();
  tarvek::PathText prefix;
  for (std::size_t level = 1; level <= std::min(levels, kMostLevels); ++level) {
    prefix.Append(kOneUp);
    if (FileExists(tarvek::PathText(prefix).Append(kCallerInfoFile).c_str())) {
      xml_path = prefix;
      return;
    }
  }
}

tarvek::PathText get_xml_file(const char* name) { return tarvek::PathText(xml_path).Append(name); }

int XmlWrite(int mode, std::string_view code, std::string_view data1, std::string_view data2) {
  if (g_direct_flg == 1 || g_eu_flg == kNoMode) return 0;
  if ((mode == kNormalUpdate || mode == kForcedUpdate) && ok_start_time != 0) HoldFinalResult();

  const char* name = ResultFileName(mode);
  if (name == nullptr) return 0;
  const tarvek::PathText path = get_xml_file(name);
  const tarvek::Text text = ResultText(mode, code, data1, data2);
  const tarvek::Written written = tarvek::WriteOutput(path.c_str(), tarvek::Keep::kNothing, text);
  return written == tarvek::Written::kWhole ? 0 : 1;
}

void OutputDataCreate(std::string_view code) {
  Bmc_HistoryLog(GetErrorMessage(code));
  if (g_direct_flg != 1 && g_eu_flg != kBackup) XmlWrite(g_eu_flg, code, "", "");
}

std::string_view GetErrorMessage(std::string_view code) {
  const auto* const found = std::find_if(kCodeMessages.begin(), kCodeMessages.end(),
                                         [&](const CodeMessage& row) { return row.code == code; });
  return found != kCodeMessages.end() ? found->message : "";
}

tarvek::Text IntToString(int /*ratio*/) { return tarvek::Format("%d", g_ratio); }

int CopyXmlFile() {
  const tarvek::PathText progress = get_xml_file(kProgressFileName);
  if (!FileExists(progress.c_str())) return XmlWrite(kProgressQuery, "No-Command", "", "");

  const tarvek::PathText answer = get_xml_file(kProgressAnswerName);
  for (int attempt = 1; attempt <= kMaxTries; ++attempt) {
    if (CopyFile(progress.c_str(), answer.c_str(), 0) == 1) return 0;
    if (attempt < kMaxTries) usleep(kTryPause);
  }
  OutputDataCreate("SDRC08");
  return 1;
}

int CopyFile(const char* source, const char* destination, int /*unused*/) {
  static std::array<char, tarvek::kLongestOutput> bytes;  // more than a small stack has room for
  const int from = tarvek::OpenOwnInput(source);
  if (from < 0) return 0;
  const ssize_t length = ReadAtOnce(from, bytes);
  close(from);
  if (length < 0) return 0;
  const std::string_view text(bytes.data(), static_cast<std::size_t>(length));
  const tarvek::Written written = tarvek::WriteOutput(destination, tarvek::Keep::kNothing, text);
  return written == tarvek::Written::kNotOpened ? 0 : 1;
}

void RemoveProgressFile() {
  const tarvek::PathText progress = get_xml_file(kProgressFileName);
  for (int attempt = 1; attempt <= kMaxTries; ++attempt) {
    if (unlink(progress.c_str()) == 0) return;
    if (attempt < kMaxTries) usleep(kTryPause);
  }
}
