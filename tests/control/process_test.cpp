// A run, and what befalls the programs that it consists of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/control/control_server.h"

namespace control_test {
namespace {

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kNew = "SDR Version 01.03";
constexpr const char* kWhileProgramming = "oem-add@3: signal STOP";
constexpr const char* kWhileReading = "get-sdr@2: signal STOP";

/// Waits for something that is bound to happen.
template <typename Condition>
void Await(const Condition& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    ASSERT_LT(std::chrono::steady_clock::now(), end) << "it did not happen";
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

bool IsPending(pid_t pid, int signal) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("SigPnd:", 0) != 0 && line.rfind("ShdPnd:", 0) != 0) continue;
    if ((std::stoull(line.substr(8), nullptr, 16) >> (signal - 1) & 1U) != 0) return true;
  }
  return false;
}

bool IsGone(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  return !std::getline(stat, text) || text.find(") Z ") != std::string::npos;
}

RunOptions Fault(const std::string& plan) {
  RunOptions options;
  options.fault = plan;
  return options;
}

class Processes : public ControlServer {
 public:
  void SetUp() override {
    ControlServer::SetUp();
    CreateServer();
    WriteInput(SdrSet(3, kNew));
    KeepBefore();
  }

 protected:
  /// Starts an update, and waits until its tool has stopped.
  Started StartUntilStopped(const std::string& fault, pid_t* tool, const Words& more = {}) {
    Words words{"update", "new.sdr"};
    words.insert(words.end(), more.begin(), more.end());
    const Started started = StartCtl(words, Fault(fault));
    *tool = StoppedToolOf(started.pid);
    return started;
  }

  /// Starts a detached update whose tool stops while it programs.
  /// @return the run's id.
  std::string DetachUntilStopped(pid_t* tool, pid_t* leader) {
    const Said said = Ctl({"update", "new.sdr", "--detach"}, Fault(kWhileProgramming));
    EXPECT_EQ(said.outcome.exit_status, 0);
    Await([&] { return ChildrenOf(getpid()).size() == 1; });
    *leader = ChildrenOf(getpid()).front();
    *tool = StoppedToolOf(*leader);
    return said.result["run"];
  }

  /// Waits until the detached leader has ended, and takes it away.
  static void Reap(pid_t leader) {
    Await([&] { return IsGone(leader); });
    waitpid(leader, nullptr, 0);
  }

  /// Kills tarvekctl while its tool stands still. The tool becomes this process's child.
  static void KillLeader(const Started& leader) {
    kill(leader.pid, SIGKILL);
    EXPECT_EQ(blackbox::WaitFor(leader).signal, SIGKILL);
  }

  /// Waits until a command that follows a run has shown how far that is.
  static void AwaitProgress(const Started& follower) {
    Await([&] {
      struct stat output {};
      return fstat(follower.output, &output) == 0 && output.st_size > 0;
    });
  }

  static void LetGo(pid_t tool) { kill(tool, SIGCONT); }

  /// The number of the wait by which the new set is in force.
  int LastWait() {
    KeepBmc();
    RunOptions options;
    options.launcher = {"--stats", (base() / "stats").string()};
    Write("ZetaInfo.xml", "");
    EXPECT_EQ(Tarvek({"-update", "-sdr", "new.sdr"}, options).exit_status, 0);
    RestoreBmc();
    std::ifstream stats(base() / "stats");
    std::string word;
    int waits = -1;
    while (stats >> word) {
      if (word.rfind("waits", 0) == 0) stats >> waits;
    }
    return waits;
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

  static Expected Interrupted() {
    return {.status = 6,
            .outcome = "interrupted",
            .differs = true,
            .version_before = "01.02",
            .version_after = "01.02",
            .result_code = "OK",
            .run = true,
            .log = true,
            .backup = true};
  }

  /// Another run is at work, and may be changing what the BMC serves.
  static Expected InUse() {
    return {.status = 5, .outcome = "busy", .changed = nullptr, .in_service = "unknown"};
  }

  /// A command that ended, but not the run.
  static Expected StoppedWaiting() {
    return {.status = 6,
            .outcome = "interrupted",
            .changed = nullptr,
            .in_service = "unknown",
            .run = true};
  }
};

class Signals : public Processes, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Each, Signals, testing::Values(SIGINT, SIGTERM), [](const auto& row) {
  return std::string(row.param == SIGINT ? "Int" : "Term");
});

TEST_P(Signals, WhileReadingEndTheRunBeforeAnythingIsWritten) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileReading, &tool);
  kill(update.pid, GetParam());
  Await([&] { return IsPending(tool, SIGTERM); });
  LetGo(tool);
  ExpectResult(Finish(update), {.status = 6, .outcome = "interrupted", .run = true});
  ExpectNothingLeft();
}

TEST_P(Signals, WhileProgrammingBecomeOneTermToTheTool) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  kill(update.pid, GetParam());
  Await([&] { return IsPending(tool, SIGTERM); });
  kill(update.pid, GetParam());
  LetGo(tool);
  ExpectResult(Finish(update), Interrupted());
  ExpectNothingLeft();
}

TEST_P(Signals, InTheToolsFinalWaitingMeanDone) {
  const int last = LastWait();
  ASSERT_GT(last, 2);
  for (int wait = last; wait > last - 2; --wait) {
    SCOPED_TRACE(wait);
    RestoreBmc();
    pid_t tool = -1;
    const Started update =
        StartUntilStopped("wait@" + std::to_string(wait) + ": signal STOP", &tool);
    EXPECT_EQ(Repository(), input());
    kill(update.pid, GetParam());
    Await([&] { return IsPending(tool, SIGTERM); });
    LetGo(tool);
    const Said said = Finish(update);
    Expected expected = Done();
    expected.result_code = said.result["result_code"];
    ExpectResult(said, expected);
    ExpectNothingLeft();
  }
}

TEST_P(Signals, EndAWaitAndNotTheRun) {
  pid_t tool = -1;
  pid_t leader = -1;
  const std::string run = DetachUntilStopped(&tool, &leader);
  const Started wait = StartCtl({"wait", run});
  AwaitProgress(wait);
  kill(wait.pid, GetParam());
  const Said said = Finish(wait);
  ExpectResult(said, StoppedWaiting());
  EXPECT_EQ(said.result["run"], run);
  EXPECT_FALSE(IsGone(tool));
  LetGo(tool);
  ExpectResult(Ctl({"wait", run}), Done());
  Reap(leader);
  ExpectNothingLeft();
}

TEST_P(Signals, EndAnAttachedUpdateAndNotTheRun) {
  pid_t tool = -1;
  const Started first = StartUntilStopped(kWhileProgramming, &tool);
  const Started second = StartCtl({"update", "new.sdr"});
  AwaitProgress(second);
  kill(second.pid, GetParam());
  ExpectResult(Finish(second), StoppedWaiting());
  EXPECT_FALSE(IsPending(tool, SIGTERM));
  LetGo(tool);
  ExpectResult(Finish(first), Done());
  ExpectNothingLeft();
}

TEST_F(Processes, HangupLeavesTheRunAlone) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  kill(update.pid, SIGHUP);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(IsPending(tool, SIGTERM));
  LetGo(tool);
  ExpectResult(Finish(update), Done());
}

TEST_F(Processes, TheToolIsApartFromTheTerminalAndHasAFixedEnvironment) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  EXPECT_EQ(getsid(tool), tool);
  EXPECT_EQ(getpgid(tool), tool);
  const std::string place = "/proc/" + std::to_string(tool);
  EXPECT_EQ(std::filesystem::read_symlink(place + "/fd/0"), "/dev/null");
  EXPECT_THAT(std::filesystem::read_symlink(place + "/fd/1").string(), EndsWith("/output"));
  EXPECT_THAT(std::filesystem::read_symlink(place + "/cwd").string(), EndsWith("/work"));
  std::ifstream environment(place + "/environ");
  for (std::string word; std::getline(environment, word, '\0');) {
    EXPECT_THAT(
        word.substr(0, word.find('=')),
        AnyOf("PATH", "LANG", "LD_PRELOAD", "TZ", testing::StartsWith("BMCSIM_"), "ASAN_OPTIONS"));
  }
  LetGo(tool);
  Finish(update);
}

// ---- tarvekctl is killed

TEST_F(Processes, ARunWhoseLeaderIsKilledIsFinishedByWait) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  KillLeader(update);
  const std::string run = LastRun();
  const Started wait = StartCtl({"wait", run});
  AwaitProgress(wait);
  EXPECT_FALSE(IsGone(wait.pid));
  LetGo(tool);
  Reap(tool);
  const Said said = Finish(wait);
  ExpectResult(said, Done());
  EXPECT_EQ(said.result["run"], run);
  ExpectNothingLeft();
}

TEST_F(Processes, ARunWhoseLeaderIsKilledIsFinishedByTheSameUpdate) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  KillLeader(update);
  const std::string run = LastRun();
  const Started again = StartCtl({"update", "new.sdr"});
  AwaitProgress(again);
  LetGo(tool);
  Reap(tool);
  const Said said = Finish(again);
  ExpectResult(said, Done());
  EXPECT_EQ(said.result["run"], run);
  ExpectNothingLeft();
}

TEST_F(Processes, ARunWhoseLeaderIsKilledIsSeenByStatusAndThenFinished) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  KillLeader(update);
  const std::string run = LastRun();
  const Said during = Ctl({"status"});
  ExpectResult(during, {.changed = nullptr,
                        .in_service = "unknown",
                        .version_before = "01.02",
                        .version_after = "01.02",
                        .run = true});
  EXPECT_EQ(during.result["run"], run);
  EXPECT_GE(during.result["percent"], 10);
  LetGo(tool);
  Reap(tool);
  KeepBefore();
  const Said after = Ctl({"status"});
  ExpectResult(after, {.version_before = "01.03", .version_after = "01.03"});
  EXPECT_EQ(after.result["drift"], false);
  EXPECT_EQ(Ctl({"show", run}).outcome.exit_status, 0);
  ExpectNothingLeft();
}

TEST_F(Processes, AnotherInputIsRefusedWhileAToolWithoutALeaderRuns) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  KillLeader(update);
  const std::string run = LastRun();
  WriteInput(SdrSet(6, "SDR Version 01.09"), "other.sdr");
  for (const char* const command : {"update", "plan"}) {
    const Said said = Ctl({command, "other.sdr"});
    ExpectResult(said, InUse());
    EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("tarvekctl wait " + run));
  }
  LetGo(tool);
  Reap(tool);
  EXPECT_EQ(Ctl({"wait", run}).outcome.exit_status, 0);
}

TEST_F(Processes, BothAreKilledWhileProgramming) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  KillLeader(update);
  kill(tool, SIGKILL);
  Reap(tool);
  EXPECT_TRUE(IsLocked());
  // Nobody goes on with it, and nobody has looked yet what it has left.
  const std::string run = LastRun();
  for (const Json& seen : {Ctl({"show", run}).result, Ctl({"history"}).result["runs"][0]}) {
    EXPECT_EQ(seen["status"], 6);
    EXPECT_EQ(seen["outcome"], "interrupted");
    EXPECT_EQ(seen["in_service"], "unknown");
    EXPECT_EQ(seen["run"], run);
    EXPECT_FALSE(seen.contains("percent"));
    EXPECT_THAT(seen["message"]["remedy"], EndsWith("tarvekctl wait " + run + "."));
  }
  ExpectResult(Ctl({"wait", run}), Interrupted());
  ExpectNothingLeft();
}

TEST_F(Processes, AKilledLeadersQuestionToTheBmcHoldsNothingUp) {
  // The copy of tarvekctl that asks the BMC stands still, as it does in a driver that hangs.
  const Started update = StartCtl({"update", "new.sdr"}, Fault("get-device-id: signal STOP"));
  const pid_t copy = StoppedToolOf(update.pid);
  KillLeader(update);
  Await([&] { return IsGone(copy); });
  waitpid(copy, nullptr, 0);
  ExpectResult(Ctl({"update", "new.sdr"}), Done());
  ExpectNothingLeft();
}

TEST_F(Processes, BothAreKilledWhileReading) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileReading, &tool);
  KillLeader(update);
  kill(tool, SIGKILL);
  Reap(tool);
  ExpectResult(Ctl({"wait", LastRun()}), {.status = 6, .outcome = "interrupted", .run = true});
  // The lock is that of tarvekctl's own child.
  ExpectResult(Ctl({"update", "new.sdr"}), Done());
  EXPECT_FALSE(IsLocked());
}

TEST_F(Processes, ARunThatNobodyLeadsAnyMoreIsFinishedByStatusThoughNothingChanged) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  KillLeader(update);
  kill(tool, SIGKILL);
  Reap(tool);
  const std::string run = LastRun();
  EXPECT_EQ(Ctl({"status"}).result["run"], nullptr);
  ExpectResult(Ctl({"show", run}), Interrupted());
}

TEST_F(Processes, AToolThatIsKilledLeavesNoLock) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileProgramming, &tool);
  kill(tool, SIGKILL);
  ExpectResult(Finish(update), Interrupted());
  ExpectNothingLeft();
}

TEST_F(Processes, AReaderThatIsKilledIsStartedAgain) {
  pid_t tool = -1;
  const Started update = StartUntilStopped(kWhileReading, &tool);
  kill(tool, SIGKILL);
  const pid_t second = StoppedToolOf(update.pid);
  EXPECT_NE(second, tool);
  kill(second, SIGKILL);
  ExpectResult(Finish(update), {.status = 1, .outcome = "failed", .run = true});
  ExpectNothingLeft();
}

// ---- several tarvekctl

TEST_F(Processes, ASecondUpdateWithTheSameInputAttaches) {
  pid_t tool = -1;
  const Started first = StartUntilStopped(kWhileProgramming, &tool);
  const Started second = StartCtl({"update", "new.sdr"});
  AwaitProgress(second);
  LetGo(tool);
  const Said one = Finish(first);
  const Said other = Finish(second);
  ExpectResult(one, Done());
  EXPECT_EQ(one.result, other.result);
  EXPECT_EQ(Ctl({"history"}).result["runs"].size(), 1U);
}

TEST_F(Processes, ASecondDetachedUpdateWithTheSameInputPrintsTheFirstsId) {
  pid_t tool = -1;
  const Started first = StartUntilStopped(kWhileProgramming, &tool);
  const Outcome second = People({"update", "new.sdr", "--detach"});
  EXPECT_EQ(second.exit_status, 0);
  EXPECT_EQ(second.console, LastRun() + "\n");
  LetGo(tool);
  Finish(first);
}

TEST_F(Processes, AnotherInputIsRefusedWhileARunIsUnderWay) {
  pid_t tool = -1;
  const Started first = StartUntilStopped(kWhileProgramming, &tool);
  const std::string run = LastRun();
  Write("other.sdr", SdrText(SdrSet(6, "SDR Version 01.09")));
  for (const Words& words :
       {Words{"update", "other.sdr"}, Words{"plan", "new.sdr"}, Words{"backup", "old.bak"}}) {
    const Said said = Ctl(words);
    ExpectResult(said, InUse());
    EXPECT_THAT(said.result["message"]["remedy"], HasSubstr("tarvekctl wait " + run));
  }
  LetGo(tool);
  ExpectResult(Finish(first), Done());
  ExpectNothingLeft();
}

TEST_F(Processes, AnUpdateWaitsForAReader) {
  const Started reader = StartCtl({"backup", "old.bak"}, Fault(kWhileReading));
  const pid_t tool = StoppedToolOf(reader.pid);
  const Started update = StartCtl({"update", "new.sdr"});
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(IsGone(update.pid));
  LetGo(tool);
  const pid_t second = StoppedToolOf(reader.pid);  // it reads twice
  LetGo(second);
  EXPECT_EQ(Finish(reader).outcome.exit_status, 0);
  ExpectResult(Finish(update), Done());
}

TEST_F(Processes, ManyAtOnceWithTheSameInputProgramItOnce) {
  std::vector<Started> updates;
  for (int i = 0; i < 6; ++i) updates.push_back(StartCtl({"update", "new.sdr"}));
  for (const Started& update : updates) {
    const Said said = Finish(update);
    EXPECT_THAT(said.outcome.exit_status, AnyOf(0, 2)) << said.outcome.console;
    EXPECT_EQ(said.result["in_service"], "input");
  }
  EXPECT_EQ(Repository(), input());
  int done = 0;
  const Said history = Ctl({"history"});
  for (const Json& run : history.result["runs"]) done += run["status"] == 0 ? 1 : 0;
  EXPECT_EQ(done, 1);
  ExpectNothingLeft();
}

TEST_F(Processes, ManyAtOnceWithOtherInputsLeaveOneOfThem) {
  std::vector<Started> updates;
  std::vector<std::vector<std::string>> sets;
  for (int i = 0; i < 4; ++i) {
    const std::string name = "set" + std::to_string(i) + ".sdr";
    WriteInput(SdrSet(3 + i, "SDR Version 02.0" + std::to_string(i)), name);
    sets.push_back(input());
    updates.push_back(StartCtl({"update", name}));
  }
  std::vector<std::string> told;
  for (const Started& update : updates) told.push_back(Finish(update).result["outcome"]);
  EXPECT_THAT(told, testing::Contains("done"));
  EXPECT_THAT(told, testing::Each(AnyOf("done", "busy", "nothing")));
  EXPECT_THAT(sets, testing::Contains(Repository()));
  ExpectNothingLeft();
}

// ---- detached

TEST_F(Processes, DetachPrintsTheIdAloneAndTheRunGoesOn) {
  const Outcome detached = People({"update", "new.sdr", "--detach"});
  EXPECT_EQ(detached.exit_status, 0);
  EXPECT_EQ(detached.errors, "");
  EXPECT_EQ(detached.console, LastRun() + "\n");
  ExpectResult(Ctl({"wait", LastRun()}), Done());
  for (const pid_t leader : ChildrenOf(getpid())) Reap(leader);
  ExpectNothingLeft();
}

TEST_F(Processes, DetachedLeadersHaveASessionOfTheirOwnAndNoTerminal) {
  pid_t tool = -1;
  pid_t leader = -1;
  const std::string run = DetachUntilStopped(&tool, &leader);
  EXPECT_EQ(getsid(leader), leader);
  for (const char* const fd : {"/fd/0", "/fd/1", "/fd/2"}) {
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(leader) + fd), "/dev/null");
  }
  LetGo(tool);
  ExpectResult(Ctl({"wait", run}), Done());
  Reap(leader);
}

TEST_F(Processes, DetachedRunsAreRestoredToo) {
  ASSERT_EQ(Ctl({"backup", "old.bak"}).outcome.exit_status, 0);
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  const Said said = Ctl({"restore", "old.bak", "--detach"});
  ASSERT_EQ(said.outcome.exit_status, 0);
  const Said waited = Ctl({"wait", said.result["run"]});
  EXPECT_EQ(waited.outcome.exit_status, 0);
  EXPECT_EQ(waited.result["command"], "restore");
  EXPECT_EQ(Repository(), before());
  for (const pid_t leader : ChildrenOf(getpid())) Reap(leader);
}

TEST_F(Processes, ADetachedLeaderThatIsKilledIsReplacedByWait) {
  pid_t tool = -1;
  pid_t leader = -1;
  const std::string run = DetachUntilStopped(&tool, &leader);
  kill(leader, SIGKILL);
  Reap(leader);
  const Started wait = StartCtl({"wait", run});
  AwaitProgress(wait);
  LetGo(tool);
  Reap(tool);
  ExpectResult(Finish(wait), Done());
  ExpectNothingLeft();
}

TEST_F(Processes, ADetachedLeaderThatIsKilledAtOnceIsNotWaitedFor) {
  for (int i = 0; i < 5; ++i) {
    const Said said = Ctl({"update", "new.sdr", "--detach"});
    ASSERT_EQ(said.outcome.exit_status, 0);
    for (const pid_t child : ChildrenOf(getpid())) {
      kill(child, SIGKILL);
      Reap(child);
    }
    const auto began = std::chrono::steady_clock::now();
    const Said waited = Ctl({"wait", said.result["run"]});
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    EXPECT_THAT(waited.outcome.exit_status, AnyOf(0, 6));
    for (const pid_t child : ChildrenOf(getpid())) Reap(child);
    if (waited.outcome.exit_status == 0) break;
  }
}

TEST_F(Processes, DetachChecksFirstAndLeavesNoRunBehind) {
  Write("mchk_fil", "01a4\n");
  Expected refused{.status = 4, .outcome = "refused", .result_code = "SDRC04"};
  ExpectResult(Ctl({"update", "new.sdr", "--detach"}), refused);
  Write("mchk_fil", "01a3\n");
  Write("same.sdr", SdrText(SdrSet(2, "SDR Version 01.02")));
  EXPECT_EQ(Ctl({"update", "same.sdr", "--detach"}).outcome.exit_status, 2);
  EXPECT_EQ(Ctl({"update", "gone.sdr", "--detach"}).outcome.exit_status, 3);
  LeaveLock();
  EXPECT_EQ(Ctl({"update", "new.sdr", "--detach"}).outcome.exit_status, 5);
  RemoveLock();
  EXPECT_THAT(Ctl({"history"}).result["runs"], IsEmpty());
}

TEST_F(Processes, AnUpdateThatAttachedToOneThatIsRefusedIsDoneByItself) {
  WriteInput(SdrSet(2, "SDR Version 01.01"), "older.sdr");
  const Words words{"update", "older.sdr"};
  const Started first =
      StartCtl({"update", "older.sdr", "--detach"}, Fault("get-sdr@1: signal STOP"));
  const pid_t tool = StoppedToolOf(first.pid);
  const Started second = StartCtl(words);
  AwaitProgress(second);
  LetGo(tool);
  const Expected nothing{.status = 2,
                         .outcome = "nothing",
                         .differs = true,
                         .version_before = "01.02",
                         .version_after = "01.02"};
  ExpectResult(Finish(first), nothing);
  Expected own = nothing;
  own.run = true;
  ExpectResult(Finish(second), own);
}

TEST_F(Processes, DetachSaysThatNobodyKnowsYetWhatIsServed) {
  ExpectResult(Ctl({"update", "new.sdr", "--detach"}),
               {.changed = nullptr, .in_service = "unknown", .run = true});
  Ctl({"wait", LastRun()});
  for (const pid_t leader : ChildrenOf(getpid())) Reap(leader);
}

TEST_F(Processes, ARunThatIsSettledByAnotherCommandKeepsTheCommandThatAskedForIt) {
  pid_t tool = -1;
  const Started update = StartUntilStopped("get-sdr@1: signal STOP", &tool, {"--force"});
  KillLeader(update);
  kill(tool, SIGKILL);
  Reap(tool);
  ASSERT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  const Said said = Ctl({"show", LastRun()});
  EXPECT_EQ(said.outcome.exit_status, 6);
  EXPECT_EQ(said.result["message"]["remedy"], "Run it again: tarvekctl update --state-dir " +
                                                  state_directory() + " --force " +
                                                  Path("new.sdr") + ".");
}

TEST_F(Processes, WaitShowsProgressUntilTheEnd) {
  pid_t tool = -1;
  pid_t leader = -1;
  const std::string run = DetachUntilStopped(&tool, &leader);
  const Started wait = StartCtl({"wait", run});
  AwaitProgress(wait);
  LetGo(tool);
  const Said said = Finish(wait);
  ExpectResult(said, Done());
  ASSERT_FALSE(said.progress.empty());
  EXPECT_EQ(said.progress.front()["phase"], "programming");
  int percent = 0;
  for (const Json& step : said.progress) {
    EXPECT_EQ(step["run"], run);
    EXPECT_EQ(step["command"], "wait");
    EXPECT_GE(step["percent"], percent);
    percent = step["percent"];
  }
  Reap(leader);
}

// ---- the runs on a machine

TEST_F(Processes, OldRunsArePrunedAndBackupsAreNot) {
  for (int i = 0; i < 4; ++i) {
    const std::string version = "SDR Version 02.0" + std::to_string(i);
    Write("next.sdr", SdrText(SdrSet(2, version)));
    ASSERT_EQ(Ctl({"update", "next.sdr", "--keep", "2"}).outcome.exit_status, 0);
  }
  const Said history = Ctl({"history"});
  ASSERT_EQ(history.result["runs"].size(), 2U);
  EXPECT_EQ(history.result["runs"][1]["version_after"], "02.03");
  int backups = 0;
  for (const auto& entry : std::filesystem::directory_iterator(StatePath("backups"))) {
    backups += entry.is_regular_file() ? 1 : 0;
  }
  EXPECT_EQ(backups, 4);
}

TEST_F(Processes, ARunsDirectoryIsItsOwnersAlone) {
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  const auto rights = [&](const std::string& name) {
    return std::filesystem::status(StatePath(name)).permissions();
  };
  using std::filesystem::perms;
  EXPECT_EQ(rights("runs"), perms::owner_all);
  EXPECT_EQ(rights("backups"), perms::owner_all);
  EXPECT_EQ(rights("runs/" + LastRun()), perms::owner_all);
  EXPECT_EQ(rights("backups/" + LastRun() + ".BAK"), perms::owner_read | perms::owner_write);
}

}  // namespace
}  // namespace control_test
