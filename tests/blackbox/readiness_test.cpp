// The gates before an update: driver, identity, hardware list.
#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

struct Gate {
  const char* name;
  const char* list;  // "mchk_fil"; "-": there is none
  const char* fault;
  const char* code;
  const char* message;
  const char* response;  // what the log shows of the answer; "": nothing
};

constexpr const char* kGoodAnswer =
    "response = 1C 01 00 20 01 01 10 51 9F 77 00 00 A3 01 00 00 00 00 ";

std::string Zeros(int count) {
  std::string text = "response = ";
  for (int i = 0; i < count; ++i) text += "00 ";
  return text;
}

class RefusedBoard : public SimulatedServer {
 protected:
  void ExpectRefused(const Gate& gate, const std::string& response) {
    SCOPED_TRACE(gate.name);
    CreateServer();
    Write("BMCSDR.SDR", SdrText(SdrSet(1)));
    if (std::string(gate.list) == "-") {
      Remove("mchk_fil");
    } else {
      Write("mchk_fil", gate.list);
    }
    Remove("tarvek.log");
    const std::vector<std::string> before = Repository();
    ClearTrace();
    RunOptions options;
    options.fault = gate.fault;
    const Outcome outcome = Tarvek({"-update", "-sdr"}, options);

    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(Read("Update_normal.xml"), ResultText(gate.code));
    Words expected{"=== Tarvek start ===", "Tarvek Tool Version 1.07",
                   "<<execute -update/-direct>>", "Use OpenIPMI Driver", gate.message};
    if (!response.empty()) {
      expected.push_back("request  = 18 01 ");
      expected.push_back(response);
    }
    expected.push_back("=== Tarvek end ===");
    EXPECT_EQ(Log(), expected);
    EXPECT_EQ(Requests().size(), 1U);
    EXPECT_EQ(Repository(), before);
    EXPECT_FALSE(LockExists());
    EXPECT_FALSE(Exists("Get_ratio.xml_tmp"));
  }
};

TEST_F(RefusedBoard, IsToldByItsCodeAndItsExchange) {
  const char* const kNotListed = "This SDR data is not supported.(Not Found HWID in mchk_fil)";
  const char* const kBadAnswer = "Get Device ID Command Error.";
  ExpectRefused({"a list without the board", "01a4\n", "", "SDRC04", kNotListed, ""}, kGoodAnswer);
  ExpectRefused({"an empty list", "", "", "SDRC04", kNotListed, ""}, kGoodAnswer);
  ExpectRefused({"no list", "-", "", "SDRC06", "mchk_fil is not opened.", ""}, "");
  ExpectRefused({"a driver that fails", "01a3\n", "1: send-error", "SDRC05", kBadAnswer, ""},
                Zeros(126));
  ExpectRefused({"an answer of 16 bytes", "01a3\n", "1: length 16", "SDRC05", kBadAnswer, ""},
                "response = 1C 01 00 20 01 01 10 51 9F 77 00 00 A3 01 00 00 ");
  ExpectRefused({"a bad completion code", "01a3\n", "1: cc C0", "SDRC05", kBadAnswer, ""},
                "response = 1C 01 C0 ");
}

using ListedBoard = SimulatedServer;

TEST_F(ListedBoard, IsFoundInAnyCaseAndAnywhereInALine) {
  for (const char* list : {"01a3\n", "01A3\n", "# boards\nx01A3y, second\n", "ffff\n01a3"}) {
    SCOPED_TRACE(list);
    CreateServer();
    Write("mchk_fil", list);
    Write("BMCSDR.SDR", SdrText(SdrSet(1)));
    Tarvek({"-update", "-sdr"});
    EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
  }
}

TEST_F(ListedBoard, MayAnswerWithoutTheAuxiliaryRevision) {
  CreateServer();
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  RunOptions options;
  options.fault = "get-device-id: length 14";
  Tarvek({"-update", "-sdr"}, options);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
}

using NoDriver = SimulatedServer;

TEST_F(NoDriver, HoldsItsResultBackUntil30SecondsAfterTheStart) {
  CreateServer();
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  RunOptions options;
  options.driver = "none";
  EXPECT_EQ(Tarvek({"-update", "-sdr", "-test2"}, options).exit_status, 0);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDRC03"));
  EXPECT_EQ(Read("tarvek.log"),
            "2001/09/09 01:46:40  === Tarvek start ===\n"
            "2001/09/09 01:46:40  Tarvek Tool Version 1.07\n"
            "2001/09/09 01:46:40  <<execute -update/-direct>>\n"
            "2001/09/09 01:46:40  OK FILE create\n"
            "2001/09/09 01:46:40  Can't open IPMI driver.\n"
            "2001/09/09 01:46:40  update end\n"
            "2001/09/09 01:47:10  result file reply\n"
            "2001/09/09 01:47:20  === Tarvek end ===\n");
  EXPECT_FALSE(LockExists());
}

}  // namespace
}  // namespace blackbox
