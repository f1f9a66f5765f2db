#include "driver/reporting/history_log.h"

#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <numeric>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

// The fake machine's clock stands at second 1000000000.
constexpr const char* kStamp = "2001/09/09 01:46:40  ";

std::string Line(const std::string& text) { return kStamp + text + "\n"; }

class HistoryLog : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
  }
};

TEST_F(HistoryLog, AppendsOneStampedLinePerCall) {
  Bmc_HistoryLog("=== Tarvek start ===");
  machine().now += 1;
  Bmc_HistoryLog("second");
  EXPECT_EQ(ReadFile("tarvek.log"),
            "2001/09/09 01:46:40  === Tarvek start ===\n2001/09/09 01:46:41  second\n");
}

TEST_F(HistoryLog, KeepsWhatTheLogHeldBefore) {
  WriteFile("tarvek.log", "an older run\n");
  Bmc_HistoryLog("this run");
  EXPECT_EQ(ReadFile("tarvek.log"), "an older run\n" + Line("this run"));
}

TEST_F(HistoryLog, PadsEveryPieceOfTheStamp) {
  constexpr std::array<std::pair<std::time_t, const char*>, 5> kCases{{
      {0, "1970/01/01 00:00:00  x\n"},
      {981173106, "2001/02/03 04:05:06  x\n"},
      {951782400, "2000/02/29 00:00:00  x\n"},
      {1735689599, "2024/12/31 23:59:59  x\n"},
      {4102444800, "2100/01/01 00:00:00  x\n"},
  }};
  for (const auto& [now, line] : kCases) {
    std::filesystem::remove("tarvek.log");
    machine().now = now;
    Bmc_HistoryLog("x");
    EXPECT_EQ(ReadFile("tarvek.log"), line);
  }
}

TEST_F(HistoryLog, StampsInLocalTime) {
  setenv("TZ", "JST-9", 1);
  Bmc_HistoryLog("in Tokyo");
  setenv("TZ", "UTC", 1);
  EXPECT_EQ(ReadFile("tarvek.log"), "2001/09/09 10:46:40  in Tokyo\n");
}

TEST_F(HistoryLog, ChoosesTheFileByRunMode) {
  struct Case {
    int mode;
    const char* file;
  };
  constexpr std::array<Case, 9> kCases{{{kNoMode, "tarvek.log"},
                                        {kVersionQuery, "tarvek_version.log"},
                                        {kNormalUpdate, "tarvek.log"},
                                        {kForcedUpdate, "tarvek.log"},
                                        {4, "tarvek.log"},
                                        {kProgressFile, "tarvek.log"},
                                        {kBackup, "tarvek.log"},
                                        {kProgressQuery, "tarvek_ratio.log"},
                                        {-1, "tarvek.log"}}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.mode);
    g_eu_flg = c.mode;
    ConsoleOf([] { Bmc_HistoryLog("text"); });
    EXPECT_EQ(ReadFile(c.file), Line("text"));
    for (const char* name : {"tarvek.log", "tarvek_version.log", "tarvek_ratio.log"}) {
      EXPECT_EQ(std::filesystem::exists(name), std::string(name) == c.file) << name;
      std::filesystem::remove(name);
    }
  }
}

TEST_F(HistoryLog, OpensTheFileForEachLine) {
  Bmc_HistoryLog("before");
  std::filesystem::rename("tarvek.log", "moved.log");
  Bmc_HistoryLog("after");
  EXPECT_EQ(ReadFile("moved.log"), Line("before"));
  EXPECT_EQ(ReadFile("tarvek.log"), Line("after"));
}

TEST_F(HistoryLog, AnEmptyTextLeavesTheStampAlone) {
  Bmc_HistoryLog("");
  EXPECT_EQ(ReadFile("tarvek.log"), Line(""));
}

TEST_F(HistoryLog, ATextThatEndsWithALineFeedIsFollowedByAnEmptyLine) {
  g_display_flg = 1;
  EXPECT_EQ(ConsoleOf([] { Bmc_HistoryLog("done\n"); }), "done\n");
  EXPECT_EQ(ReadFile("tarvek.log"), Line("done\n"));
}

TEST_F(HistoryLog, EchoesWithoutStampInADisplayedRunAndWithoutARunMode) {
  struct Case {
    int mode;
    int display;
    const char* console;
  };
  constexpr std::array<Case, 9> kCases{{{kNoMode, 0, "text\n"},
                                        {kNoMode, 1, "text\n"},
                                        {kVersionQuery, 0, ""},
                                        {kVersionQuery, 1, "text\n"},
                                        {kNormalUpdate, 0, ""},
                                        {kNormalUpdate, 1, "text\n"},
                                        {kForcedUpdate, 1, "text\n"},
                                        {kBackup, 1, "text\n"},
                                        {kProgressQuery, 0, ""}}};
  for (const Case& c : kCases) {
    g_eu_flg = c.mode;
    g_display_flg = c.display;
    EXPECT_EQ(ConsoleOf([] { Bmc_HistoryLog("text"); }), c.console)
        << "mode " << c.mode << " display " << c.display;
  }
}

TEST_F(HistoryLog, EchoesAnEmptyTextAsAnEmptyLine) {
  g_display_flg = 1;
  EXPECT_EQ(ConsoleOf([] { Bmc_HistoryLog(""); }), "\n");
}

TEST_F(HistoryLog, NeverTakesATextForAFormat) {
  g_display_flg = 1;
  const char* const text = "100% of %s %n %1000000d %%";
  EXPECT_EQ(ConsoleOf([&] { Bmc_HistoryLog(text); }), std::string(text) + "\n");
  EXPECT_EQ(ReadFile("tarvek.log"), Line(text));
}

TEST_F(HistoryLog, CutsALineThatExceedsItsBuffer) {
  constexpr std::size_t kLongestText = 1023 - 21;
  const std::string fits(kLongestText, 'x');
  Bmc_HistoryLog(fits);
  Bmc_HistoryLog(fits + "y");
  Bmc_HistoryLog(std::string(100000, 'x'));
  EXPECT_EQ(ReadFile("tarvek.log"), Line(fits) + Line(fits) + Line(fits));
}

TEST_F(HistoryLog, EchoesALongTextWhole) {
  g_display_flg = 1;
  const std::string text(5000, 'x');
  EXPECT_EQ(ConsoleOf([&] { Bmc_HistoryLog(text); }), text + "\n");
}

TEST_F(HistoryLog, LosesTheLineSilentlyWhenTheLogCannotBeOpened) {
  std::filesystem::create_directory("tarvek.log");
  testing::internal::CaptureStderr();
  const std::string shown = ConsoleOf([] { Bmc_HistoryLog("lost"); });
  EXPECT_EQ(shown, "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(std::filesystem::is_empty("tarvek.log"));
  std::filesystem::remove("tarvek.log");
  Bmc_HistoryLog("written");
  EXPECT_EQ(ReadFile("tarvek.log"), Line("written"));
}

TEST_F(HistoryLog, EchoesEvenWhenTheLogCannotBeOpened) {
  std::filesystem::create_directory("tarvek.log");
  g_display_flg = 1;
  EXPECT_EQ(ConsoleOf([] { Bmc_HistoryLog("shown"); }), "shown\n");
}

TEST_F(HistoryLog, LogsAnExchangeAsTwoLinesOfBytes) {
  constexpr std::array<unsigned char, 2> kRequest{0x18, 0x01};
  constexpr std::array<unsigned char, 4> kResponse{0x1C, 0x01, 0x00, 0xAF};
  OutputBmcAccessLog(kRequest.data(), kResponse.data(), kRequest.size(), kResponse.size());
  EXPECT_EQ(ReadFile("tarvek.log"), Line("request  = 18 01 ") + Line("response = 1C 01 00 AF "));
}

TEST_F(HistoryLog, LogsAnExchangeWithoutBytes) {
  OutputBmcAccessLog(nullptr, nullptr, 0, 0);
  EXPECT_EQ(ReadFile("tarvek.log"), Line("request  = ") + Line("response = "));
}

TEST_F(HistoryLog, LogsTheLongestExchangeWhole) {
  std::array<unsigned char, 255> bytes{};
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  std::string image;
  for (const unsigned char byte : bytes) {
    image += "0123456789ABCDEF"[byte / 16];
    image += "0123456789ABCDEF"[byte % 16];
    image += ' ';
  }
  OutputBmcAccessLog(bytes.data(), bytes.data(), 255, 255);
  EXPECT_EQ(ReadFile("tarvek.log"), Line("request  = " + image) + Line("response = " + image));
}

TEST_F(HistoryLog, EchoesAnExchange) {
  constexpr std::array<unsigned char, 1> kByte{0xC1};
  g_display_flg = 1;
  EXPECT_EQ(ConsoleOf([&] { OutputBmcAccessLog(kByte.data(), kByte.data(), 1, 1); }),
            "request  = C1 \nresponse = C1 \n");
}

constexpr std::uintmax_t kRotationLimit = 2000000;

void WriteFileOfSize(const char* name, std::uintmax_t size) {
  WriteFile(name, std::string(name) + " begins\n");
  std::filesystem::resize_file(name, size);
}

TEST_F(HistoryLog, RotatesTheVersionLogThatIsLargerThanTheLimit) {
  WriteFileOfSize("tarvek_version.log", kRotationLimit + 1);
  const std::string before = ReadFile("tarvek_version.log");
  RotateVersionLog();
  EXPECT_FALSE(std::filesystem::exists("tarvek_version.log"));
  EXPECT_EQ(ReadFile("tarvek_version.old"), before);
}

TEST_F(HistoryLog, LeavesAVersionLogUpToTheLimit) {
  for (const std::uintmax_t size : {kRotationLimit, kRotationLimit - 1, std::uintmax_t{0}}) {
    WriteFileOfSize("tarvek_version.log", size);
    RotateVersionLog();
    EXPECT_EQ(std::filesystem::file_size("tarvek_version.log"), size);
    EXPECT_FALSE(std::filesystem::exists("tarvek_version.old"));
  }
}

TEST_F(HistoryLog, KeepsOneOldGenerationOfTheVersionLog) {
  WriteFile("tarvek_version.old", "the generation before\n");
  WriteFileOfSize("tarvek_version.log", kRotationLimit + 1);
  RotateVersionLog();
  EXPECT_EQ(std::filesystem::file_size("tarvek_version.old"), kRotationLimit + 1);
  EXPECT_EQ(ReadFile("tarvek_version.old").rfind("tarvek_version.log begins\n", 0), 0U);
}

TEST_F(HistoryLog, RotatesAVersionLogThatIsItsOldGenerationToo) {
  WriteFileOfSize("tarvek_version.log", kRotationLimit + 1);
  std::filesystem::create_hard_link("tarvek_version.log", "tarvek_version.old");
  RotateVersionLog();
  EXPECT_FALSE(std::filesystem::exists("tarvek_version.log"));
  EXPECT_EQ(std::filesystem::file_size("tarvek_version.old"), kRotationLimit + 1);
}

TEST_F(HistoryLog, KeepsTheOldGenerationWhileTheLogIsSmallOrMissing) {
  WriteFile("tarvek_version.old", "old\n");
  RotateVersionLog();
  EXPECT_EQ(ReadFile("tarvek_version.old"), "old\n");
  WriteFileOfSize("tarvek_version.log", kRotationLimit);
  RotateVersionLog();
  EXPECT_EQ(ReadFile("tarvek_version.old"), "old\n");
}

TEST_F(HistoryLog, APipeInPlaceOfTheVersionLogDoesNotHoldTheRotationUp) {
  ASSERT_EQ(mkfifo("tarvek_version.log", 0600), 0);
  RotateVersionLog();
  EXPECT_TRUE(std::filesystem::is_fifo("tarvek_version.log"));
}

TEST_F(HistoryLog, LetsTheOtherLogsGrow) {
  WriteFileOfSize("tarvek.log", 2 * kRotationLimit);
  WriteFileOfSize("tarvek_ratio.log", 2 * kRotationLimit);
  RotateVersionLog();
  EXPECT_EQ(std::filesystem::file_size("tarvek.log"), 2 * kRotationLimit);
  EXPECT_EQ(std::filesystem::file_size("tarvek_ratio.log"), 2 * kRotationLimit);
  EXPECT_FALSE(std::filesystem::exists("tarvek_version.old"));
}

}  // namespace
}  // namespace tarvek_test
