#include "simulator/fault_plan.h"

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>

#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::Action;
using bmcsim::Fault;
using bmcsim::FaultPlan;
using bmcsim::Faults;

class FaultPlanTest : public ::testing::Test {
 protected:
  void Parse(const std::string& text) {
    std::string error;
    ASSERT_TRUE(plan_->Parse(text, error)) << error;
  }

  std::string Complaint(const std::string& text) {
    std::string error;
    EXPECT_FALSE(plan_->Parse(text, error)) << text;
    EXPECT_TRUE(plan_->empty()) << text;
    return error;
  }

  // The actions that a request meets, in the plan's words.
  std::string Match(const std::string& image) { return Words(plan_->MatchRequest(FromHex(image))); }
  std::string MatchWait() { return Words(plan_->MatchWait()); }

  static std::string Words(const Faults& faults) {
    std::string words;
    for (const Action* action : faults) {
      words += (words.empty() ? "" : ", ") + std::string(action->text);
    }
    return words;
  }

  // The one action of a plan that holds for every request.
  Action Only(const std::string& action) {
    Parse("any: " + action);
    const Faults faults = plan_->MatchRequest(FromHex("18 01"));
    EXPECT_NE(faults.begin(), faults.end()) << action;
    return faults.empty() ? Action{} : **faults.begin();
  }

  std::unique_ptr<FaultPlan> plan_ = std::make_unique<FaultPlan>();
};

TEST_F(FaultPlanTest, EmptyTextsAreEmptyPlans) {
  for (const char* text : {"", "\n\n", "  ;; ;\n", "# nothing\n  # at all", "\r\n"}) {
    Parse(text);
    EXPECT_TRUE(plan_->empty()) << text;
    EXPECT_EQ(Match("18 01"), "");
  }
}

TEST_F(FaultPlanTest, NamesMeanTheirRequests) {
  const std::pair<const char*, const char*> names[] = {{"get-device-id", "18 01"},
                                                       {"get-sdr-repository-info", "28 20"},
                                                       {"reserve", "28 22"},
                                                       {"get-sdr", "28 23 00"},
                                                       {"clear", "28 27 00"},
                                                       {"spared", "F8 10 00"},
                                                       {"oem-reserve", "F8 11"},
                                                       {"oem-get-sdr", "F8 12 00"},
                                                       {"oem-add", "F8 13 00"},
                                                       {"oem-clear", "F8 14 00"},
                                                       {"get-slot-information", "F8 E0"}};
  for (const auto& [name, image] : names) {
    Parse(std::string(name) + ": cancel");
    for (const auto& [other, other_image] : names) {
      EXPECT_EQ(Match(other_image), other_image == image ? "cancel" : "") << name << " " << other;
    }
  }
}

TEST_F(FaultPlanTest, PatternsMatchFromTheFirstByte) {
  Parse("F8/10/02: cc D5; 28/*: cc C0; */*/*/05: cc C3");
  EXPECT_EQ(Match("F8 10 02"), "cc D5");
  EXPECT_EQ(Match("F8 10 01"), "");
  EXPECT_EQ(Match("F8 10"), "") << "a pattern longer than the request";
  EXPECT_EQ(Match("28 20"), "cc C0");
  EXPECT_EQ(Match("28 23 00 05"), "cc C0, cc C3");
}

struct Times {
  const char* times;
  const char* hits;  // for the requests 1 to 12: x where the rule applies
};

class TimesTest : public FaultPlanTest, public ::testing::WithParamInterface<Times> {};

TEST_P(TimesTest, CountFromOne) {
  for (const bool bare : {false, true}) {
    Parse((bare ? "" : "reserve@") + std::string(GetParam().times) + ": cancel");
    std::string hits;
    for (int i = 1; i <= 12; ++i) {
      hits += Match("28 22").empty() ? '.' : 'x';
      if (!bare) {
        EXPECT_EQ(Match("18 01"), "") << "others are not counted";
      }
    }
    EXPECT_EQ(hits, GetParam().hits);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, TimesTest,
    ::testing::Values(Times{"1", "x..........."}, Times{"12", "...........x"},
                      Times{"3-5", "..xxx......."}, Times{"3 - 5", "..xxx......."},
                      Times{"5-5", "....x......."}, Times{"10-", ".........xxx"},
                      Times{"every 1", "xxxxxxxxxxxx"}, Times{"every  5", "....x....x.."},
                      Times{"13", "............"}));

TEST_F(FaultPlanTest, ReadingAPlanAgainStartsItsCountsAgain) {
  Parse("1: cancel");
  EXPECT_EQ(Match("18 01"), "cancel");
  EXPECT_EQ(Match("18 01"), "");
  Parse("1: cancel");
  EXPECT_EQ(Match("18 01"), "cancel");
}

TEST_F(FaultPlanTest, RulesStandOnLinesOrBetweenSemicolonsAndAllApply) {
  Parse("any : cc C1 , length 5 # comment; 1: stuck\r\n\t1:cancel;2-:stuck\n@2: cc C5");
  EXPECT_EQ(Match("18 01"), "cc C1, length 5, cancel");
  EXPECT_EQ(Match("18 01"), "cc C1, length 5, stuck, cc C5");
}

TEST_F(FaultPlanTest, TheLastActionOfAKindCounts) {
  Parse("any: cc C1; any: cc C2");
  const Faults faults = plan_->MatchRequest(FromHex("18 01"));
  ASSERT_NE(faults.Find(Fault::kCode), nullptr);
  EXPECT_EQ(faults.Find(Fault::kCode)->number, 0xC2U);
  EXPECT_EQ(faults.Find(Fault::kCancel), nullptr);
}

TEST_F(FaultPlanTest, WaitsAreCountedApartFromRequests) {
  Parse("wait@2: signal TERM; 1: cancel");
  EXPECT_EQ(MatchWait(), "");
  EXPECT_EQ(Match("18 01"), "cancel");
  EXPECT_EQ(MatchWait(), "signal TERM");
  EXPECT_EQ(MatchWait(), "");
}

TEST_F(FaultPlanTest, WaitsKnowSignalsAndTheClock) {
  Parse("wait@1: signal TERM after, clock +5; wait@2: clock -5");
  EXPECT_EQ(MatchWait(), "signal TERM after, clock +5");
  EXPECT_EQ(MatchWait(), "clock -5");
}

TEST_F(FaultPlanTest, EachActionIsRead) {
  struct Row {
    const char* text;
    Fault fault;
    std::uint32_t number;
  };
  const Row rows[] = {
      {"cc C5", Fault::kCode, 0xC5},
      {"cc 0", Fault::kCode, 0},
      {"cc-after 80", Fault::kCodeAfter, 0x80},
      {"length 0", Fault::kLength, 0},
      {"length 2048", Fault::kLength, 2048},
      {"netfn 2c", Fault::kNetFn, 0x2C},
      {"command FF", Fault::kCommand, 0xFF},
      {"next 0001", Fault::kNextId, 1},
      {"next FFFF", Fault::kNextId, 0xFFFF},
      {"body-length 40", Fault::kBodyLength, 0x40},
      {"stuck", Fault::kStuck, 0},
      {"send-error", Fault::kSendError, EIO},
      {"send-error EBUSY", Fault::kSendError, EBUSY},
      {"ioctl-error ENODEV", Fault::kSendError, ENODEV},
      {"select-error EINTR", Fault::kSelectError, EINTR},
      {"receive-error 11", Fault::kReceiveError, 11},
      {"silence", Fault::kSilence, bmcsim::kForever},
      {"silence 55", Fault::kSilence, 55000},
      {"delay 0.5", Fault::kDelay, 500},
      {"delay 1.25", Fault::kDelay, 1250},
      {"delay 0.001", Fault::kDelay, 1},
      {"cancel", Fault::kCancel, 0},
      {"signal KILL", Fault::kSignalBefore, SIGKILL},
      {"signal SIGTERM", Fault::kSignalBefore, SIGTERM},
      {"signal 10 before", Fault::kSignalBefore, 10},
      {"signal INT after", Fault::kSignalAfter, SIGINT},
      {"clock +86400", Fault::kClockForward, 86400},
      {"clock -3600", Fault::kClockBack, 3600},
      {"clock +1000000000", Fault::kClockForward, 1000000000},
  };
  for (const Row& row : rows) {
    const Action action = Only(row.text);
    EXPECT_EQ(action.fault, row.fault) << row.text;
    EXPECT_EQ(action.number, row.number) << row.text;
    EXPECT_EQ(action.text, row.text);
  }
}

TEST_F(FaultPlanTest, BytesOfAnActionAreKept) {
  Action action = Only("answer 00 01 ff");
  EXPECT_EQ(action.fault, Fault::kAnswer);
  EXPECT_EQ(ToHex({action.bytes.begin(), action.bytes.end()}), "00 01 FF");
  action = Only("data 12=AB CD");
  EXPECT_EQ(action.fault, Fault::kAnswerBytes);
  EXPECT_EQ(action.offset, 12);
  EXPECT_EQ(ToHex({action.bytes.begin(), action.bytes.end()}), "AB CD");
  action = Only("request 8 = 7");
  EXPECT_EQ(action.fault, Fault::kRequestBytes);
  EXPECT_EQ(action.offset, 8);
  EXPECT_EQ(ToHex({action.bytes.begin(), action.bytes.end()}), "07");
}

TEST_F(FaultPlanTest, MistakesAreToldWithTheirPlace) {
  const std::pair<const char*, const char*> rows[] = {
      {"reserve", "line 1, 'reserve': a rule is WHICH ':' ACTION"},
      {"\n\nreserve cc C5", "line 3, 'reserve cc C5': a rule is WHICH ':' ACTION"},
      {": cc C5", "line 1, ': cc C5': it does not say which requests"},
      {"reserve:", "line 1, 'reserve:': there is no action"},
      {"1: cancel; reserve: ", "line 1, 'reserve:': there is no action"},
      {"Reserve: cc C5", "line 1, 'Reserve: cc C5': the request is unknown"},
      {"18/0G: cc C5", "line 1, '18/0G: cc C5': a request's bytes are two hex digits or '*'"},
      {"18/001: cc C5", "line 1, '18/001: cc C5': a request's bytes are two hex digits or '*'"},
      {"0/1/2/3/4/5/6/7/8/9/A/B/C: cancel",
       "line 1, '0/1/2/3/4/5/6/7/8/9/A/B/C: cancel': the request's bytes are too many"},
      {"0: cancel", "line 1, '0: cancel': the times are not K, K-L, K- or 'every' N"},
      {"5-4: cancel", "line 1, '5-4: cancel': the times are not K, K-L, K- or 'every' N"},
      {"1x: cancel", "line 1, '1x: cancel': the times are not K, K-L, K- or 'every' N"},
      {"any@: cancel", "line 1, 'any@: cancel': the times are not K, K-L, K- or 'every' N"},
      {"99999999999: cancel",
       "line 1, '99999999999: cancel': the times are not K, K-L, K- or 'every' N"},
      {"every 0: cancel", "line 1, 'every 0: cancel': 'every' wants a count from 1 on"},
      {"every: cancel", "line 1, 'every: cancel': 'every' wants a count from 1 on"},
      {"1: explode", "line 1, '1: explode': the action is unknown"},
      {"1: cancel,", "line 1, '1: cancel,': the action is unknown"},
      {"1: cancel 2", "line 1, '1: cancel 2': the action takes nothing more"},
      {"1: cc", "line 1, '1: cc': the action wants one byte in hex"},
      {"1: cc C5 C6", "line 1, '1: cc C5 C6': the action wants one byte in hex"},
      {"1: cc 100", "line 1, '1: cc 100': the action wants one byte in hex"},
      {"1: length -1", "line 1, '1: length -1': the action wants a length, 0 to 2048"},
      {"1: length 2049", "line 1, '1: length 2049': the action wants a length, 0 to 2048"},
      {"1: next 10000", "line 1, '1: next 10000': the action wants a record ID in hex"},
      {"1: data 01", "line 1, '1: data 01': the action wants bytes in hex"},
      {"1: data =01",
       "line 1, '1: data =01': the action wants OFFSET=XX..., the offset in decimal"},
      {"1: data 2=", "line 1, '1: data 2=': the action wants bytes in hex"},
      {"1: answer", "line 1, '1: answer': the action wants bytes in hex"},
      {"1: answer 00 xx", "line 1, '1: answer 00 xx': the action wants bytes in hex"},
      {"1: send-error EWHAT", "line 1, '1: send-error EWHAT': the errno is unknown"},
      {"1: send-error 0", "line 1, '1: send-error 0': the errno is unknown"},
      {"1: replace", "line 1, '1: replace': the action wants a record ID and a record, in hex"},
      {"1: replace 10000 51 01 00",
       "line 1, '1: replace 10000 51 01 00': the action wants a record ID and a record, in hex"},
      {"1: replace 1", "line 1, '1: replace 1': the action wants bytes in hex"},
      {"1: replace 1 51 01",
       "line 1, '1: replace 1 51 01': the record is not whole (SDR version, type, body length, "
       "body)"},
      {"1: replace 1 51 01 01",
       "line 1, '1: replace 1 51 01 01': the record is not whole (SDR version, type, body length, "
       "body)"},
      {"1: delay", "line 1, '1: delay': the action wants seconds"},
      {"1: delay 1.2345", "line 1, '1: delay 1.2345': the action wants seconds"},
      {"1: delay 1.0001", "line 1, '1: delay 1.0001': the action wants seconds"},
      {"1: delay 1.", "line 1, '1: delay 1.': the action wants seconds"},
      {"1: silence -1", "line 1, '1: silence -1': the action wants seconds"},
      {"1: signal", "line 1, '1: signal': the signal is unknown"},
      {"1: signal 65", "line 1, '1: signal 65': the signal is unknown"},
      {"1: signal TERM during",
       "line 1, '1: signal TERM during': a signal comes 'before' or 'after'"},
      {"1: signal TERM after all", "line 1, '1: signal TERM after all': there are too many words"},
      {"1: clock", "line 1, '1: clock': the action wants seconds with their sign, +S or -S"},
      {"1: clock 5", "line 1, '1: clock 5': the action wants seconds with their sign, +S or -S"},
      {"1: clock +-5",
       "line 1, '1: clock +-5': the action wants seconds with their sign, +S or -S"},
      {"1: clock +1000000001",
       "line 1, '1: clock +1000000001': the action wants seconds with their sign, +S or -S"},
      {"wait: cc C5", "line 1, 'wait: cc C5': a wait knows only 'signal' and 'clock'"},
  };
  for (const auto& [text, complaint] : rows) {
    EXPECT_EQ(Complaint(text), std::string("fault plan, ") + complaint);
  }
}

TEST_F(FaultPlanTest, ReplaceTakesARecordIdAndARecord) {
  const Action action = Only("replace 0A05 51 c0 3 77 00 00");
  EXPECT_EQ(action.fault, Fault::kReplace);
  EXPECT_EQ(action.number, 0x0A05U);
  EXPECT_EQ(ToHex({action.bytes.begin(), action.bytes.end()}), "51 C0 03 77 00 00");
}

TEST_F(FaultPlanTest, RulesThatHaveNotStruckAreKnown) {
  using ::testing::ElementsAre;
  using ::testing::IsEmpty;
  Parse("reserve@2: cc C3  # a comment\n wait: clock +1 ; any : stuck,cancel\nspared@5-: cc D5");
  EXPECT_THAT(plan_->Unstruck(), ElementsAre("reserve@2: cc C3", "wait: clock +1",
                                             "any : stuck,cancel", "spared@5-: cc D5"));
  Match("28 22");
  EXPECT_THAT(plan_->Unstruck(),
              ElementsAre("reserve@2: cc C3", "wait: clock +1", "spared@5-: cc D5"));
  MatchWait();
  Match("28 22");
  EXPECT_THAT(plan_->Unstruck(), ElementsAre("spared@5-: cc D5"));
  std::array<std::uint8_t, 4> notes = {0, 0, 0, 1};
  plan_->NoteStrikesIn(notes);
  EXPECT_THAT(plan_->Unstruck(), IsEmpty()) << "another program's strike counts";
  Match("18 01");
  EXPECT_THAT(notes, ElementsAre(0, 0, 1, 1));
  Parse("2: cc C1; any: stuck");
  EXPECT_THAT(plan_->Unstruck(), ElementsAre("2: cc C1", "any: stuck")) << "a new plan";
}

TEST_F(FaultPlanTest, LimitsAreToldAndNotOverrun) {
  std::string many;
  for (std::size_t i = 0; i < FaultPlan::kMaxRules; ++i) many += "1:stuck\n";
  Parse(many);
  EXPECT_EQ(Complaint(many + "1:stuck\n"),
            "fault plan, line 513, '1:stuck': there are too many rules");
  std::string actions = "1:stuck";
  for (std::size_t i = 1; i < FaultPlan::kMaxActions; ++i) actions += ",stuck";
  Parse(actions);
  EXPECT_NE(Complaint(actions + ",stuck").find("there are too many actions"), std::string::npos);
  std::string bytes = "1:answer";
  for (std::size_t i = 0; i < FaultPlan::kMaxBytes; ++i) bytes += " 1";
  Parse(bytes);
  EXPECT_NE(Complaint(bytes + " 1").find("there are too many bytes"), std::string::npos);
  EXPECT_EQ(Complaint(std::string(FaultPlan::kMaxText + 1, '#')),
            "fault plan: it is longer than 32768 bytes");
  Parse(std::string(FaultPlan::kMaxText, '#'));
}

TEST_F(FaultPlanTest, MoreActionsThanARequestCanBearAreLeftOut) {
  std::string actions = "1: stuck";
  for (std::size_t i = 0; i < 2 * Faults::kMost; ++i) actions += ", stuck";
  Parse(actions);
  const Faults faults = plan_->MatchRequest(FromHex("18 01"));
  EXPECT_EQ(faults.end() - faults.begin(), static_cast<std::ptrdiff_t>(Faults::kMost));
}

}  // namespace
}  // namespace bmcsim_test
