// Updates that a configuration script drives.
#include <fstream>
#include <sstream>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

class Script : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(1);
    records_ = SdrSet(3);
    records_[1].tags = {"CPU1"};
    records_[2].tags = {"CPU2", "FAN#"};
    records_[3].tags = {"PSU"};
    Write("f.sdr", SdrText(records_));
  }

  void RunScript(const std::string& text) {
    CreateServer(1);
    Remove("tarvek.log");
    Write("a.cfg", text);
    ClearTrace();
    EXPECT_EQ(Tarvek({"-update", "-force", "-cfg", "a.cfg"}).exit_status, 0);
  }

  void ExpectRecords(const std::vector<int>& indexes) {
    std::vector<SourceRecord> chosen;
    for (const int index : indexes) chosen.push_back(records_[static_cast<std::size_t>(index)]);
    EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
    EXPECT_EQ(Repository(), HexOf(chosen));
  }

  std::vector<SourceRecord> records_;
};

struct Selection {
  const char* script;
  std::vector<int> records;
};

TEST_F(Script, ChoosesTheRecordsWhoseTagsAreSetAtItsEnd) {
  const Selection rows[] = {
      {"SDRNAME f.sdr\n", {0}},
      {"SET CPU1\nSDRNAME f.sdr\n", {0, 1}},
      {"SET cpu1\nSET fan7\nSDRNAME f.sdr\n", {0, 1, 2}},
      {"SDRNAME f.sdr\nSET PSU\n", {0, 3}},
      {"SET PSU\nSDRNAME f.sdr\nCLEAR psu\n", {0}},
      {"SET PSU\nSET psu\nCLEAR PSU\nSDRNAME f.sdr\n", {0, 3}},
      {"SET a\nIFSET a\nSDRNAME f.sdr\nENDIF\n", {0}},
      {"SET a\nIFSET a\nSET CPU1\nELSE\nSET PSU\nENDIF\nSDRNAME f.sdr\n", {0, 1}},
      {"IFSET a\nSET CPU1\nELSE\nSET PSU\nENDIF\nSDRNAME f.sdr\n", {0, 3}},
      {"SET a\nIFSET a\nELSE\nELSE\nSET PSU\nENDIF\nSDRNAME f.sdr\n", {0, 3}},
      {"IFSET a\nMENU x\nENDIF\nSDRNAME f.sdr\n", {0}},
  };
  for (const Selection& row : rows) {
    SCOPED_TRACE(row.script);
    RunScript(row.script);
    ExpectRecords(row.records);
  }
}

TEST_F(Script, LogsItsRunToTheLine) {
  RunScript("configuration Board // the board\nDISPLAY \"two // words\"\nSDRNAME f.sdr\n");
  EXPECT_EQ(Log(), (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07",
                          "<<execute -update/-direct + -force>>", "Use OpenIPMI Driver",
                          "GetBmcStatus() success.", "Loading configuration file: Board",
                          "two // words", "Clearing SDR Repository...", "Writing SDR Record ",
                          "Reading SDR Repository.", "SDR data was successfully written!",
                          "Programming complete, reboot server for normal operation ", "",
                          "=== Tarvek end ==="}));
  EXPECT_EQ(Requests()[1], "F8 10 00");  // a named script needs no repository identity
}

TEST_F(Script, LoadsTheFirstPassBeforeTheLast) {
  Write("g.sdr", SdrText({VersionRecord("SDR Version 01.09")}));
  RunScript("SDRNAME f.sdr LAST\nSDRNAME g.sdr FIRST\n");
  ExpectRecords({0});  // f.sdr came last and stayed
  RunScript("SDRNAME f.sdr FIRST\nSDRNAME g.sdr LAST\n");
  EXPECT_EQ(Repository(), HexOf({VersionRecord("SDR Version 01.09")}));
}

TEST_F(Script, ComparesWithoutProgramming) {
  RunScript("SDRNAME f.sdr FIRST\nSDRNAME f.sdr COMPARE LAST\n");
  ExpectRecords({0});
  const Words log = Log();
  EXPECT_EQ(log[log.size() - 3], "SDR data was successfully compared!");

  RunScript("SDRNAME f.sdr COMPARE\n");
  EXPECT_EQ(Read("Update_force.xml"), ResultText("SDR032"));
  for (const std::string& request : Requests()) EXPECT_NE(request.substr(0, 2), "F8");
}

TEST_F(Script, StopsAtTheFirstFileThatFails) {
  Write("bad.sdr", "nothing\n");
  RunScript("SDRNAME bad.sdr\nSDRNAME f.sdr\n");
  EXPECT_EQ(Read("Update_force.xml"), ResultText("SDR047"));
  for (const std::string& request : Requests()) EXPECT_NE(request.substr(0, 2), "F8");
}

TEST_F(Script, OfTheBmcIsTakenWhenNoneIsNamed) {
  CreateBmc({"--records", "1", "--version-text", "01.02", "--config-name", "BOARD"});
  Write("BOARD.CFG", "SDRNAME f.sdr\n");
  Tarvek({"-update", "-cfg"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf({records_[0]}));
}

TEST_F(Script, ThatNobodyNamesIsTold) {
  Tarvek({"-update", "-cfg"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDR074"));
  const Words log = Log();
  EXPECT_EQ(log[log.size() - 2], "Error, Not Found CFG filename in Repository or -cfg");
}

TEST_F(Script, AnswersAVersionQuery) {
  Write("a.cfg", "SDRNAME f.sdr\n");
  Tarvek({"-version", "-cfg", "a.cfg"});
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
}

struct Fault {
  const char* script;
  const char* code;
  Words errors;
};

TEST_F(Script, ThatIsWrongIsToldAndNothingIsSent) {
  const Fault rows[] = {
      {"WRONG\n",
       "SDR011",
       {"Error, invalid command found in the configuration file ",
        "Error, problem in reading configuration file"}},
      {"SETTING\n",
       "SDR011",
       {"Error, invalid command found in the configuration file ",
        "Error, invalid configuration file string found"}},
      {"SET\n",
       "SDR015",
       {"Error, no valid argument found after command in the configuration file"}},
      {"IFSET a\n", "SDR019", {"Error, non-matching IfSet and Endif statements"}},
      {"MENU a\n", "SDR011", {"Error, invalid command found in the configuration file "}},
      {"SDRNAME none.sdr\nSDRNAME f.sdr\n",
       "SDR068",
       {"Error, failed to open the specified SDR file"}},
      {"SDRNAME f.sdr FIRST LAST\n",
       "SDR009",
       {"Error, invalid argument following SDR name in the configuration file"}},
  };
  for (const Fault& row : rows) {
    SCOPED_TRACE(row.script);
    RunScript(row.script);
    EXPECT_EQ(Read("Update_force.xml"), ResultText(row.code));
    EXPECT_EQ(Requests(), Words{"18 01"});
    const Words log = Log();
    EXPECT_EQ(Words(log.begin() + 5, log.end() - 1), row.errors);
  }
}

TEST_F(Script, OfManyNestedBlocksNeitherCrashesNorSendsAnything) {
  std::string text;
  for (int i = 0; i < 200000; ++i) text += "IFSET a\n";
  RunScript(text);
  EXPECT_EQ(Read("Update_force.xml"), ResultText("SDR019"));
  EXPECT_EQ(Requests(), Words{"18 01"});
}

class Examples : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    std::filesystem::copy(EXAMPLES_DIRECTORY, directory());
    CreateBmc({"--records", "4", "--version-text", "01.01", "--config-name", "EXAMPLE"});
  }

  /// The ID strings in the repository's dump, in order.
  std::string Dump() {
    std::string text;
    for (const std::string& line : Repository()) text += line + "\n";
    return text;
  }
};

TEST_F(Examples, UpdateTheExampleBoard) {
  Tarvek({"-update", "-sdr", "OLDBOARD.SDR"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository().size(), 5U);
  Tarvek({"-update", "-sdr", "BOARD.SDR"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository().size(), 5U);
  Tarvek({"-update", "-force", "-cfg"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository().size(), 8U);
  Tarvek({"-backup"});
  CreateBmc({"--records", "1"});
  Tarvek({"-update", "-force", "-bin", "BMCSDR.BAK"});
  EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository().size(), 8U);
}

/// The SDR file that docs/formats.md prints: what it shows must work.
TEST_F(Examples, OfTheDocumentationCanBeProgrammed) {
  std::ifstream page(std::string(DOCS_DIRECTORY) + "/formats.md");
  std::ostringstream text;
  text << page.rdbuf();
  const std::size_t begin = text.str().find("_LF_NAME 'BOARD.SDR'");
  ASSERT_NE(begin, std::string::npos);
  const std::string example = text.str().substr(begin, text.str().find("```", begin) - begin);
  Write("BMCSDR.SDR", example);
  Write("a.cfg", "SET FAN2\nSDRNAME BMCSDR.SDR\n");
  Tarvek({"-update", "-cfg", "a.cfg"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository().size(), 3U);
}

}  // namespace
}  // namespace blackbox
