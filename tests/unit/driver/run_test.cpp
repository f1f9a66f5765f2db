// Whole runs in this process, over the simulated BMC's model: what only shows while a run goes on.
#include "driver/run.h"

#include <memory>

#include "driver/reporting/run_settings.h"
#include "simulator/bmc_model.h"
#include "simulator/sample_records.h"
#include "tests/blackbox/sdr_text.h"
#include "tests/unit/support/private_lock.h"

namespace {

using blackbox::SdrSet;
using blackbox::SdrText;
using tarvek_test::Bytes;
using tarvek_test::ReadFile;
using tarvek_test::Reply;
using tarvek_test::ResultText;
using tarvek_test::WriteFile;
using Words = std::vector<std::string>;

class Run : public tarvek_test::LockedRun {
 protected:
  void SetUp() override {
    LockedRun::SetUp();
    bmcsim::InitialiseState(bmcsim::Identity{}, *state_);
    machine().bmc = [this](const Bytes& request) { return Serve(request); };
    machine().on_sleep = [this](std::uint64_t) { Sample(); };
    WriteFile("mchk_fil", "01a3\n");
  }

  void FillBmc(unsigned records) {
    bmcsim::SampleSet set;
    set.records = records;
    set.version = "SDR Version 01.02";
    ASSERT_TRUE(bmcsim::AddSampleSet(set, 1, *state_));
  }

  int Tarvek(Words words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    return tarvek::Run(arguments);
  }

  /// The values that the progress file has had, in order, each once.
  const std::vector<int>& progress() const { return progress_; }

 private:
  Reply Serve(const Bytes& request) {
    bmcsim::BmcModel model(*state_);
    bmcsim::Answer answer;
    model.Handle(request[0], request[1], std::span(request).subspan(2), 1000, answer);
    Reply reply;
    reply.data.assign(answer.bytes().begin(), answer.bytes().end());
    return reply;
  }

  void Sample() {
    const std::string text = ReadFile("Get_ratio.xml_tmp");
    int percent = 0;
    if (std::sscanf(text.c_str(), "%*[^\n]\n<Response><result_code>OK</result_code><data>%d",
                    &percent) == 1 &&
        (progress_.empty() || progress_.back() != percent)) {
      progress_.push_back(percent);
    }
  }

  std::unique_ptr<bmcsim::BmcState> state_ = std::make_unique<bmcsim::BmcState>();
  std::vector<int> progress_;
};

TEST_F(Run, ProgressRisesThroughItsStepsAndEveryTenthRecord) {
  FillBmc(104);  // and the version record
  WriteFile("BMCSDR.SDR", SdrText(SdrSet(104)));
  EXPECT_EQ(Tarvek({"-update", "-sdr"}), 0);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("Complete"));
  // 105 records: 24 percent over 105 while the old set is read, over 106 afterwards.
  EXPECT_EQ(progress(),
            (std::vector<int>{5,  7,  9,  11, 14, 16, 18, 20, 23, 25, 27,  // reading the old set
                              30, 35, 40,                                  // clearing
                              42, 44, 46, 49, 51, 53, 55, 58, 60, 62, 65,  // writing
                              67, 69, 71, 74, 76, 78, 80, 83, 85, 87, 90,  // reading back
                              100}));
  EXPECT_EQ(ReadFile("Get_ratio.xml_tmp"), "(there is no Get_ratio.xml_tmp)");
}

TEST_F(Run, ProgressIsZeroUntilTheDriverIsOpen) {
  machine().nodes.clear();
  EXPECT_EQ(Tarvek({"-update", "-sdr"}), 0);
  EXPECT_EQ(progress(), std::vector<int>{0});
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC03"));
}

TEST_F(Run, ProgressIsStillThereTenSecondsAfterTheEnd) {
  FillBmc(1);
  WriteFile("BMCSDR.SDR", SdrText(SdrSet(1)));
  std::string at_end;
  std::string result_at_end;
  machine().on_sleep = [&](std::uint64_t microseconds) {
    if (microseconds != 10000000) return;
    at_end = ReadFile("Get_ratio.xml_tmp");
    result_at_end = ReadFile("Update_normal.xml");
  };
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(at_end, ResultText("OK", "100"));
  EXPECT_EQ(result_at_end, ResultText("Complete"));
}

TEST_F(Run, ResultStaysOkFor30Seconds) {
  FillBmc(1);
  WriteFile("BMCSDR.SDR", SdrText(SdrSet(1, "SDR Version 01.01")));
  std::vector<std::string> while_waiting;
  machine().on_sleep = [&](std::uint64_t microseconds) {
    if (microseconds == 30000000) while_waiting.push_back(ReadFile("Update_normal.xml"));
  };
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(while_waiting, Words{ResultText("OK")});
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("Down Grade"));
}

TEST_F(Run, RetriesTheRemovalOfTheProgressFileTwelveTimes) {
  FillBmc(1);
  std::size_t pauses = 0;
  machine().on_sleep = [&](std::uint64_t microseconds) {
    // The file goes away before the run comes to delete it.
    if (microseconds == 10000000) std::filesystem::remove("Get_ratio.xml_tmp");
    if (microseconds == 500000) ++pauses;
  };
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(pauses, 11U);
}

TEST_F(Run, StopsTryingOnceTheProgressFileIsRemoved) {
  FillBmc(1);
  int pauses = 0;
  machine().on_sleep = [&](std::uint64_t microseconds) {
    if (microseconds == 10000000) std::filesystem::remove("Get_ratio.xml_tmp");
    if (microseconds == 500000 && ++pauses == 3) WriteFile("Get_ratio.xml_tmp", "x");
  };
  Tarvek({"-update", "-sdr"});
  EXPECT_EQ(pauses, 3);
  EXPECT_FALSE(std::filesystem::exists("Get_ratio.xml_tmp"));
}

TEST_F(Run, AnnouncesWorkObjectsWhenAsked) {
  FillBmc(1);
  WriteFile("BMCSDR.SDR", SdrText(SdrSet(1)));
  gMemAllocFlag = 1;
  const std::string console = tarvek_test::ConsoleOf([&] { Tarvek({"-update", "-sdr"}); });
  EXPECT_EQ(console.rfind("Allocating 0x", 0), 0U);
  EXPECT_NE(console.find("Deallocating 0x"), std::string::npos);
}

TEST_F(Run, TakesNoLockForAProgressQuery) {
  tarvek_test::TakeLockAsAnotherRun();
  EXPECT_EQ(Tarvek({"-ratio"}), 0);
  EXPECT_TRUE(tarvek_test::LockExists());
  EXPECT_TRUE(machine().opened.empty());
}

}  // namespace
