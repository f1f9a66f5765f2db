#include "sdrfile/utilities/lib_funct.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <numeric>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kScratch = "SDR.TMP";

class Utilities : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
  }

  void OpenScratch() {
    gTempFile = std::fopen(kScratch, "w");
    ASSERT_NE(gTempFile, nullptr);
  }

  /// Closes the scratch stream and gives what it took.
  static std::string Scratch() {
    std::fclose(gTempFile);
    gTempFile = nullptr;
    return ReadFile(kScratch);
  }
};

// SleepMs

TEST_F(Utilities, SleepsForMilliseconds) {
  for (const std::uint64_t ms : {0U, 1U, 500U, 10000U, 65535U}) {
    machine().sleeps.clear();
    EXPECT_EQ(fruLib.SleepMs(static_cast<unsigned short>(ms)), 0);
    EXPECT_EQ(machine().sleeps, std::vector<std::uint64_t>{ms * 1000});
  }
}

// WriteLn

TEST_F(Utilities, AProgressLineGoesToTheLogAndToTheScratchStream) {
  OpenScratch();
  EXPECT_EQ(fruLib.WriteLn("Reading SDR Repository."), 0);
  EXPECT_EQ(fruLib.WriteLn("with a line feed\n"), 0);
  EXPECT_EQ(fruLib.WriteLn(""), 0);
  EXPECT_EQ(fruLib.WriteLn("100% %s %n"), 0);
  EXPECT_EQ(LogTexts(),
            (Lines{"Reading SDR Repository.", "with a line feed", "", "", "100% %s %n"}));
  EXPECT_EQ(Scratch(), "Reading SDR Repository.with a line feed\n100% %s %n");
}

TEST_F(Utilities, AProgressLineThatCannotBeWrittenIsReported) {
  WriteFile(kScratch, "");
  gTempFile = std::fopen(kScratch, "r");
  ASSERT_NE(gTempFile, nullptr);
  EXPECT_EQ(fruLib.WriteLn("lost"), 73);
  EXPECT_EQ(LogTexts(), (Lines{"lost", "Error, failed when writing to temporary file"}));
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDR073"));
}

TEST_F(Utilities, AProgressLineWithoutAScratchStreamIsReported) {
  EXPECT_EQ(fruLib.WriteLn("lost"), 73);
  EXPECT_EQ(LogTexts(), (Lines{"lost", "Error, failed when writing to temporary file"}));
}

// CheckTable

struct Tags {
  explicit Tags(std::initializer_list<const char*> names) {
    for (auto name = std::rbegin(names); name != std::rend(names); ++name) {
      auto* const tag = new TagTbl;
      std::memcpy(tag->name, *name, std::min(std::strlen(*name), sizeof(tag->name)));
      tag->next = list;
      list = tag;
    }
  }
  ~Tags() { delete list; }
  Tags(const Tags&) = delete;
  Tags& operator=(const Tags&) = delete;

  TagTbl* list = nullptr;
};

struct Lookup {
  const char* entry;
  const char* name;
  int result;
};

constexpr Lookup kLookups[] = {
    {"cpu1", "CPU#", 1},   {"CPU7", "CPU#", 1}, {"CPU0", "CPU#", 1},     {"CPU9", "CPU#", 1},
    {"CPUX", "CPU#", 0},   {"CPU:", "CPU#", 0},  // the characters around the digits
    {"CPU/", "CPU#", 0},   {"CPU", "CPU#", 0},   // "#" stands for one digit, not for none
    {"CPU12", "CPU#", 0},                        // and not for two
    {"CPU12", "CPU##", 1}, {"CPU#", "CPU1", 0},  // a wildcard only in the name that is looked up
    {"CPU#", "CPU#", 1},   {"1CPU", "#cpu", 1}, {"A1B2C3", "a#b#c#", 1}, {"A1B2CX", "a#b#c#", 0},
    {"cpu1", "CPU1", 1},   {"CPU1", "cpu1", 1}, {"cpu1", "cpu2", 0},     {"cpu1", "cpu", 0},
    {"cpu", "cpu1", 0},    {"cpu1", "", 0},     {"", "cpu1", 0},         {"", "", 1},
    {"", "#", 0},          {"a_b", "A_B", 1},   {"a[", "A{", 0},  // only letters have a case
    {"\xE4", "\xC4", 0},                                          // and only those of ASCII
};

TEST_F(Utilities, ATagIsLookedUpWithoutRegardToCaseAndWithDigitWildcards) {
  for (const Lookup& c : kLookups) {
    const Tags tags{c.entry};
    EXPECT_EQ(fruLib.CheckTable(tags.list, c.name), c.result) << c.entry << " against " << c.name;
  }
}

TEST_F(Utilities, NoTagIsSetInAnEmptyList) {
  EXPECT_EQ(fruLib.CheckTable(nullptr, "CPU1"), 0);
  EXPECT_EQ(fruLib.CheckTable(nullptr, ""), 0);
}

TEST_F(Utilities, EveryTagOfTheListCounts) {
  const Tags tags{"first", "second", "cpu3"};
  EXPECT_EQ(fruLib.CheckTable(tags.list, "FIRST"), 1);
  EXPECT_EQ(fruLib.CheckTable(tags.list, "Second"), 1);
  EXPECT_EQ(fruLib.CheckTable(tags.list, "cpu#"), 1);
  EXPECT_EQ(fruLib.CheckTable(tags.list, "third"), 0);
}

TEST_F(Utilities, ThirtyTwoCharactersAreCompared) {
  const std::string full(32, 'x');
  const Tags tags{full.c_str()};  // fills its name: no terminator
  EXPECT_EQ(fruLib.CheckTable(tags.list, full.c_str()), 1);
  EXPECT_EQ(fruLib.CheckTable(tags.list, (full + "and more").c_str()), 1);
  EXPECT_EQ(fruLib.CheckTable(tags.list, full.substr(0, 31).c_str()), 0);
  EXPECT_EQ(fruLib.CheckTable(tags.list, (full.substr(0, 31) + "y").c_str()), 0);
  const Tags digits{std::string(32, '7').c_str()};
  EXPECT_EQ(fruLib.CheckTable(digits.list, std::string(32, '#').c_str()), 1);
}

TEST_F(Utilities, AShortTagDoesNotMatchALongName) {
  const Tags tags{std::string(31, 'x').c_str()};
  EXPECT_EQ(fruLib.CheckTable(tags.list, std::string(31, 'x').c_str()), 1);
  EXPECT_EQ(fruLib.CheckTable(tags.list, std::string(32, 'x').c_str()), 0);
}

// OpenFile

/// A cursor that was used before; its stream is closed at the end.
struct UsedCursor : FileRecord {
  UsedCursor() {
    std::strcpy(line, "a line of before");
    pos = line + 2;
    lineNumber = 9;
  }
  ~UsedCursor() { Close(); }

  /// What the stream gives from where it stands.
  std::string Rest() const {
    std::string text;
    for (int c = std::getc(fp); c != EOF; c = std::getc(fp)) text += static_cast<char>(c);
    return text;
  }
};

TEST_F(Utilities, OpensAFileAtItsFirstLine) {
  WriteFile("in", "one\ntwo\n");
  for (const char* mode : {"r", "rb"}) {
    UsedCursor cursor;
    EXPECT_EQ(fruLib.OpenFile("in", &cursor, mode), 0);
    ASSERT_NE(cursor.fp, nullptr);
    EXPECT_STREQ(cursor.line, "");
    EXPECT_EQ(cursor.pos, nullptr);
    EXPECT_EQ(cursor.lineNumber, 0);
    EXPECT_EQ(cursor.Rest(), "one\ntwo\n");
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(Utilities, AFileThatCannotBeOpenedIsTheCallersToReport) {
  for (const char* mode : {"r", "rb", "r+"}) {
    UsedCursor cursor;
    EXPECT_EQ(fruLib.OpenFile("missing", &cursor, mode), 66);
    EXPECT_EQ(cursor.fp, nullptr);
  }
  UsedCursor cursor;
  EXPECT_EQ(fruLib.OpenFile("missing/out", &cursor, "w"), 66);
  EXPECT_EQ(cursor.fp, nullptr);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Utilities, AnEmptyFileIsTheCallersToReportAndStaysOpen) {
  for (const char* mode : {"r", "rb", "r+", "a"}) {
    WriteFile("empty", "");
    UsedCursor cursor;
    EXPECT_EQ(fruLib.OpenFile("empty", &cursor, mode), 81) << mode;
    ASSERT_NE(cursor.fp, nullptr) << mode;
    EXPECT_NE(fileno(cursor.fp), -1) << mode;
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
  EXPECT_FALSE(std::filesystem::exists("Update_normal.xml"));
}

TEST_F(Utilities, AFileThatIsWrittenMayBeEmpty) {
  WriteFile("out", "what was there before");
  UsedCursor cursor;
  EXPECT_EQ(fruLib.OpenFile("out", &cursor, "w"), 0);
  EXPECT_STREQ(cursor.line, "");
  EXPECT_EQ(cursor.pos, nullptr);
  EXPECT_EQ(cursor.lineNumber, 0);
  EXPECT_EQ(std::fputs("new", cursor.fp) < 0, false);
  cursor.Close();
  EXPECT_EQ(ReadFile("out"), "new");
}

struct Scan {
  const char* name;
  std::string content;
  const char* error;  // null: accepted
  const char* code;
};

std::string X(std::size_t count) { return std::string(count, 'x'); }

const char* const kLongLine1 =
    "Error, line 1 is too long.  Lines lengths must be 255 characters or less";
const char* const kBadCharacter1 = "Error, an invalid character was found on line 1";

const Scan kScans[] = {
    {"plain lines", "one\ntwo\n", nullptr, ""},
    {"no line feed at the end", "one\ntwo", nullptr, ""},
    {"empty lines", "\n\n\n", nullptr, ""},
    {"carriage returns and tabs", "a\tb\r\n\r\n", nullptr, ""},
    {"the first and the last printable byte", "\x20\x7F\n", nullptr, ""},
    {"254 characters", X(254) + "\n", nullptr, ""},
    {"254 characters at the end", X(254), nullptr, ""},
    {"253 characters and a carriage return", X(253) + "\r\n", nullptr, ""},
    {"255 characters", X(255) + "\n", kLongLine1, "SDR072"},
    {"255 characters at the end", X(255), kLongLine1, "SDR072"},
    {"254 characters and a carriage return", X(254) + "\r\n", kLongLine1, "SDR072"},
    {"a very long line", X(100000) + "\n", kLongLine1, "SDR072"},
    {"255 characters on line 3", "a\n" + X(254) + "\n" + X(255) + "\nb\n",
     "Error, line 3 is too long.  Lines lengths must be 255 characters or less", "SDR072"},
    {"a long last line", "a\n" + X(255),
     "Error, line 2 is too long.  Lines lengths must be 255 characters or less", "SDR072"},
    {"a zero byte", std::string("a\0b\n", 4), kBadCharacter1, "SDR070"},
    {"a control character", "a\x1F\n", kBadCharacter1, "SDR070"},
    {"a form feed", "a\f\n", kBadCharacter1, "SDR070"},
    {"a vertical tab", "a\v\n", kBadCharacter1, "SDR070"},
    {"the first byte behind 7 bits", "a\x80\n", kBadCharacter1, "SDR070"},
    {"the last byte", "a\xFF\n", kBadCharacter1, "SDR070"},
    {"a foreign character on line 4", "\n\n\n\xE4\n\n",
     "Error, an invalid character was found on line 4", "SDR070"},
    {"a foreign character as the last byte", "a\nb\x01",
     "Error, an invalid character was found on line 2", "SDR070"},
    {"an end mark at the end", "a\n\x1A", nullptr, ""},
    {"an end mark at the end of a line", "a\x1A", nullptr, ""},
    {"an end mark alone", "\x1A", nullptr, ""},
    {"an end mark in the middle", "a\x1A\nb\n", kBadCharacter1, "SDR070"},
    {"an end mark before the last line feed", "a\x1A\n", kBadCharacter1, "SDR070"},
    {"two end marks", "a\x1A\x1A", kBadCharacter1, "SDR070"},
    {"254 characters and an end mark", X(254) + "\x1A", kLongLine1, "SDR072"},
    {"the first of two foreign characters", "a\n\x01\n\x01\n",
     "Error, an invalid character was found on line 2", "SDR070"},
    {"a long line before a foreign character", X(255) + "\n\x01\n", kLongLine1, "SDR072"},
    {"a foreign character before a long line", "\x01\n" + X(255) + "\n", kBadCharacter1, "SDR070"},
};

TEST_F(Utilities, TheScanReportsTheFirstOffendingLine) {
  for (const char* mode : {"rb", "rB", "RB"}) {
    for (const Scan& scan : kScans) {
      SCOPED_TRACE(std::string(mode) + ": " + scan.name);
      ResetGlobals();
      g_eu_flg = kNormalUpdate;
      std::filesystem::remove("tarvek.log");
      std::filesystem::remove("Update_normal.xml");
      WriteFile("in", scan.content);
      UsedCursor cursor;
      EXPECT_EQ(fruLib.OpenFile("in", &cursor, mode), scan.error == nullptr ? 0 : 81);
      EXPECT_EQ(LogTexts(), scan.error == nullptr ? Lines{} : Lines{scan.error});
      if (scan.error != nullptr) {
        EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText(scan.code));
      }
      ASSERT_NE(cursor.fp, nullptr) << "open also when it was refused";
      EXPECT_STREQ(cursor.line, "");
      EXPECT_EQ(cursor.pos, nullptr);
      EXPECT_EQ(cursor.lineNumber, 0);
      EXPECT_EQ(cursor.Rest(), scan.content) << "rewound";
    }
  }
}

TEST_F(Utilities, EveryByteIsAcceptedOrRefusedByTheScan) {
  for (int byte = 0; byte <= 0xFF; ++byte) {
    if (byte == '\n') continue;
    WriteFile("in", std::string("a") + static_cast<char>(byte) + "b\n");
    UsedCursor cursor;
    const bool accepted = (byte >= 0x20 && byte <= 0x7F) || byte == 0x0D || byte == 0x09;
    EXPECT_EQ(fruLib.OpenFile("in", &cursor, "rb"), accepted ? 0 : 81) << byte;
  }
}

TEST_F(Utilities, OnlyModeRbScans) {
  WriteFile("in", "\x01\xFF" + X(300));
  for (const char* mode : {"r", "r+"}) {
    UsedCursor cursor;
    EXPECT_EQ(fruLib.OpenFile("in", &cursor, mode), 0) << mode;
    EXPECT_EQ(cursor.Rest().size(), 302U);
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(Utilities, NoFileIsTooLarge) {
  std::string content;
  while (content.size() <= 600 * 1024) content += X(99) + "\n";
  WriteFile("in", content);
  UsedCursor cursor;
  EXPECT_EQ(fruLib.OpenFile("in", &cursor, "rb"), 0);
}

// ValidString

TEST_F(Utilities, AStringWithAnUnprintableByteIsEmptied) {
  for (int byte = 1; byte <= 0xFF; ++byte) {
    for (const std::size_t at : {0U, 3U, 6U}) {
      std::string text = "caption";
      text[at] = static_cast<char>(byte);
      const std::string before = text;
      EXPECT_EQ(fruLib.ValidString(text.data()), text.data());
      const bool valid = byte >= 0x20 && byte <= 0x7F;
      EXPECT_STREQ(text.c_str(), valid ? before.c_str() : "") << byte;
      if (at != 0) {
        EXPECT_EQ(text.substr(1), before.substr(1)) << "only its first byte is touched";
      }
    }
  }
}

TEST_F(Utilities, NothingBehindAnUnprintableByteIsRead) {
  // A buffer without a terminator, as a record's, at the end of what may be read.
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* const memory =
      mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  char* const end = static_cast<char*>(memory) + page;
  ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
  for (const std::ptrdiff_t at : {0, 1, 63}) {
    std::fill(end - 64, end, 'x');
    end[at - 64] = '\x01';
    EXPECT_EQ(fruLib.ValidString(end - 64), end - 64);
    EXPECT_EQ(end[-64], '\0');
    EXPECT_EQ(end[-1], at == 63 ? '\x01' : 'x');
  }
  munmap(memory, 2 * page);
}

TEST_F(Utilities, AnEmptyStringIsValid) {
  char text[] = {'\0', '\x01'};
  EXPECT_EQ(fruLib.ValidString(text), text);
  EXPECT_EQ(text[1], '\x01') << "nothing behind the terminator counts";
}

// AsciiDigitToNibble

TEST_F(Utilities, HexDigitsOfEitherCaseHaveAValue) {
  const std::string upper = "0123456789ABCDEF";
  const std::string lower = "0123456789abcdef";
  for (int value = 0; value <= 0xFF; ++value) {
    const char c = static_cast<char>(value);
    const std::size_t at = std::min(upper.find(c), lower.find(c));
    EXPECT_EQ(fruLib.AsciiDigitToNibble(c), at == std::string::npos ? 16 : static_cast<int>(at))
        << value;
  }
  EXPECT_EQ(fruLib.AsciiDigitToNibble('g'), 16);
  EXPECT_EQ(fruLib.AsciiDigitToNibble('f'), 15);
  EXPECT_EQ(fruLib.AsciiDigitToNibble('\0'), 16);
}

// StringToBytes

struct Conversion {
  const char* hex;
  unsigned int n;
  int result;
  std::vector<int> bytes;  // of an area of five; -1: not written
};

const Conversion kConversions[] = {
    {"1A3", 2, 0, {0x01, 0xA3, -1, -1, -1}},
    {"0100", 2, 0, {0x01, 0x00, -1, -1, -1}},
    {"0000", 2, 0, {0x00, 0x00, -1, -1, -1}},
    {"F", 2, 0, {0x00, 0x0F, -1, -1, -1}},
    {"f", 1, 0, {0x0F, -1, -1, -1, -1}},
    {"fE", 1, 0, {0xFE, -1, -1, -1, -1}},
    {"1", 4, 0, {0x00, 0x00, 0x00, 0x01, -1}},
    {"12", 4, 0, {0x00, 0x00, 0x00, 0x12, -1}},
    {"123", 4, 0, {0x00, 0x00, 0x01, 0x23, -1}},
    {"12345678", 4, 0, {0x12, 0x34, 0x56, 0x78, -1}},
    {"123", 1, 3, {-1, -1, -1, -1, -1}},
    {"12345", 2, 3, {-1, -1, -1, -1, -1}},
    {"", 2, 3, {-1, -1, -1, -1, -1}},
    {"", 0, 3, {-1, -1, -1, -1, -1}},
    {"12", 0, 3, {-1, -1, -1, -1, -1}},
    {"G", 1, 3, {-1, -1, -1, -1, -1}},
    {"G", 2, 3, {0x00, -1, -1, -1, -1}},
    {"1G", 1, 3, {-1, -1, -1, -1, -1}},
    {"G1", 1, 3, {-1, -1, -1, -1, -1}},
    {"12G4", 3, 3, {0x00, 0x12, -1, -1, -1}},
    {"1G34", 3, 3, {0x00, -1, -1, -1, -1}},
    {"12345G", 3, 3, {0x12, 0x34, -1, -1, -1}},
    {"12 4", 2, 3, {0x12, -1, -1, -1, -1}},
    {"-1", 1, 3, {-1, -1, -1, -1, -1}},
    {"0x1F", 2, 3, {-1, -1, -1, -1, -1}},
};

TEST_F(Utilities, HexTextBecomesBytesHighByteFirst) {
  constexpr unsigned char kUntouched = 0xEE;
  for (const Conversion& c : kConversions) {
    SCOPED_TRACE(std::string("\"") + c.hex + "\" in " + std::to_string(c.n));
    std::array<unsigned char, 5> out{};
    out.fill(kUntouched);
    EXPECT_EQ(fruLib.StringToBytes(c.hex, out.data(), c.n), c.result);
    for (std::size_t i = 0; i < out.size(); ++i) {
      EXPECT_EQ(out[i], c.bytes[i] < 0 ? kUntouched : c.bytes[i]) << "byte " << i;
    }
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log")) << "the caller chooses the message";
}

// HexDumpBufferToASCIIFile

class RecordDump : public Utilities {
 protected:
  std::string Dump(unsigned char* buffer, std::string title) {
    OpenScratch();
    EXPECT_EQ(fruLib.HexDumpBufferToASCIIFile(buffer, title.data()), 0);
    return Scratch();
  }
};

TEST_F(RecordDump, ShowsTheCaptionTheStringAndFourRows) {
  std::array<unsigned char, 70> record{};
  const char* const text = "A record in plain characters";
  std::memcpy(record.data(), text, std::strlen(text));
  record[30] = 0x1F;
  record[31] = 0x20;
  record[32] = 0x7E;
  record[33] = 0x7F;
  record[34] = 0x80;
  record[63] = 0xFF;
  record[64] = 'X';  // the dump ends before it
  const auto before = record;
  EXPECT_EQ(Dump(record.data(), "Writing SDR Record #1"),
            "Writing SDR Record #1\n"
            "A record in plain characters\n"
            " 41 20 72 65 63 6F 72 64 20 69 6E 20 70 6C 61 69   A record in plai\n"
            " 6E 20 63 68 61 72 61 63 74 65 72 73 00 00 1F 20   n characters... \n"
            " 7E 7F 80 00 00 00 00 00 00 00 00 00 00 00 00 00   ~...............\n"
            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 FF   ................\n"
            "\n");
  EXPECT_EQ(record, before) << "a record that can be printed stays whole";
}

TEST_F(RecordDump, ARecordWithAnUnprintableByteLosesItsFirst) {
  std::array<unsigned char, 70> record{};
  const std::array<unsigned char, 8> head{0x41, 0x42, 0x51, 0x01, 0x03, 0x20, 0x00, 0x44};
  std::copy(head.begin(), head.end(), record.begin());
  EXPECT_EQ(Dump(record.data(), "Writing SDR Record #2"),
            "Writing SDR Record #2\n"
            "\n"
            " 00 42 51 01 03 20 00 44 00 00 00 00 00 00 00 00   .BQ.. .D........\n"
            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00   ................\n"
            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00   ................\n"
            " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00   ................\n"
            "\n");
  EXPECT_EQ(record[0], 0x00);
  EXPECT_TRUE(std::equal(head.begin() + 1, head.end(), record.begin() + 1));
}

TEST_F(RecordDump, OnlyBytesBeforeTheFirstZeroByteCostTheFirst) {
  std::array<unsigned char, 70> record{};
  record[0] = 0x41;
  record[2] = 0x01;
  record[3] = 0xFF;
  Dump(record.data(), "title");
  EXPECT_EQ(record[0], 0x41);
  record[0] = 0x80;
  Dump(record.data(), "title");
  EXPECT_EQ(record[0], 0x00);
}

TEST_F(RecordDump, ARecordWithoutAZeroByteIsReadUpToTheOneBehindIt) {
  std::array<unsigned char, 70> record{};
  std::fill_n(record.begin(), 69, static_cast<unsigned char>('r'));
  const std::string row = " 72 72 72 72 72 72 72 72 72 72 72 72 72 72 72 72   rrrrrrrrrrrrrrrr\n";
  EXPECT_EQ(Dump(record.data(), "long"),
            "long\n" + std::string(69, 'r') + "\n" + row + row + row + row + "\n");
}

TEST_F(RecordDump, ACaptionThatCannotBePrintedIsEmptied) {
  std::array<unsigned char, 70> record{};
  OpenScratch();
  char title[] = "bad\n";
  EXPECT_EQ(fruLib.HexDumpBufferToASCIIFile(record.data(), title), 0);
  EXPECT_STREQ(title, "");
  EXPECT_EQ(Scratch().substr(0, 3), "\n\n ");
}

TEST_F(RecordDump, NeitherCaptionNorRecordIsAFormat) {
  std::array<unsigned char, 70> record{'%', 's', '%', 'n'};
  const std::string dump = Dump(record.data(), "%s%n");
  EXPECT_EQ(dump.substr(0, 10), "%s%n\n%s%n\n");
}

TEST_F(RecordDump, WithoutAScratchStreamTheRecordIsCleanedAlike) {
  std::array<unsigned char, 70> record{0x01, 0x41};
  char title[] = "title";
  EXPECT_EQ(fruLib.HexDumpBufferToASCIIFile(record.data(), title), 0);
  EXPECT_EQ(record[0], 0x00);
  EXPECT_EQ(record[1], 0x41);
}

TEST_F(RecordDump, IsNotLogged) {
  std::array<unsigned char, 70> record{};
  Dump(record.data(), "title");
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

}  // namespace
}  // namespace tarvek_test
