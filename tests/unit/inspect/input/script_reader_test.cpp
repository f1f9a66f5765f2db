#include "inspect/input/script_reader.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "inspect/input/input_error.h"
#include "inspect/input/load.h"
#include "tests/unit/inspect/input/scratch.h"

namespace tarvek::inspect {
namespace {

class ScriptReaderTest : public testing::Test {
 protected:
  ScriptReaderTest() {
    scratch_.File("a.sdr", Source(OemRecord("01", "_SDR_TAG 'A'\n") + OemRecord("02")));
    scratch_.File("b.sdr", Source(OemRecord("03")));
    scratch_.File("b2.sdr", Source(OemRecord("03")));
    scratch_.File("bad.sdr", Source("_SDR_TYPE XX\n"));
  }

  RecordSet Read(const std::string& text, const std::vector<std::string>& tags = {}) {
    return Load(scratch_.File("s.cfg", text), {true, tags});
  }
  std::string Complaint(const std::string& text, const std::vector<std::string>& tags = {}) {
    try {
      Read(text, tags);
    } catch (const InputError& error) {
      std::string told = ToText(error);
      const std::string place = scratch_.Path("");
      const std::size_t at = told.find(place);
      return at == std::string::npos ? told : told.erase(at, place.size());
    }
    return "";
  }
  static std::vector<int> Marks(const RecordSet& set) {
    std::vector<int> marks;
    for (const InputRecord& record : set.records) {
      marks.push_back(record.selected ? record.bytes.back() : -record.bytes.back());
    }
    return marks;
  }

  Scratch scratch_;
};

using Ints = std::vector<int>;

TEST_F(ScriptReaderTest, LoadsTheFileThatItNames) {
  const RecordSet set = Read("SET A\nSDRNAME a.sdr\n");
  EXPECT_EQ(Marks(set), (Ints{1, 2}));
  ASSERT_EQ(set.files.size(), 1U);
  EXPECT_EQ(set.files[0].name, "a.sdr");
  EXPECT_EQ(set.files[0].pass, 1);
  EXPECT_EQ(set.files[0].records, 2U);
  EXPECT_EQ(set.set_tags, (std::vector<std::string>{"A"}));
  EXPECT_EQ(set.format, Format::kScript);
}

TEST_F(ScriptReaderTest, SelectsByTheTagsThatTheWholeScriptLeaves) {
  EXPECT_EQ(Marks(Read("SET A\nSDRNAME a.sdr\nCLEAR a\n")), (Ints{-1, 2}));
}

TEST_F(ScriptReaderTest, SetsTagsBeforeTheScriptRuns) {
  const std::string text = "IFSET A\nSDRNAME a.sdr\nELSE\nSDRNAME b.sdr\nENDIF\n";
  EXPECT_EQ(Marks(Read(text, {"A"})), (Ints{1, 2}));
  EXPECT_EQ(Marks(Read(text)), (Ints{3}));
}

TEST_F(ScriptReaderTest, HasTheRecordsOfTheFileThatIsProgrammedLast) {
  const RecordSet set = Read("SDRNAME b.sdr LAST\nSDRNAME a.sdr FIRST\n");
  EXPECT_EQ(Marks(set), (Ints{3}));
  ASSERT_EQ(set.files.size(), 2U);
  EXPECT_EQ(set.files[0].name, "a.sdr");
  EXPECT_EQ(set.files[1].pass, 0);
}

TEST_F(ScriptReaderTest, AddsNothingForFilesThatAreCompared) {
  const RecordSet set = Read("SDRNAME b.sdr FIRST\nSDRNAME b2.sdr COMPARE LAST\n");
  EXPECT_EQ(Marks(set), (Ints{3}));
  EXPECT_TRUE(set.files[1].compare);
  EXPECT_TRUE(Read("SDRNAME a.sdr COMPARE\n").records.empty());
}

TEST_F(ScriptReaderTest, RefusesAComparisonThatItsOwnFilesDecide) {
  EXPECT_EQ(Complaint("SDRNAME b.sdr FIRST\nSDRNAME a.sdr COMPARE LAST\n"),
            "a.sdr:12:1: the record differs from the one that the script programs before this file "
            "is compared\n");
}

TEST_F(ScriptReaderTest, LoadsNothingForAScriptWithoutFiles) {
  EXPECT_TRUE(Read("DISPLAY \"hello\"\n").records.empty());
  EXPECT_TRUE(Read("").records.empty());
}

TEST_F(ScriptReaderTest, ComplainsAboutAFileWhereItIsWrong) {
  EXPECT_EQ(Complaint("SDRNAME bad.sdr\n"),
            "bad.sdr:8:11: record 1: expected valid hexadecimal data after _SDR_TYPE\n"
            "  _SDR_TYPE XX\n"
            "            ^\n"
            "  expected up to 2 hexadecimal digits\n"
            "  found \"XX\"\n");
}

struct Fault {
  const char* name;
  const char* text;
  const char* place;
  const char* message;
  const char* expected;
};

class ScriptFault : public ScriptReaderTest, public testing::WithParamInterface<Fault> {};

TEST_P(ScriptFault, IsToldWithItsPlace) {
  const std::string told = Complaint(GetParam().text);
  const std::string head = std::string("s.cfg:") + GetParam().place + ": " + GetParam().message;
  EXPECT_EQ(told.substr(0, told.find('\n')), head);
  EXPECT_NE(told.find(GetParam().expected), std::string::npos) << told;
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, ScriptFault,
    testing::Values(
        Fault{"UnknownCommand", "SET A\n  FROB B\n", "2:3",
              "invalid command found in the configuration file", "found \"FROB\""},
        Fault{"PrefixOfACommand", "SETTING A\n", "1:1", "invalid configuration file string found",
              "found \"SETTING\""},
        Fault{"TagTooLong", "SET 12345678901234567890123456789012\n", "1:5",
              "exceeded maximum argument length", "at most 31 characters"},
        Fault{"TooManyArguments", "SET A B\n", "1:7",
              "too many arguments found after command in the configuration file", "found \"B\""},
        Fault{"ArgumentOfElse", "IFSET A\nELSE x\nENDIF\n", "2:6",
              "too many arguments found after command in the configuration file", "found \"x\""},
        Fault{"QuoteNotClosed", "SET A\nDISPLAY \"abc\n", "2:9",
              "matching quote missing after command in the configuration file",
              "a closing double quote"},
        Fault{"QuoteAtTheEnd", "DISPLAY \"\n", "1:9",
              "non-matching quotes found on configuration line", "a closing double quote"},
        Fault{"QuoteWithinAWord", "SET A\"B\n", "1:5", "parsing configuration line",
              "no double quote within a word"},
        Fault{"ControlCharacter", "DISPLAY a\x01\n", "1:9",
              "an invalid character was found on line", "printable ASCII"},
        Fault{"NoArgument", "SET\n", "1:4",
              "no valid argument found after command in the configuration file", "an argument"},
        Fault{"NoCondition", "IFSET\nENDIF\n", "1:6", "no conditional statement found after IFSET",
              "an argument"},
        Fault{"ElseAlone", "ELSE\n", "1:1", "an IFSET statement must precede the ELSE statement",
              "found \"ELSE\""},
        Fault{"EndIfAlone", "ENDIF\n", "1:1", "an IFSET statement must precede the ENDIF statement",
              "found \"ENDIF\""},
        Fault{"OpenBlock", "IFSET A\nSET B\n", "2:6", "non-matching IfSet and Endif statements",
              "an ENDIF for each IFSET"},
        Fault{"MissingFile", "\nSDRNAME none.sdr\n", "2:9", "failed to open the specified SDR file",
              "found \"none.sdr\""},
        Fault{"WrongMode", "SDRNAME b.sdr FIRSTLY\n", "1:15",
              "invalid argument following SDR name in the configuration file", "found \"FIRSTLY\""},
        Fault{"SecondModeOfAPair", "SDRNAME b.sdr FIRST MIDDLE\n", "1:21",
              "invalid argument following SDR name in the configuration file", "found \"MIDDLE\""},
        Fault{"CommandOfTheLargerLanguage", "BOOT\n", "1:1",
              "invalid command found in the configuration file", "found \"BOOT\""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(ScriptReaderTest, CountsNoLinesOfPresetTags) {
  const std::string told = Complaint("FROB\n", {"A", "B"});
  EXPECT_EQ(told.substr(0, told.find(' ')), "s.cfg:1:1:");
}

TEST_F(ScriptReaderTest, ReturnsToTheWorkingDirectory) {
  const std::filesystem::path before = std::filesystem::current_path();
  Read("SDRNAME a.sdr\n");
  EXPECT_EQ(std::filesystem::current_path(), before);
  Complaint("SDRNAME bad.sdr\n");
  EXPECT_EQ(std::filesystem::current_path(), before);
}

TEST_F(ScriptReaderTest, TakesTagsForScriptsAlone) {
  EXPECT_THROW(Load(scratch_.Path("a.sdr"), {false, {"A"}}), OptionError);
}

}  // namespace
}  // namespace tarvek::inspect
