// Anomaly sweeps over the process: in every mode, whatever signal ends the run wherever it stands,
// and however little the caller lets it have, the lock, the spared mode and the BMC's records are
// left as they should be.
#include <algorithm>
#include <csignal>
#include <iterator>

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

  /// The requests of a run in which nothing goes wrong.
  Words UndisturbedRequests(const std::string& driver = "openipmi") {
    CountRequests(driver);
    return Requests();
  }

  /// The request that a signal has met inside its driver call, before the BMC saw it. OpenIPMI's
  /// send is not interrupted, so the request goes out. The maker's call is: whether the BMC has got
  /// the request nobody can tell, and it counts as sent.
  struct Met {
    std::string request;  // "": the signal has met none
    bool goes_out = true;
  };

  /// What must hold after a run that such a signal has ended.
  /// @param code  of its result, if it was told before the signal came; empty: the mode's own.
  void ExpectReleased(const Outcome& outcome, const Signal& signal, const Met& met = {"", true},
                      const std::string& code = "") {
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.exit_status, signal.number);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_FALSE(LockExists());
    ExpectWholeSet();
    const bool lost_end = !met.goes_out && IsEnd(met.request);
    if (!lost_end) ExpectSparedModeClosed();
    ExpectAskedBehindSignal(met);
    ExpectResultOfItsTime(code);
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

  static bool IsEnd(const std::string& request) {
    return request == "F8 10 01" || request == "F8 10 02";
  }

  /// Whether this is the answer to a begin that opens the spared mode. A signal behind it came
  /// before the tool has got the answer.
  static bool Opens(const std::string& line) {
    const std::string good = "< FC 10 00";
    return line == good || line.rfind(good + " ! signal", 0) == 0;
  }

  /// Behind a signal there is the request that it has met and, if the BMC may have the spared mode
  /// open then, the one that drops it: no other, and never without need.
  void ExpectAskedBehindSignal(const Met& met) {
    const Words trace = Trace();
    const auto signal = std::find_if(trace.begin(), trace.end(), [](const std::string& line) {
      return line.rfind("! signal", 0) == 0;
    });
    ASSERT_NE(signal, trace.end());
    bool open = false;
    for (auto line = trace.begin(); line != signal; ++line) {
      if (*line == "> F8 10 00") open = Opens(*(line + 1));
      if (line->rfind("> ", 0) == 0 && IsEnd(line->substr(2))) open = false;
    }
    if (met.request == "F8 10 00") open = true;
    if (IsEnd(met.request)) open = false;
    Words expected;
    if (!met.request.empty() && met.goes_out) expected.push_back("> " + met.request);
    if (open) expected.emplace_back("> F8 10 01");
    Words asked;
    std::copy_if(signal + 1, trace.end(), std::back_inserter(asked),
                 [](const std::string& line) { return line.rfind("> ", 0) == 0; });
    EXPECT_EQ(asked, expected);
  }

  /// The caller has been told of an update that it runs, or of its end.
  void ExpectResultOfItsTime(const std::string& own_code = "") {
    if (!GetParam().IsUpdate()) return;
    const std::string code = ResultCode();
    EXPECT_TRUE(code == "OK" || code == (own_code.empty() ? GetParam().code : own_code)) << code;
    if (code == "Complete") {
      EXPECT_TRUE(ServesNewSet());
    }
  }
};

TEST_P(ProcessAnomaly, ASignalAtEachRequestReleasesEverything) {
  const Words requests = UndisturbedRequests();
  for (const Signal& signal : kReleasing) {
    for (std::size_t k = 1; k <= requests.size(); k += static_cast<std::size_t>(Stride(2))) {
      for (const bool after : {false, true}) {
        const std::string plan = At(static_cast<int>(k), signal.name, after);
        SCOPED_TRACE(plan);
        ExpectReleased(RunUnder(plan), signal, {after ? "" : requests[k - 1], true});
        // The set changes with the last request and not before.
        EXPECT_EQ(ServesNewSet(), GetParam().Programs() && k == requests.size());
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

/// The report of a begin that the BMC refuses holds the run up for half a minute.
TEST_P(ProcessAnomaly, ASignalAfterARefusedBeginSendsNothing) {
  if (!GetParam().Programs() || GetParam().IsDirect()) return;  // who need not wait for a reader
  for (const char* driver : {"openipmi", "maker"}) {
    for (const char* refusal : {"cc D5", "send-error", "receive-error"}) {
      RunOptions options;
      options.driver = driver;
      options.fault = std::string("spared: ") + refusal + "; wait: clock +0";
      Run(options);
      const std::string code = ResultCode();
      EXPECT_EQ(code, refusal == std::string("cc D5") ? "SDR077" : "SDR029");
      const Words trace = Trace();
      const auto waits = std::count(trace.begin(), trace.end(), "! clock +0");
      const auto begin = std::find(trace.begin(), trace.end(), "> F8 10 00");
      ASSERT_NE(begin, trace.end());
      const auto first = std::count(trace.begin(), begin, "! clock +0") + 1;
      ASSERT_LE(first, waits);
      for (auto k = first; k <= waits; k += Stride(7)) {
        options.fault =
            std::string("spared: ") + refusal + "; wait@" + std::to_string(k) + ": signal TERM";
        SCOPED_TRACE(std::string(driver) + ", " + options.fault);
        ExpectReleased(Run(options), kReleasing[0], {"", true}, code);
        if (HasFailure()) return;
      }
    }
  }
}

TEST_P(ProcessAnomaly, ASignalWithTheMakersDriverReleasesEverything) {
  const Words requests = UndisturbedRequests("maker");
  for (std::size_t k = 1; k <= requests.size(); ++k) {
    const bool spared = requests[k - 1].rfind("F8 10", 0) == 0;
    if (!FullSweep() && !spared && k % 9 != 1) continue;
    for (const bool after : {false, true}) {
      RunOptions options;
      options.driver = "maker";
      options.fault = At(static_cast<int>(k), "TERM", after);
      SCOPED_TRACE(options.fault);
      ExpectReleased(Run(options), kReleasing[0], {after ? "" : requests[k - 1], false});
      if (HasFailure()) return;
    }
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
  Words requests = UndisturbedRequests();
  requests.erase(
      std::remove_if(requests.begin(), requests.end(),
                     [](const std::string& request) { return request.rfind("F8 13", 0) != 0; }),
      requests.end());
  ASSERT_GE(requests.size(), 3U);
  for (const char* refusal : {"cc D5", "send-error", "select-error", "receive-error", "length 0"}) {
    const std::string plan = std::string("oem-add@3: signal TERM; F8/10/01: ") + refusal;
    SCOPED_TRACE(plan);
    ExpectReleased(RunUnder(plan), kReleasing[0], {requests[2], true});
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
