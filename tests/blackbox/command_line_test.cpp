// The command line: what is refused, and where the refusal is told.
#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;

struct Refused {
  const char* name;
  Words arguments;
  const char* result_file;  // "": the mode has none
  bool console;             // the log lines are echoed
};

const Refused kRefused[] = {
    {"NoArguments", {}, "", true},
    {"NoMode", {"-sdr"}, "", true},
    {"UnknownWord", {"-bogus"}, "", true},
    {"ValueWithoutOption", {"BMCSDR.SDR"}, "", true},
    {"UpdateTwice", {"-update", "-update", "-sdr"}, "Update_normal.xml", false},
    {"UpdateThenBackup", {"-update", "-backup", "-sdr"}, "Update_normal.xml", false},
    {"UpdateThenRatio", {"-update", "-ratio"}, "Update_normal.xml", false},
    {"UpdateWithoutInput", {"-update"}, "Update_normal.xml", false},
    {"ForcedUpdateWithoutInput", {"-update", "-force"}, "Update_normal.xml", false},
    {"VersionWithoutInput", {"-version"}, "Get_version.xml", false},
    {"VersionWithForce", {"-version", "-sdr", "-force"}, "Get_version.xml", false},
    {"UpdateFromTwoInputs", {"-update", "-sdr", "-cfg"}, "Update_normal.xml", false},
    {"SameInputTwice", {"-update", "-sdr", "-sdr"}, "Update_normal.xml", false},
    {"BackupWithInput", {"-backup", "-sdr"}, "", true},
    {"BackupWithForce", {"-backup", "-force"}, "", true},
    {"RatioWithInput", {"-ratio", "-sdr"}, "Get_ratio.xml", false},
    {"RatioWithForce", {"-force", "-ratio"}, "Get_ratio.xml", false},
    {"NegativeNumberIsAnOption",
     {"-update", "-sdr", "-ff_retry", "-5"},
     "Update_normal.xml",
     false},
    {"DirectWithoutInput", {"-direct"}, "", true},
    {"DirectAndUpdate", {"-direct", "-update", "-sdr"}, "", true},
    {"DisplayedRefusal", {"-display", "-update"}, "Update_normal.xml", true},
};

class RefusedCommandLine : public SimulatedServer, public ::testing::WithParamInterface<Refused> {};

std::string LogNameFor(const std::string& result_file) {
  if (result_file == "Get_version.xml") return "tarvek_version.log";
  return result_file == "Get_ratio.xml" ? "tarvek_ratio.log" : "tarvek.log";
}

TEST_P(RefusedCommandLine, EndsWithStatus1AndIsToldWhereTheModeHasAResultFile) {
  const Refused& row = GetParam();
  CreateServer();
  const Outcome outcome = Tarvek(row.arguments);

  EXPECT_EQ(outcome.exit_status, 1);
  EXPECT_EQ(Log(LogNameFor(row.result_file)),
            (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07", "Illegal parameter format.",
                   "=== Tarvek end ==="}));
  EXPECT_EQ(outcome.console, row.console ? "=== Tarvek start ===\nTarvek Tool Version 1.07\n"
                                           "Illegal parameter format.\n=== Tarvek end ===\n"
                                         : "");
  for (const char* name :
       {"Get_version.xml", "Update_normal.xml", "Update_force.xml", "Get_ratio.xml"}) {
    if (row.result_file != std::string(name)) {
      EXPECT_FALSE(Exists(name)) << name;
    } else if (row.result_file == std::string("Get_version.xml")) {
      EXPECT_EQ(Read(name), VersionResult("SDRC01", "", ""));
    } else {
      EXPECT_EQ(Read(name), ResultText("SDRC01"));
    }
  }
  EXPECT_FALSE(Exists("Get_ratio.xml_tmp"));
  EXPECT_FALSE(LockExists());
  EXPECT_TRUE(Requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Table, RefusedCommandLine, ::testing::ValuesIn(kRefused),
                         [](const auto& row) { return std::string(row.param.name); });

struct Accepted {
  const char* name;
  Words arguments;
  const char* banner;
  const char* result_file;
};

const Accepted kAccepted[] = {
    {"InputBeforeMode", {"-sdr", "-update"}, "<<execute -update/-direct>>", "Update_normal.xml"},
    {"ForceLast",
     {"-update", "-sdr", "-force"},
     "<<execute -update/-direct + -force>>",
     "Update_force.xml"},
    {"ForceFirst",
     {"-force", "-update", "-sdr"},
     "<<execute -update/-direct + -force>>",
     "Update_force.xml"},
    {"ForceRepeated",
     {"-force", "-update", "-force", "-sdr"},
     "<<execute -update/-direct + -force>>",
     "Update_force.xml"},
    {"CapitalsAreTaken", {"-UPDATE", "-Sdr"}, "<<execute -update/-direct>>", "Update_normal.xml"},
    {"NamedFile",
     {"-update", "-sdr", "BMCSDR.SDR"},
     "<<execute -update/-direct>>",
     "Update_normal.xml"},
    {"TuningOptions",
     {"-update", "-sdr", "-ff_retry", "1", "-other_retry", "2", "-wait", "3", "-lock_retry", "4",
      "-lock_wait", "5", "-c_wait", "6", "-I_WAIT", "7", "-B_wait", "x", "-ff_retry"},
     "<<execute -update/-direct>>",
     "Update_normal.xml"},
};

class AcceptedCommandLine : public SimulatedServer,
                            public ::testing::WithParamInterface<Accepted> {};

TEST_P(AcceptedCommandLine, RunsTheUpdate) {
  const Accepted& row = GetParam();
  CreateServer();
  Write("BMCSDR.SDR", SdrText(SdrSet(3)));
  const Outcome outcome = Tarvek(row.arguments);

  EXPECT_EQ(outcome.exit_status, 0);
  EXPECT_EQ(Log()[2], row.banner);
  EXPECT_EQ(Read(row.result_file), ResultText("Complete"));
  EXPECT_EQ(Repository(), HexOf(SdrSet(3)));
}

INSTANTIATE_TEST_SUITE_P(Table, AcceptedCommandLine, ::testing::ValuesIn(kAccepted),
                         [](const auto& row) { return std::string(row.param.name); });

using Rotation = SimulatedServer;

TEST_F(Rotation, MovesAVersionLogOfMoreThan2000000BytesAway) {
  CreateServer();
  Write("tarvek_version.log", std::string(2000001, 'x'));
  Write("tarvek_version.old", "older");
  Tarvek({"-version"});
  EXPECT_EQ(Read("tarvek_version.old"), std::string(2000001, 'x'));
  EXPECT_EQ(Log("tarvek_version.log").size(), 4U);
}

TEST_F(Rotation, KeepsAVersionLogOfExactly2000000Bytes) {
  CreateServer();
  Write("tarvek_version.log", std::string(2000000, 'x'));
  Tarvek({"-version"});
  EXPECT_FALSE(Exists("tarvek_version.old"));
  EXPECT_GT(Read("tarvek_version.log").size(), 2000000U);
}

TEST_F(Rotation, LeavesTheOtherLogsAlone) {
  CreateServer();
  Write("tarvek.log", std::string(2000001, 'x'));
  Write("tarvek_ratio.log", std::string(2000001, 'x'));
  Tarvek({"-version"});
  Tarvek({"-ratio"});
  Tarvek({"-update"});
  EXPECT_GT(Read("tarvek.log").size(), 2000001U);
  EXPECT_GT(Read("tarvek_ratio.log").size(), 2000001U);
}

}  // namespace
}  // namespace blackbox
