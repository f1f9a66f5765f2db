// Runs beside each other: the single-run lock, and progress queries.
#include <csignal>
#include <functional>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

class Lock : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(2);
    Write("BMCSDR.SDR", SdrText(SdrSet(4)));
  }

  /// A run that is killed keeps the lock, as a run that goes on would.
  void LeaveLockBehind() {
    RunOptions options;
    options.fault = "1: signal KILL";
    EXPECT_EQ(Tarvek({"-backup"}, options).signal, SIGKILL);
    ASSERT_TRUE(LockExists());
    Remove("tarvek.log");
    ClearTrace();
  }
};

TEST_F(Lock, KeepsASecondUpdateOut) {
  LeaveLockBehind();
  EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 1);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Duplex"));
  EXPECT_EQ(
      Log(),
      (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07", "<<execute -update/-direct>>",
             "The update/backup has already been being executed. ", "=== Tarvek end ==="}));
  EXPECT_TRUE(LockExists());
  EXPECT_TRUE(Requests().empty());
}

TEST_F(Lock, KeepsASecondBackupOutWithoutAResultFile) {
  LeaveLockBehind();
  EXPECT_EQ(Tarvek({"-backup"}).exit_status, 1);
  EXPECT_EQ(Log()[3], "The update/backup has already been being executed. ");
  for (const char* name : {"Update_normal.xml", "Update_force.xml", "Get_version.xml"}) {
    EXPECT_FALSE(Exists(name)) << name;
  }
  EXPECT_TRUE(LockExists());
}

TEST_F(Lock, TellsAVersionQueryThatTheToolIsBusy) {
  LeaveLockBehind();
  EXPECT_EQ(Tarvek({"-version", "-sdr"}).exit_status, 1);
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("Busy", "", ""));
  EXPECT_EQ(Log("tarvek_version.log"), (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07",
                                              "<<execute -version>>", "", "=== Tarvek end ==="}));
  EXPECT_TRUE(LockExists());
  EXPECT_TRUE(Requests().empty());
}

TEST_F(Lock, IsLeftAloneByAProgressQuery) {
  LeaveLockBehind();
  EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
  EXPECT_TRUE(LockExists());
  RemoveLock();
  EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
  EXPECT_FALSE(LockExists());
}

/// Other runs beside an update that stands in its middle; the update must not notice.
class Beside : public Lock {
 protected:
  void Around(const std::function<void()>& others) {
    RunOptions options;
    options.fault = "oem-clear@1: signal STOP";
    const Started update = TarvekUntilStopped({"-update", "-sdr"}, options);
    others();
    EXPECT_EQ(Continue(update).exit_status, 0);
    EXPECT_EQ(Repository(), HexOf(SdrSet(4)));
    EXPECT_FALSE(LockExists());
  }
};

TEST_F(Beside, AVersionQueryIsToldBusy) {
  Around([this] {
    EXPECT_EQ(Tarvek({"-version", "-sdr"}).exit_status, 1);
    EXPECT_EQ(Read("Get_version.xml"), VersionResult("Busy", "", ""));
    EXPECT_TRUE(LockExists());
  });
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
}

TEST_F(Beside, AProgressQueryIsAnswered) {
  Around([this] {
    EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
    EXPECT_EQ(Read("Get_ratio.xml"), ResultText("OK", "35"));
    EXPECT_TRUE(LockExists());
  });
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
}

TEST_F(Beside, ASecondUpdateIsKeptOut) {
  Around([this] {
    EXPECT_EQ(Tarvek({"-update", "-sdr", "-force"}).exit_status, 1);
    EXPECT_EQ(Read("Update_force.xml"), ResultText("Duplex"));
    EXPECT_TRUE(LockExists());
  });
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
}

using ProgressQuery = SimulatedServer;

TEST_F(ProgressQuery, AnswersNoCommandWhenNoUpdateRuns) {
  CreateServer(1);
  const Outcome outcome = Tarvek({"-ratio"});
  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(outcome.console, "");
  EXPECT_EQ(Read("Get_ratio.xml"), ResultText("No-Command"));
  EXPECT_EQ(Log("tarvek_ratio.log"), (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07",
                                            "<<execute -ratio>>", "=== Tarvek end ==="}));
  EXPECT_FALSE(Exists("tarvek.log"));
}

TEST_F(ProgressQuery, CopiesTheProgressOfAnUpdateThatDied) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText(SdrSet(40)));
  RunOptions options;
  options.fault = "oem-clear@1: signal KILL";
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("OK"));
  Tarvek({"-ratio"});
  EXPECT_EQ(Read("Get_ratio.xml"), ResultText("OK", "35"));
  EXPECT_TRUE(LockExists());
}

TEST_F(ProgressQuery, GivesUpOnACopyAfterTwelveTries) {
  CreateServer(1);
  Write("Get_ratio.xml_tmp", "x");
  std::filesystem::create_directory(directory() / "Get_ratio.xml");
  EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
  EXPECT_EQ(Read("tarvek_ratio.log"),
            "2001/09/09 01:46:40  === Tarvek start ===\n"
            "2001/09/09 01:46:40  Tarvek Tool Version 1.07\n"
            "2001/09/09 01:46:40  <<execute -ratio>>\n"
            "2001/09/09 01:46:45  Timeout was generated.\n"
            "2001/09/09 01:46:45  === Tarvek end ===\n");
}

TEST_F(Lock, AnUpdateGoesThroughAfterAnInterruptedOne) {
  RunOptions options;
  options.fault = "oem-add@4: signal TERM";
  Tarvek({"-update", "-sdr"}, options);
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(4)));
}

}  // namespace
}  // namespace blackbox
