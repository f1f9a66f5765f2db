// Direct updates: the question, and that no result file is left.
#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

constexpr const char* kQuestion = "Do you really update it?[y/n]\n";
constexpr const char* kInvalid = "The input value is invalid. Please input it again. \r\n";

class DirectUpdate : public SimulatedServer {
 protected:
  Outcome Answered(const std::string& input) {
    CreateServer(1);
    Write("BMCSDR.SDR", SdrText(SdrSet(1)));
    before_ = Repository();
    RunOptions options;
    options.input = input;
    const Outcome outcome = Tarvek({"-direct", "-sdr"}, options);
    for (const char* name : {"Update_normal.xml", "Update_force.xml", "Get_ratio.xml_tmp"}) {
      EXPECT_FALSE(Exists(name)) << name;
    }
    EXPECT_FALSE(LockExists());
    return outcome;
  }

  void ExpectUpdated(const Outcome& outcome) {
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(Repository(), HexOf(SdrSet(1)));
  }

  void ExpectRefused(const Outcome& outcome) {
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(Repository(), before_);
    EXPECT_EQ(Log().back(), "=== Tarvek end ===");
  }

  static int Questions(const Outcome& outcome) { return Count(outcome.console, kQuestion); }
  static int Complaints(const Outcome& outcome) { return Count(outcome.console, kInvalid); }

 private:
  static int Count(const std::string& text, const std::string& what) {
    int count = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
    return count;
  }

  std::vector<std::string> before_;
};

TEST_F(DirectUpdate, GoesOnAtY) {
  for (const char* input : {"y\n", "Y\n", "yes\n", "y"}) {
    SCOPED_TRACE(input);
    const Outcome outcome = Answered(input);
    ExpectUpdated(outcome);
    EXPECT_EQ(Questions(outcome), 1);
  }
}

TEST_F(DirectUpdate, EndsWithStatus1AtN) {
  for (const char* input : {"n\n", "N\n", "no, y\n"}) {
    SCOPED_TRACE(input);
    const Outcome outcome = Answered(input);
    ExpectRefused(outcome);
    EXPECT_EQ(Questions(outcome), 1);
  }
}

TEST_F(DirectUpdate, TakesTheEndOfInputForN) {
  ExpectRefused(Answered(""));
  const Outcome after_nonsense = Answered("what?\n");
  ExpectRefused(after_nonsense);
  EXPECT_EQ(Complaints(after_nonsense), 1);
}

TEST_F(DirectUpdate, AsksAgainAfterAnythingElse) {
  const Outcome outcome = Answered("x\n\n yes\ny\n");
  ExpectUpdated(outcome);
  EXPECT_EQ(Questions(outcome), 4);
  EXPECT_EQ(Complaints(outcome), 3);
}

TEST_F(DirectUpdate, DiscardsAtMost97CharactersOfALine) {
  // One character is looked at and 97 discarded; the next one is an answer again.
  ExpectUpdated(Answered("x" + std::string(97, 'n') + "y\n"));
  ExpectRefused(Answered("x" + std::string(97, 'y') + "n\n"));
  ExpectUpdated(Answered("x" + std::string(96, 'n') + "\ny\n"));
}

TEST_F(DirectUpdate, ShowsEverythingOnTheConsole) {
  const Outcome outcome = Answered("y\n");
  EXPECT_EQ(outcome.console,
            "=== Tarvek start ===\n"
            "Tarvek Tool Version 1.07\n"
            "<<execute -update/-direct>>\n"
            "Use OpenIPMI Driver\n"
            "GetBmcStatus() success.\n"
            "SDRReocrd Reading\n"
            " ----- > #1\r"
            " ----- > #2\r\n"
            "Do you really update it?[y/n]\n"
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
            "=== Tarvek end ===\n");
}

TEST_F(DirectUpdate, LoadsOnlyUntaggedRecords) {
  CreateServer(1);
  std::vector<SourceRecord> records = SdrSet(2);
  records[1].tags = {"CPU1"};
  Write("BMCSDR.SDR", SdrText(records));
  RunOptions options;
  options.input = "y\n";
  EXPECT_EQ(Tarvek({"-direct", "-sdr"}, options).exit_status, 0);
  EXPECT_EQ(Repository(), HexOf({records[0], records[2]}));
}

TEST_F(DirectUpdate, DoesNotWaitAtItsEnd) {
  Answered("y\n");
  const std::string log = Read("tarvek.log");
  EXPECT_EQ(log.substr(0, 19), "2001/09/09 01:46:40");
  EXPECT_EQ(log.substr(log.rfind("2001/"), 19), "2001/09/09 01:46:41");
}

}  // namespace
}  // namespace blackbox
