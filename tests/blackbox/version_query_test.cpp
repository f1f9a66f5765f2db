// Version queries: the comparison, its result file, and the version cache.
#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Words = std::vector<std::string>;
using VersionQuery = SimulatedServer;

struct Comparison {
  const char* bmc;
  const char* input;
  const char* word;
  const char* shown;  // the BMC's version in the result file
};

TEST_F(VersionQuery, ComparesTheFieldAtPosition12) {
  const Comparison rows[] = {
      {"SDR Version 01.02", "SDR Version 01.02", "Even", "01.02"},
      {"SDR Version 01.02", "SDR Version 01.03", "Upper", "01.02"},
      {"SDR Version 01.02", "SDR Version 01.01", "Lower", "01.02"},
      {"SDR Version 01.02xyz", "SDR Version 01.02abc", "Even", "01.02"},
      {"SDR Version 1.2", "SDR Version 1.20", "Upper", "1.2"},
      {"S1", "S2", "Upper", "S1"},
  };
  for (const Comparison& row : rows) {
    SCOPED_TRACE(std::string(row.bmc) + " against " + row.input);
    CreateServer(2, row.bmc);
    Remove("sdrversion_HW");
    Write("BMCSDR.SDR", SdrText(SdrSet(1, row.input)));
    const Outcome outcome = Tarvek({"-version", "-sdr"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.console, "");
    EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", row.word, row.shown));
    EXPECT_FALSE(LockExists());
    EXPECT_FALSE(Exists("tarvek.log"));
  }
}

TEST_F(VersionQuery, LogsItsStepsAndSendsNothingThatChangesTheBmc) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  Tarvek({"-version", "-sdr"});
  EXPECT_EQ(Log("tarvek_version.log"),
            (Words{"=== Tarvek start ===", "Tarvek Tool Version 1.07", "<<execute -version>>",
                   "Use OpenIPMI Driver", "GetBmcStatus() success.", "SDRReocrd Reading",
                   "=== Tarvek end ==="}));
  for (const std::string& request : Requests()) {
    EXPECT_TRUE(request == "18 01" || request == "28 20" || request == "28 22" ||
                request.rfind("28 23", 0) == 0)
        << request;
  }
}

TEST_F(VersionQuery, UsesTheCacheWhileTheRepositoryHasNotChanged) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  Tarvek({"-version", "-sdr"});
  const std::string cache = Read("sdrversion_HW");
  EXPECT_NE(cache.find("\nSDR Version 01.02\n"), std::string::npos) << cache;

  ClearTrace();
  Tarvek({"-version", "-sdr"});
  EXPECT_EQ(Requests(), (Words{"18 01", "28 20"}));
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
  EXPECT_EQ(Read("sdrversion_HW"), cache);
}

TEST_F(VersionQuery, ReadsTheSetAgainWhenTheTimeStampsDiffer) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  Write("sdrversion_HW", "0001\n0002\nSDR Version 09.99\n");
  Tarvek({"-version", "-sdr"});
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
  EXPECT_EQ(Read("sdrversion_HW"), "5a497a00\n5a497a00\nSDR Version 01.02\n");
}

TEST_F(VersionQuery, AnInputWithoutVersionIsToldAsSdrc07) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText({SensorRecord(1, "Only")}));
  EXPECT_EQ(Tarvek({"-version", "-sdr"}).exit_status, 0);
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("SDRC07", "", ""));
  EXPECT_EQ(Log("tarvek_version.log")[6], "Not Found SDRVersion Record in input file.");
}

TEST_F(VersionQuery, FindsTheMakersDriverToo) {
  CreateServer(2);
  Write("BMCSDR.SDR", SdrText(SdrSet(1)));
  RunOptions options;
  options.driver = "maker";
  Tarvek({"-version", "-sdr"}, options);
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
  EXPECT_EQ(Log("tarvek_version.log")[3], "Use KOV Driver");
}

}  // namespace
}  // namespace blackbox
