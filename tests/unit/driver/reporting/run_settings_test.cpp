#include "driver/reporting/run_settings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/single_run_lock.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

// No fixture: the values are what a new process starts with.
TEST(RunSettings, StartWithTheirDefaults) {
  EXPECT_EQ(g_eu_flg, 0);
  EXPECT_EQ(g_force_flg, 2);
  EXPECT_EQ(g_option_flg, 0);
  EXPECT_EQ(g_direct_flg, 0);
  EXPECT_EQ(g_display_flg, 0);
  EXPECT_EQ(gTestFlag, 0);
  EXPECT_EQ(gTest2Flag, 0);
  EXPECT_EQ(gMemAllocFlag, 0);
  EXPECT_STREQ(sdr_filename, "BMCSDR.SDR");
  EXPECT_EQ(cfg_filename, nullptr);
  EXPECT_STREQ(bin_filename, "BMCSDR.BIN");
  EXPECT_STREQ(backup_filename, "BMCSDR.BAK");
  EXPECT_EQ(g_HW_sdr_version, "");
  EXPECT_EQ(g_input_sdr_version, "");
  EXPECT_EQ(gCFGIdentifyOEMSDR, "");
}

TEST(RunSettings, TuningOptionsStartWithTheirDefaults) {
  EXPECT_EQ(ff_retry, 10);
  EXPECT_EQ(other_retry, 3);
  EXPECT_EQ(retry_wait, 10000000);
  EXPECT_EQ(lock_retry, 1);
  EXPECT_EQ(lock_wait, 60);
  EXPECT_EQ(CommandWaitTimeoutPeriod, 15000000);
  EXPECT_EQ(IpmbWaitTimeoutPeriod, 15000000);
  EXPECT_EQ(BusyWaitTimeoutPeriod, 10000000);
  EXPECT_EQ(sizeof(CommandWaitTimeoutPeriod), 8U);
  EXPECT_EQ(sizeof(IpmbWaitTimeoutPeriod), 8U);
  EXPECT_EQ(sizeof(BusyWaitTimeoutPeriod), 8U);
}

TEST(RunSettings, ReportingStartsWithItsDefaults) {
  EXPECT_EQ(xml_path, "");
  EXPECT_EQ(g_ratio, 0);
  EXPECT_EQ(ok_start_time, 0);
  EXPECT_EQ(type2_wait_time, 30);
  EXPECT_EQ(sem_ptr.load(), nullptr);
}

class UpdateModes : public FreshRun {};

TEST_F(UpdateModes, AnUpdateIsUnattendedUnlessItIsDirect) {
  for (int mode = 0; mode <= kProgressQuery; ++mode) {
    const bool update = mode == 2 || mode == 3;
    g_eu_flg = mode;
    g_direct_flg = 0;
    EXPECT_EQ(tarvek::IsUpdate(), update) << mode;
    EXPECT_EQ(tarvek::IsUnattendedUpdate(), update) << mode;
    g_direct_flg = 1;
    EXPECT_EQ(tarvek::IsUpdate(), update) << mode;
    EXPECT_FALSE(tarvek::IsUnattendedUpdate()) << mode;
  }
}

bool IsNameCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

/// Whether `source` uses `name` as a whole word.
bool Mentions(std::string_view source, std::string_view name) {
  for (std::size_t at = source.find(name); at != std::string_view::npos;
       at = source.find(name, at + 1)) {
    const std::size_t end = at + name.size();
    const bool begins = at == 0 || !IsNameCharacter(source[at - 1]);
    const bool ends = end == source.size() || !IsNameCharacter(source[end]);
    if (begins && ends) return true;
  }
  return false;
}

/// The product's sources that use `name`, sorted.
std::vector<std::string> FilesThatMention(std::string_view name) {
  const std::filesystem::path top(SOURCE_DIRECTORY);
  std::vector<std::string> files;
  for (const char* folder : {"driver", "errors", "sdrfile", "transport", "repository", "config"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(top / folder)) {
      const auto extension = entry.path().extension();
      if (extension != ".h" && extension != ".cpp") continue;
      if (!Mentions(ReadFile(entry.path().string()), name)) continue;
      files.push_back(entry.path().lexically_relative(top).string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

constexpr std::array<const char*, 8> kTuningSettings{"ff_retry",
                                                     "other_retry",
                                                     "retry_wait",
                                                     "lock_retry",
                                                     "lock_wait",
                                                     "CommandWaitTimeoutPeriod",
                                                     "IpmbWaitTimeoutPeriod",
                                                     "BusyWaitTimeoutPeriod"};

TEST(TuningOptions, AreStoredByTheCommandLineAndReadByNothing) {
  const std::vector<std::string> expected{"driver/command_line.cpp",
                                          "driver/reporting/run_settings.h"};
  for (const char* setting : kTuningSettings) {
    EXPECT_EQ(FilesThatMention(setting), expected) << setting;
  }
}

TEST(LogFileCount, IsReadByNothing) {
  EXPECT_EQ(FilesThatMention("g_log_file_count"),
            (std::vector<std::string>{"driver/reporting/history_log.h"}));
}

}  // namespace
}  // namespace tarvek_test
