#include "driver/readiness.h"

#include <sys/stat.h>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace {

using tarvek_test::Bytes;
using tarvek_test::LogTexts;
using tarvek_test::ReadFile;
using tarvek_test::Reply;
using tarvek_test::ResultText;
using tarvek_test::WriteFile;
using Words = std::vector<std::string>;

// Completion code and Get Device ID data of product 01A3h.
const Bytes kIdentity{0x00, 0x20, 0x01, 0x01, 0x02, 0x51, 0xBF, 0x77,
                      0x00, 0x00, 0xA3, 0x01, 0x00, 0x00, 0x00, 0x00};

class Readiness : public tarvek_test::FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    tarvek_test::UseOpenIpmi();
    g_eu_flg = kNormalUpdate;
    Answer(kIdentity);
    WriteFile("mchk_fil", "01a3\n");
  }

  void Answer(const Bytes& data) {
    machine().bmc = [data](const Bytes&) {
      Reply reply;
      reply.data = data;
      return reply;
    };
  }

  static Words FailureLog(const std::string& message, const std::string& response) {
    return {message, "request  = 18 01 ", response};
  }
};

TEST_F(Readiness, AsksForTheDeviceIdOnce) {
  EXPECT_EQ(GetBmcStatus(), 0);
  EXPECT_EQ(machine().requests, (std::vector<Bytes>{{0x18, 0x01}}));
  EXPECT_EQ(LogTexts(), Words{"GetBmcStatus() success."});
  EXPECT_TRUE(machine().sleeps.empty());
}

TEST_F(Readiness, TakesAnAnswerOf14Bytes) {
  Answer(Bytes(kIdentity.begin(), kIdentity.begin() + 12));
  EXPECT_EQ(GetBmcStatus(), 0);
}

struct LengthRow {
  std::size_t data;  // bytes behind the header
  int result;
};

TEST_F(Readiness, TakesNoAnswerOfAnotherLength) {
  for (const LengthRow row : {LengthRow{12, 0},
                              {16, 0},
                              {0, 1},
                              {1, 1},
                              {11, 1},
                              {13, 1},
                              {14, 1},
                              {15, 1},
                              {17, 1},
                              {126, 1},
                              {200, 1}}) {
    SCOPED_TRACE(row.data);
    Bytes data = kIdentity;
    data.resize(row.data);
    Answer(data);
    EXPECT_EQ(GetBmcStatus(), row.result);
    if (row.result == 1) {
      EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC05"));
    }
  }
}

TEST_F(Readiness, TellsABadCompletionCodeWithTheExchange) {
  Answer({0xC1});
  EXPECT_EQ(GetBmcStatus(), 1);
  EXPECT_EQ(LogTexts(), FailureLog("Get Device ID Command Error.", "response = 1C 01 C1 "));
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC05"));
}

TEST_F(Readiness, ShowsAClearedAnswerWhenTheDriverFails) {
  machine().bmc = [](const Bytes&) {
    Reply reply;
    reply.send_fails = true;
    return reply;
  };
  EXPECT_EQ(GetBmcStatus(), 1);
  std::string response = "response = ";
  for (int i = 0; i < 126; ++i) response += "00 ";
  EXPECT_EQ(LogTexts(), FailureLog("Get Device ID Command Error.", response));
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC05"));
}

struct ListRow {
  const char* list;
  int result;
};

TEST_F(Readiness, LooksTheProductIdUpAnywhereInALineOfAnyCase) {
  const ListRow rows[] = {
      {"01a3\n", 0},      {"01A3\n", 0}, {"01a3", 0}, {"# x01A3y z\n", 0}, {"0000\n\n01a3\n", 0},
      {"a301\n", 1},      {"", 1},       {"\n\n", 1}, {"01 a3\n", 1},      {"01a\n3\n", 1},
      {"01a4\n1a3\n", 1},
  };
  for (const ListRow& row : rows) {
    SCOPED_TRACE(row.list);
    WriteFile("mchk_fil", row.list);
    EXPECT_EQ(GetBmcStatus(), row.result);
    if (row.result == 1) {
      EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC04"));
    }
  }
}

TEST_F(Readiness, TellsABoardThatIsNotListedWithTheExchange) {
  WriteFile("mchk_fil", "");
  EXPECT_EQ(GetBmcStatus(), 1);
  EXPECT_EQ(LogTexts(),
            FailureLog("This SDR data is not supported.(Not Found HWID in mchk_fil)",
                       "response = 1C 01 00 20 01 01 02 51 BF 77 00 00 A3 01 00 00 00 00 "));
}

TEST_F(Readiness, TellsAMissingListWithoutTheExchange) {
  std::filesystem::remove("mchk_fil");
  EXPECT_EQ(GetBmcStatus(), 1);
  EXPECT_EQ(LogTexts(), Words{"mchk_fil is not opened."});
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC06"));
}

TEST_F(Readiness, SurvivesAListThatIsNoText) {
  WriteFile("mchk_fil", std::string(5000, '\xFF') + std::string(3, '\0'));
  EXPECT_EQ(GetBmcStatus(), 1);
  std::filesystem::remove("mchk_fil");
  std::filesystem::create_directory("mchk_fil");
  EXPECT_EQ(GetBmcStatus(), 1);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC04"));
}

TEST_F(Readiness, TheNullDeviceIsAListWithoutABoard) {
  std::filesystem::remove("mchk_fil");
  std::filesystem::create_symlink("/dev/null", "mchk_fil");
  EXPECT_EQ(GetBmcStatus(), 1);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC04"));
}

TEST_F(Readiness, DoesNotWaitForAPipeInPlaceOfTheList) {
  std::filesystem::remove("mchk_fil");
  ASSERT_EQ(mkfifo("mchk_fil", 0600), 0);
  EXPECT_EQ(GetBmcStatus(), 1);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC04"));
}

}  // namespace
