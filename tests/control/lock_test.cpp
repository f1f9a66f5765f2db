// The tool's single-run lock in tarvekctl's way: whose it is, and what becomes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "tests/control/apart.h"
#include "tests/control/control_server.h"

namespace control_test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Lock : public ControlServer {
 public:
  void SetUp() override {
    ControlServer::SetUp();
    if (!IsApart()) GTEST_SKIP() << "no process namespace is to be had";
    CreateServer();
    WriteInput(SdrSet(3, "SDR Version 01.03"));
    KeepBefore();
  }

 protected:
  static RunOptions Fault(const std::string& plan) {
    RunOptions options;
    options.fault = plan;
    return options;
  }

  static Expected Done() {
    return {.changed = true,
            .in_service = "input",
            .differs = false,
            .version_before = "01.02",
            .version_after = "01.03",
            .result_code = "Complete",
            .run = true,
            .log = true,
            .backup = true};
  }
};

TEST_F(Lock, OfAStrangerThatNobodyHoldsStaysAndTheRemedyNamesBreakLock) {
  LeaveLock();
  for (const Words& words : {Words{"status"}, Words{"plan", "new.sdr"}, Words{"update", "new.sdr"},
                             Words{"backup", "old.bak"}}) {
    const Said said = Ctl(words);
    EXPECT_EQ(said.outcome.exit_status, 5) << words[0];
    EXPECT_EQ(said.result["outcome"], "busy");
    EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("--break-lock"));
    EXPECT_TRUE(IsLocked());
  }
  RemoveLock();
}

TEST_F(Lock, ThatNobodyHoldsIsRemovedWithBreakLock) {
  LeaveLock();
  ExpectResult(Ctl({"update", "new.sdr", "--break-lock"}), Done());
  LeaveLock();
  EXPECT_EQ(Ctl({"backup", "new.bak", "--break-lock"}).outcome.exit_status, 0);
  Serve(SdrSet(2));
  LeaveLock();
  EXPECT_EQ(Ctl({"status", "--break-lock"}).outcome.exit_status, 0);
  EXPECT_FALSE(IsLocked());
  ExpectNothingLeft();
}

TEST_F(Lock, OfALiveRunIsNeverRemoved) {
  const Started run =
      TarvekUntilStopped({"-update", "-sdr", "new.sdr"}, Fault("oem-add@3: signal STOP"));
  const Said said = Ctl({"update", "new.sdr", "--break-lock"});
  ExpectResult(
      said,
      {.status = 5, .outcome = "busy", .changed = nullptr, .in_service = "unknown", .run = true});
  EXPECT_THAT(said.result["message"]["what"], HasSubstr("-update"));
  EXPECT_THAT(said.result["message"]["remedy"], Not(HasSubstr("--break-lock")));
  EXPECT_TRUE(IsLocked());
  EXPECT_EQ(Continue(run).exit_status, 0);
}

TEST_F(Lock, OfAReaderIsWaitedFor) {
  const Started reader =
      TarvekUntilStopped({"-backup", "raw.bak"}, Fault("get-sdr@2: signal STOP"));
  const Started update = StartCtl({"update", "new.sdr"});
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(update.pid), &ended, WEXITED | WNOHANG | WNOWAIT);
  EXPECT_EQ(ended.si_pid, 0) << "it does not wait";
  EXPECT_EQ(Continue(reader).exit_status, 0);
  ExpectResult(Finish(update), Done());
}

TEST_F(Lock, OfAReaderThatDoesNotEndIsWaitedForTenSeconds) {
  const Started reader =
      TarvekUntilStopped({"-backup", "raw.bak"}, Fault("get-sdr@2: signal STOP"));
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 5);
  const auto taken = std::chrono::steady_clock::now() - began;
  EXPECT_GE(taken, std::chrono::seconds(10));
  EXPECT_LT(taken, std::chrono::seconds(20));
  EXPECT_EQ(Continue(reader).exit_status, 0);
}

TEST_F(Lock, LeftByItsOwnToolIsRemovedUnaskedAtWhateverRequestItWasKilled) {
  KeepBmc();
  for (const char* const request :
       {"1", "2", "5", "20", "spared", "oem-clear", "oem-add@2", "oem-get-sdr", "F8/10/02"}) {
    SCOPED_TRACE(request);
    RestoreBmc();
    const std::string tool = WriteTool(std::string("[ $1 = -update ] && export BMCSIM_FAULT='") +
                                       request + ": signal KILL'\nexec $TARVEK \"$@\"\n");
    const Said said = Ctl({"update", "new.sdr", "--tool", tool});
    EXPECT_EQ(said.outcome.exit_status, 6);
    EXPECT_EQ(said.result["in_service"], "previous");
    ExpectNothingLeft();
  }
}

TEST_F(Lock, LeftByAToolThatIsKilledBeforeItWritesAnythingIsRemovedUnasked) {
  // It takes the lock, and dies before its log's first line.
  for (const char* const mode : {"-backup", "-update"}) {
    const std::string tool =
        WriteTool(std::string("if [ $1 = ") + mode +
                  " ] && ! [ -e $HERE/once ]; then\n  : >$HERE/once\n"
                  "  : >/dev/shm/sem.tarvek_exe\n  kill -KILL $$\nfi\nexec $TARVEK \"$@\"\n");
    const Said said = Ctl({"update", "new.sdr", "--tool", tool});
    EXPECT_EQ(said.outcome.exit_status, std::string(mode) == "-backup" ? 0 : 6);
    ExpectNothingLeft();
    std::filesystem::remove(base() / "once");
    Write("new.sdr", SdrText(SdrSet(4, "SDR Version 01.04")));
  }
}

TEST_F(Lock, TakenByARawRunJustBeforeTheToolStartsIsBusy) {
  // Another run begins when the update's tool is about to start.
  const std::string tool = WriteTool(
      "if [ $1 = -update ]; then\n  mkdir $HERE/raw && cd $HERE/raw && echo 01a3 >mchk_fil && "
      ": >ZetaInfo.xml\n  BMCSIM_FAULT='5: signal STOP' $TARVEK -update -sdr ../work/new.sdr 3>&- "
      "</dev/null >/dev/null 2>&1 &\n  while ! [ -e /dev/shm/sem.tarvek_exe ]; do :; done\n"
      "  cd - >/dev/null\nfi\nexec $TARVEK \"$@\"\n");
  const Started update = StartCtl({"update", "new.sdr", "--tool", tool});
  const Said said = Finish(update);
  EXPECT_EQ(said.outcome.exit_status, 5) << said.outcome.console;
  EXPECT_EQ(said.result["result_code"], "Duplex");
  EXPECT_EQ(said.result["in_service"], "unknown");
  EXPECT_TRUE(IsLocked());
  for (const pid_t child : ChildrenOf(getpid())) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  EXPECT_EQ(Repository(), before());
}

TEST_F(Lock, IsNotTakenByAStatusWhileARunWritesOrReads) {
  for (const char* const fault : {"get-sdr@2: signal STOP", "oem-add@3: signal STOP"}) {
    const Started update = StartCtl({"update", "new.sdr"}, Fault(fault));
    StoppedToolOf(update.pid);
    ClearTrace();
    const Said said = Ctl({"status"});
    EXPECT_EQ(said.outcome.exit_status, 0);
    EXPECT_EQ(said.result["run"], LastRun());
    EXPECT_GE(said.result["percent"], 0);
    EXPECT_EQ(Requests().size(), 2U);
    // The leader first: it would start a reader that was killed again.
    kill(update.pid, SIGKILL);
    Finish(update);
    for (const pid_t child : ChildrenOf(getpid())) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
}

}  // namespace
}  // namespace control_test
