#include "driver/reporting/result_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <numeric>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using Lines = std::vector<std::string>;
using Sleeps = std::vector<std::uint64_t>;

constexpr std::uint64_t kSecond = 1000000;
constexpr std::uint64_t kRetryPause = 500000;
constexpr const char* kProgressFileName = "Get_ratio.xml_tmp";
constexpr const char* kAnswerName = "Get_ratio.xml";

/// Every file below the working directory, sorted.
Lines Files() {
  Lines names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
    if (entry.is_regular_file()) names.push_back(entry.path().lexically_normal().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class ResultFiles : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
  }
};

struct ResultFile {
  int mode;
  const char* name;
  const char* data;  // for the data texts "D1" and "D2"
  const char* none;  // for empty data texts
};

constexpr std::array<ResultFile, 5> kResultFiles{{
    {1, "Get_version.xml", "<cmp>D1</cmp><version>D2</version>", "<cmp></cmp><version></version>"},
    {2, "Update_normal.xml", "", ""},
    {3, "Update_force.xml", "", ""},
    {5, "Get_ratio.xml_tmp", "D1", ""},
    {7, "Get_ratio.xml", "D1", ""},
}};

TEST_F(ResultFiles, EachModeHasItsFileAndItsData) {
  for (const ResultFile& file : kResultFiles) {
    SCOPED_TRACE(file.name);
    EXPECT_EQ(XmlWrite(file.mode, "CODE", "D1", "D2"), 0);
    EXPECT_EQ(Files(), Lines{file.name});
    EXPECT_EQ(ReadFile(file.name), std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                               "<Response><result_code>CODE</result_code><data>") +
                                       file.data + "</data></Response>\n");
    EXPECT_EQ(XmlWrite(file.mode, "", "", ""), 0);
    EXPECT_EQ(ReadFile(file.name), ResultText("", file.none));
    std::filesystem::remove(file.name);
  }
}

TEST_F(ResultFiles, TheFileIsChosenByTheModeThatIsGivenNotByTheRunMode) {
  for (const int run_mode : {1, 2, 3, 7}) {
    g_eu_flg = run_mode;
    EXPECT_EQ(XmlWrite(5, "OK", "30", ""), 0);
    EXPECT_EQ(Files(), Lines{kProgressFileName});
    std::filesystem::remove(kProgressFileName);
  }
}

TEST_F(ResultFiles, AModeWithoutAFileWritesNothing) {
  for (const int mode : {-1, 0, 4, 6, 8, 99}) EXPECT_EQ(XmlWrite(mode, "OK", "a", "b"), 0) << mode;
  EXPECT_EQ(Files(), Lines{});
}

TEST_F(ResultFiles, AShorterResultReplacesALongerOneWhole) {
  EXPECT_EQ(XmlWrite(2, "a result code that is longer than the next", "", ""), 0);
  EXPECT_EQ(XmlWrite(2, "OK", "", ""), 0);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("OK"));
}

TEST_F(ResultFiles, TextsAreWrittenAsTheyStand) {
  EXPECT_EQ(XmlWrite(1, "%s%n", "<&>", "\"%d\""), 0);
  EXPECT_EQ(ReadFile("Get_version.xml"),
            ResultText("%s%n", "<cmp><&></cmp><version>\"%d\"</version>"));
}

TEST_F(ResultFiles, HaveTheirClosingTagsHoweverLongTheDataAre) {
  constexpr std::size_t kRoom = 1023;
  for (const std::size_t length : {100U, 800U, 900U, 1000U, 1100U, 5000U}) {
    const std::string data(length, 'd');
    for (const ResultFile& file : kResultFiles) {
      SCOPED_TRACE(std::string(file.name) + " " + std::to_string(length));
      for (const bool long_code : {false, true}) {
        EXPECT_EQ(XmlWrite(file.mode, long_code ? data : "CODE", data, data), 0);
        const std::string text = ReadFile(file.name);
        EXPECT_LE(text.size(), kRoom);
        const bool cut = length >= kRoom && (long_code || *file.data != '\0');
        if (cut) {
          EXPECT_EQ(text.size(), kRoom) << "and no shorter than need be";
        }
        // The markup is what is left of it without the data.
        std::string markup = text;
        std::erase(markup, 'd');
        std::string expected = ResultText(long_code ? "" : "CODE", file.none);
        std::erase(expected, 'd');
        EXPECT_EQ(markup, expected);
      }
    }
  }
}

TEST_F(ResultFiles, AFileThatCannotBeCreatedIsToldByTheResultAlone) {
  xml_path = "missing/";
  for (const ResultFile& file : kResultFiles) EXPECT_EQ(XmlWrite(file.mode, "OK", "", ""), 1);
  EXPECT_EQ(Files(), Lines{});
}

TEST_F(ResultFiles, AFullDiskIsToldByTheResultAlone) {
  std::filesystem::create_symlink("/dev/full", "Update_normal.xml");
  EXPECT_EQ(XmlWrite(2, "OK", "", ""), 1);
}

TEST_F(ResultFiles, DirectRunsAndRunsWithoutAModeWriteNoFile) {
  g_direct_flg = 1;
  for (const ResultFile& file : kResultFiles) EXPECT_EQ(XmlWrite(file.mode, "OK", "1", "2"), 0);
  g_direct_flg = 0;
  g_eu_flg = kNoMode;
  for (const ResultFile& file : kResultFiles) EXPECT_EQ(XmlWrite(file.mode, "OK", "1", "2"), 0);
  EXPECT_EQ(Files(), Lines{});
}

TEST_F(ResultFiles, PathsAreThePrefixAndTheName) {
  EXPECT_EQ(get_xml_file("Get_version.xml"), "Get_version.xml");
  xml_path = "../../";
  EXPECT_EQ(get_xml_file("Get_version.xml"), "../../Get_version.xml");
  EXPECT_EQ(get_xml_file(""), "../../");
}

// The hold of an update's final result.

struct Hold {
  const char* name;
  std::time_t elapsed;  // since the first "OK", in seconds
  std::uint64_t wait;   // in seconds; 0: none
};

constexpr std::time_t kYear = 365 * 24 * 3600;
constexpr std::array<Hold, 9> kHolds{{
    {"at once", 0, 30},
    {"one second later", 1, 29},
    {"in the middle", 17, 13},
    {"one second before its time", 29, 1},
    {"in time", 30, 0},
    {"one second after its time", 31, 0},
    {"the clock jumped forward", 10 * kYear, 0},
    {"the clock was set back by a second", -1, 30},
    {"the clock was set back by years", -10 * kYear, 30},
}};

TEST_F(ResultFiles, AnUpdatesFinalResultIsHeldBack) {
  for (const int mode : {2, 3}) {
    for (const Hold& hold : kHolds) {
      SCOPED_TRACE(hold.name);
      machine().sleeps.clear();
      ok_start_time = machine().now - hold.elapsed;
      EXPECT_EQ(XmlWrite(mode, "Complete", "", ""), 0);
      EXPECT_EQ(machine().sleeps, hold.wait == 0 ? Sleeps{} : Sleeps{hold.wait * kSecond});
    }
  }
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("Complete"));
}

TEST_F(ResultFiles, TheHoldIsAsLongAsItsSetting) {
  for (const int seconds : {5, 1, 0, -3}) {
    machine().sleeps.clear();
    type2_wait_time = seconds;
    ok_start_time = machine().now;
    EXPECT_EQ(XmlWrite(2, "Complete", "", ""), 0);
    EXPECT_EQ(machine().sleeps,
              seconds > 0 ? Sleeps{static_cast<std::uint64_t>(seconds) * kSecond} : Sleeps{});
  }
}

TEST_F(ResultFiles, NothingIsHeldBackBeforeTheFirstOk) {
  gTest2Flag = 1;
  EXPECT_EQ(XmlWrite(2, "OK", "", ""), 0);
  EXPECT_EQ(machine().sleeps, Sleeps{});
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(ResultFiles, OtherFilesAreNeverHeldBack) {
  ok_start_time = machine().now;
  gTest2Flag = 1;
  for (const int mode : {1, 5, 7, 6}) EXPECT_EQ(XmlWrite(mode, "OK", "", ""), 0);
  EXPECT_EQ(machine().sleeps, Sleeps{});
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(ResultFiles, ADirectUpdateHoldsNothingBack) {
  ok_start_time = machine().now;
  g_direct_flg = 1;
  gTest2Flag = 1;
  EXPECT_EQ(XmlWrite(2, "Complete", "", ""), 0);
  EXPECT_EQ(machine().sleeps, Sleeps{});
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(ResultFiles, TheTimingLinesStandAroundTheHold) {
  gTest2Flag = 1;
  ok_start_time = machine().now - 10;
  EXPECT_EQ(XmlWrite(3, "Complete", "", ""), 0);
  EXPECT_EQ(ReadFile("tarvek.log"),
            "2001/09/09 01:46:40  update end\n"
            "2001/09/09 01:47:00  result file reply\n");
}

TEST_F(ResultFiles, TheTimingLinesAreWrittenWithoutAWaitToo) {
  gTest2Flag = 1;
  ok_start_time = machine().now - 300;
  EXPECT_EQ(XmlWrite(2, "Complete", "", ""), 0);
  EXPECT_EQ(LogTexts(), (Lines{"update end", "result file reply"}));
}

TEST_F(ResultFiles, AnEarlyFailureShowsOkUntilItsTimeHasCome) {
  EXPECT_EQ(XmlWrite(2, "OK", "", ""), 0);
  ok_start_time = machine().now;
  std::string during;
  machine().on_sleep = [&](std::uint64_t) { during = ReadFile("Update_normal.xml"); };
  OutputDataCreate("SDRC03");
  EXPECT_EQ(during, ResultText("OK"));
  EXPECT_EQ(machine().sleeps, Sleeps{30 * kSecond});
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC03"));
  EXPECT_EQ(ReadFile("tarvek.log"), "2001/09/09 01:46:40  Can't open IPMI driver.\n");
}

// Result codes.

struct CodeMessage {
  const char* code;
  const char* message;
};

constexpr std::array<CodeMessage, 24> kCodeMessages{{
    {"SDRC01", "Illegal parameter format."},
    {"SDRC02", "SDRVersion unmatched."},
    {"SDRC03", "Can't open IPMI driver."},
    {"SDRC04", "This SDR data is not supported.(Not Found HWID in mchk_fil)"},
    {"SDRC05", "Get Device ID Command Error."},
    {"SDRC06", "mchk_fil is not opened."},
    {"SDRC07", "Not Found SDRVersion Record in input file."},
    {"SDRC08", "Timeout was generated."},
    {"Duplex", "The update/backup has already been being executed. "},
    {"OK", ""},
    {"Complete", ""},
    {"Down Grade", ""},
    {"Busy", ""},
    {"No-Command", ""},
    {"SDR011", ""},
    {"", ""},
    {"SDRC00", ""},
    {"SDRC09", ""},
    {"SDRC0", ""},
    {"SDRC011", ""},
    {"sdrc01", ""},
    {" SDRC01", ""},
    {"duplex", ""},
    {"Duplex ", ""},
}};

TEST_F(ResultFiles, EachCodeHasItsMessage) {
  for (const CodeMessage& row : kCodeMessages) {
    EXPECT_EQ(GetErrorMessage(row.code), row.message) << row.code;
  }
}

TEST_F(ResultFiles, AnOutcomeIsLoggedAndWrittenIntoTheRunsFile) {
  for (const ResultFile& file : kResultFiles) {
    if (file.mode == 5) continue;  // no run mode
    g_eu_flg = file.mode;
    const char* log = file.mode == 1   ? "tarvek_version.log"
                      : file.mode == 7 ? "tarvek_ratio.log"
                                       : "tarvek.log";
    for (const CodeMessage& row : kCodeMessages) {
      SCOPED_TRACE(std::string(file.name) + " " + row.code);
      OutputDataCreate(row.code);
      EXPECT_EQ(ReadFile(file.name), ResultText(row.code, file.none));
      EXPECT_EQ(ReadFile(log), std::string("2001/09/09 01:46:40  ") + row.message + "\n");
      std::filesystem::remove(log);
    }
    EXPECT_EQ(Files(), Lines{file.name});
    std::filesystem::remove(file.name);
  }
}

TEST_F(ResultFiles, BackupsAndDirectRunsLeaveNoResultFileWhateverHappens) {
  struct Case {
    int mode;
    int direct;
  };
  constexpr Case kCases[] = {{kBackup, 0}, {kNormalUpdate, 1}, {kForcedUpdate, 1}, {kNoMode, 0}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.mode);
    g_eu_flg = c.mode;
    g_direct_flg = c.direct;
    ok_start_time = machine().now;
    Lines logged;
    ConsoleOf([&] {
      for (const CodeMessage& row : kCodeMessages) {
        OutputDataCreate(row.code);
        logged.emplace_back(row.message);
      }
    });
    EXPECT_EQ(LogTexts(), logged);
    EXPECT_EQ(Files(), Lines{"tarvek.log"});
    EXPECT_EQ(machine().sleeps, Sleeps{});
    std::filesystem::remove("tarvek.log");
  }
}

TEST_F(ResultFiles, AParameterErrorWithoutAModeReachesTheConsoleAndTheLog) {
  g_eu_flg = kNoMode;
  EXPECT_EQ(ConsoleOf([] { OutputDataCreate("SDRC01"); }), "Illegal parameter format.\n");
  EXPECT_EQ(LogTexts(), Lines{"Illegal parameter format."});
  EXPECT_EQ(Files(), Lines{"tarvek.log"});
}

TEST_F(ResultFiles, TheRatioIsWrittenInDecimalWhateverIsPassed) {
  for (const int ratio : {0, 5, 30, 100, -1}) {
    g_ratio = ratio;
    EXPECT_EQ(IntToString(77), std::to_string(ratio));
    EXPECT_EQ(IntToString(ratio), std::to_string(ratio));
  }
}

// The progress query.

class ProgressQuery : public ResultFiles {
 protected:
  void SetUp() override {
    ResultFiles::SetUp();
    g_eu_flg = kProgressQuery;
  }

  /// Something in place of the progress file that is there but cannot be opened.
  static void MakeUnreadable(const char* name) { ASSERT_EQ(mknod(name, S_IFSOCK | 0600, 0), 0); }
};

TEST_F(ProgressQuery, AnswersNoCommandWhenNoUpdateRuns) {
  EXPECT_EQ(CopyXmlFile(), 0);
  EXPECT_EQ(ReadFile(kAnswerName), ResultText("No-Command"));
  EXPECT_EQ(Files(), Lines{kAnswerName}) << "and logs nothing";
  EXPECT_EQ(machine().sleeps, Sleeps{});
}

TEST_F(ProgressQuery, ReplacesAnEarlierAnswer) {
  WriteFile(kAnswerName, ResultText("OK", "100"));
  EXPECT_EQ(CopyXmlFile(), 0);
  EXPECT_EQ(ReadFile(kAnswerName), ResultText("No-Command"));
}

TEST_F(ProgressQuery, TellsWhenTheAnswerCannotBeCreated) {
  std::filesystem::create_directory(kAnswerName);
  EXPECT_EQ(CopyXmlFile(), 1);
  EXPECT_EQ(machine().sleeps, Sleeps{}) << "there is no second try without a progress file";
}

TEST_F(ProgressQuery, CopiesTheProgressFileByteForByte) {
  std::string bytes(1000, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  for (const std::string& content :
       {ResultText("OK", "47"), bytes, std::string("\r\n\xFF\x1A"), std::string()}) {
    WriteFile(kProgressFileName, content);
    EXPECT_EQ(CopyXmlFile(), 0);
    EXPECT_EQ(ReadFile(kAnswerName), content);
    EXPECT_EQ(ReadFile(kProgressFileName), content);
  }
  EXPECT_EQ(machine().sleeps, Sleeps{});
  EXPECT_FALSE(std::filesystem::exists("tarvek_ratio.log"));
}

TEST_F(ProgressQuery, LooksForTheProgressFileInTheCallersDirectory) {
  std::filesystem::create_directory("caller");
  xml_path = "caller/";
  WriteFile(kProgressFileName, "not this one");
  WriteFile("caller/Get_ratio.xml_tmp", ResultText("OK", "5"));
  EXPECT_EQ(CopyXmlFile(), 0);
  EXPECT_EQ(ReadFile("caller/Get_ratio.xml"), ResultText("OK", "5"));
  EXPECT_FALSE(std::filesystem::exists(kAnswerName));
}

TEST_F(ProgressQuery, GivesUpAfterTwelveTriesWithElevenPauses) {
  MakeUnreadable(kProgressFileName);
  EXPECT_EQ(CopyXmlFile(), 1);
  EXPECT_EQ(machine().sleeps, Sleeps(11, kRetryPause));
  EXPECT_EQ(ReadFile(kAnswerName), ResultText("SDRC08"));
  EXPECT_EQ(LogTexts("tarvek_ratio.log"), Lines{"Timeout was generated."});
}

TEST_F(ProgressQuery, GivesUpAlsoWhenTheAnswerCannotBeCreated) {
  WriteFile(kProgressFileName, ResultText("OK", "47"));
  std::filesystem::create_directory(kAnswerName);
  EXPECT_EQ(CopyXmlFile(), 1);
  EXPECT_EQ(machine().sleeps, Sleeps(11, kRetryPause));
  EXPECT_EQ(LogTexts("tarvek_ratio.log"), Lines{"Timeout was generated."});
  EXPECT_TRUE(std::filesystem::is_directory(kAnswerName));
}

TEST_F(ProgressQuery, EndsWithTheFirstTryThatSucceeds) {
  for (std::size_t pauses = 1; pauses <= 11; ++pauses) {
    SCOPED_TRACE(pauses);
    machine().sleeps.clear();
    std::filesystem::remove(kProgressFileName);
    std::filesystem::remove(kAnswerName);
    MakeUnreadable(kProgressFileName);
    machine().on_sleep = [&](std::uint64_t) {
      if (machine().sleeps.size() != pauses) return;
      std::filesystem::remove(kProgressFileName);
      WriteFile(kProgressFileName, ResultText("OK", "90"));
    };
    EXPECT_EQ(CopyXmlFile(), 0);
    EXPECT_EQ(machine().sleeps, Sleeps(pauses, kRetryPause));
    EXPECT_EQ(ReadFile(kAnswerName), ResultText("OK", "90"));
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek_ratio.log"));
}

TEST_F(ProgressQuery, AProgressFileThatVanishesDuringTheTriesEndsInATimeout) {
  MakeUnreadable(kProgressFileName);
  machine().on_sleep = [&](std::uint64_t) { std::filesystem::remove(kProgressFileName); };
  EXPECT_EQ(CopyXmlFile(), 1);
  EXPECT_EQ(machine().sleeps, Sleeps(11, kRetryPause));
  EXPECT_EQ(ReadFile(kAnswerName), ResultText("SDRC08"));
}

TEST_F(ProgressQuery, APipeInPlaceOfTheProgressFileDoesNotHoldTheQueryUp) {
  ASSERT_EQ(mkfifo(kProgressFileName, 0600), 0);
  EXPECT_EQ(CopyXmlFile(), 1);
  EXPECT_EQ(ReadFile(kAnswerName), ResultText("SDRC08"));
}

/// What a stranger who may write to the directory gets to read of what root alone may.
class StrangersProgressFile : public ProgressQuery {
 protected:
  static constexpr uid_t kStranger = 12345;

  void SetUp() override {
    ProgressQuery::SetUp();
    WriteFile("secret", "the password");
    if (geteuid() != 0) GTEST_SKIP() << "only root can give links away";
  }

  static void ExpectNothingTold() {
    EXPECT_EQ(CopyXmlFile(), 1);
    EXPECT_EQ(ReadFile(kAnswerName), ResultText("SDRC08"));
  }
};

TEST_F(StrangersProgressFile, ThatIsALinkIsNotFollowed) {
  std::filesystem::create_symlink("secret", kProgressFileName);
  ASSERT_EQ(lchown(kProgressFileName, kStranger, kStranger), 0);
  ExpectNothingTold();
  EXPECT_EQ(machine().sleeps, Sleeps(11, kRetryPause));
}

TEST_F(StrangersProgressFile, ThatIsASecondNameIsNotRead) {
  std::filesystem::create_hard_link("secret", kProgressFileName);
  ExpectNothingTold();
}

TEST_F(StrangersProgressFile, MayBeALinkOfTheirOwnDirectory) {
  std::filesystem::create_symlink("secret", kProgressFileName);
  ASSERT_EQ(lchown(kProgressFileName, kStranger, kStranger), 0);
  ASSERT_EQ(chown(".", kStranger, kStranger), 0);
  EXPECT_EQ(CopyXmlFile(), 0);
  EXPECT_EQ(ReadFile(kAnswerName), "the password");
}

TEST_F(ProgressQuery, CopiesNoMoreThanAProgressFileCanHold) {
  constexpr std::uintmax_t kMost = 65536;
  WriteFile(kProgressFileName, std::string(kMost, 'x'));
  EXPECT_EQ(CopyXmlFile(), 0);
  EXPECT_EQ(ReadFile(kAnswerName), std::string(kMost, 'x'));
  for (const std::uintmax_t size : {kMost + 1, std::uintmax_t{1} << 24}) {
    std::filesystem::resize_file(kProgressFileName, size);
    EXPECT_EQ(CopyXmlFile(), 1);
    EXPECT_EQ(ReadFile(kAnswerName), ResultText("SDRC08")) << "and not a part of it";
  }
}

TEST_F(ProgressQuery, TheNullDeviceInPlaceOfTheProgressFileIsAnEmptyOne) {
  std::filesystem::create_symlink("/dev/null", kProgressFileName);
  EXPECT_EQ(CopyXmlFile(), 0);
  EXPECT_EQ(ReadFile(kAnswerName), "");
}

TEST_F(ResultFiles, CopyFileTellsWhetherTheDestinationCouldBeCreated) {
  WriteFile("source", "bytes");
  WriteFile("longer", "replaced whole, however long it was");
  for (const int unused : {0, 1, -1}) {
    EXPECT_EQ(CopyFile("source", "longer", unused), 1);
    EXPECT_EQ(ReadFile("longer"), "bytes");
    EXPECT_EQ(CopyFile("source", "copy", unused), 1);
    EXPECT_EQ(ReadFile("copy"), "bytes");
    EXPECT_EQ(CopyFile("missing", "none", unused), 0);
    EXPECT_FALSE(std::filesystem::exists("none"));
    EXPECT_EQ(CopyFile("source", "missing/copy", unused), 0);
  }
  EXPECT_EQ(ReadFile("source"), "bytes");
}

TEST_F(ResultFiles, CopyFileDoesNotLookAtWriteErrors) {
  WriteFile("source", "bytes");
  EXPECT_EQ(CopyFile("source", "/dev/full", 0), 1);
}

TEST_F(ResultFiles, CopyFileLeavesNoStreamOpen) {
  WriteFile("source", "bytes");
  const auto open_files = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = open_files();
  CopyFile("source", "copy", 0);
  CopyFile("source", "missing/copy", 0);
  CopyFile("missing", "copy", 0);
  EXPECT_EQ(open_files(), before);
}

// The end of an update.

TEST_F(ResultFiles, TheProgressFileIsDeletedAtOnce) {
  WriteFile(kProgressFileName, ResultText("OK", "100"));
  RemoveProgressFile();
  EXPECT_EQ(Files(), Lines{});
  EXPECT_EQ(machine().sleeps, Sleeps{});
}

TEST_F(ResultFiles, DeletingTheProgressFileIsTriedTwelveTimes) {
  std::filesystem::create_directory(kProgressFileName);  // what cannot be unlinked
  RemoveProgressFile();
  EXPECT_EQ(machine().sleeps, Sleeps(11, kRetryPause));
}

TEST_F(ResultFiles, DeletingTheProgressFileStopsAtTheFirstSuccess) {
  std::filesystem::create_directory(kProgressFileName);
  machine().on_sleep = [&](std::uint64_t) {
    if (machine().sleeps.size() != 3) return;
    std::filesystem::remove(kProgressFileName);
    WriteFile(kProgressFileName, "");
  };
  RemoveProgressFile();
  EXPECT_EQ(machine().sleeps, Sleeps(3, kRetryPause));
  EXPECT_EQ(Files(), Lines{});
}

TEST_F(ResultFiles, TheProgressFileIsDeletedInTheCallersDirectory) {
  std::filesystem::create_directory("caller");
  xml_path = "caller/";
  WriteFile("caller/Get_ratio.xml_tmp", "");
  WriteFile(kProgressFileName, "not this one");
  RemoveProgressFile();
  EXPECT_EQ(Files(), Lines{kProgressFileName});
}

// The caller's directory.

class CallersDirectory : public ResultFiles {
 protected:
  void SetUp() override {
    ResultFiles::SetUp();
    top_ = std::filesystem::current_path();
    if (const char* const name = std::getenv("PWD")) name_before_ = name;
    unsetenv("PWD");
  }
  void TearDown() override {
    setenv("PWD", name_before_.c_str(), 1);
    ResultFiles::TearDown();
  }

  /// Goes to `directory` below the test's own as a shell does: under the name that it was given.
  void GoTo(const std::string& directory) {
    std::filesystem::current_path(top_ / directory);
    setenv("PWD", (top_ / directory).c_str(), 1);
  }

  std::filesystem::path top_;

 private:
  std::string name_before_;
};

TEST_F(CallersDirectory, IsTheWorkingDirectoryWhenItHoldsTheCallersFile) {
  WriteFile("ZetaInfo.xml", "");
  xml_path = "../stale/";
  set_xml_path();
  EXPECT_EQ(xml_path, "");
}

TEST_F(CallersDirectory, IsTheWorkingDirectoryWhenNoneHoldsTheCallersFile) {
  std::filesystem::create_directories("a/b");
  GoTo("a/b");
  set_xml_path();
  EXPECT_EQ(xml_path, "");
}

TEST_F(CallersDirectory, IsTheNearestOneAbove) {
  struct Case {
    const char* holds;
    const char* working_directory;
    const char* path;
  };
  constexpr std::array<Case, 6> kCases{{{".", "a", "../"},
                                        {".", "a/b", "../../"},
                                        {"a", "a/b", "../"},
                                        {".", "a/b/c/d/e", "../../../../../"},
                                        {"a/b", "a/b/c/d/e", "../../../"},
                                        {"a/b/c", "a/b/c", ""}}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(std::string(c.holds) + " seen from " + c.working_directory);
    const std::filesystem::path file = top_ / c.holds / "ZetaInfo.xml";
    std::filesystem::create_directories(top_ / c.working_directory);
    WriteFile(file.string(), "anything");
    GoTo(c.working_directory);
    set_xml_path();
    EXPECT_EQ(xml_path, c.path);
    std::filesystem::remove(file);
  }
}

TEST_F(CallersDirectory, TheNearerOfTwoIsTaken) {
  std::filesystem::create_directories("a/b/c");
  WriteFile("ZetaInfo.xml", "");
  WriteFile("a/b/ZetaInfo.xml", "");
  GoTo("a/b/c");
  set_xml_path();
  EXPECT_EQ(xml_path, "../");
}

TEST_F(CallersDirectory, OneBelowOrBesideDoesNotCount) {
  std::filesystem::create_directories("a/b/c");
  std::filesystem::create_directories("a/beside");
  WriteFile("a/b/c/ZetaInfo.xml", "");
  WriteFile("a/beside/ZetaInfo.xml", "");
  GoTo("a/b");
  set_xml_path();
  EXPECT_EQ(xml_path, "");
}

TEST_F(CallersDirectory, OnlyTheExistenceOfTheFileMatters) {
  std::filesystem::create_directories("a/ZetaInfo.xml");
  std::filesystem::create_directories("a/b");
  GoTo("a/b");
  set_xml_path();
  EXPECT_EQ(xml_path, "../");
}

TEST_F(CallersDirectory, TheNameOfTheFileIsExact) {
  std::filesystem::create_directories("a");
  WriteFile("zetainfo.xml", "");
  WriteFile("ZetaInfo.xml_", "");
  GoTo("a");
  set_xml_path();
  EXPECT_EQ(xml_path, "");
}

TEST_F(CallersDirectory, TakesAllResultFilesTwoLevelsUp) {
  WriteFile("ZetaInfo.xml", "");
  std::filesystem::create_directories("a/b");
  GoTo("a/b");
  set_xml_path();
  for (const ResultFile& file : kResultFiles) EXPECT_EQ(XmlWrite(file.mode, "OK", "", ""), 0);
  EXPECT_EQ(Files(), Lines{}) << "none in the working directory";
  GoTo(".");
  EXPECT_EQ(Files(), (Lines{"Get_ratio.xml", "Get_ratio.xml_tmp", "Get_version.xml",
                            "Update_force.xml", "Update_normal.xml", "ZetaInfo.xml"}));
}

TEST_F(CallersDirectory, IsFoundAboveTheDirectoryThatALinkLeadsTo) {
  std::filesystem::create_directories("real/deep");
  std::filesystem::create_directory_symlink("real/deep", "link");
  WriteFile("real/ZetaInfo.xml", "");
  GoTo("link");
  set_xml_path();
  EXPECT_EQ(xml_path, "../") << "\"..\" is the parent of the real directory";
}

TEST_F(CallersDirectory, IsSoughtOverAsManyLevelsAsTheNameOfTheWorkingDirectoryHas) {
  const std::string name = (top_ / "link").string();
  const auto levels = static_cast<std::size_t>(std::count(name.begin(), name.end(), '/'));
  // The real directory stands `levels` + 1 below the one with the first of two files.
  std::string deep = "real";
  for (std::size_t i = 0; i < levels; ++i) deep += "/d";
  std::filesystem::create_directories(deep);
  std::filesystem::create_directory_symlink(deep, "link");
  WriteFile("ZetaInfo.xml", "");
  GoTo("link");
  set_xml_path();
  EXPECT_EQ(xml_path, "") << "one level too far";

  WriteFile((top_ / "real/ZetaInfo.xml").string(), "");
  set_xml_path();
  std::string expected;
  for (std::size_t i = 0; i < levels; ++i) expected += "../";
  EXPECT_EQ(xml_path, expected);
}

/// A working directory so deep that a path of "../" pieces does not lead to its top any more.
class DeepDirectory : public CallersDirectory {
 protected:
  /// The most pieces that leave room for the name of a result file behind them.
  static constexpr int kMostLevels = (PATH_MAX - 1 - 17) / 3;

  void TearDown() override {
    GoUp(depth_);
    CallersDirectory::TearDown();
  }

  void GoDown(int levels) {
    for (int i = 0; i < levels; ++i) {
      ASSERT_EQ(mkdir("d", 0700), 0);
      ASSERT_EQ(chdir("d"), 0);
    }
    depth_ += levels;
  }

  /// Removes what GoDown() has made.
  void GoUp(int levels) {
    for (int i = 0; i < levels; ++i) {
      // Only the deepest ones hold any.
      for (const ResultFile& file : kResultFiles) {
        if (depth_ - i > kMostLevels) unlink(file.name);
      }
      ASSERT_EQ(chdir(".."), 0);
      ASSERT_EQ(rmdir("d"), 0);
    }
    depth_ -= levels;
  }

 private:
  int depth_ = 0;
};

TEST_F(DeepDirectory, TakesTheResultFilesWhereNoPathLeadsUpToTheCallersFile) {
  WriteFile("ZetaInfo.xml", "");
  GoDown(kMostLevels);
  for (int level = kMostLevels; level <= kMostLevels + 8; ++level) {
    SCOPED_TRACE(level);
    set_xml_path();
    EXPECT_EQ(xml_path.view().size(), level == kMostLevels ? 3U * kMostLevels : 0U);
    for (const ResultFile& file : kResultFiles) {
      EXPECT_EQ(XmlWrite(file.mode, "OK", "", ""), 0) << file.name;
      EXPECT_EQ(std::filesystem::exists(file.name), level != kMostLevels) << file.name;
    }
    GoDown(1);
  }
}

TEST_F(CallersDirectory, AWorkingDirectoryThatIsGoneLeavesThePathEmpty) {
  std::filesystem::create_directories("a/gone");
  GoTo("a/gone");
  std::filesystem::remove(top_ / "a/gone");
  set_xml_path();
  EXPECT_EQ(xml_path, "");
  GoTo(".");
}

}  // namespace
}  // namespace tarvek_test
