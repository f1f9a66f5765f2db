#include "driver/reporting/version_compare.h"

#include <filesystem>

#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

constexpr const char* kTitle = "S SDR BOARD ";  // the 12 characters before the field
const std::string kNoFile = "(there is no ";

std::string VersionAnswer(const std::string& word, const std::string& version) {
  return ResultText("OK", "<cmp>" + word + "</cmp><version>" + version + "</version>");
}

using Lines = std::vector<std::string>;

class CompareVersions : public FreshRun {
 protected:
  /// Compares in a run of its own: no result file and no log of an earlier one.
  int Compare(int mode, const std::string& bmc, const std::string& input) {
    for (const char* file : {"Get_version.xml", "Update_normal.xml", "Update_force.xml",
                             "tarvek.log", "tarvek_version.log"}) {
      std::filesystem::remove(file);
    }
    g_eu_flg = mode;
    g_HW_sdr_version = bmc;
    g_input_sdr_version = input;
    return CompareBmcVersion();
  }
};

struct Outcome {
  const char* name;
  std::string bmc;
  std::string input;
  const char* word;  // of a version query
  bool proceeds;     // in a normal update
};

const Outcome kOutcomes[] = {
    {"equal", "01.00", "01.00", "Even", false},
    {"bmc is older", "01.00", "01.01", "Upper", true},
    {"bmc is newer", "01.01", "01.00", "Lower", false},
    {"a proper prefix is smaller", "01.0", "01.00", "Upper", true},
    {"behind a proper prefix", "01.00", "01.0", "Lower", false},
    {"an empty bmc version is the smallest", "", "0", "Upper", true},
    {"bytes compare unsigned", "\x7F", "\x80", "Upper", true},
    {"bytes compare unsigned, turned round", "\xFF", "A", "Lower", false},
    {"capitals come before small letters", "A", "a", "Upper", true},
    {"digits compare as text", "10", "9", "Upper", true},
};

TEST_F(CompareVersions, AVersionQueryReportsAndStops) {
  for (const Outcome& c : kOutcomes) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Compare(kVersionQuery, c.bmc, c.input), 1);
    EXPECT_EQ(ReadFile("Get_version.xml"), VersionAnswer(c.word, c.bmc));
    EXPECT_FALSE(std::filesystem::exists("tarvek_version.log")) << "an answer logs nothing";
  }
}

TEST_F(CompareVersions, ANormalUpdateMovesStrictlyForward) {
  for (const Outcome& c : kOutcomes) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Compare(kNormalUpdate, c.bmc, c.input), c.proceeds ? 0 : 1);
    if (c.proceeds) {
      EXPECT_EQ(LogTexts(), Lines{"CompareSDRVersion() success."});
      EXPECT_FALSE(std::filesystem::exists("Update_normal.xml"));
    } else {
      EXPECT_EQ(LogTexts(), Lines{"SDRVersion unmatched.:Down Grade"});
      EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("Down Grade"));
    }
  }
}

TEST_F(CompareVersions, AForcedUpdateComparesNothing) {
  for (const Outcome& c : kOutcomes) {
    EXPECT_EQ(Compare(kForcedUpdate, kTitle + c.bmc, kTitle + c.input), 0) << c.name;
    EXPECT_EQ(g_HW_sdr_version, kTitle + c.bmc);
    EXPECT_EQ(g_input_sdr_version, kTitle + c.input);
  }
  EXPECT_EQ(Compare(kForcedUpdate, "01.00", ""), 0) << "not even an input without a version";
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
  EXPECT_FALSE(std::filesystem::exists("Update_force.xml"));
}

TEST_F(CompareVersions, AProgressQueryComparesNothing) {
  EXPECT_EQ(Compare(kProgressQuery, "2", ""), 0);
  EXPECT_EQ(Compare(kProgressQuery, "2", "1"), 0);
  EXPECT_FALSE(std::filesystem::exists("tarvek_ratio.log"));
  EXPECT_FALSE(std::filesystem::exists("Get_ratio.xml"));
}

TEST_F(CompareVersions, ReducesBothVersionsInPlace) {
  struct Case {
    const char* text;
    const char* field;
  };
  constexpr Case kCases[] = {
      {"", ""},
      {"1", "1"},
      {"0123456789ab", "0123456789ab"},              // 12 characters: whole
      {"0123456789abC", "C"},                        // 13 to 16: to the end
      {"0123456789abCDEF", "CDEF"},                  // 16
      {"0123456789abCDEFG", "CDEFG"},                // 17: five characters
      {"0123456789abCDEFGH", "CDEFG"},               // 18
      {"0123456789abCDEFGHIJ", "CDEFG"},             // 20
      {"0123456789abCDEFGHIJKLMNOPQRSTUV", "CDEFG"}  // far beyond
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Compare(kVersionQuery, c.text, "x"), 1);
    EXPECT_EQ(g_HW_sdr_version, c.field);
    EXPECT_EQ(g_input_sdr_version, "x");
    if (*c.text == '\0') continue;
    Compare(kNormalUpdate, "", c.text);
    EXPECT_EQ(g_HW_sdr_version, "");
    EXPECT_EQ(g_input_sdr_version, c.field);
  }
}

TEST_F(CompareVersions, AVersionQueryShowsTheReducedVersionOfTheBmc) {
  EXPECT_EQ(Compare(kVersionQuery, "S SDR BOARD 01.00 of May", "S SDR OTHER 01.02"), 1);
  EXPECT_EQ(ReadFile("Get_version.xml"), VersionAnswer("Upper", "01.00"));
}

TEST_F(CompareVersions, OnlyTheFieldOfALongVersionCounts) {
  // 20 characters that differ before position 12 and behind position 16.
  EXPECT_EQ(Compare(kVersionQuery, "S SDR BOARD 01.00xyz", "T sdr board 01.00abc"), 1);
  EXPECT_EQ(ReadFile("Get_version.xml"), VersionAnswer("Even", "01.00"));
}

TEST_F(CompareVersions, AShortVersionIsComparedWhole) {
  EXPECT_EQ(Compare(kVersionQuery, "S SDR BOARD1", "S SDR BOARD2"), 1);
  EXPECT_EQ(ReadFile("Get_version.xml"), VersionAnswer("Upper", "S SDR BOARD1"));
}

TEST_F(CompareVersions, AVersionWithZeroBytesIsComparedWhole) {
  const std::string with_zero("a\0b", 3);
  const std::string other("a\0c", 3);
  EXPECT_EQ(Compare(kNormalUpdate, with_zero, other), 0);
  EXPECT_EQ(Compare(kNormalUpdate, other, with_zero), 1);
}

TEST_F(CompareVersions, AQueryWithAnInputWithoutVersionIsAnsweredWithItsCode) {
  EXPECT_EQ(Compare(kVersionQuery, "S SDR BOARD 01.00", ""), 1);
  EXPECT_EQ(ReadFile("Get_version.xml"), ResultText("SDRC07", "<cmp></cmp><version></version>"));
  EXPECT_EQ(LogTexts("tarvek_version.log"), Lines{"Not Found SDRVersion Record in input file."});
  EXPECT_EQ(g_HW_sdr_version, "S SDR BOARD 01.00") << "nothing is reduced before the test";
}

TEST_F(CompareVersions, AnUpdateWithAnInputWithoutVersionStops) {
  EXPECT_EQ(Compare(kNormalUpdate, "01.00", ""), 1);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDRC07"));
  EXPECT_EQ(LogTexts(), Lines{"Not Found SDRVersion Record in input file."});
}

TEST_F(CompareVersions, ADirectUpdateIsGatedAlikeButLeavesNoResultFile) {
  g_direct_flg = 1;
  EXPECT_EQ(Compare(kNormalUpdate, "2", "1"), 1);
  EXPECT_EQ(LogTexts(), Lines{"SDRVersion unmatched.:Down Grade"});
  EXPECT_FALSE(std::filesystem::exists("Update_normal.xml"));
  EXPECT_EQ(Compare(kNormalUpdate, "1", "1"), 1);
  EXPECT_EQ(Compare(kNormalUpdate, "1", "2"), 0);
  EXPECT_EQ(Compare(kNormalUpdate, "1", ""), 1);
  EXPECT_EQ(LogTexts(), Lines{"Not Found SDRVersion Record in input file."});
  EXPECT_FALSE(std::filesystem::exists("Update_normal.xml"));
}

TEST_F(CompareVersions, ARefusalIsHeldBackBeforeItIsLogged) {
  ok_start_time = machine().now;
  EXPECT_EQ(Compare(kNormalUpdate, "1", "1"), 1);
  EXPECT_EQ(machine().sleeps, std::vector<std::uint64_t>{30000000});
  EXPECT_EQ(ReadFile("tarvek.log"), "2001/09/09 01:47:10  SDRVersion unmatched.:Down Grade\n");
}

}  // namespace
}  // namespace tarvek_test
