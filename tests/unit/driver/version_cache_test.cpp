#include "driver/version_cache.h"

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace {

using tarvek_test::ReadFile;
using tarvek_test::WriteFile;
using namespace std::string_literals;

constexpr tarvek::RepositoryStamps kStamps{0x12, 0xABCDEF01};

class VersionCache : public tarvek_test::FreshRun {
 protected:
  void Load(const std::string& file) {
    g_HW_sdr_version.clear();
    gCFGIdentifyOEMSDR.clear();
    WriteFile("sdrversion_HW", file);
    tarvek::LoadVersionCache(kStamps);
  }
};

TEST_F(VersionCache, IsWrittenAsStampsAndTexts) {
  g_HW_sdr_version = "SDR Version 01.02";
  tarvek::StoreVersionCache(kStamps);
  EXPECT_EQ(ReadFile("sdrversion_HW"), "0012\nabcdef01\nSDR Version 01.02\n");
  gCFGIdentifyOEMSDR = "BOARD.CFG";
  tarvek::StoreVersionCache(kStamps);
  EXPECT_EQ(ReadFile("sdrversion_HW"), "0012\nabcdef01\nSDR Version 01.02\nBOARD.CFG\n");
}

struct Row {
  const char* file;
  const char* version;
  const char* script;
};

TEST_F(VersionCache, IsReadLineByLine) {
  const Row rows[] = {
      {"0012\nabcdef01\nSv\nN.CFG\n", "Sv", "N.CFG"},
      {"0012\nabcdef01\nSv\n", "Sv", ""},
      {"0012\nABCDEF01\nSv\n", "Sv", ""},
      {"0012\nabcdef01\nSv", "S", ""},  // the last character is cut without a look
      {"0012\nabcdef01\nSv\nN.CFG", "Sv", "N.CF"},
      {"12 abcdef01 Sv\n", "Sv", ""},  // any white space parts the numbers
      {"\n 12\n\n\nabcdef01\n\n  Sv\n", "Sv", ""},
      {"0x12\n0xabcdef01\nSv\n", "Sv", ""},
      {"0012\nabcdef01\n", "", ""},
      {"0013\nabcdef01\nSv\n", "", ""},
      {"0012\nabcdef02\nSv\n", "", ""},
      {"100000012\nabcdef01\nSv\n", "", ""},  // more than 32 bits match no stamp
      {"11111111111111112\nabcdef01\nSv\n", "", ""},
      {"xyz\nabcdef01\nSv\n", "", ""},
      {"0012\nxyz\nSv\n", "", ""},
      {"0012", "", ""},
      {"", "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    Load(row.file);
    EXPECT_EQ(g_HW_sdr_version, row.version);
    EXPECT_EQ(gCFGIdentifyOEMSDR, row.script);
  }
}

TEST_F(VersionCache, TakesAtMost253CharactersOfALine) {
  Load("0012\nabcdef01\n" + std::string(300, 'S') + "\nN.CFG\n");
  EXPECT_EQ(g_HW_sdr_version, std::string(252, 'S'));
  EXPECT_EQ(gCFGIdentifyOEMSDR, std::string(47, 'S'));
}

TEST_F(VersionCache, ALineThatBeginsWithANulIsAnEmptyText) {
  Load("0012\nabcdef01\n\0Sv\nN.CFG\n"s);
  EXPECT_EQ(g_HW_sdr_version, "");
  EXPECT_EQ(gCFGIdentifyOEMSDR, "N.CFG");
}

TEST_F(VersionCache, SurvivesWhatIsNoCache) {
  Load(std::string("\0\0\0", 3));
  EXPECT_EQ(g_HW_sdr_version, "");
  std::filesystem::remove("sdrversion_HW");
  tarvek::LoadVersionCache(kStamps);
  std::filesystem::create_directory("sdrversion_HW");
  tarvek::LoadVersionCache(kStamps);
  tarvek::StoreVersionCache(kStamps);
  EXPECT_EQ(g_HW_sdr_version, "");
}

}  // namespace
