#include "simulator/exchange.h"

#include <cerrno>
#include <csignal>
#include <memory>
#include <span>

#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::FaultPlan;
using bmcsim::Outcome;

/// A front end that writes down what it is asked to do.
class RecordingHost final : public bmcsim::ExchangeHost {
 public:
  void Raise(int signal) override { events += "signal " + std::to_string(signal) + "\n"; }
  void StepClock(std::int64_t seconds) override {
    events += "clock " + std::to_string(seconds) + "\n";
  }
  void BeginRequest() override {
    EXPECT_FALSE(locked);
    locked = true;
    events += "lock\n";
  }
  void EndRequest() override {
    EXPECT_TRUE(locked);
    locked = false;
    events += "unlock\n";
  }
  std::uint32_t Now() override { return now; }
  void Trace(std::span<const char> lines) override {
    EXPECT_FALSE(locked) << "nobody else should wait for the trace";
    trace.append(lines.data(), lines.size());
    events += "trace\n";
  }
  bool tracing() const override { return true; }

  std::string trace;
  std::string events;
  std::uint32_t now = 0x40000000;
  bool locked = false;
};

class ExchangeTest : public BmcFixture {
 protected:
  void Plan(const std::string& text) {
    std::string error;
    ASSERT_TRUE(plan_->Parse(text, error)) << error;
    exchange_ = std::make_unique<bmcsim::Exchange>(*model_, *plan_, host_);
    host_.trace.clear();
    host_.events.clear();
  }

  // The answer image in hex, "-" when there is none.
  std::string Run(const std::string& image) {
    exchange_->Run(FromHex(image), outcome_);
    const auto& bytes = outcome_.image;
    return outcome_.size == 0
               ? "-"
               : ToHex({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(outcome_.size)});
  }

  std::unique_ptr<FaultPlan> plan_ = std::make_unique<FaultPlan>();
  RecordingHost host_;
  std::unique_ptr<bmcsim::Exchange> exchange_;
  Outcome outcome_{};
};

TEST_F(ExchangeTest, WithoutAPlanTheBmcAnswers) {
  Plan("");
  EXPECT_EQ(Run("28 22"), "2C 22 00 01 00");
  EXPECT_EQ(outcome_.send_errno, 0);
  EXPECT_EQ(outcome_.select_errno, 0);
  EXPECT_EQ(outcome_.receive_errno, 0);
  EXPECT_EQ(outcome_.wait_ms, 0U);
  EXPECT_EQ(host_.trace, "> 28 22\n< 2C 22 00 01 00\n");
  EXPECT_EQ(host_.events, "lock\nunlock\ntrace\n");
  EXPECT_EQ(exchange_->requests(), 1U);
  EXPECT_EQ(exchange_->faulted(), 0U);
}

struct Changed {
  const char* plan;
  const char* request;
  const char* answer;
};

class ChangedAnswerTest : public ExchangeTest, public ::testing::WithParamInterface<Changed> {};

TEST_P(ChangedAnswerTest, IsWhatThePlanSays) {
  Fill({RecordOf(11, 0xAA), RecordOf(11, 0xBB)});
  Plan(GetParam().plan);
  EXPECT_EQ(Run(GetParam().request), GetParam().answer);
  EXPECT_EQ(exchange_->faulted(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ChangedAnswerTest,
    ::testing::Values(
        Changed{"any: cc C3", "28 22", "2C 22 C3"},
        Changed{"any: cc-after C3", "28 22", "2C 22 C3"},
        Changed{"any: answer 00 01", "28 22", "2C 22 00 01"},
        Changed{"any: data 2=C5", "28 22", "2C 22 C5 01 00"},
        Changed{"any: data 3=AB CD", "28 22", "2C 22 00 AB CD"},
        Changed{"any: data 6=EE", "28 22", "2C 22 00 01 00 00 EE"},
        Changed{"any: length 0", "28 22", "-"}, Changed{"any: length 1", "28 22", "2C"},
        Changed{"any: length 4", "28 22", "2C 22 00 01"},
        Changed{"any: length 7", "28 22", "2C 22 00 01 00 00 00"},
        Changed{"any: netfn 1C", "28 22", "1C 22 00 01 00"},
        Changed{"any: command 99", "28 22", "2C 99 00 01 00"},
        Changed{"any: next 0001", "28 23 00 00 00 00 00 05", "2C 23 00 01 00 01 00 51 01 0B"},
        Changed{"any: next FFFF", "28 23 00 00 00 00 00 05", "2C 23 00 FF FF 01 00 51 01 0B"},
        Changed{"any: next FFFF", "F8 14 00 00 43 4C 52 AA", "FC 14 D5"},
        Changed{"any: next 0009, data 2=00 00 00", "F8 11", "FC 11 00 00 00"},
        Changed{"any: data 2=00 00 00, next 0009", "F8 11 00 00 00 00 00", "FC 11 00 00 00"},
        Changed{"any: data 2=00 00 00, next 0109", "F8 12 00 00 00 00 00 05", "FC 12 00 09 01"},
        Changed{"any: data 2=00 00 00, next 0109", "28 12 00 00 00 00 00 05", "2C 12 00 00 00"},
        Changed{"any: next FFFF", "28 22", "2C 22 00 01 00"},
        Changed{"any: next FFFF", "28 23 00 00 09 00 00 05", "2C 23 CB"},
        Changed{"any: body-length 40", "28 23 00 00 00 00 00 05", "2C 23 00 02 00 01 00 51 01 40"},
        Changed{"any: body-length 40", "28 23 00 00 00 00 00 04", "2C 23 00 02 00 01 00 51 01"},
        Changed{"any: body-length 40", "28 22", "2C 22 00 01 00"},
        Changed{"any: stuck", "28 27 00 00 43 4C 52 AA", "2C 27 C5 00"},
        Changed{"any: silence 1, cc FF", "28 22", "2C 22 FF"},
        Changed{"any: silence", "28 22", "-"}, Changed{"any: silence 1", "28 22", "-"},
        Changed{"any: delay 1", "28 22", "2C 22 00 01 00"},
        Changed{"any: netfn 1C, length 3, data 2=C0", "28 22", "1C 22 C0"}));

TEST_F(ExchangeTest, BodyLengthIsFoundInALaterPieceToo) {
  Fill({RecordOf(11, 0xAA)});
  const std::string reservation = Reserve("28 22");
  Plan("any: body-length 40");
  EXPECT_EQ(Run("28 23 " + reservation + "00 00 03 03"), "2C 23 00 FF FF 01 40 AA");
  EXPECT_EQ(Run("28 23 " + reservation + "00 00 04 01"), "2C 23 00 FF FF 40");
  EXPECT_EQ(Run("28 23 " + reservation + "00 00 05 01"), "2C 23 00 FF FF AA");
}

TEST_F(ExchangeTest, RefusedRequestsDoNothing) {
  Fill({RecordOf(11, 0xAA)});
  for (const char* fault : {"cc C1", "answer 00", "silence", "silence 1", "send-error"}) {
    Plan(std::string("any: ") + fault);
    Run("F8 10 00");
    EXPECT_EQ(control().spare_open, 0) << fault;
  }
  for (const char* fault :
       {"cc-after C1", "select-error", "receive-error", "delay 1", "length 0"}) {
    Plan(std::string("any: ") + fault);
    Run("F8 10 00");
    EXPECT_EQ(control().spare_open, 1) << fault;
    Run("F8 10 01");
    EXPECT_EQ(control().spare_open, 0) << fault;
  }
}

TEST_F(ExchangeTest, StuckEraseIsDoneButNeverSaysSo) {
  Fill({RecordOf(11, 0xAA)});
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  Plan("oem-clear: stuck");
  for (int poll = 0; poll < 9; ++poll) {
    EXPECT_EQ(Run("F8 14 " + reservation + "43 4C 52 " + (poll == 0 ? "AA" : "00")), "FC 14 00 00");
  }
  Plan("");
  EXPECT_EQ(Run("F8 14 " + reservation + "43 4C 52 00"), "FC 14 00 01");
}

TEST_F(ExchangeTest, ErrorsAndWaitsAreHandedToTheFrontEnd) {
  Plan(
      "1: send-error EBUSY; 2: select-error; 3: receive-error EAGAIN; 4: silence 2; 5: silence;"
      "6: delay 0.25; 7: silence 3, cc C3");
  EXPECT_EQ(Run("18 01"), "-");
  EXPECT_EQ(outcome_.send_errno, EBUSY);
  Run("18 01");
  EXPECT_EQ(outcome_.send_errno, 0);
  EXPECT_EQ(outcome_.select_errno, EIO);
  Run("18 01");
  EXPECT_EQ(outcome_.select_errno, 0);
  EXPECT_EQ(outcome_.receive_errno, EAGAIN);
  Run("18 01");
  EXPECT_EQ(outcome_.receive_errno, 0);
  EXPECT_EQ(outcome_.select_errno, ETIMEDOUT);
  EXPECT_EQ(outcome_.wait_ms, 2000U);
  Run("18 01");
  EXPECT_EQ(outcome_.select_errno, 0);
  EXPECT_EQ(outcome_.wait_ms, bmcsim::kForever);
  Run("18 01");
  EXPECT_EQ(outcome_.wait_ms, 250U);
  Run("18 01");
  EXPECT_EQ(outcome_.wait_ms, 3000U);
  EXPECT_EQ(outcome_.select_errno, 0);
  EXPECT_EQ(exchange_->faulted(), 7U);
}

TEST_F(ExchangeTest, RecordIsReplacedBeforeTheRequestAlsoWhenThatIsRefused) {
  Fill({RecordOf(5, 0xAA), RecordOf(5, 0xBB)});
  Plan("get-sdr@2: cc C5, replace 0002 51 C0 03 77 00 00; get-sdr@4: replace 1 51 02 00");
  EXPECT_EQ(Run("28 23 00 00 02 00 00 05"), "2C 23 00 FF FF 02 00 51 01 05");
  EXPECT_EQ(Run("28 23 00 00 02 00 00 05"), "2C 23 C5");
  EXPECT_EQ(Run("28 23 00 00 02 00 00 FF"), "2C 23 00 FF FF 02 00 51 C0 03 77 00 00");
  EXPECT_EQ(Run("28 23 00 00 01 00 00 FF"), "2C 23 00 02 00 01 00 51 02 00");
  EXPECT_EQ(host_.trace.substr(host_.trace.rfind('<')),
            "< 2C 23 00 02 00 01 00 51 02 00 ! replace 1 51 02 00\n");
}

TEST_F(ExchangeTest, CancelMakesTheReservationReallyInvalid) {
  Fill({RecordOf(11, 0xAA)});
  Plan("get-sdr@2: cancel");
  EXPECT_EQ(Run("28 22"), "2C 22 00 01 00");
  EXPECT_EQ(Run("28 23 01 00 00 00 05 01"), "2C 23 00 FF FF AA");
  EXPECT_EQ(Run("28 23 01 00 00 00 05 01"), "2C 23 C5");
  EXPECT_EQ(Run("28 23 01 00 00 00 05 01"), "2C 23 C5");
  EXPECT_EQ(Run("28 22"), "2C 22 00 02 00");
  EXPECT_EQ(Run("28 23 02 00 00 00 05 01"), "2C 23 00 FF FF AA");
}

TEST_F(ExchangeTest, ChangedRequestIsWhatTheBmcStores) {
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  Plan("oem-add: request 10=EE, request 99=11");
  EXPECT_EQ(Run("F8 13 " + reservation + "00 00 00 01 00 00 51 01 01 AA"), "FC 13 00 01 00");
  EXPECT_NE(host_.trace.find("00 00 51 01 01 AA\n"), std::string::npos) << "the trace: as sent";
  Spared(2);
  EXPECT_EQ(Served(), "EE 01 01 AA\n");
}

TEST_F(ExchangeTest, SignalsComeBeforeOrAfterTheBmcSeesTheRequest) {
  Plan("1: signal TERM; 2: signal KILL after");
  Run("28 22");
  EXPECT_EQ(host_.events, "trace\nsignal 15\nlock\nunlock\ntrace\n");
  EXPECT_EQ(host_.trace, "! signal 15\n> 28 22\n< 2C 22 00 01 00 ! signal TERM\n");
  host_.events.clear();
  host_.trace.clear();
  Run("28 22");
  EXPECT_EQ(host_.events, "lock\nunlock\ntrace\ntrace\nsignal 9\n");
  EXPECT_EQ(host_.trace, "> 28 22\n< 2C 22 00 02 00 ! signal KILL after\n! signal 9\n");
}

TEST_F(ExchangeTest, TheClockIsSetBeforeAnythingElse) {
  Plan("1: signal TERM, clock -3600, clock +1; 2: clock +86400");
  Run("28 22");
  EXPECT_EQ(host_.events, "clock -3600\nclock 1\ntrace\nsignal 15\nlock\nunlock\ntrace\n");
  host_.trace.clear();
  host_.events.clear();
  Run("28 22");
  EXPECT_EQ(host_.events, "clock 86400\nlock\nunlock\ntrace\n");
  EXPECT_EQ(host_.trace, "> 28 22\n< 2C 22 00 02 00 ! clock +86400\n");
}

TEST_F(ExchangeTest, WaitsAreStruckInThePlansOrder) {
  Plan("wait@2: clock -60, signal USR1, clock +9");
  bmcsim::StrikeWait(host_, plan_->MatchWait());
  EXPECT_EQ(host_.events, "");
  bmcsim::StrikeWait(host_, plan_->MatchWait());
  EXPECT_EQ(host_.events, "clock -60\ntrace\ntrace\nsignal 10\nclock 9\ntrace\n");
  EXPECT_EQ(host_.trace, "! clock -60\n! signal 10\n! clock +9\n");
}

TEST_F(ExchangeTest, TraceShowsWhatThePlanDid) {
  Plan("1: cc C5, cancel; 1: length  5; 2: send-error EBUSY");
  Run("F8 11");
  Run("F8 11");
  EXPECT_EQ(host_.trace,
            "> F8 11\n< FC 11 C5 00 00 ! cc C5, cancel, length  5\n"
            "> F8 11\n< - ! send-error EBUSY\n");
}

TEST_F(ExchangeTest, LongestAnswerFitsTheTrace) {
  Plan("any: length 2048");
  Run("28 22");
  EXPECT_EQ(outcome_.size, bmcsim::kMaxImage);
  EXPECT_EQ(host_.trace.size(), std::string("> 28 22\n< ").size() + 3 * bmcsim::kMaxImage - 1 +
                                    std::string(" ! length 2048\n").size());
  EXPECT_TRUE(host_.trace.ends_with(" 00 ! length 2048\n"));
}

TEST_F(ExchangeTest, ChangesBeyondTheLongestAnswerAreCut) {
  Plan("any: data 2046=01 02 03 04");
  Run("28 22");
  EXPECT_EQ(outcome_.size, bmcsim::kMaxImage);
  EXPECT_EQ(outcome_.image[2046], 1);
  EXPECT_EQ(outcome_.image[2047], 2);
}

TEST_F(ExchangeTest, TimeStampsAreTheFrontEndsClock) {
  Plan("");
  host_.now = 0x12345678;
  Run("F8 10 00");
  Run("F8 11");
  Run("F8 13 01 00 00 00 00 01 00 00 51 01 00");
  Run("F8 10 02");
  EXPECT_EQ(Run("28 20"), "2C 20 00 51 01 00 FB FF 78 56 34 12 00 00 00 00 02");
}

}  // namespace
}  // namespace bmcsim_test
