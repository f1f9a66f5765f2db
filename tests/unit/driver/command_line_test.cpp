#include "driver/command_line.h"

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace {

using tarvek_test::ResetGlobals;
using Words = std::vector<std::string>;

class CommandLine : public tarvek_test::FreshRun {
 protected:
  bool Parse(const Words& words) {
    words_ = words;
    arguments_.clear();
    for (std::string& word : words_) arguments_.push_back(word.data());
    ResetGlobals();
    return tarvek::ParseCommandLine(arguments_);
  }

 private:
  Words words_;
  std::vector<char*> arguments_;
};

TEST_F(CommandLine, LeavesSettingsAloneThatAreNotGiven) {
  ASSERT_TRUE(Parse({"-update", "-sdr"}));
  EXPECT_EQ(g_force_flg, 2);
  EXPECT_EQ(g_direct_flg, 0);
  EXPECT_EQ(g_display_flg, 0);
  EXPECT_EQ(gTestFlag, 0);
  EXPECT_EQ(gTest2Flag, 0);
  EXPECT_EQ(gMemAllocFlag, 0);
  EXPECT_STREQ(sdr_filename, "BMCSDR.SDR");
  EXPECT_EQ(cfg_filename, nullptr);
  EXPECT_STREQ(bin_filename, "BMCSDR.BIN");
  EXPECT_STREQ(backup_filename, "BMCSDR.BAK");
  EXPECT_EQ(ff_retry, 10);
  EXPECT_EQ(other_retry, 3);
  EXPECT_EQ(retry_wait, 10000000);
  EXPECT_EQ(lock_retry, 1);
  EXPECT_EQ(lock_wait, 60);
  EXPECT_EQ(CommandWaitTimeoutPeriod, 15000000);
  EXPECT_EQ(IpmbWaitTimeoutPeriod, 15000000);
  EXPECT_EQ(BusyWaitTimeoutPeriod, 10000000);
}

struct ModeRow {
  Words words;
  int mode;
  int input;
  int direct;
  int display;
};

TEST_F(CommandLine, SetsTheModeAndItsFlags) {
  const ModeRow rows[] = {
      {{"-version", "-sdr"}, 1, 1, 0, 0},
      {{"-update", "-sdr"}, 2, 1, 0, 0},
      {{"-update", "-cfg"}, 2, 2, 0, 0},
      {{"-update", "-bin"}, 2, 3, 0, 0},
      {{"-update", "-sdr", "-force"}, 3, 1, 0, 0},
      {{"-force", "-update", "-bin"}, 3, 3, 0, 0},
      {{"-direct", "-sdr"}, 2, 1, 1, 1},
      {{"-direct", "-sdr", "-force"}, 3, 1, 1, 1},
      {{"-backup"}, 6, 0, 0, 1},
      {{"-ratio"}, 7, 0, 0, 0},
      {{"-ratio", "-display"}, 7, 0, 0, 1},
  };
  for (const ModeRow& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    EXPECT_TRUE(Parse(row.words));
    EXPECT_EQ(g_eu_flg, row.mode);
    EXPECT_EQ(g_option_flg, row.input);
    EXPECT_EQ(g_direct_flg, row.direct);
    EXPECT_EQ(g_display_flg, row.display);
  }
}

TEST_F(CommandLine, TakesAValueThatDoesNotBeginWithAMinus) {
  ASSERT_TRUE(Parse({"-update", "-sdr", "a.sdr"}));
  EXPECT_STREQ(sdr_filename, "a.sdr");
  ASSERT_TRUE(Parse({"-update", "-cfg", "a.cfg"}));
  EXPECT_STREQ(cfg_filename, "a.cfg");
  ASSERT_TRUE(Parse({"-update", "-bin", "a.bin"}));
  EXPECT_STREQ(bin_filename, "a.bin");
  ASSERT_TRUE(Parse({"-backup", "a.bak"}));
  EXPECT_STREQ(backup_filename, "a.bak");
  ASSERT_TRUE(Parse({"-update", "-sdr", ""}));
  EXPECT_STREQ(sdr_filename, "");
}

TEST_F(CommandLine, KeepsTheDefaultBeforeTheNextOption) {
  ASSERT_TRUE(Parse({"-sdr", "-update"}));
  EXPECT_STREQ(sdr_filename, "BMCSDR.SDR");
  ASSERT_TRUE(Parse({"-cfg", "-update"}));
  EXPECT_EQ(cfg_filename, nullptr);
}

TEST_F(CommandLine, StoresTheTuningOptions) {
  ASSERT_TRUE(
      Parse({"-update", "-sdr", "-ff_retry", "1", "-other_retry", "2x", "-wait", "x", "-lock_retry",
             "+4", "-lock_wait", " 5", "-C_wait", "6", "-I_wait", "7", "-B_wait", "8"}));
  EXPECT_EQ(ff_retry, 1);
  EXPECT_EQ(other_retry, 2);
  EXPECT_EQ(retry_wait, 0);
  EXPECT_EQ(lock_retry, 4);
  EXPECT_EQ(lock_wait, 5);
  EXPECT_EQ(CommandWaitTimeoutPeriod, 6);
  EXPECT_EQ(IpmbWaitTimeoutPeriod, 7);
  EXPECT_EQ(BusyWaitTimeoutPeriod, 8);
}

TEST_F(CommandLine, KeepsATuningOptionWithoutAValue) {
  ASSERT_TRUE(Parse({"-update", "-sdr", "-ff_retry", "-wait", "-B_wait"}));
  EXPECT_EQ(ff_retry, 10);
  EXPECT_EQ(retry_wait, 10000000);
  EXPECT_EQ(BusyWaitTimeoutPeriod, 10000000);
}

TEST_F(CommandLine, SetsTheTestSwitches) {
  ASSERT_TRUE(Parse({"-update", "-sdr", "-test", "-TEST2", "-Display"}));
  EXPECT_EQ(gTestFlag, 1);
  EXPECT_EQ(gTest2Flag, 1);
  EXPECT_EQ(g_display_flg, 1);
}

struct RefusedRow {
  Words words;
  int mode;  // as far as it was set
};

TEST_F(CommandLine, RefusesWhatDoesNotGoTogether) {
  const RefusedRow rows[] = {
      {{}, 0},
      {{"-sdr"}, 0},
      {{"-force"}, 0},
      {{"update"}, 0},
      {{""}, 0},
      {{"-update", "-update", "-sdr"}, 2},
      {{"-direct", "-version"}, 2},
      {{"-backup", "-ratio"}, 6},
      {{"-update"}, 2},
      {{"-update", "-force"}, 2},
      {{"-version"}, 1},
      {{"-version", "-sdr", "-force"}, 1},
      {{"-update", "-sdr", "-cfg"}, 2},
      {{"-update", "-bin", "-bin"}, 2},
      {{"-backup", "-sdr"}, 6},
      {{"-ratio", "-cfg"}, 7},
      {{"-backup", "-force"}, 6},
      {{"-ratio", "-force"}, 7},
      {{"-update", "-sdr", "a", "b"}, 2},
      {{"-update", "-force", "-sdr", "-bogus"}, 2},
  };
  for (const RefusedRow& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    EXPECT_FALSE(Parse(row.words));
    EXPECT_EQ(g_eu_flg, row.mode);
  }
}

TEST_F(CommandLine, StopsAtARefusedOptionBeforeItsEffects) {
  EXPECT_FALSE(Parse({"-version", "-direct", "-display"}));
  EXPECT_EQ(g_direct_flg, 0);
  EXPECT_EQ(g_display_flg, 0);
  EXPECT_FALSE(Parse({"-version", "-backup", "x"}));
  EXPECT_STREQ(backup_filename, "BMCSDR.BAK");
  EXPECT_FALSE(Parse({"-sdr", "-cfg", "x", "-update"}));
  EXPECT_EQ(cfg_filename, nullptr);
}

}  // namespace
