// Normal and forced updates from an SDR file, whole.
#include <fstream>
#include <sstream>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

/// Compares with the file `name` beside the tests.
void ExpectGolden(const std::string& name, const std::vector<std::string>& lines) {
  std::ifstream file(std::string(GOLDEN_DIRECTORY) + "/" + name);
  ASSERT_TRUE(file) << name;
  std::vector<std::string> expected;
  for (std::string line; std::getline(file, line);) expected.push_back(line);
  EXPECT_EQ(lines, expected);
}

using Update = SimulatedServer;

TEST_F(Update, ProgramsA300RecordSetExactly) {
  CreateServer(20);
  Write("BMCSDR.SDR", SdrText(SdrSet(299)));
  const Outcome outcome = Tarvek({"-update", "-sdr"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.console, "");
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(299)));
  EXPECT_FALSE(Exists("Get_ratio.xml_tmp"));
  EXPECT_FALSE(LockExists());
}

TEST_F(Update, LeavesItsLogToTheByte) {
  CreateServer(1);
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(Read("tarvek.log"),
            "2001/09/09 01:46:40  === Tarvek start ===\n"
            "2001/09/09 01:46:40  Tarvek Tool Version 1.07\n"
            "2001/09/09 01:46:40  <<execute -update/-direct>>\n"
            "2001/09/09 01:46:40  Use OpenIPMI Driver\n"
            "2001/09/09 01:46:40  GetBmcStatus() success.\n"
            "2001/09/09 01:46:40  SDRReocrd Reading\n"
            "2001/09/09 01:46:40  CompareSDRVersion() success.\n"
            "2001/09/09 01:46:40  Clearing SDR Repository...\n"
            "2001/09/09 01:46:41  Writing SDR Record \n"
            "2001/09/09 01:46:41  Reading SDR Repository.\n"
            "2001/09/09 01:46:41  SDR data was successfully written!\n"
            "2001/09/09 01:46:41  Programming complete, reboot server for normal operation \n"
            "2001/09/09 01:46:41  \n"
            "2001/09/09 01:47:20  === Tarvek end ===\n");
}

TEST_F(Update, SendsExactlyTheseRequestsThroughEitherDriver) {
  for (const char* driver : {"openipmi", "maker"}) {
    SCOPED_TRACE(driver);
    CreateServer(1);
    Remove("sdrversion_HW");
    Write("BMCSDR.SDR", SdrText(SdrSet(2)));
    ClearTrace();
    RunOptions options;
    options.driver = driver;
    Tarvek({"-update", "-sdr"}, options);
    EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
    ExpectGolden("update_requests.txt", Requests());
  }
}

TEST_F(Update, IsRefusedWhenTheInputIsNotNewer) {
  for (const char* version : {"SDR Version 01.02", "SDR Version 01.01"}) {
    SCOPED_TRACE(version);
    CreateServer(3);
    Remove("tarvek.log");
    const std::vector<std::string> before = Repository();
    Write("BMCSDR.SDR", SdrText(SdrSet(2, version)));
    EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
    EXPECT_EQ(Read("Update_normal.xml"), ResultText("Down Grade"));
    EXPECT_EQ(Repository(), before);
    const Words log = Log();
    EXPECT_EQ(log[log.size() - 2], "SDRVersion unmatched.:Down Grade");
  }
}

TEST_F(Update, GoesBackWhenItIsForced) {
  CreateServer(3);
  Write("BMCSDR.SDR", SdrText(SdrSet(2, "SDR Version 01.01")));
  Tarvek({"-update", "-sdr", "-force"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  EXPECT_FALSE(Exists("Update_normal.xml"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(2, "SDR Version 01.01")));
}

TEST_F(Update, RewritesTheSameVersionWhenItIsForced) {
  CreateServer(3);
  Write("BMCSDR.SDR", SdrText(SdrSet(2, "SDR Version 01.02")));
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Down Grade"));
  Tarvek({"-update", "-sdr", "-force"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(2, "SDR Version 01.02")));
}

TEST_F(Update, EndsWhenTheRepositoryInfoCannotBeRead) {
  CreateServer(1);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  RunOptions options;
  options.fault = "get-sdr-repository-info: length 16";
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDR030"));
  EXPECT_EQ(Log()[5],
            "Error, IPMI comand error for Backup/GetSdrVersion Command: Get SDR Repository Info "
            "illegal Size : 10 h");
  EXPECT_EQ(Requests().size(), 2U);
}

TEST_F(Update, ForcedNeedsNoVersionInTheInput) {
  CreateServer(3);
  Write("BMCSDR.SDR", SdrText({SensorRecord(1, "Only")}));
  Tarvek({"-update", "-sdr", "-force"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf({SensorRecord(1, "Only")}));
}

TEST_F(Update, LoadsOnlyUntaggedRecordsWithoutAScript) {
  CreateServer(1);
  std::vector<SourceRecord> records = SdrSet(2);
  records[1].tags = {"CPU1", "CPU2"};
  Write("BMCSDR.SDR", SdrText(records));
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf({records[0], records[2]}));
}

TEST_F(Update, PutsItsResultFilesBesideTheCallersInformation) {
  CreateServer(1);
  std::filesystem::create_directories(directory() / "a" / "b");
  Write("a/b/mchk_fil", "01a3\n");
  Write("a/b/BMCSDR.SDR", SdrText(SdrSet(1)));
  RunOptions options;
  options.directory = "a/b";
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_FALSE(Exists("a/b/Update_normal.xml"));
  EXPECT_TRUE(Exists("a/b/tarvek.log"));
  EXPECT_FALSE(Exists("tarvek.log"));
}

TEST_F(Update, EchoesItsLogWithDisplay) {
  CreateServer(1);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  const Outcome outcome = Tarvek({"-update", "-sdr", "-display"});
  EXPECT_EQ(outcome.console,
            "=== Tarvek start ===\n"
            "Tarvek Tool Version 1.07\n"
            "<<execute -update/-direct>>\n"
            "Use OpenIPMI Driver\n"
            "GetBmcStatus() success.\n"
            "SDRReocrd Reading\n"
            " ----- > #1\r"
            " ----- > #2\r\n"
            "CompareSDRVersion() success.\n"
            "Clearing SDR Repository...\n"
            "Writing SDR Record \n"
            " ----- > #1\r"
            " ----- > #2\r\n"
            "Reading SDR Repository.\n"
            " ----- > #1\r"
            " ----- > #2\r\n"
            "SDR data was successfully written!\n"
            "Programming complete, reboot server for normal operation \n"
            "\n"
            "=== Tarvek end ===\n");
}

TEST_F(Update, TracesEveryExchangeWithTest) {
  CreateServer(1);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  Tarvek({"-update", "-sdr", "-test"});
  std::size_t sent = 0;
  std::size_t received = 0;
  for (const std::string& line : Log()) {
    sent += line.rfind("Snd: ", 0) == 0 ? 1 : 0;
    received += line.rfind("Rec: ", 0) == 0 ? 1 : 0;
  }
  // The readiness check speaks to the driver directly and is not traced.
  EXPECT_EQ(sent, Requests().size() - 1);
  EXPECT_EQ(received, sent);
  EXPECT_EQ(Log()[5], "Snd: 28 20 ");
}

TEST_F(Update, ReportsARecordThatTheBmcDidNotKeep) {
  CreateServer(2);
  const std::vector<std::string> before = Repository();
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  RunOptions options;
  options.fault = "oem-add@3: request 10=EE";  // a byte of a record changes on its way
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDR033"));
  EXPECT_EQ(Repository(), before);
  EXPECT_EQ(Requests().back(), "F8 10 01");
  EXPECT_EQ(Exists("Get_ratio.xml_tmp"), false);
}

TEST_F(Update, SurvivesReservationsThatOthersCancel) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText(SdrSet(12)));
  RunOptions options;
  options.fault = "oem-add@every 5: cancel; oem-get-sdr@every 7: cancel; oem-clear@1: cancel";
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(12)));
}

TEST_F(Update, TellsWhenTheBmcHasNoSparedMode) {
  CreateServer(2);
  const std::vector<std::string> before = Repository();
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  RunOptions options;
  options.fault = "spared: cc C1";
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDR077"));
  EXPECT_EQ(Repository(), before);
  const Words log = Log();
  EXPECT_EQ(log[log.size() - 4],
            "Error, unsupported SparedSDR command on BMC.Or, the time-out is generated by a "
            "system high load code = C1");
  EXPECT_EQ(log[log.size() - 3], "Snd: F8 10 00 ");
  EXPECT_EQ(log[log.size() - 2], "Rec: FC 10 C1 ");
}

TEST_F(Update, ReadsNothingButAnEmptyRepositoryAsAFailure) {
  CreateBmc({"--records", "0"});
  Write("mchk_fil", "01a3\n");
  Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDR026"));
}

}  // namespace
}  // namespace blackbox
