#include "control/engine/conclusion.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>

#include "control/show/progress.h"
#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

const RecordList kInput{"input"};
const RecordList kBefore{"before"};
const RecordList kOther{"other"};

class Conclusion : public testing::Test {
 protected:
  Result ConcludeOf(const Plan& plan, const End& end) {
    const Session session{.store = store_,
                          .reading = reading_,
                          .interrupts = interrupts_,
                          .stops = nullptr,
                          .sink = *sink_,
                          .command = "update",
                          .again = "tarvekctl update new.sdr",
                          .tool = "tarvek"};
    const Result result = Conclude(session, plan, end);
    ExpectOrder(result, end);
    return result;
  }

  /// What holds for every result.
  static void ExpectOrder(const Result& result, const End& end) {
    EXPECT_EQ(result.changed.has_value(), result.in_service != InService::kUnknown);
    EXPECT_EQ(result.status == ExitStatus::kDone, result.outcome == Outcome::kDone);
    EXPECT_FALSE(result.message.what.empty());
    EXPECT_FALSE(result.message.state.empty());
    EXPECT_FALSE(result.message.remedy.empty());
    EXPECT_EQ(result.result_code.value_or(""), end.code);
  }

  static Plan PlanOf(std::optional<RecordList> before) {
    Plan plan;
    plan.input = kInput;
    plan.before = std::move(before);
    plan.version_before = "01.02";
    plan.version_input = "01.03";
    plan.backup = "/backups/1.BAK";
    plan.difference = "what changes\n";
    return plan;
  }

  static End EndOf(const std::string& code, bool interrupted, std::optional<RecordList> after) {
    End end;
    end.code = code;
    end.interrupted = interrupted;
    if (!after) end.unread = "the BMC does not answer.";
    end.after = std::move(after);
    return end;
  }

 private:
  const ScratchDirectory scratch_;
  const RunStore store_{scratch_.Path("state")};
  ReadingPlace reading_{store_};
  const Interrupts interrupts_;
  const std::unique_ptr<ProgressSink> sink_ = MakeQuietSink();
};

struct CodeRow {
  const char* code;
  ExitStatus previous;  // when what was there before is served
};

const std::vector<CodeRow> kCodes{
    {"", ExitStatus::kBmcFailed},         {"OK", ExitStatus::kBmcFailed},
    {"Complete", ExitStatus::kBmcFailed}, {"Duplex", ExitStatus::kBusy},
    {"Down Grade", ExitStatus::kNothing}, {"SDRC01", ExitStatus::kBmcFailed},
    {"SDRC03", ExitStatus::kUnfit},       {"SDRC04", ExitStatus::kUnfit},
    {"SDRC05", ExitStatus::kBmcFailed},   {"SDRC06", ExitStatus::kBadInput},
    {"SDRC07", ExitStatus::kBadInput},    {"SDR032", ExitStatus::kBmcFailed},
    {"SDR077", ExitStatus::kBmcFailed},   {"nonsense", ExitStatus::kBmcFailed},
};

TEST_F(Conclusion, InputInServiceIsDoneWhateverTheToolSaysAndWhoeverInterrupts) {
  for (const CodeRow& row : kCodes) {
    for (const bool interrupted : {false, true}) {
      for (const auto& before : {std::optional<RecordList>(kBefore), std::optional<RecordList>()}) {
        const Result result = ConcludeOf(PlanOf(before), EndOf(row.code, interrupted, kInput));
        EXPECT_EQ(result.status, ExitStatus::kDone) << row.code;
        EXPECT_EQ(result.in_service, InService::kInput);
        EXPECT_EQ(result.changed, true);
        EXPECT_EQ(result.differs, false);
        EXPECT_EQ(result.more.at("difference_text"), "what changes\n");
      }
    }
  }
}

TEST_F(Conclusion, PreviousInServiceIsToldByTheCodeUnlessInterrupted) {
  for (const CodeRow& row : kCodes) {
    const Result result = ConcludeOf(PlanOf(kBefore), EndOf(row.code, false, kBefore));
    EXPECT_EQ(result.status, row.previous) << row.code;
    EXPECT_EQ(result.in_service, InService::kPrevious);
    EXPECT_EQ(result.changed, false);
    EXPECT_EQ(result.differs, true);
    const Result interrupted = ConcludeOf(PlanOf(kBefore), EndOf(row.code, true, kBefore));
    EXPECT_EQ(interrupted.status, ExitStatus::kInterrupted);
    EXPECT_EQ(interrupted.outcome, Outcome::kInterrupted);
    EXPECT_EQ(interrupted.changed, false);
  }
}

TEST_F(Conclusion, OtherInServiceIsNeverNothingNorRefused) {
  for (const CodeRow& row : kCodes) {
    const Result result = ConcludeOf(PlanOf(kBefore), EndOf(row.code, false, kOther));
    EXPECT_EQ(result.status, ExitStatus::kBmcFailed) << row.code;
    EXPECT_EQ(result.in_service, InService::kOther);
    EXPECT_EQ(result.changed, true);
    EXPECT_EQ(result.differs, true);
    EXPECT_NE(result.message.remedy.find("restore /backups/1.BAK"), std::string::npos);
    EXPECT_EQ(ConcludeOf(PlanOf(kBefore), EndOf(row.code, true, kOther)).status,
              ExitStatus::kInterrupted);
  }
}

TEST_F(Conclusion, WhatCannotBeReadIsUnknown) {
  for (const CodeRow& row : kCodes) {
    for (const bool interrupted : {false, true}) {
      for (const auto& before : {std::optional<RecordList>(kBefore), std::optional<RecordList>()}) {
        const Result result = ConcludeOf(PlanOf(before), EndOf(row.code, interrupted, {}));
        const bool busy = std::string(row.code) == "Duplex";
        EXPECT_EQ(result.status, busy ? ExitStatus::kBusy : ExitStatus::kInterrupted) << row.code;
        EXPECT_EQ(result.in_service, InService::kUnknown);
        EXPECT_EQ(result.changed, std::nullopt);
        EXPECT_EQ(result.differs, std::nullopt);
      }
    }
  }
}

TEST_F(Conclusion, OtherRecordsAreUnknownWhereNobodyKnowsWhatWasThere) {
  for (const CodeRow& row : kCodes) {
    const Result result = ConcludeOf(PlanOf({}), EndOf(row.code, false, kOther));
    EXPECT_EQ(result.in_service, InService::kUnknown) << row.code;
    EXPECT_EQ(result.status, ExitStatus::kInterrupted);
    EXPECT_EQ(result.changed, std::nullopt);
  }
}

TEST_F(Conclusion, IdenticalRecordsWrittenAgainAreDoneAndUnchanged) {
  Plan plan = PlanOf(kInput);
  const Result result = ConcludeOf(plan, EndOf("Complete", false, kInput));
  EXPECT_EQ(result.status, ExitStatus::kDone);
  EXPECT_EQ(result.changed, false);
  EXPECT_FALSE(result.more.contains("difference_text"));
  EXPECT_NE(result.message.what.find("written again"), std::string::npos);
}

TEST_F(Conclusion, IdenticalRecordsAreNotSaidToBeWrittenByARunThatFailed) {
  const Result result = ConcludeOf(PlanOf(kInput), EndOf("SDR077", true, kInput));
  EXPECT_EQ(result.status, ExitStatus::kDone);
  EXPECT_EQ(result.message.what.find("written"), std::string::npos) << result.message.what;
}

TEST_F(Conclusion, AnEmptyRepositoryIsSomethingThatWasThere) {
  EXPECT_EQ(ConcludeOf(PlanOf(RecordList()), EndOf("SDR001", false, RecordList())).in_service,
            InService::kPrevious);
  EXPECT_EQ(ConcludeOf(PlanOf(kBefore), EndOf("SDR001", false, RecordList())).in_service,
            InService::kOther);
}

TEST_F(Conclusion, TheFirstErrorIsTold) {
  End end = EndOf("SDR077", false, kBefore);
  end.error = {77, "unsupported SparedSDR \x1B command"};
  const Result result = ConcludeOf(PlanOf(kBefore), end);
  EXPECT_EQ(result.error->number, 77);
  EXPECT_NE(result.message.what.find("error 77"), std::string::npos);
  EXPECT_EQ(result.message.what.find('\x1B'), std::string::npos);
}

// ---- scripts that only compare

class Comparison : public Conclusion {
 protected:
  static Plan Compares(const RecordList& before) {
    Plan plan = PlanOf(before);
    plan.input.clear();  // it programs nothing
    plan.compares_only = true;
    plan.backup.reset();
    return plan;
  }
};

TEST_F(Comparison, ThatFindsThemEqualIsNothingToDo) {
  const Result result = ConcludeOf(Compares(kInput), EndOf("Complete", false, kInput));
  EXPECT_EQ(result.status, ExitStatus::kNothing);
  EXPECT_EQ(result.outcome, Outcome::kNothing);
  EXPECT_EQ(result.in_service, InService::kInput);
  EXPECT_EQ(result.changed, false);
  EXPECT_EQ(result.differs, false);
}

TEST_F(Comparison, ThatIsNotReadBackIsUnknownWhateverTheToolSays) {
  const Result result = ConcludeOf(Compares(kInput), EndOf("Complete", false, {}));
  EXPECT_EQ(result.status, ExitStatus::kInterrupted);
  EXPECT_EQ(result.in_service, InService::kUnknown);
  EXPECT_EQ(result.changed, std::nullopt);
}

TEST_F(Comparison, ThatFindsADifferenceHasFailed) {
  const Result result = ConcludeOf(Compares(kBefore), EndOf("SDR032", false, kBefore));
  EXPECT_EQ(result.status, ExitStatus::kBmcFailed);
  EXPECT_EQ(result.in_service, InService::kPrevious);
  EXPECT_EQ(result.changed, false);
  EXPECT_EQ(result.differs, true);
}

TEST_F(Comparison, ThatFailsHasComparedNothing) {
  const Result result = ConcludeOf(Compares(kBefore), EndOf("SDR026", false, kBefore));
  EXPECT_EQ(result.status, ExitStatus::kBmcFailed);
  EXPECT_EQ(result.differs, std::nullopt);
}

TEST_F(Comparison, ThatIsInterruptedIsInterrupted) {
  const Result result = ConcludeOf(Compares(kBefore), EndOf("OK", true, kBefore));
  EXPECT_EQ(result.status, ExitStatus::kInterrupted);
  EXPECT_EQ(result.changed, false);
}

}  // namespace
}  // namespace tarvek::control
