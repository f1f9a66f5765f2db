#include "control/engine/run_files.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

class RunFiles : public testing::Test {
 protected:
  void WriteWork(const std::string& name, const std::string& bytes) {
    run_.Work().Write(name, bytes);
  }
  void WriteRatio(const std::string& percent) {
    WriteWork("Get_ratio.xml_tmp",
              "<Response><result_code>OK</result_code><data>" + percent + "</data></Response>\n");
  }

  const ScratchDirectory scratch_;
  const RunStore store_{scratch_.Path("state")};
  Descriptor lead_;
  const control::Run run_ = store_.New(&lead_);
};

TEST_F(RunFiles, KeepAPlanAsItIs) {
  EXPECT_FALSE(ReadPlan(run_).has_value());
  Plan plan;
  plan.input = {std::string("\0\xFF", 2), ""};
  plan.version_input = "01.\xFF\x1B";
  plan.arguments = {"-update", "-sdr", "input.SDR"};
  plan.difference = "lines\n";
  for (const bool known : {false, true}) {
    if (known) {
      plan.before = RecordList{};
      plan.version_before = "01.02";
      plan.backup = "/b";
      plan.compares_only = true;
    }
    SavePlan(run_, plan);
    const std::optional<Plan> read = ReadPlan(run_);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->input, plan.input);
    EXPECT_EQ(read->before, plan.before);
    EXPECT_EQ(read->version_before, plan.version_before);
    EXPECT_EQ(read->backup, plan.backup);
    EXPECT_EQ(read->arguments, plan.arguments);
    EXPECT_EQ(read->compares_only, plan.compares_only);
    EXPECT_EQ(read->difference, plan.difference);
  }
}

TEST_F(RunFiles, ThrowAtAPlanThatIsNone) {
  const std::string rest =
      R"(,"difference":0,"version_before":null,"version_input":null,"backup":null,)"
      R"("arguments":[],"compares_only":false})"
      "\n";
  run_.directory().Write(Run::kProgramming, R"({"input":3,"before":null)" + rest + "00\n");
  EXPECT_TRUE(ReadPlan(run_).has_value());
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[]\n"), std::string("{}\n"),
        R"({"input":3,"before":null)" + rest + "00", R"({"input":-1,"before":null)" + rest + "00\n",
        R"({"input":3,"before":null)" + rest + "0x\n", R"({"input":"a","before":null)" + rest}) {
    run_.directory().Write(Run::kProgramming, text);
    EXPECT_THROW(ReadPlan(run_), std::exception) << text;
  }
}

TEST_F(RunFiles, TellHowFarARunIs) {
  EXPECT_EQ(ReadProgress(run_).phase, "checking");
  EXPECT_EQ(ReadProgress(run_).run, run_.id());
  const std::pair<const char*, int> rows[] = {
      {"checking", 0}, {"reading", 1}, {"saving", 5}, {"programming", 10}, {"verifying", 90}};
  for (const auto& [phase, percent] : rows) {
    SavePhase(run_, phase, 0);
    EXPECT_EQ(ReadProgress(run_).phase, phase);
    EXPECT_EQ(ReadProgress(run_).percent, percent) << phase;
  }
}

TEST_F(RunFiles, TakeTheToolsPercentageWhileItPrograms) {
  const std::pair<const char*, int> rows[] = {
      {"0", 10},  {"50", 50}, {"100", 90}, {"101", 90},
      {"-5", 10}, {"", 10},   {"x", 10},   {"99999999999999999999", 10}};
  SavePhase(run_, "programming", 40);
  for (const auto& [told, percent] : rows) {
    WriteRatio(told);
    EXPECT_EQ(ReadProgress(run_).percent, percent) << told;
  }
  SavePhase(run_, "reading", 0);
  EXPECT_EQ(ReadProgress(run_).percent, 1);
}

TEST_F(RunFiles, GuessTheTimeThatIsLeft) {
  SavePhase(run_, "programming", 40);
  const std::optional<int> left = ReadProgress(run_).seconds_left;
  ASSERT_TRUE(left.has_value());
  EXPECT_GE(*left, 38);
  EXPECT_LE(*left, 40);
  const auto since = [&](const std::string& when) {
    run_.directory().Write("phase.json",
                           "{\"phase\":\"programming\",\"seconds\":40,\"since\":" + when + "}");
    return ReadProgress(run_).seconds_left;
  };
  EXPECT_EQ(since("0"), 0);
  EXPECT_EQ(since("9000000000000"), 40);
}

TEST_F(RunFiles, AreWhateverTheyAre) {
  for (const char* const text : {"", "{", "[]", "{\"phase\":1}", "{\"phase\":\"\\u001b\"}",
                                 "{\"phase\":\"programming\",\"seconds\":\"x\"}"}) {
    run_.directory().Write("phase.json", text);
    const Progress progress = ReadProgress(run_);
    EXPECT_GE(progress.percent, 0) << text;
    EXPECT_LE(progress.percent, 100) << text;
  }
}

TEST_F(RunFiles, HoldTheToolsLastWord) {
  EXPECT_EQ(ResultCode(run_), "");
  WriteWork("Update_normal.xml", "<Response><result_code>Complete</result_code><data></data>");
  EXPECT_EQ(ResultCode(run_), "Complete");
  WriteWork("Update_force.xml", "<Response><result_code>SDR077</result_code>");
  EXPECT_EQ(ResultCode(run_), "SDR077");
  WriteWork("Update_force.xml", "<Response><result_code>SDR0");
  EXPECT_EQ(ResultCode(run_), "Complete");
}

}  // namespace
}  // namespace tarvek::control
