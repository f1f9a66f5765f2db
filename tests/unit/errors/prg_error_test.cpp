#include "errors/prg_error.h"

#include <climits>
#include <cstring>
#include <filesystem>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "tests/unit/errors/catalogue_texts.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kRequestImage = "Snd: B0 20 ";
constexpr const char* kResponseImage = "Rec: B4 20 C1 ";
constexpr const char* kResultFile = "Update_normal.xml";

class Display : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    StartRun(kNormalUpdate);
  }

  /// A run of its own: what an earlier one has left is gone.
  static void StartRun(int mode) {
    ResetGlobals();
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      std::filesystem::remove(entry.path());
    }
    g_eu_flg = mode;
    std::strcpy(ipmi_snd_image, kRequestImage);
    std::strcpy(ipmi_rcv_image, kResponseImage);
  }

  static std::string ResultCode(int status) {
    std::string digits = std::to_string(status);
    digits.insert(0, 3 - digits.size(), '0');
    return "SDR" + digits;
  }

  /// The log lines of an error with this text.
  static Lines ErrorLines(const std::string& text, bool shows_exchange) {
    Lines lines{"Error, " + text};
    if (shows_exchange) lines.insert(lines.end(), {kRequestImage, kResponseImage});
    return lines;
  }
};

TEST_F(Display, EveryStatusIsLoggedWithItsExtras) {
  for (const CatalogueText& row : kCatalogueTexts) {
    SCOPED_TRACE(row.status);
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(row.status, kFruSdr, 12, "C1"), row.status);
    EXPECT_EQ(LogTexts(), ErrorLines(row.WithExtras(), row.shows_exchange));
    EXPECT_EQ(ReadFile(kResultFile), ResultText(ResultCode(row.status)));
  }
}

TEST_F(Display, EveryStatusIsLoggedWithoutDetail) {
  for (const CatalogueText& row : kCatalogueTexts) {
    SCOPED_TRACE(row.status);
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(row.status, kFruSdr, 12, nullptr), row.status);
    EXPECT_EQ(LogTexts(), ErrorLines(row.Bare(), row.shows_exchange));
    EXPECT_EQ(ReadFile(kResultFile), ResultText(ResultCode(row.status)));
  }
}

TEST_F(Display, ReportIsDisplayWithoutANumber) {
  for (const CatalogueText& row : kCatalogueTexts) {
    SCOPED_TRACE(row.status);
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(row.status, kFruSdr, 0, "C1"), row.status);
    const Lines with_detail = LogTexts();
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Report(row.status, "C1"), row.status);
    EXPECT_EQ(LogTexts(), with_detail);
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(row.status, kFruSdr, 0, nullptr), row.status);
    const Lines without_detail = LogTexts();
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Report(row.status), row.status);
    EXPECT_EQ(LogTexts(), without_detail);
  }
}

TEST_F(Display, SuccessAndWhatWasReportedWriteNothing) {
  struct Case {
    int status;
    int result;
  };
  for (const Case c : {Case{0, 0}, Case{80, 81}, Case{81, 81}}) {
    EXPECT_EQ(pErr.Display(c.status, kFruSdr, 12, "C1"), c.result) << c.status;
    EXPECT_EQ(ConsoleOf([&] { pErr.Display(c.status, kFruSdr, 12, "C1"); }), "");
  }
  EXPECT_TRUE(std::filesystem::is_empty("."));
  EXPECT_TRUE(PrgError::firstError);
}

TEST_F(Display, AStatusOutsideTheCatalogueIsABareError) {
  for (const int status : {82, 90, 255, 1000, -1, -81, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(status);
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(status, kFruSdr, 12, "C1"), 81);
    EXPECT_EQ(ReadFile("tarvek.log"), "2001/09/09 01:46:40  Error, \n");
    EXPECT_EQ(ReadFile(kResultFile), ResultText("SDR081"));
  }
}

TEST_F(Display, AnInvalidCommentShowsItsConversionAsItStands) {
  for (const int number : {0, 7, 65535}) {
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(12, kFruSdr, static_cast<unsigned short>(number), nullptr), 12);
    EXPECT_EQ(LogTexts(), Lines{"Error, invalid comment in configuration file on line %d"});
  }
}

TEST_F(Display, ABadCompletionCodeNamesTheCodeTwice) {
  EXPECT_EQ(pErr.Display(26, kFruSdr, 0, "C1"), 26);
  EXPECT_EQ(LogTexts(),
            (Lines{"Error, failed to receive BMC response, bad completion code code = C1",
                   kRequestImage, kResponseImage}));
}

TEST_F(Display, ABadCompletionCodeWithoutDetailStillShowsTheExchange) {
  EXPECT_EQ(pErr.Display(26, kFruSdr, 0, nullptr), 26);
  EXPECT_EQ(LogTexts(), (Lines{"Error, failed to receive BMC response, bad completion code",
                               kRequestImage, kResponseImage}));
}

TEST_F(Display, TheExchangeIsShownAsItStandsAfterTheLastOne) {
  ipmi_snd_image[0] = '\0';
  ipmi_rcv_image[0] = '\0';
  EXPECT_EQ(pErr.Report(25), 25);
  EXPECT_EQ(LogTexts(), (Lines{"Error, failed to clear the SDR repository", "", ""}));
}

TEST_F(Display, NumbersAreSixteenBitDecimals) {
  struct Case {
    int status;
    unsigned short number;
    const char* line;
  };
  constexpr Case kCases[] = {
      {57, 12, "Error, invalid Sensor Data Record found, number 12"},
      {57, 0, "Error, invalid Sensor Data Record found, number 0"},
      {57, 65535, "Error, invalid Sensor Data Record found, number 65535"},
      {70, 3, "Error, an invalid character was found on line 3"},
      {72, 65535, "Error, line 65535 is too long.  Lines lengths must be 255 characters or less"},
  };
  for (const Case& c : kCases) {
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(c.status, kFruSdr, c.number, nullptr), c.status);
    EXPECT_EQ(LogTexts(), Lines{c.line});
  }
}

TEST_F(Display, DetailsAreShownAsTheyStand) {
  EXPECT_EQ(pErr.Report(66, "%s%n%d"), 66);
  EXPECT_EQ(pErr.Report(59, "%d%s"), 59);
  EXPECT_EQ(pErr.Report(75, ""), 75);
  EXPECT_EQ(pErr.Report(27, ""), 27);
  EXPECT_EQ(LogTexts(),
            (Lines{"Error, failed to open the specified input file %s%n%d",
                   "Error, this program only supports file format version %d%s",
                   "Error, BIN file not Backup file ",
                   "Error, IPMI command retry error command = ", kRequestImage, kResponseImage}));
}

TEST_F(Display, TheTypeIsNotLookedAt) {
  for (const int type : {0, 1, 99}) {
    StartRun(kNormalUpdate);
    EXPECT_EQ(pErr.Display(62, static_cast<ERR_TYPE_FRUSDR>(type), 0, nullptr), 62);
    EXPECT_EQ(LogTexts(), Lines{"Error, parsing SDR file"});
  }
}

TEST_F(Display, LongDetailsAreCut) {
  g_display_flg = 1;
  const std::string detail(5000, 'x');
  const std::string appended = "Error, failed to open the specified input file " + detail;
  EXPECT_EQ(ConsoleOf([&] { pErr.Report(66, detail.c_str()); }), appended.substr(0, 1023) + "\n");
  const std::string formatted = "this program only supports file format version " + detail;
  EXPECT_EQ(ConsoleOf([&] { pErr.Report(59, detail.c_str()); }),
            "Error, " + formatted.substr(0, 255) + "\n");
}

TEST_F(Display, OnlyTheFirstErrorBecomesTheResultCode) {
  EXPECT_EQ(pErr.Report(65), 65);
  EXPECT_FALSE(PrgError::firstError);
  EXPECT_EQ(pErr.Report(2), 2);
  EXPECT_EQ(pErr.Report(90), 81);
  EXPECT_EQ(ReadFile(kResultFile), ResultText("SDR065"));
  EXPECT_EQ(LogTexts(),
            (Lines{"Error, failed to open SDR.TMP file", "Error, insufficient memory", "Error, "}));
}

TEST_F(Display, AnErrorThatWasReportedAlreadyIsNotTheFirstOne) {
  pErr.Report(0);
  pErr.Report(80);
  pErr.Report(81);
  pErr.Report(33);
  EXPECT_EQ(ReadFile(kResultFile), ResultText("SDR033"));
}

TEST_F(Display, EachUnattendedModeRecordsInItsOwnFile) {
  struct Case {
    int mode;
    const char* file;
    const char* data;
  };
  constexpr Case kCases[] = {
      {kVersionQuery, "Get_version.xml", "<cmp></cmp><version></version>"},
      {kNormalUpdate, "Update_normal.xml", ""},
      {kForcedUpdate, "Update_force.xml", ""},
  };
  for (const Case& c : kCases) {
    StartRun(c.mode);
    EXPECT_EQ(pErr.Report(11), 11);
    EXPECT_EQ(ReadFile(c.file), ResultText("SDR011", c.data));
  }
}

TEST_F(Display, DirectRunsAndBackupsLogButRecordNothing) {
  struct Case {
    int mode;
    int direct;
  };
  for (const Case c : {Case{kNormalUpdate, 1}, Case{kForcedUpdate, 1}, Case{kBackup, 0}}) {
    StartRun(c.mode);
    g_direct_flg = c.direct;
    EXPECT_EQ(pErr.Report(65), 65);
    EXPECT_EQ(pErr.Report(2), 2);
    EXPECT_EQ(LogTexts(),
              (Lines{"Error, failed to open SDR.TMP file", "Error, insufficient memory"}));
    EXPECT_TRUE(PrgError::firstError);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1) << "the log alone";
  }
}

TEST_F(Display, InteractiveRunsSeeTheMessageOnTheConsole) {
  g_direct_flg = 1;
  g_display_flg = 1;
  testing::internal::CaptureStderr();
  EXPECT_EQ(ConsoleOf([] { pErr.Report(4); }),
            std::string("Error, SDR record read error from BMC\n") + kRequestImage + "\n" +
                kResponseImage + "\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Display, UnattendedRunsSayNothingOnTheConsole) {
  EXPECT_EQ(ConsoleOf([] { pErr.Report(4); }), "");
}

TEST_F(Display, AResultFileThatCannotBeWrittenIsNotLookedAt) {
  xml_path = "missing/";
  EXPECT_EQ(pErr.Report(65), 65);
  EXPECT_FALSE(PrgError::firstError);
  EXPECT_EQ(LogTexts(), Lines{"Error, failed to open SDR.TMP file"});
}

TEST_F(Display, TheLineIsLoggedBeforeTheResultIsHeldBack) {
  ok_start_time = machine().now;
  std::string logged;
  machine().on_sleep = [&](std::uint64_t) { logged = ReadFile("tarvek.log"); };
  EXPECT_EQ(pErr.Report(33), 33);
  EXPECT_EQ(machine().sleeps, std::vector<std::uint64_t>{30000000});
  EXPECT_EQ(logged, ReadFile("tarvek.log"));
  EXPECT_EQ(LogTexts(), ErrorLines("SDR file unsuccessfully written", true));
}

}  // namespace
}  // namespace tarvek_test
