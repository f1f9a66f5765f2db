#include "driver/reporting/progress.h"

#include <filesystem>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

constexpr const char* kProgressFileName = "Get_ratio.xml_tmp";

class Progress : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
  }

  /// What the progress file reports since the last call; empty when it was not written.
  std::string Reported() {
    if (!std::filesystem::exists(kProgressFileName)) return "";
    const std::string text = ReadFile(kProgressFileName);
    std::filesystem::remove(kProgressFileName);
    for (int percent = 0; percent <= 100; ++percent) {
      if (text == ResultText("OK", std::to_string(percent))) return std::to_string(percent);
    }
    return "not a progress file: " + text;
  }

  /// Walks over `count` records and gives what each of them reported, "number:percent ".
  std::string Walk(tarvek::RecordProgress& progress, int count, int expected) {
    std::string reports;
    for (int n = 1; n <= count; ++n) {
      progress.Advance(n, expected);
      const std::string percent = Reported();
      if (!percent.empty()) reports += std::to_string(n) + ":" + percent + " ";
    }
    return reports;
  }
};

TEST_F(Progress, ReportsTheRatioInTheProgressFile) {
  g_ratio = 47;
  tarvek::ReportProgress();
  EXPECT_EQ(ReadFile(kProgressFileName), ResultText("OK", "47"));
}

TEST_F(Progress, EachStageIsReportedWithItsValue) {
  for (const int percent : {0, 5, 30, 100}) {
    tarvek::SetProgress(percent);
    EXPECT_EQ(g_ratio, percent);
    EXPECT_EQ(Reported(), std::to_string(percent));
  }
}

TEST_F(Progress, AStageIsReportedAlsoWhenTheRatioIsThereAlready) {
  g_ratio = 30;
  tarvek::SetProgress(30);
  EXPECT_EQ(Reported(), "30");
}

TEST_F(Progress, ARaiseIsReportedWhenItRaises) {
  g_ratio = 34;
  tarvek::RaiseProgress(35);
  EXPECT_EQ(g_ratio, 35);
  EXPECT_EQ(Reported(), "35");
}

TEST_F(Progress, ARaiseToWhatIsReachedAlreadyDoesNothing) {
  for (const int reached : {35, 36, 90}) {
    g_ratio = reached;
    tarvek::RaiseProgress(35);
    EXPECT_EQ(g_ratio, reached);
    EXPECT_EQ(Reported(), "");
  }
}

TEST_F(Progress, ADirectUpdateHasNoProgressFile) {
  g_direct_flg = 1;
  tarvek::SetProgress(5);
  tarvek::RaiseProgress(35);
  tarvek::RecordProgress progress(65);
  EXPECT_EQ(Walk(progress, 100, 100), "");
  EXPECT_EQ(Reported(), "");
}

TEST_F(Progress, EveryTenthRecordIsReported) {
  g_ratio = 40;
  tarvek::RecordProgress progress(65);
  // 24 percent over 48 records: half a percent each.
  EXPECT_EQ(Walk(progress, 48, 48), "10:45 20:50 30:55 40:60 ");
  EXPECT_EQ(g_ratio, 64);
}

TEST_F(Progress, TheRatioIsTheIntegerPartOfTheRunningValue) {
  g_ratio = 40;
  tarvek::RecordProgress progress(65);
  // A quarter of a percent each: the fractions add up instead of being lost.
  const int expected[] = {40, 40, 40, 41, 41, 41, 41, 42};
  for (int n = 1; n <= 8; ++n) {
    progress.Advance(n, 96);
    EXPECT_EQ(g_ratio, expected[n - 1]) << n;
  }
}

TEST_F(Progress, TheWalkStartsAtTheRatioOfItsFirstRecord) {
  tarvek::RecordProgress progress(90);
  g_ratio = 65;  // reached after the walk was set up, before its first record
  progress.Advance(1, 12);
  EXPECT_EQ(g_ratio, 67);
}

TEST_F(Progress, MoreRecordsThanExpectedStopAtTheCap) {
  g_ratio = 40;
  tarvek::RecordProgress progress(65);
  // Two percent each: the cap is passed at record 13, before the second report is due.
  EXPECT_EQ(Walk(progress, 1000, 12), "10:60 ");
  EXPECT_EQ(g_ratio, 65);
}

TEST_F(Progress, TheRecordThatReachesTheCapIsReportedWhenItsTurnHasCome) {
  g_ratio = 40;
  tarvek::RecordProgress progress(65);
  // 24 percent are earned with record 9; record 10 goes beyond.
  EXPECT_EQ(Walk(progress, 30, 9), "10:65 ");
}

TEST_F(Progress, OneRecordMayTakeTheWholeShare) {
  g_ratio = 40;
  tarvek::RecordProgress progress(65);
  progress.Advance(1, 1);
  EXPECT_EQ(g_ratio, 64);
  progress.Advance(2, 1);
  EXPECT_EQ(g_ratio, 65);
}

TEST_F(Progress, AnEmptyRepositoryRaisesToTheCapAtOnce) {
  for (const int records : {0, -1}) {
    g_ratio = 5;
    tarvek::RecordProgress progress(30);
    progress.Advance(1, records);
    EXPECT_EQ(g_ratio, 30) << records;
    EXPECT_EQ(Walk(progress, 100, records), "");
    EXPECT_EQ(g_ratio, 30) << records;
  }
}

TEST_F(Progress, ARatioBeyondTheCapStays) {
  g_ratio = 90;
  tarvek::RecordProgress progress(65);
  EXPECT_EQ(Walk(progress, 50, 10), "");
  EXPECT_EQ(g_ratio, 90);
}

TEST_F(Progress, NeverFallsWhenTheRatioRoseInTheMeantime) {
  g_ratio = 40;
  tarvek::RecordProgress progress(90);
  progress.Advance(1, 1000);
  g_ratio = 80;
  progress.Advance(2, 1000);
  EXPECT_EQ(g_ratio, 80);
}

TEST_F(Progress, NeverFallsAndStaysBelowTheCapForAnyCountOfRecords) {
  g_direct_flg = 1;  // the ratio moves alike, and there is no file to be written each time
  for (int records = 1; records <= 400; ++records) {
    g_ratio = 40;
    tarvek::RecordProgress progress(65);
    int before = g_ratio;
    for (int n = 1; n <= records; ++n) {
      progress.Advance(n, records);
      ASSERT_GE(g_ratio, before) << records;
      before = g_ratio;
    }
    // The last percent may be lost to rounding, no more.
    EXPECT_GE(g_ratio, 63) << records;
    EXPECT_LE(g_ratio, 64) << records;
  }
}

}  // namespace
}  // namespace tarvek_test
