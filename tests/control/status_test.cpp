// What tarvekctl knows of a machine without reading its BMC: status and its state file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/control/control_server.h"

namespace control_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Status : public ControlServer {
 public:
  void SetUp() override {
    ControlServer::SetUp();
    CreateServer();
    WriteInput(SdrSet(3, "SDR Version 01.03"));
  }

 protected:
  std::string Metrics() {
    const Outcome told = People({"status", "--format", "prometheus"});
    EXPECT_EQ(told.exit_status, 0);
    return told.console;
  }
};

TEST_F(Status, ReadsOnceAndThenAnswersWithTwoRequests) {
  ASSERT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  EXPECT_GT(Requests().size(), 10U);
  ClearTrace();
  const Said said = Ctl({"status"});
  EXPECT_THAT(Requests(), ElementsAre("18 01", "28 20"));
  EXPECT_EQ(said.result["version_after"], "01.02");
  EXPECT_EQ(said.result["board"], "01a3");
  EXPECT_EQ(said.result["driver"], "openipmi");
  EXPECT_EQ(said.result["script"], nullptr);
  EXPECT_EQ(said.result["percent"], nullptr);
  EXPECT_EQ(said.result["drift"], nullptr);
}

TEST_F(Status, ReadsAnewAfterAChange) {
  ASSERT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  ASSERT_EQ(Tarvek({"-update", "-sdr", "new.sdr"}).exit_status, 0);
  ClearTrace();
  EXPECT_EQ(Ctl({"status"}).result["version_after"], "01.03");
  EXPECT_GT(Requests().size(), 10U);
  ClearTrace();
  EXPECT_EQ(Ctl({"status"}).result["version_after"], "01.03");
  EXPECT_EQ(Requests().size(), 2U);
}

TEST_F(Status, AnswersFromWhatAnUpdateHasRead) {
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  ClearTrace();
  const Said said = Ctl({"status"});
  EXPECT_EQ(Requests().size(), 2U);
  EXPECT_EQ(said.result["version_after"], "01.03");
  EXPECT_EQ(said.result["drift"], false);
}

TEST_F(Status, TellsDriftWhenSomebodyElseHasProgrammed) {
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  Write("other.sdr", SdrText(SdrSet(5, "SDR Version 01.09")));
  ASSERT_EQ(Tarvek({"-update", "-sdr", "other.sdr"}).exit_status, 0);
  EXPECT_EQ(Ctl({"status"}).result["drift"], true);
  EXPECT_THAT(Metrics(), HasSubstr("\ntarvek_drift 1\n"));
  WriteInput(SdrSet(5, "SDR Version 01.10"));
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  EXPECT_EQ(Ctl({"status"}).result["drift"], false);
}

TEST_F(Status, TakesAComparisonForNoRunThatHasProgrammed) {
  CreateBmc({"--records", "0"});
  Write("new.cfg", "CONFIGURATION \"Board\"\nSDRNAME new.sdr COMPARE LAST\n");
  EXPECT_EQ(Ctl({"update", "new.cfg"}).outcome.exit_status, 1);
  EXPECT_EQ(Ctl({"status"}).result["drift"], nullptr);
}

TEST_F(Status, TellsTheScriptAndTheMakersDriver) {
  std::vector<SourceRecord> records = SdrSet(2);
  records.push_back(blackbox::ScriptNameRecord("BOARD"));
  Serve(records);
  RunOptions maker;
  maker.driver = "maker";
  const Said said = Ctl({"status"}, maker);
  EXPECT_EQ(said.result["script"], "BOARD");
  EXPECT_EQ(said.result["driver"], "maker");
}

TEST_F(Status, DoesNotTrustAStateOfAnotherBoardOrOneThatIsBroken) {
  ASSERT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  for (const std::string& state : {std::string("{\"served\""), std::string(100000, '['),
                                   std::string("{}"), std::string("\0\xFF", 2)}) {
    std::ofstream(StatePath("state.json"), std::ios::binary) << state;
    ClearTrace();
    EXPECT_EQ(Ctl({"status"}).result["version_after"], "01.02");
    EXPECT_GT(Requests().size(), 10U);
  }
  CreateBmc({"--records", "2", "--product", "01A4", "--version-text", "01.07"});
  EXPECT_EQ(Ctl({"status"}).result["version_after"], "01.07");
}

TEST_F(Status, ReadsAlwaysWhereTheBmcHasNoTimeStamps) {
  RunOptions undated;
  undated.fault = "get-sdr-repository-info: data 8=FF FF FF FF FF FF FF FF";
  ASSERT_EQ(Ctl({"status"}, undated).outcome.exit_status, 0);
  ClearTrace();
  ASSERT_EQ(Ctl({"status"}, undated).outcome.exit_status, 0);
  EXPECT_GT(Requests().size(), 10U);
}

TEST_F(Status, OfAnEmptyRepositoryNeedsNoTool) {
  CreateBmc({"--records", "0"});
  const Said said = Ctl({"status", "--tool", "/nowhere/tarvek"});
  EXPECT_EQ(said.outcome.exit_status, 0);
  EXPECT_EQ(said.result["version_after"], nullptr);
}

TEST_F(Status, NeedsNoBoardList) {
  Remove("mchk_fil");
  EXPECT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  EXPECT_EQ(Ctl({"backup", "old.bak"}).outcome.exit_status, 0);
}

// ---- metrics

TEST_F(Status, WritesMetricsWithoutAskingTheBmc) {
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  ClearTrace();
  const std::string text = Metrics();
  EXPECT_TRUE(Requests().empty());
  EXPECT_THAT(text, HasSubstr("tarvek_info{product=\"01a3\",version=\"01.03\",script=\"\","
                              "driver=\"openipmi\"} 1\n"));
  for (const char* const line : {"\ntarvek_drift 0\n", "\ntarvek_bmc_readable 1\n",
                                 "\ntarvek_run_in_progress 0\n", "\ntarvek_last_run_status 0\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
}

TEST_F(Status, WritesMetricsOfAMachineThatWasNeverLookedAt) {
  const std::string text = Metrics();
  EXPECT_THAT(text, Not(HasSubstr("tarvek_info")));
  EXPECT_THAT(text, HasSubstr("tarvek_run_in_progress 0\n"));
}

TEST_F(Status, WritesMetricsToAFileThatEverybodyMayReadWholeOrNotAtAll) {
  ASSERT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  Write("tarvek.prom", "old");
  const Outcome told = People({"status", "--format", "prometheus", "--output", "tarvek.prom"});
  EXPECT_EQ(told.exit_status, 0);
  EXPECT_EQ(told.console, "");
  EXPECT_EQ(Read("tarvek.prom"), Metrics());
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(Path("tarvek.prom")).permissions(),
            perms::owner_read | perms::owner_write | perms::group_read | perms::others_read);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory()), {}), 4);
}

TEST_F(Status, WritesMetricsToAPipeWithoutWaitingForAReader) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const Outcome told = People({"status", "--format", "prometheus", "--output", "pipe"});
  EXPECT_EQ(told.exit_status, 4);
  EXPECT_THAT(told.errors, HasSubstr("pipe: cannot be written: No such device or address."));
}

TEST_F(Status, OfDoctorIsOneWhereTheBmcIsWhatFails) {
  const Said well = Ctl({"doctor"});
  EXPECT_EQ(well.outcome.exit_status, 0) << well.result.dump();
  RunOptions refuses;
  refuses.fault = "get-device-id: cc C1";
  const Said said = Ctl({"doctor"}, refuses);
  EXPECT_EQ(said.outcome.exit_status, 1) << said.result.dump();
  EXPECT_EQ(said.result["outcome"], "failed");
}

TEST_F(Status, TellsInMetricsThatTheBmcCouldNotBeRead) {
  RunOptions silent;
  silent.fault = "get-device-id: cc C1";
  EXPECT_EQ(Ctl({"status"}, silent).outcome.exit_status, 1);
  EXPECT_THAT(Metrics(), HasSubstr("tarvek_bmc_readable 0\n"));
  EXPECT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  EXPECT_THAT(Metrics(), HasSubstr("tarvek_bmc_readable 1\n"));
}

TEST_F(Status, HoldsMetricsToTheirFormatWhateverTheBmcSays) {
  std::vector<SourceRecord> records = SdrSet(2, "SDR Version \"\\\n\x1B}");
  records.push_back(blackbox::ScriptNameRecord("A\"} 1\nfake_metric 2"));
  Serve(records);
  ASSERT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  const std::string text = Metrics();
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_THAT(line, testing::AnyOf(StartsWith("# "), StartsWith("tarvek_")));
    EXPECT_THAT(line, Not(HasSubstr("\x1B")));
  }
}

TEST_F(Status, ForPeopleEscapesWhatTheBmcSays) {
  std::vector<SourceRecord> records = SdrSet(2, "SDR Version \x1B[2Jx");
  Serve(records);
  const Outcome told = People({"status"});
  EXPECT_EQ(told.exit_status, 0);
  EXPECT_THAT(told.console, Not(HasSubstr("\x1B")));
  EXPECT_THAT(told.console, HasSubstr("\\x1B"));
}

}  // namespace
}  // namespace control_test
