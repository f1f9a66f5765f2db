#include "inspect/input/source_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "inspect/input/input_error.h"
#include "tests/unit/inspect/input/scratch.h"

namespace tarvek::inspect {
namespace {

RecordSet Read(const std::string& text, const TagTbl* tags = nullptr) {
  RecordSet set;
  ReadSource(Snapshot("T.SDR", text), tags, &set);
  return set;
}

std::string Complaint(const std::string& text) {
  try {
    Read(text);
  } catch (const InputError& error) {
    return ToText(error);
  }
  return "";
}

TEST(SourceReader, TakesTheBytesThatTheToolSends) {
  const RecordSet set = Read(Source(OemRecord("07")));
  ASSERT_EQ(set.records.size(), 1U);
  EXPECT_EQ(set.records[0].bytes, (std::vector<unsigned char>{0, 0, 0x51, 0xC0, 0x0B, 0x11, 0x22,
                                                              0x33, 0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(set.records[0].declared_length, 16);
  EXPECT_EQ(set.records[0].declared_type, 0xC0);
  EXPECT_EQ(ToText(set.records[0].place), "T.SDR:8:1");
  EXPECT_TRUE(set.from_source);
  EXPECT_FALSE(set.reads_whole_pieces);
}

TEST(SourceReader, CutsAndFillsByTheLengthByte) {
  const RecordSet set =
      Read(Source("_SDR_TYPE C0\n_REC_LEN 08\n0000 51 C0 01 AA BB CC\n"
                  "_SDR_TYPE C0\n_REC_LEN 06\n0000 51 C0 03 AA\n"));
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[0].bytes, (std::vector<unsigned char>{0, 0, 0x51, 0xC0, 1, 0xAA}));
  EXPECT_EQ(set.records[1].bytes, (std::vector<unsigned char>{0, 0, 0x51, 0xC0, 3, 0xAA, 0, 0}));
  EXPECT_EQ(set.records[1].declared_length, 6);
}

TEST(SourceReader, KeepsTheBytesThatARecordHoldsWhenItsLengthByteIsTooLarge) {
  const RecordSet set = Read(Source("_SDR_TYPE C0\n_REC_LEN 06\n0000 51 C0 FF AA\n"));
  ASSERT_EQ(set.records.size(), 1U);
  EXPECT_EQ(set.records[0].bytes.size(), 69U);
}

TEST(SourceReader, TakesUnselectedRecordsToo) {
  TagTbl tags;
  std::strcpy(tags.name, "cpu2");
  const std::string text = Source(OemRecord("01", "_SDR_TAG 'CPU1'\n_SDR_TAG 'X'\n") +
                                  OemRecord("02", "_SDR_TAG 'CPU#'\n") + OemRecord("03"));
  const RecordSet set = Read(text, &tags);
  ASSERT_EQ(set.records.size(), 3U);
  EXPECT_EQ(set.records[0].tags, (std::vector<std::string>{"CPU1", "X"}));
  EXPECT_FALSE(set.records[0].selected);
  EXPECT_TRUE(set.records[1].selected);
  EXPECT_TRUE(set.records[2].tags.empty());
  EXPECT_TRUE(set.records[2].selected);
}

TEST(SourceReader, NotesWordsBetweenRecords) {
  const RecordSet set = Read(Source("stray " + OemRecord("01") + "AA BB\n" + OemRecord("02")));
  ASSERT_EQ(set.remarks.size(), 3U);
  EXPECT_EQ(set.remarks[0].kind, Remark::Kind::kSkippedWord);
  EXPECT_EQ(set.remarks[0].word, "stray");
  EXPECT_EQ(set.remarks[0].record, 0U);
  EXPECT_EQ(ToText(set.remarks[0].place), "T.SDR:8:1");
  EXPECT_EQ(set.remarks[2].word, "BB");
  EXPECT_EQ(ToText(set.remarks[2].place), "T.SDR:11:4");
  EXPECT_EQ(set.remarks[2].record, 1U);
}

TEST(SourceReader, NotesDataThatIsLost) {
  const RecordSet set = Read(Source("_SDR_TYPE C0\n_REC_LEN 08\n0000 51 C0 03 AAB CC DD\n"));
  ASSERT_EQ(set.remarks.size(), 1U);
  EXPECT_EQ(set.remarks[0].kind, Remark::Kind::kLostData);
  EXPECT_EQ(set.remarks[0].word, "AAB");
  EXPECT_EQ(set.records[0].bytes[5], 0);
}

TEST(SourceReader, NotesTheWordBehindAC0UnlessItIsTheEmptyText) {
  const std::string c0 = "_SDR_TYPE C0\n_REC_LEN 06\n0000 51 C0 01 C0";
  EXPECT_TRUE(Read(Source(c0 + " ''\n")).remarks.empty());
  const RecordSet set = Read(Source(c0 + "\n" + OemRecord("01") + OemRecord("02")));
  ASSERT_FALSE(set.remarks.empty());
  EXPECT_EQ(set.remarks[0].kind, Remark::Kind::kSkippedC0);
  EXPECT_EQ(set.remarks[0].word, "_SDR_TYPE");
  EXPECT_EQ(set.records.size(), 2U);
}

TEST(SourceReader, NotesANumberThatWasTakenForZero) {
  const RecordSet set = Read(Source("_SDR_TYPE C0\n_REC_LEN 00010 ''\n"));
  ASSERT_EQ(set.remarks.size(), 1U);
  EXPECT_EQ(set.remarks[0].kind, Remark::Kind::kBadNumber);
  EXPECT_EQ(set.remarks[0].word, "00010");
  EXPECT_EQ(set.records[0].bytes, (std::vector<unsigned char>{0, 0, 0, 0, 0}));
}

TEST(SourceReader, TellsTheFileFormat) {
  std::string text = Source(OemRecord("01"));
  text.replace(text.find("'1.5'"), 5, "'1.4'");
  text.replace(text.find("'1.50'"), 6, "0100  ");
  EXPECT_TRUE(Read(text).reads_whole_pieces);
  EXPECT_FALSE(Read(Source(OemRecord("01"))).reads_whole_pieces);
}

TEST(SourceReader, ComplainsAboutTheFileHeaderAtItsPlace) {
  EXPECT_EQ(Complaint("// a\n  _LF_VERSION '1'\n"),
            "T.SDR:2:3: _LF_NAME should be the first tag in the file\n"
            "    _LF_VERSION '1'\n"
            "    ^\n"
            "  expected _LF_NAME\n"
            "  found \"_LF_VERSION\"\n");
  std::string text = Source("");
  text.replace(text.find("'1.5'"), 5, "'2.0'");
  EXPECT_EQ(Complaint(text),
            "T.SDR:3:13: this program only supports file format version 1.5\n"
            "  _LF_FMT_VER '2.0'\n"
            "              ^\n"
            "  expected '1.5', '1.4' or '1.3'\n"
            "  found \"'2.0'\"\n");
  text = Source("");
  text.replace(text.find("'1.50'"), 6, "'0100'");
  EXPECT_EQ(Complaint(text),
            "T.SDR:4:15: this program only supports SDR format version 1.00 or higher.\n"
            "  _IPMI_VERSION '0100'\n"
            "                ^\n"
            "  expected '1.00' or '1.50'\n"
            "  found \"'0100'\"\n");
}

TEST(SourceReader, ComplainsAboutTheRepositoryHeader) {
  std::string text = Source("");
  text.replace(text.find("IMBDEVICE"), 9, "I2CDEVICE");
  EXPECT_EQ(Complaint(text),
            "T.SDR:6:43: invalid or unsupported _NVS_TYPE\n"
            "  _START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'I2CDEVICE'\n"
            "                                            ^\n"
            "  expected 'IMBDEVICE'\n"
            "  found \"'I2CDEVICE'\"\n");
}

TEST(SourceReader, NamesTheCauseInARecordThatTheToolKeepsToItself) {
  EXPECT_EQ(Complaint(Source(OemRecord("01") + "_SDR_TYPE C0\n_REC_LN 10\n")),
            "T.SDR:12:1: record 2: _REC_LEN should follow _SDR_TAG\n"
            "  _REC_LN 10\n"
            "  ^\n"
            "  expected _REC_LEN\n"
            "  found \"_REC_LN\"\n");
  EXPECT_EQ(Complaint(Source("_SDR_TYPE C0\n_REC_LEN 41\n")),
            "T.SDR:9:10: record 1: invalid Sensor Data Record length found\n"
            "  _REC_LEN 41\n"
            "           ^\n"
            "  expected a length of at most 40 (64 bytes)\n"
            "  found \"41\"\n");
}

TEST(SourceReader, ComplainsAboutAFileThatEndsInsideARecord) {
  EXPECT_EQ(Complaint(Source("").substr(0, Source("").size() - 2) + "_SDR_TYPE C0"),
            "T.SDR:8:13: record 1: _REC_LEN should follow _SDR_TAG\n"
            "  _SDR_TYPE C0\n"
            "              ^\n"
            "  expected _REC_LEN\n"
            "  found the end of the file\n");
}

TEST(SourceReader, ComplainsAboutAFileThatEndsInsideItsRecordSection) {
  std::string text = Source(OemRecord("01"));
  text.resize(text.size() - 2);
  EXPECT_EQ(Complaint(text),
            "T.SDR:10:48: the file ends inside its record section\n"
            "  0000 51 C0 0B 11 22 33 00 01 02 03 04 05 06 01\n"
            "                                                ^\n"
            "  expected )\n"
            "  found the end of the file\n");
}

TEST(SourceReader, NamesTheParenthesisThatAC0HasEaten) {
  EXPECT_EQ(Complaint(Source("_SDR_TYPE C0\n_REC_LEN 06\n0000 51 C0 01 C0\n")),
            "T.SDR:11:1: passed over, because the record before it ends with C0\n"
            "  )\n"
            "  ^\n"
            "  expected '' behind the C0, and then )\n");
}

TEST(SourceReader, RefusesAnEmptyFile) { EXPECT_EQ(Complaint(""), "T.SDR: is empty\n"); }

TEST(SourceReader, LeavesNoLogBehind) {
  const Scratch scratch;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(scratch.Path(""));
  Complaint(Source("_SDR_TYPE C0\n_REC_LN 10\n"));
  const bool empty = std::filesystem::is_empty(".");
  std::filesystem::current_path(before);
  EXPECT_TRUE(empty);
}

}  // namespace
}  // namespace tarvek::inspect
