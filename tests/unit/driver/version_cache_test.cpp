#include "driver/version_cache.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

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

TEST_F(VersionCache, IsNotWrittenForATextOfSeveralLines) {
  for (const bool in_version : {true, false}) {
    WriteFile("sdrversion_HW", "an old one");
    g_HW_sdr_version = in_version ? "S01.01\nEVIL" : "S01.01";
    gCFGIdentifyOEMSDR = in_version ? "GOOD.CFG" : "GOOD\nEVIL.CFG";
    tarvek::StoreVersionCache(kStamps);
    EXPECT_FALSE(std::filesystem::exists("sdrversion_HW"));
  }
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
      {"10000000000000000000000000000000000000000000000012\nabcdef01\nSv\n", "", ""},
      {"00000000000000000000000000000000000000000000000012\nabcdef01\nSv\n", "Sv", ""},
      {"+12\n+0XABCDEF01\nSv\n", "Sv", ""},
      {"-ffffffee\n-543210ff\nSv\n", "Sv", ""},  // counted down from the end
      {"-12\nabcdef01\nSv\n", "", ""},
      {"-100000012\nabcdef01\nSv\n", "", ""},
      {"12-543210ffSv\n", "Sv", ""},  // nothing need part them
      {"0x\nabcdef01\nSv\n", "", ""},
      {"+\nabcdef01\nSv\n", "", ""},
      {"0x12\n0xabcdef01", "", ""},
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

TEST_F(VersionCache, HoldsStampsUpToTheLargest) {
  WriteFile("sdrversion_HW", "0\nffffffff\nSv\n");
  tarvek::LoadVersionCache({0, 0xFFFFFFFF});
  EXPECT_EQ(g_HW_sdr_version, "Sv");
  Load("-1\n0\nSv\n");
  tarvek::LoadVersionCache({0xFFFFFFFF, 0});
  EXPECT_EQ(g_HW_sdr_version, "Sv");
}

/// Writes a cache under every limit of the size of files, and loads what it has left.
[[noreturn]] void StoreUnderLimits() {
  const std::string whole = "0012\nabcdef01\nSDR Version 01.02\nBOARD.CFG\n";
  std::signal(SIGXFSZ, SIG_IGN);
  for (rlim_t size = 0; size <= whole.size(); ++size) {
    WriteFile("sdrversion_HW", "0012\nabcdef00\nSDR Version 00.01 of earlier\nOTHER.CFG\n");
    g_HW_sdr_version = "SDR Version 01.02";
    gCFGIdentifyOEMSDR = "BOARD.CFG";
    rlimit limit{size, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    tarvek::StoreVersionCache(kStamps);
    limit.rlim_cur = RLIM_INFINITY;
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool fits = size == whole.size();
    if (std::filesystem::exists("sdrversion_HW") != fits) _exit(1);
    if (fits && ReadFile("sdrversion_HW") != whole) _exit(2);
  }
  _exit(0);
}

TEST_F(VersionCache, IsWrittenWholeOrNotAtAll) {
  EXPECT_EXIT(StoreUnderLimits(), ::testing::ExitedWithCode(0), "");
}

TEST_F(VersionCache, IsNotCutToWhatATextHolds) {
  WriteFile("sdrversion_HW", "0012\nabcdef01\nSv\n");
  g_HW_sdr_version = std::string(2000, 'S');
  tarvek::StoreVersionCache(kStamps);
  EXPECT_FALSE(std::filesystem::exists("sdrversion_HW"));
}

TEST_F(VersionCache, ThatCannotBeOpenedIsLeftAlone) {
  ASSERT_EQ(mkfifo("sdrversion_HW", 0600), 0);
  g_HW_sdr_version = "Sv";
  tarvek::StoreVersionCache(kStamps);
  EXPECT_TRUE(std::filesystem::is_fifo("sdrversion_HW"));
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
