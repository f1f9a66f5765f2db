#include "control/bmc/bmc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/unit/control/bmc/simulated_machine.h"

namespace tarvek::control {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Options = std::vector<std::string>;

constexpr const char* kDevice = "device 01a3 119 20 01 1.10 51\n";
constexpr const char* kInfo = "info 51 4 65403 added erased 02\n";
const Options kFourRecords{"--records", "3", "--version-text", "SDR Version 01.02"};

/// Asks the BMC of a machine.
std::string Ask(SimulatedMachine& machine, const Options& simulator = {},
                const std::string& verb = "ask", const std::string& limit = "30000") {
  const blackbox::Outcome outcome = machine.Run({ASKING_PROGRAM, verb, limit}, simulator);
  EXPECT_EQ(outcome.exit_status, 0) << outcome.signal;
  EXPECT_EQ(outcome.errors, "");
  EXPECT_TRUE(machine.IsTidy());
  return outcome.console;
}

TEST(AskBmc, AsksTwoRequestsThroughEitherDriver) {
  struct Case {
    Options simulator;
    const char* driver;
  };
  const Case cases[] = {
      {{"--driver", "openipmi"}, "openipmi"},
      {{"--node", "/dev/ipmi/0"}, "openipmi"},
      {{"--node", "/dev/ipmidev/0"}, "openipmi"},
      {{"--driver", "maker"}, "maker"},
      {{"--driver", "both"}, "maker"},
  };
  for (const Case& c : cases) {
    SimulatedMachine machine(kFourRecords);
    EXPECT_EQ(Ask(machine, c.simulator),
              "none [" + std::string(c.driver) + "] []\n" + kDevice + kInfo);
    EXPECT_THAT(machine.Requests(), ElementsAre("18 01", "28 20"));
  }
}

TEST(AskBmc, TellsOtherBmcsApart) {
  SimulatedMachine machine({"--product", "FE0C", "--manufacturer", "57010F", "--ipmi-version",
                            "2.0", "--no-aux", "--records", "0"});
  EXPECT_EQ(
      Ask(machine),
      "none [openipmi] []\ndevice fe0c 983383 20 01 1.10 02\ninfo 51 0 65534 added erased 02\n");
}

TEST(AskBmc, WithoutANode) {
  SimulatedMachine machine;
  EXPECT_EQ(Ask(machine, {"--driver", "none"}),
            "no-driver [] [no device node of an IPMI driver could be opened]\n");
}

TEST(AskBmc, TellsWhatIsWrongWithAnAnswer) {
  struct Case {
    const char* driver;
    const char* fault;
    const char* expected;
  };
  const Case cases[] = {
      {"openipmi", "get-device-id: cc C1",
       "answer [openipmi] [Get Device ID was refused with completion code C1]\n"},
      {"maker", "get-device-id: cc C1",
       "answer [maker] [Get Device ID was refused with completion code C1]\n"},
      {"openipmi", "get-device-id: length 16",
       "answer [openipmi] [Get Device ID was answered with 16 bytes instead of 14 or 18]\n"},
      {"openipmi", "get-device-id: length 100",
       "answer [openipmi] [Get Device ID was answered with 100 bytes instead of 14 or 18]\n"},
      {"maker", "get-device-id: length 0",
       "answer [maker] [Get Device ID was answered with 0 bytes, without a completion code]\n"},
      {"maker", "get-device-id: netfn 2C",
       "answer [maker] [Get Device ID was answered as if it were another request: 2C 01]\n"},
      {"maker", "get-device-id: command 02",
       "answer [maker] [Get Device ID was answered as if it were another request: 1C 02]\n"},
      {"openipmi", "get-device-id: send-error",
       "driver [openipmi] [the driver failed at Get Device ID]\n"},
      {"openipmi", "get-device-id: receive-error",
       "driver [openipmi] [the driver failed at Get Device ID]\n"},
      {"maker", "get-device-id: send-error",
       "driver [maker] [the driver failed at Get Device ID]\n"},
      {"openipmi", "get-device-id: silence 60",
       "driver [openipmi] [the driver failed at Get Device ID]\n"},
      {"openipmi", "get-device-id: signal KILL",
       "driver [] [the process that asked Get Device ID has died]\n"},
  };
  for (const Case& c : cases) {
    SimulatedMachine machine(kFourRecords);
    EXPECT_EQ(Ask(machine, {"--driver", c.driver, "--fault", c.fault, "--strict"}), c.expected)
        << c.fault;
  }
}

TEST(AskBmc, TellsTheDeviceThoughTheRepositoryIsNotThere) {
  struct Case {
    const char* fault;
    const char* expected;
  };
  const Case cases[] = {
      {"get-sdr-repository-info: cc C1",
       "answer [openipmi] [Get SDR Repository Info was refused with completion code C1]\n"},
      {"get-sdr-repository-info: length 16",
       "answer [openipmi] [Get SDR Repository Info was answered with 16 bytes instead of 17]\n"},
      {"get-sdr-repository-info: send-error",
       "driver [openipmi] [the driver failed at Get SDR Repository Info]\n"},
  };
  for (const Case& c : cases) {
    SimulatedMachine machine(kFourRecords);
    EXPECT_EQ(Ask(machine, {"--fault", c.fault}), c.expected + std::string(kDevice)) << c.fault;
  }
}

TEST(AskBmc, ABmcThatNeverAnswersIsLeftWhenTheTimeIsOver) {
  for (const char* driver : {"openipmi", "maker"}) {
    SimulatedMachine machine(kFourRecords);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Ask(machine, {"--driver", driver, "--fault", "any: silence"}, "ask", "1100"),
              "silent [] [no answer to Get Device ID within 1 seconds]\n");
    EXPECT_EQ(Ask(machine, {"--driver", driver, "--fault", "get-sdr-repository-info: silence"},
                  "ask", "1100"),
              "silent [" + std::string(driver) +
                  "] [no answer to Get SDR Repository Info within 1 seconds]\n" + kDevice);
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, std::chrono::milliseconds(2200));
    EXPECT_LT(taken, std::chrono::seconds(20));
  }
}

TEST(AskBmc, AnInterruptEndsTheWaiting) {
  SimulatedMachine machine;
  EXPECT_EQ(Ask(machine, {"--fault", "any: silence"}, "interrupted", "60000"),
            "interrupted [] [interrupted]\n1\n");
}

constexpr const char* kSparedRows =
    "SparedSDR (3Eh/10h): - - FFFF [not tried: only an update can]\n"
    "Reserve (3Eh/11h): - - FFFF [not tried: only an update can]\n"
    "Get SDR (3Eh/12h): - - FFFF [not tried: only an update can]\n"
    "Partial Add SDR (3Eh/13h): - - FFFF [not tried: only an update can]\n"
    "Clear SDR Repository (3Eh/14h): - - FFFF [not tried: only an update can]\n";

constexpr const char* kReserveThere =
    "Reserve SDR Repository (0Ah/22h): - known FFFF [not tried: it cancels the reservations of "
    "other "
    "programs; the BMC says that it has it]\n";

TEST(ProbeCommands, AsksOnlyWhatChangesNothing) {
  SimulatedMachine machine({"--slot", "010203"});
  EXPECT_EQ(Ask(machine, {}, "probe"),
            "Get Device ID (06h/01h): tried known 00 []\n"
            "Get SDR Repository Info (0Ah/20h): tried known 00 []\n" +
                std::string(kReserveThere) +
                "Get SDR (0Ah/23h): tried known 00 []\n"
                "Get slot information (3Eh/E0h): tried known 00 []\n" +
                kSparedRows);
  EXPECT_THAT(machine.Requests(),
              ElementsAre("18 01", "28 20", "28 23 00 00 00 00 00 05", "F8 E0"));
}

TEST(ProbeCommands, ASlotIsAskedOfTheMakersBmcWithIpmi15Or20Alone) {
  struct Case {
    Options bmc;
    const char* row;
  };
  const Case cases[] = {
      {{}, "tried - C1 [Get slot information was refused with completion code C1]"},
      {{"--ipmi-version", "2.0", "--slot", "000000"}, "tried known 00 []"},
      {{"--ipmi-version", "1.0"},
       "- - FFFF [not tried: a BMC of this IPMI version is never asked it]"},
      {{"--manufacturer", "780000"},
       "- - FFFF [not tried: on another maker's BMC it may mean anything]"},
  };
  for (const Case& c : cases) {
    SimulatedMachine machine(c.bmc);
    const std::string told = Ask(machine, {}, "probe");
    EXPECT_NE(told.find("Get slot information (3Eh/E0h): " + std::string(c.row) + "\n"),
              std::string::npos)
        << told;
    EXPECT_EQ(machine.Requests().size(), c.row[0] == '-' ? 3U : 4U);
  }
}

TEST(ProbeCommands, ARequestIsKnownAlsoWhereItCannotBeCarriedOut) {
  struct Case {
    const char* fault;
    const char* row;
  };
  const Case cases[] = {
      {"get-sdr: cc CB", "tried known CB [Get SDR was refused with completion code CB]"},
      {"get-sdr: cc C3", "tried known C3 [Get SDR was refused with completion code C3]"},
      {"get-sdr: cc C1", "tried - C1 [Get SDR was refused with completion code C1]"},
      {"get-sdr: cc C2", "tried - C2 [Get SDR was refused with completion code C2]"},
      {"get-sdr: length 9", "tried - 00 [Get SDR was answered with 9 bytes instead of 10]"},
  };
  for (const Case& c : cases) {
    SimulatedMachine machine;
    const std::string told = Ask(machine, {"--fault", c.fault}, "probe");
    EXPECT_NE(told.find("Get SDR (0Ah/23h): " + std::string(c.row) + "\n"), std::string::npos)
        << told;
  }
}

TEST(ProbeCommands, TellsWhetherTheBmcSaysThatItHasReservations) {
  SimulatedMachine machine;
  EXPECT_NE(Ask(machine, {"--fault", "get-sdr-repository-info: data 16=FD"}, "probe")
                .find("(0Ah/22h): - denied FFFF [not tried: it cancels the reservations of other "
                      "programs; the BMC says that it has it not]\n"),
            std::string::npos);
  EXPECT_NE(Ask(machine, {"--fault", "get-sdr-repository-info: cc C1"}, "probe")
                .find("(0Ah/22h): - - FFFF [not tried: it cancels the reservations of other "
                      "programs]\n"),
            std::string::npos);
}

TEST(ProbeCommands, NothingIsAskedBehindARequestWithoutAnAnswer) {
  const std::string reserve =
      "Reserve SDR Repository (0Ah/22h): - - FFFF [not tried: it cancels the reservations of other "
      "programs]\n";
  SimulatedMachine machine;
  EXPECT_EQ(
      Ask(machine, {"--fault", "get-device-id: send-error"}, "probe"),
      "Get Device ID (06h/01h): tried - FFFF [the driver failed at Get Device ID]\n"
      "Get SDR Repository Info (0Ah/20h): - - FFFF [not tried: the driver failed at Get Device "
      "ID]\n" +
          reserve +
          "Get SDR (0Ah/23h): - - FFFF [not tried: the driver failed at Get Device ID]\n"
          "Get slot information (3Eh/E0h): - - FFFF [not tried: nobody knows whose BMC it "
          "is]\n" +
          kSparedRows);
  EXPECT_EQ(Ask(machine, {"--driver", "none"}, "probe").find("tried known"), std::string::npos);
  EXPECT_THAT(machine.Requests(), IsEmpty());
  Ask(machine, {"--fault", "get-sdr-repository-info: silence"}, "probe", "500");
  EXPECT_THAT(machine.Requests(), ElementsAre("18 01", "28 20"));
}

}  // namespace
}  // namespace tarvek::control
