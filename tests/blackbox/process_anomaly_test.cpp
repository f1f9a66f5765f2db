// Anomaly sweeps over the process: in every mode, whatever signal ends the run wherever it stands,
// and however little the caller lets it have, the lock, the spared mode and the BMC's records are
// left as they should be.
#include <algorithm>
#include <csignal>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/sweep.h"

namespace blackbox {
namespace {

struct Signal {
  const char* name;
  int number;
};

constexpr Signal kReleasing[] = {{"TERM", SIGTERM}, {"INT", SIGINT}, {"ABRT", SIGABRT}};

class ProcessAnomaly : public Sweep {
 protected:
  Outcome RunUnder(const std::string& plan) {
    RunOptions options;
    options.fault = plan;
    return Run(options);
  }

  /// What must hold after a run that such a signal has ended.
  void ExpectReleased(const Outcome& outcome, const Signal& signal) {
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.exit_status, signal.number);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_FALSE(LockExists());
    ExpectWholeSet();
    ExpectSparedModeClosed();
    ExpectNothingAsked();
    ExpectResultOfItsTime();
  }

  /// What must hold after a run that was killed: the lock stays, and nothing can have been closed.
  void ExpectKilled(const Outcome& outcome) {
    EXPECT_EQ(outcome.signal, SIGKILL);
    EXPECT_EQ(LockExists(), GetParam().KeepsLock());
    ExpectWholeSet();
    ExpectResultOfItsTime();
  }

  /// The next run is kept out, until somebody has removed the lock; then an update goes through
  /// whatever the dead run has left in the BMC.
  void ExpectRecovery() {
    if (GetParam().KeepsLock()) ExpectKeptOut();
    RemoveLock();
    RunOptions options;
    options.direct = true;
    EXPECT_EQ(Tarvek({"-update", "-sdr", "-force"}, options).exit_status, 0);
    EXPECT_EQ(Read("Update_force.xml"), ResultText("Complete"));
    EXPECT_TRUE(ServesNewSet());
    EXPECT_FALSE(LockExists());
    EXPECT_FALSE(Exists("Get_ratio.xml_tmp"));
  }

  /// Ends a run at its Kth request, before or after the BMC carries it out.
  static std::string At(int k, const char* signal, bool after) {
    return std::to_string(k) + ": signal " + signal + (after ? " after" : "");
  }

 private:
  void ExpectKeptOut() {
    const std::vector<std::string> before = Repository();
    RunOptions options;
    options.direct = true;
    EXPECT_EQ(Tarvek({"-version", "-sdr"}, options).exit_status, 1);
    EXPECT_EQ(Read("Get_version.xml"), VersionResult("Busy", "", ""));
    EXPECT_EQ(RunAgain().exit_status, 1);
    EXPECT_TRUE(Requests().empty());
    const Words log = Log();
    EXPECT_EQ(*(log.end() - 2), "The update/backup has already been being executed. ");
    if (GetParam().IsUpdate()) {
      EXPECT_EQ(ResultCode(), "Duplex");
    }
    EXPECT_TRUE(LockExists());
    EXPECT_EQ(Repository(), before);
  }

  /// Behind a signal there is one request at most, the one that drops the spared mode.
  void ExpectNothingAsked() {
    const Words trace = Trace();
    const auto signal = std::find_if(trace.begin(), trace.end(), [](const std::string& line) {
      return line.rfind("! signal", 0) == 0;
    });
    ASSERT_NE(signal, trace.end());
    const Words rest(signal + 1, trace.end());
    if (rest.empty()) return;
    EXPECT_EQ(rest.size(), 2U) << ::testing::PrintToString(rest);
    EXPECT_EQ(rest[0], "> F8 10 01");
    const auto begun = std::find(trace.begin(), signal, "> F8 10 00");
    const bool was_begun = begun != signal;
    EXPECT_TRUE(was_begun || GetParam().Programs()) << "there was no mode to drop";
  }

  /// The caller has been told of an update that it runs, or of its end.
  void ExpectResultOfItsTime() {
    if (!GetParam().IsUpdate()) return;
    const std::string code = ResultCode();
    EXPECT_TRUE(code == "OK" || code == GetParam().code) << code;
    if (code == "Complete") {
      EXPECT_TRUE(ServesNewSet());
    }
  }
};

TEST_P(ProcessAnomaly, ASignalAtEachRequestReleasesEverything) {
  const int requests = CountRequests();
  for (const Signal& signal : kReleasing) {
    for (int k = 1; k <= requests; k += Stride(2)) {
      for (const bool after : {false, true}) {
        SCOPED_TRACE(At(k, signal.name, after));
        ExpectReleased(RunUnder(At(k, signal.name, after)), signal);
        // The set changes with the last request and not before.
        EXPECT_EQ(ServesNewSet(), GetParam().Programs() && k == requests && after);
        if (HasFailure()) return;
      }
    }
  }
}

TEST_P(ProcessAnomaly, ASignalDuringEachWaitReleasesEverything) {
  const int waits = CountWaits();
  ASSERT_EQ(waits > 0, GetParam().Asks());
  for (const Signal& signal : kReleasing) {
    for (int k = 1; k <= waits; k += Stride(5)) {
      SCOPED_TRACE(std::string(signal.name) + " during wait " + std::to_string(k));
      ExpectReleased(RunUnder("wait@" + std::to_string(k) + ": signal " + signal.name), signal);
      if (HasFailure()) return;
    }
  }
}

TEST_P(ProcessAnomaly, ASignalWithTheMakersDriverReleasesEverything) {
  const int requests = CountRequests("maker");
  for (int k = 1; k <= requests; k += Stride(9)) {
    RunOptions options;
    options.driver = "maker";
    options.fault = At(k, "TERM", k % 2 == 0);
    SCOPED_TRACE(options.fault);
    ExpectReleased(Run(options), kReleasing[0]);
    if (HasFailure()) return;
  }
}

TEST_P(ProcessAnomaly, AfterAKillAtEachRequestTheNextUpdateRepairsEverything) {
  const int requests = CountRequests();
  for (int k = 1; k <= requests; k += Stride(5)) {
    for (const bool after : {false, true}) {
      SCOPED_TRACE(At(k, "KILL", after));
      ExpectKilled(RunUnder(At(k, "KILL", after)));
      ExpectRecovery();
      if (HasFailure()) return;
    }
  }
}

TEST_P(ProcessAnomaly, ALastActThatTheBmcRefusesEndsTheRunAllTheSame) {
  if (!GetParam().Programs()) return;
  for (const char* refusal : {"cc D5", "send-error", "select-error", "receive-error", "length 0"}) {
    const std::string plan = std::string("oem-add@3: signal TERM; F8/10/01: ") + refusal;
    SCOPED_TRACE(plan);
    ExpectReleased(RunUnder(plan), kReleasing[0]);
    EXPECT_TRUE(ServesOldSet());
  }
}

TEST_P(ProcessAnomaly, StandardDescriptorsMayBeClosed) {
  for (const std::vector<int>& closed : {std::vector<int>{1}, {0, 1}, {1, 2}, {0, 1, 2}}) {
    SCOPED_TRACE(::testing::PrintToString(closed));
    RunOptions options;
    options.closed = closed;
    const Outcome outcome = Run(options);
    EXPECT_EQ(outcome.console, "");
    // Who cannot answer has not agreed.
    if (GetParam().IsDirect() && closed[0] == 0) {
      Excuses refused;
      refused.exit_status = 1;
      ExpectOrder(outcome, refused);
      EXPECT_TRUE(ServesOldSet());
    } else {
      ExpectDone(outcome);
    }
  }
}

TEST_P(ProcessAnomaly, ALittleStackIsEnough) {
  RunOptions options;
  options.limits = {{RLIMIT_STACK, 64 << 10}};
  ExpectDone(Run(options));
}

TEST_P(ProcessAnomaly, AFewDescriptorsAreEnough) {
  if (kInstrumented) GTEST_SKIP() << "the instruments need descriptors of their own";
  RunOptions options;
  options.limits = {{RLIMIT_NOFILE, 8}};
  ExpectDone(Run(options));
}

/// Where no file can be opened any more nothing can be told; all else is in order.
TEST_P(ProcessAnomaly, TooFewDescriptorsEndTheRunInOrder) {
  if (kInstrumented) GTEST_SKIP() << "the instruments need descriptors of their own";
  for (const rlim_t descriptors : {4U, 5U, 6U, 7U}) {
    SCOPED_TRACE(descriptors);
    RunOptions options;
    options.limits = {{RLIMIT_NOFILE, descriptors}};
    options.traced = false;
    Excuses excuses;
    excuses.log = true;
    excuses.result = true;
    ExpectOrder(Run(options), excuses);
    if (HasFailure()) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Sweep, ProcessAnomaly, ::testing::ValuesIn(kModes), ModeName);

}  // namespace
}  // namespace blackbox
