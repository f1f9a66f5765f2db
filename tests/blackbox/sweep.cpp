#include "tests/blackbox/sweep.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tests/blackbox/error_texts.h"
#include "tests/blackbox/sdr_text.h"

namespace blackbox {
namespace {

constexpr const char* kProgressFile = "Get_ratio.xml_tmp";
constexpr const char* kCache = "sdrversion_HW";
constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Everything that a run of any mode may leave.
constexpr const char* kOutputs[] = {
    "sdrversion_HW",
    "tarvek.log",
    "tarvek_version.log",
    "tarvek_ratio.log",
    "Get_version.xml",
    "Get_ratio.xml",
    "Update_normal.xml",
    "Update_force.xml",
    "Get_ratio.xml_tmp",
    "CFG.TMP",
    "SDR.TMP",
    "BMCSDR.BAK",
    "tarvek_version.old",
};

// The codes that are no error's number.
constexpr const char* kPlainCodes[] = {"OK",     "Complete", "Down Grade", "Duplex", "Busy",
                                       "SDRC01", "SDRC03",   "SDRC04",     "SDRC05", "SDRC06",
                                       "SDRC07", "SDRC08",   "No-Command", ""};

// Errors that are told, and that the run survives: they concern what only echoes the input.
constexpr const char* kSurvived[] = {"SDR065", "SDR073"};

bool IsKnown(const std::string& code) {
  return !ErrorText(code).empty() ||
         std::find(std::begin(kPlainCodes), std::end(kPlainCodes), code) != std::end(kPlainCodes);
}

/// Cuts what stands between `begin` and `end` out of a text.
std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t from = text.find(begin);
  if (from == std::string::npos) return "";
  const std::size_t start = from + begin.size();
  return text.substr(start, text.find(end, start) - start);
}

}  // namespace

const std::vector<Mode> kModes = {
    {"Version", {"-version", "-sdr"}, "Get_version.xml", "OK", "tarvek_version.log"},
    {"Cached", {"-version", "-sdr"}, "Get_version.xml", "OK", "tarvek_version.log", true},
    {"Update", {"-update", "-sdr"}, "Update_normal.xml", "Complete", "tarvek.log"},
    {"Verbose",
     {"-update", "-sdr", "-display", "-test", "-test2"},
     "Update_normal.xml",
     "Complete",
     "tarvek.log"},
    {"Forced", {"-update", "-sdr", "-force"}, "Update_force.xml", "Complete", "tarvek.log"},
    {"Image", {"-update", "-bin", "-force"}, "Update_force.xml", "Complete", "tarvek.log"},
    {"Script", {"-update", "-cfg", "a.cfg"}, "Update_normal.xml", "Complete", "tarvek.log"},
    {"Compare",
     {"-update", "-cfg", "compare.cfg", "-force"},
     "Update_force.xml",
     "SDR032",
     "tarvek.log"},
    {"Direct", {"-direct", "-sdr"}, "", "", "tarvek.log"},
    {"Backup", {"-backup"}, "", "", "tarvek.log"},
    {"Ratio", {"-ratio"}, "Get_ratio.xml", "OK", "tarvek_ratio.log"},
};

void PrintTo(const Mode& mode, std::ostream* out) { *out << mode.name; }

std::string ModeName(const ::testing::TestParamInfo<Mode>& row) { return row.param.name; }

bool FullSweep() {
  const char* const wanted = std::getenv("TARVEK_SWEEP");
  return wanted != nullptr && std::string(wanted) == "full";
}

void ReportRuns(int runs) {
  const char* const count = std::getenv("TARVEK_SWEEP_COUNT");
  if (count == nullptr) return;
  const ::testing::TestInfo* const test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::ofstream(count, std::ios::app)
      << std::to_string(runs) + " " + test->test_suite_name() + "." + test->name() + "\n";
}

void Sweep::SetUp() {
  SimulatedServer::SetUp();
  Write("a.cfg", "SET CPU1\nSDRNAME BMCSDR.SDR\n");
  Write("compare.cfg", "SDRNAME BMCSDR.SDR COMPARE\n");
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  CreateServer(1);
  KeepBmc();
  old_set_ = Repository();
  RunOptions options;
  options.direct = true;
  ASSERT_EQ(Tarvek({"-backup"}, options).exit_status, 0);
  whole_backup_ = Read("BMCSDR.BAK");
  ASSERT_EQ(Tarvek({"-version", "-sdr"}, options).exit_status, 0);
  cache_ = Read(kCache);
  ASSERT_EQ(Tarvek({"-update", "-sdr", "-force"}, options).exit_status, 0);
  ASSERT_EQ(Tarvek({"-backup", "BMCSDR.BIN"}, options).exit_status, 0);
  new_set_ = Repository();
  ASSERT_EQ(new_set_, HexOf(SdrSet(2)));
  ASSERT_NE(new_set_, old_set_);
}

void Sweep::TearDown() {
  SimulatedServer::TearDown();
  ReportRuns(runs_);
}

void Sweep::ResetServer() {
  RestoreBmc();
  for (const char* name : kOutputs) Remove(name);
  if (!GetParam().Asks()) Write(kProgressFile, ResultText("OK", "30"));
  if (GetParam().cached) Write(kCache, cache_);
  TakeCallReport();
}

Outcome Sweep::Run(const RunOptions& options) {
  ResetServer();
  return RunAgain(options);
}

Outcome Sweep::RunAgain(const RunOptions& options) {
  ++runs_;
  ClearTrace();
  RunOptions direct = options;
  direct.direct = true;
  direct.input = "y\n";
  return Tarvek(GetParam().arguments, direct);
}

void Sweep::ExpectOrder(const Outcome& outcome, const Excuses& excuses) {
  EXPECT_EQ(outcome.signal, 0);
  EXPECT_EQ(outcome.exit_status, excuses.exit_status);
  EXPECT_EQ(outcome.errors, "");
  if (!excuses.lock) {
    EXPECT_FALSE(LockExists());
  }
  ExpectWholeSet();
  ExpectSparedModeClosed();
  if (!GetParam().Asks()) return ExpectRatioOrder(excuses);
  if (!excuses.progress_file) {
    EXPECT_FALSE(Exists(kProgressFile));
  }
  ExpectTruth(excuses);
}

void Sweep::ExpectWholeSet() {
  const std::vector<std::string> now = Repository();
  EXPECT_TRUE(now == old_set_ || now == new_set_) << ::testing::PrintToString(now);
}

/// What the result file says of the run, or the log of a run without one, is what has happened.
void Sweep::ExpectTruth(const Excuses& excuses) {
  const Mode& mode = GetParam();
  const bool is_new = ServesNewSet();
  if (!mode.Programs()) {
    EXPECT_FALSE(is_new);
  }
  if (*mode.result_file == '\0') {
    for (const char* name : {"Update_normal.xml", "Update_force.xml", "Get_version.xml"}) {
      EXPECT_FALSE(Exists(name)) << name;
    }
    if (!excuses.log) ExpectTruthInLog(excuses);
    return;
  }
  if (excuses.result) return;
  const std::string code = ResultCode();
  if (mode.IsUpdate()) {
    EXPECT_NE(code, "OK") << "an update's last word";
  }
  if (mode.Programs()) {
    EXPECT_TRUE((code == "Complete") == is_new || (is_new && excuses.late)) << code;
  }
  if (!excuses.log) ExpectFirstErrorTold(code);
}

/// Direct updates and backups tell of their success in the log alone.
void Sweep::ExpectTruthInLog(const Excuses& excuses) {
  const bool direct = GetParam().Programs();
  if (!direct && bmc_lies_) return;  // what is to be saved then is the BMC's secret
  const std::string success =
      direct ? "Programming complete, reboot server for normal operation " : "SDR backup complete.";
  const Words log = Log(GetParam().log);
  EXPECT_EQ(log.back(), "=== Tarvek end ===");
  const bool told = std::count(log.begin(), log.end(), success) == 1;
  const bool done = direct ? ServesNewSet() : HasWholeBackup();
  EXPECT_TRUE(told == done || (done && excuses.late));
}

/// Whether the backup holds what an undisturbed run saves; but it tells when it was made.
bool Sweep::HasWholeBackup() {
  constexpr std::size_t kTime = 12;
  constexpr std::size_t kChecksum = 63;
  std::string backup = Read("BMCSDR.BAK");
  if (backup.size() != whole_backup_.size()) return false;
  std::copy_n(whole_backup_.begin() + kTime, 4, backup.begin() + kTime);
  backup[kChecksum] = whole_backup_[kChecksum];
  return backup == whole_backup_;
}

void Sweep::ExpectDone(const Outcome& outcome, const Excuses& excuses) {
  ExpectOrder(outcome, excuses);
  const Mode& mode = GetParam();
  EXPECT_EQ(ServesNewSet(), mode.Programs());
  if (*mode.result_file != '\0' && !excuses.result) {
    EXPECT_EQ(ResultCode(), mode.code);
  }
  if (mode.IsBackup()) {
    EXPECT_TRUE(HasWholeBackup());
  }
}

/// The result is the first error's, and that of no later one.
void Sweep::ExpectFirstErrorTold(const std::string& code) {
  const std::string lead = "Error, ";
  const Words log = Log(GetParam().log);
  EXPECT_EQ(log.back(), "=== Tarvek end ===");
  const auto first = std::find_if(
      log.begin(), log.end(), [&](const std::string& line) { return line.rfind(lead, 0) == 0; });
  const std::string error = first == log.end() ? "" : first->substr(lead.size());
  if (!ErrorText(code).empty()) {
    EXPECT_EQ(error.rfind(ErrorText(code), 0), 0U) << code << " for: " << error;
    return;
  }
  const bool survived = std::any_of(
      std::begin(kSurvived), std::end(kSurvived),
      [&](const char* survived_code) { return error.rfind(ErrorText(survived_code), 0) == 0; });
  EXPECT_TRUE(error.empty() || survived) << code << " hides: " << error;
}

/// A progress query asks the BMC nothing, takes no lock, and leaves the progress file alone.
void Sweep::ExpectRatioOrder(const Excuses& excuses) {
  EXPECT_TRUE(Requests().empty());
  EXPECT_EQ(Read(kProgressFile), ResultText("OK", "30"));
  if (!excuses.result) ResultCode();
}

std::string Sweep::ResultCode() {
  const std::string text = Read(ResultPath());
  const std::string code = Between(text, "<result_code>", "</result_code>");
  const std::string data = Between(text, "<data>", "</data>");
  EXPECT_EQ(text, ResultText(code, data)) << "not as the tool writes it";
  EXPECT_EQ(text.rfind(kDeclaration, 0), 0U);
  EXPECT_TRUE(IsKnown(code)) << code;
  if (GetParam().IsVersionQuery()) {
    ExpectVersionAnswer(code, text);
  } else {
    EXPECT_EQ(data, !GetParam().Asks() && code == "OK" ? "30" : "");
  }
  return code;
}

void Sweep::ExpectVersionAnswer(const std::string& code, const std::string& text) {
  const std::string word = Between(text, "<cmp>", "</cmp>");
  const std::string version = Between(text, "<version>", "</version>");
  EXPECT_EQ(text, VersionResult(code, word, version));
  if (bmc_lies_) return;
  EXPECT_EQ(word, code == "OK" ? "Upper" : "");
  EXPECT_EQ(version, code == "OK" ? "01.02" : "");
}

void Sweep::ExpectSparedModeClosed() {
  const Words trace = Trace();
  bool open = false;
  for (std::size_t i = 0; i + 1 < trace.size(); ++i) {
    if (trace[i] == "> F8 10 00" && trace[i + 1] == "< FC 10 00") open = true;
    if (trace[i] == "> F8 10 01" || trace[i] == "> F8 10 02") open = false;
  }
  EXPECT_FALSE(open) << ::testing::PrintToString(trace);
}

int Sweep::CountRequests(const std::string& driver) {
  RunOptions options;
  options.driver = driver;
  ExpectOrder(Run(options));
  return static_cast<int>(Requests().size());
}

int Sweep::CountWaits() {
  RunOptions options;
  options.fault = "wait: clock +0";  // leaves a line for each
  ExpectOrder(Run(options));
  const Words trace = Trace();
  return static_cast<int>(std::count(trace.begin(), trace.end(), "! clock +0"));
}

bool Sweep::Struck() {
  const Words trace = Trace();
  return std::any_of(trace.begin(), trace.end(),
                     [](const std::string& line) { return line.find("! ") != std::string::npos; });
}

}  // namespace blackbox
