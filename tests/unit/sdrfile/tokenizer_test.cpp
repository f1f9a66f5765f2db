#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "driver/reporting/run_settings.h"
#include "tests/unit/sdrfile/sdr_source.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TokenizerTest : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
  }

  Loader loader;
};

struct Token {
  std::string text;
  unsigned int id;
  bool operator==(const Token&) const = default;
};
void PrintTo(const Token& token, std::ostream* out) {
  *out << "{\"" << token.text << "\", " << token.id << "}";
}

/// The tokens before the end of the input.
std::vector<Token> TokensOf(const Loader& loader, FileRecord* input) {
  std::vector<Token> tokens;
  TokenTbl token;
  for (;;) {
    loader.GetAndClassifyToken(input, &token);
    if (token.id == 34) return tokens;
    tokens.push_back({token.text, token.id});
  }
}

std::vector<Token> TokensOf(const Loader& loader, const std::string& text) {
  Input input(text);
  return TokensOf(loader, &input);
}

// The keyword table.

struct KeywordRow {
  const char* text;
  unsigned int id;
};
constexpr KeywordRow kKeywordRows[] = {
    {"(", 33},
    {")", 35},
    {"//", 28},
    {"", 34},
    {"\n", 32},
    {"_DATA_LEN", 0},
    {"_DEV_ADDRESS", 1},
    {"_FRU", 2},
    {"_FRU_TITLE", 3},
    {"_LF_FMT_VER", 4},
    {"_LF_NAME", 5},
    {"_LF_VERSION", 6},
    {"_DEV_ID", 11},
    {"_DEV_BUS", 7},
    {"_NVS_TYPE", 8},
    {"_DEV_CONTROLLER", 10},
    {"_NVS_LUN", 12},
    {"_REC_LEN", 13},
    {"_SDR", 14},
    {"_SDR_TAG", 15},
    {"_SDR_TYPE", 16},
    {"_SDR_VERSION", 17},
    {"_IPMI_VERSION", 18},
    {"_SEE_BOARD", 19},
    {"_SEE_CHASSIS", 20},
    {"_SEE_COMMON", 21},
    {"_SEE_INTERNAL", 22},
    {"_SEE_PRODUCT", 23},
    {"_SEL", 25},
    {"_SEL_TYPE", 26},
    {"_START_ADDR", 27},
};

TEST_F(TokenizerTest, KeywordTableHoldsItsRowsInOrder) {
  ASSERT_EQ(NumberOfTableEntries, 31);
  ASSERT_EQ(std::size(kKeywordRows), 31U);
  for (std::size_t i = 0; i < std::size(kKeywordRows); ++i) {
    EXPECT_EQ(KeywordTable[i].text, kKeywordRows[i].text) << "row " << i;
    EXPECT_EQ(KeywordTable[i].id, kKeywordRows[i].id) << "row " << i;
  }
}

TEST_F(TokenizerTest, LookUpKeywordFindsEveryRow) {
  for (const KeywordRow& row : kKeywordRows) {
    EXPECT_EQ(loader.LookUpKeyword(row.text), row.id) << row.text;
  }
}

TEST_F(TokenizerTest, LookUpKeywordKnowsNothingElse) {
  for (const char* text :
       {"_sdr",       "_Sdr",     "_SDRX", "_SD", "_",   "__SDR", "SDR",  " _SDR",
        "_SDR ",      "((",       "()",    "/",   "///", "//x",   "\n\n", " ",
        "_SDR_TYPE_", "_SEL_TYP", "00",    "C0",  "'",   "#",     "\x80", "\xFF"}) {
    EXPECT_EQ(loader.LookUpKeyword(text), 36U) << text;
  }
}

/// What the search is to equal: the first entry of the table with exactly this text.
unsigned int SearchLinearly(const char* text) {
  for (const KeywordRow& row : kKeywordRows) {
    if (std::strcmp(row.text, text) == 0) return row.id;
  }
  return 36;
}

TEST_F(TokenizerTest, LookUpKeywordEqualsALinearSearchAroundEveryKeyword) {
  for (const KeywordRow& row : kKeywordRows) {
    const std::string keyword = row.text;
    for (std::size_t length = 0; length <= keyword.size(); ++length) {
      const std::string start = keyword.substr(0, length);
      EXPECT_EQ(loader.LookUpKeyword(start.c_str()), SearchLinearly(start.c_str())) << start;
      for (int c = 1; c < 256; ++c) {
        const std::string text = start + static_cast<char>(c) +
                                 (length < keyword.size() ? keyword.substr(length + 1) : "");
        EXPECT_EQ(loader.LookUpKeyword(text.c_str()), SearchLinearly(text.c_str())) << text;
      }
    }
  }
}

TEST_F(TokenizerTest, KeywordsOutOfUseAreKeywordsAllTheSame) {
  EXPECT_THAT(
      TokensOf(loader,
               "_FRU _FRU_TITLE _DEV_ID _DEV_CONTROLLER _NVS_LUN\n"
               "_SEE_BOARD _SEE_CHASSIS _SEE_COMMON _SEE_INTERNAL _SEE_PRODUCT\n"
               "_SEL _SEL_TYPE\n"),
      ElementsAre(Token{"_FRU", 2}, Token{"_FRU_TITLE", 3}, Token{"_DEV_ID", 11},
                  Token{"_DEV_CONTROLLER", 10}, Token{"_NVS_LUN", 12}, Token{"_SEE_BOARD", 19},
                  Token{"_SEE_CHASSIS", 20}, Token{"_SEE_COMMON", 21}, Token{"_SEE_INTERNAL", 22},
                  Token{"_SEE_PRODUCT", 23}, Token{"_SEL", 25}, Token{"_SEL_TYPE", 26}));
}

TEST_F(TokenizerTest, FreshTokenIsEmptyAndUnknown) {
  const TokenTbl token;
  EXPECT_STREQ(token.text, "");
  EXPECT_EQ(token.id, 36U);
  EXPECT_EQ(sizeof(token.text), 256U);
}

// Blanks and lines.

TEST_F(TokenizerTest, SkipBlankSpacePassesBlanksAndTabsOnly) {
  const struct {
    std::string text;
    int skipped;  // -1: the position is gone
  } rows[] = {{"a", 0},   {"  a", 2},    {"\t \ta", 3}, {" \n", 1},  {"\n", 0},
              {" \r", 1}, {"\v\f a", 0}, {"", -1},      {"   ", -1}, {"\t", -1}};
  for (const auto& row : rows) {
    std::string text = row.text;
    char* p = text.data();
    loader.SkipBlankSpace(&p);
    EXPECT_EQ(p, row.skipped < 0 ? nullptr : text.data() + row.skipped) << row.text;
  }
}

TEST_F(TokenizerTest, SkipBlankSpaceLeavesANullPositionAlone) {
  char* p = nullptr;
  loader.SkipBlankSpace(&p);
  EXPECT_EQ(p, nullptr);
}

TEST_F(TokenizerTest, NewLineIsNeededWhenNothingButACommentIsLeft) {
  const struct {
    const char* line;
    int needed;
  } rows[] = {{"", 1},   {"\n", 1},      {"  \t\n", 1}, {"   ", 1},    {"// x\n", 1}, {" //\n", 1},
              {"//", 1}, {"x\n", 0},     {"  x\n", 0},  {"x", 0},      {"/ /\n", 0},  {"/\n", 0},
              {"/", 0},  {"x //y\n", 0}, {"'//'\n", 0}, {"\t//\n", 1}, {"x// y\n", 0}};
  for (const auto& row : rows) {
    FileRecord file;
    std::strcpy(file.line, row.line);
    file.pos = file.line;
    EXPECT_EQ(loader.IsNewLineNeeded(&file), row.needed) << row.line;
  }
}

TEST_F(TokenizerTest, NewLineIsNeededWithoutAPosition) {
  FileRecord file;
  std::strcpy(file.line, "text\n");
  file.pos = nullptr;
  EXPECT_EQ(loader.IsNewLineNeeded(&file), 1);
}

// Cutting tokens.

TEST_F(TokenizerTest, CommentEndsTheLineAndTheNextLineGoesOn) {
  EXPECT_THAT(
      TokensOf(loader, "_SDR_TYPE 01   // temperature\n_REC_LEN 10\n"),
      ElementsAre(Token{"_SDR_TYPE", 16}, Token{"01", 30}, Token{"_REC_LEN", 13}, Token{"10", 30}));
}

TEST_F(TokenizerTest, SlashesInsideATokenArePartOfIt) {
  EXPECT_THAT(TokensOf(loader, "abc//def\n"), ElementsAre(Token{"abc//def", 36}));
}

TEST_F(TokenizerTest, CommentStartsBehindAClosingQuote) {
  EXPECT_THAT(TokensOf(loader, "'abc'// comment\n01\n"),
              ElementsAre(Token{"abc", 29}, Token{"01", 30}));
}

TEST_F(TokenizerTest, SingleSlashIsNoComment) {
  EXPECT_THAT(TokensOf(loader, "/ /x\n"), ElementsAre(Token{"/", 36}, Token{"/x", 36}));
}

TEST_F(TokenizerTest, CarriageReturnAndLineFeedReadLikeALineFeed) {
  const std::string unix_text =
      "// set\n_SDR ( // open\n\n  \n_SDR_TAG 'A B'\n0000 1F#\n'open\n)\n";
  std::string dos_text;
  for (const char c : unix_text) dos_text += c == '\n' ? std::string("\r\n") : std::string(1, c);
  const std::vector<Token> tokens = TokensOf(loader, unix_text);
  EXPECT_EQ(tokens.size(), 8U);
  EXPECT_EQ(TokensOf(loader, dos_text), tokens);
}

TEST_F(TokenizerTest, OnlyTheCarriageReturnBeforeTheLineFeedGoes) {
  EXPECT_THAT(TokensOf(loader, "01\r\r\n"), ElementsAre(Token{"01\r", 36}));
  EXPECT_THAT(TokensOf(loader, "01\r02\n"), ElementsAre(Token{"01\r02", 36}));
  EXPECT_THAT(TokensOf(loader, "\r01\n"), ElementsAre(Token{"\r01", 36}));
}

TEST_F(TokenizerTest, QuotedTextKeepsItsBlanks) {
  EXPECT_THAT(TokensOf(loader, "'System Board 1' \t'\ttab'\n"),
              ElementsAre(Token{"System Board 1", 29}, Token{"\ttab", 29}));
}

TEST_F(TokenizerTest, QuotedTextMayHoldCommentMarksAndKeywords) {
  EXPECT_THAT(
      TokensOf(loader, "'a // b' '_SDR' '0100' '('\n"),
      ElementsAre(Token{"a // b", 29}, Token{"_SDR", 29}, Token{"0100", 29}, Token{"(", 29}));
}

TEST_F(TokenizerTest, TextWithoutClosingQuoteIsUnknown) {
  EXPECT_THAT(TokensOf(loader, "'abc\n01\n"), ElementsAre(Token{"'abc", 36}, Token{"01", 30}));
  EXPECT_THAT(TokensOf(loader, "'abc "), ElementsAre(Token{"'abc ", 36}));
}

TEST_F(TokenizerTest, QuoteDoesNotSpanLines) {
  EXPECT_THAT(TokensOf(loader, "'abc\ndef'\n"), ElementsAre(Token{"'abc", 36}, Token{"def'", 36}));
}

TEST_F(TokenizerTest, ClosingQuoteEndsTheToken) {
  EXPECT_THAT(TokensOf(loader, "'abc'def 'x''y'\n"),
              ElementsAre(Token{"abc", 29}, Token{"def", 30}, Token{"x", 29}, Token{"y", 29}));
}

TEST_F(TokenizerTest, QuoteInsideAPlainTokenIsPartOfIt) {
  EXPECT_THAT(TokensOf(loader, "a'b c'\n"), ElementsAre(Token{"a'b", 36}, Token{"c'", 36}));
}

TEST_F(TokenizerTest, EmptyQuotesAreAnEmptyText) {
  EXPECT_THAT(TokensOf(loader, "''\n"), ElementsAre(Token{"", 29}));
}

TEST_F(TokenizerTest, LoneQuoteIsAnEmptyText) {
  EXPECT_THAT(TokensOf(loader, "'\n"), ElementsAre(Token{"", 29}));
  EXPECT_THAT(TokensOf(loader, "'"), ElementsAre(Token{"", 29}));
  EXPECT_THAT(TokensOf(loader, "'\r\n"), ElementsAre(Token{"", 29}));
}

TEST_F(TokenizerTest, ParenthesesMustStandApart) {
  EXPECT_THAT(TokensOf(loader, "_SDR( ( ) () )x\n"),
              ElementsAre(Token{"_SDR(", 36}, Token{"(", 33}, Token{")", 35}, Token{"()", 36},
                          Token{")x", 36}));
}

TEST_F(TokenizerTest, PositionStaysOnTheDelimiter) {
  Input input("  _SDR\t(\n");
  char text[256];
  loader.GetNextToken(&input, text);
  EXPECT_STREQ(text, "_SDR");
  EXPECT_STREQ(input.pos, "\t(\n");
}

TEST_F(TokenizerTest, LinesAreCounted) {
  Input input("// one\n\n_SDR (\n00\n");
  char text[256];
  loader.GetNextToken(&input, text);
  EXPECT_EQ(input.lineNumber, 3);
  loader.GetNextToken(&input, text);
  EXPECT_EQ(input.lineNumber, 3);
  loader.GetNextToken(&input, text);
  EXPECT_EQ(input.lineNumber, 4);
  loader.GetNextToken(&input, text);
  EXPECT_EQ(input.lineNumber, 4) << "the end of the file is no line";
}

TEST_F(TokenizerTest, DroppedLineMakesTheNextTokenComeFromAFreshOne) {
  Input input("_LF_NAME 'a' rest of line\n_LF_VERSION\n");
  char text[256];
  loader.GetNextToken(&input, text);
  loader.GetNextToken(&input, text);
  input.DropLine();
  loader.GetNextToken(&input, text);
  EXPECT_STREQ(text, "_LF_VERSION");
}

// The end of the input.

TEST_F(TokenizerTest, EveryCallAfterTheLastLineGivesTheEmptyToken) {
  Input input(")\n");
  TokenTbl token;
  loader.GetAndClassifyToken(&input, &token);
  for (int i = 0; i < 5; ++i) {
    std::strcpy(token.text, "old");
    loader.GetAndClassifyToken(&input, &token);
    EXPECT_STREQ(token.text, "");
    EXPECT_EQ(token.id, 34U);
    EXPECT_STREQ(input.line, "");
    EXPECT_EQ(input.pos, nullptr);
  }
}

TEST_F(TokenizerTest, LastLineWithoutLineFeedReadsAsIfItHadOne) {
  for (const char* text :
       {"_SDR (", "_SDR ( ", "_SDR (\t", "_SDR (\r", "_SDR ( // end", "_SDR (\n// end",
        "_SDR (\n// end\r", "_SDR (\n//", "_SDR (\n  ", "_SDR (\n\r", "_SDR (\n\t\r"}) {
    EXPECT_THAT(TokensOf(loader, text), ElementsAre(Token{"_SDR", 14}, Token{"(", 33})) << text;
  }
}

TEST_F(TokenizerTest, InputWithoutAnyTokenHasEnded) {
  for (const char* text :
       {"", "\n", "\n\n\n", "   ", "\t\n  \n", "// only\n// comments", "\r\n\r\n", "\r"}) {
    EXPECT_THAT(TokensOf(loader, text), IsEmpty()) << text;
  }
}

TEST_F(TokenizerTest, DirectoryHasEndedAtOnce) {
  // Reading a directory fails without ever reaching an end of file.
  FileRecord file;
  file.fp = std::fopen(".", "r");
  ASSERT_NE(file.fp, nullptr);
  EXPECT_THAT(TokensOf(loader, &file), IsEmpty());
  EXPECT_EQ(std::feof(file.fp), 0);
  EXPECT_EQ(file.lineNumber, 0);
  file.Close();
}

TEST_F(TokenizerTest, ClosedInputHasEnded) {
  FileRecord file;
  EXPECT_THAT(TokensOf(loader, &file), IsEmpty());
}

// Lines that no text file should have.

TEST_F(TokenizerTest, ZeroByteEndsItsLine) {
  EXPECT_THAT(TokensOf(loader, std::string("01 02\0 03 04\n05\n", 16)),
              ElementsAre(Token{"01", 30}, Token{"02", 30}, Token{"05", 30}));
}

TEST_F(TokenizerTest, LineThatBeginsWithAZeroByteIsPassedOver) {
  EXPECT_THAT(TokensOf(loader, std::string("\0 01\n02\n", 8)), ElementsAre(Token{"02", 30}));
  EXPECT_THAT(TokensOf(loader, std::string(1000, '\0') + "\n02\n"), ElementsAre(Token{"02", 30}));
  EXPECT_THAT(TokensOf(loader, std::string(1000, '\0')), IsEmpty());
}

/// The text of the first token; it may hold control characters.
std::string FirstToken(const Loader& loader, const std::string& text) {
  Input input(text);
  char token[256];
  loader.GetNextToken(&input, token);
  return token;
}

TEST_F(TokenizerTest, CarriageReturnBeforeAZeroByteStays) {
  const std::string zero(1, '\0');
  const std::string begun = "01\r" + zero;
  for (const std::string& text :
       {begun, begun + "\n", begun + "\n\n", begun + "\n\n02\n", begun + "\r\n", begun + "02",
        begun + "02\n\n", begun + zero, "01\r" + std::string(252, '\0'),
        "01\r" + std::string(252, '\0') + "\n", "01\r" + std::string(252, '\0') + "02\n",
        "01\r" + std::string(600, '\0') + "\n\n"}) {
    EXPECT_EQ(FirstToken(loader, text), "01\r") << testing::PrintToString(text);
  }
  const std::string full = std::string(253, 'A') + '\r';
  EXPECT_EQ(FirstToken(loader, full + zero + "\n"), full);
  EXPECT_EQ(FirstToken(loader, full + zero), full);
}

TEST_F(TokenizerTest, CarriageReturnThatFillsTheLineGoesBeforeALineFeedOnly) {
  const std::string most(254, 'A');
  EXPECT_EQ(FirstToken(loader, most + "\r\n"), most);
  EXPECT_EQ(FirstToken(loader, most + "\r"), most);
  EXPECT_EQ(FirstToken(loader, most + "\r" + "01\n"), most + "\r");
  EXPECT_EQ(FirstToken(loader, most + "\r" + std::string(1, '\0') + "\n"), most + "\r");
}

TEST_F(TokenizerTest, LinesOfEveryLengthEndAlikeWhateverTheirEnd) {
  for (std::size_t length = 1; length <= 252; ++length) {
    const std::string token(length, 'A');
    for (const char* end : {"", "\r", "\n", "\r\n", "\n\n", "\r\n\r\n"}) {
      EXPECT_THAT(TokensOf(loader, token + end), ElementsAre(Token{token, 30})) << length;
    }
    EXPECT_THAT(TokensOf(loader, token + "\r\n01"), ElementsAre(Token{token, 30}, Token{"01", 30}));
  }
}

TEST_F(TokenizerTest, LineOf255BytesIsReadWhole) {
  const std::string token(254, 'A');
  EXPECT_THAT(TokensOf(loader, token + "\n01\n"), ElementsAre(Token{token, 30}, Token{"01", 30}));
  EXPECT_THAT(TokensOf(loader, token + "\r\n01\n"), ElementsAre(Token{token, 30}, Token{"01", 30}));
}

TEST_F(TokenizerTest, LongerLinesAreReadInPieces) {
  const std::string piece(255, 'A');
  EXPECT_THAT(TokensOf(loader, piece + "B\n01\n"),
              ElementsAre(Token{piece, 30}, Token{"B", 30}, Token{"01", 30}));
  EXPECT_THAT(TokensOf(loader, piece + "\n01\n"), ElementsAre(Token{piece, 30}, Token{"01", 30}));
  EXPECT_THAT(TokensOf(loader, piece + "\r\n01\n"), ElementsAre(Token{piece, 30}, Token{"01", 30}));
  EXPECT_THAT(TokensOf(loader, piece + piece + piece),
              ElementsAre(Token{piece, 30}, Token{piece, 30}, Token{piece, 30}));
}

TEST_F(TokenizerTest, CommentLongerThanALineGoesOnOnlyToTheEndOfItsPiece) {
  const std::string comment = "//" + std::string(253, '-');
  EXPECT_THAT(TokensOf(loader, comment + "01\n02\n"),
              ElementsAre(Token{"01", 30}, Token{"02", 30}));
}

TEST_F(TokenizerTest, QuotedTextLongerThanALineIsUnknown) {
  const std::string piece = "'" + std::string(254, 'x');
  EXPECT_THAT(TokensOf(loader, piece + "x'\n"), ElementsAre(Token{piece, 36}, Token{"x'", 36}));
}

// Classifying.

TEST_F(TokenizerTest, TokensAreClassifiedByTheirShape) {
  const struct {
    const char* text;
    Token token;
  } rows[] = {
      {"1F", {"1F", 30}},
      {"0123456789ABCDEFabcdef", {"0123456789ABCDEFabcdef", 30}},
      {"0", {"0", 30}},
      {"1F#", {"1F", 31}},
      {"C0#", {"C0", 31}},
      {"#", {"", 31}},
      {"1G", {"1G", 36}},
      {"1G#", {"1G#", 36}},
      {"##", {"##", 36}},
      {"#1", {"#1", 36}},
      {"1#2", {"1#2", 36}},
      {"1F#\r", {"1F#\r", 36}},
      {"'abc'", {"abc", 29}},
      {"''", {"", 29}},
      {"'", {"", 29}},
      {"'''", {"'", 29}},
      {"'1F#'", {"1F#", 29}},
      {"'_SDR'", {"_SDR", 29}},
      {"'abc", {"'abc", 36}},
      {"abc'", {"abc'", 36}},
      {"1.00", {"1.00", 36}},
      {"\"1.5\"", {"\"1.5\"", 36}},
      {"_OTHER", {"_OTHER", 36}},
      {"_sdr", {"_sdr", 36}},
      {"0x1F", {"0x1F", 36}},
      {"-1", {"-1", 36}},
      {"\xC0", {"\xC0", 36}},
      {"//", {"//", 28}},
      {"", {"", 34}},
      {"\n", {"\n", 32}},
  };
  for (const auto& row : rows) {
    TokenTbl token;
    std::strcpy(token.text, row.text);
    loader.ClassifyToken(&token);
    EXPECT_EQ((Token{token.text, token.id}), row.token) << row.text;
  }
}

TEST_F(TokenizerTest, ClassifyTokenForgetsAnEarlierKind) {
  TokenTbl token;
  token.id = 30;
  std::strcpy(token.text, "?");
  loader.ClassifyToken(&token);
  EXPECT_EQ(token.id, 36U);
}

TEST_F(TokenizerTest, StaticDataIsHexDigitsOnly) {
  for (int c = 1; c < 256; ++c) {
    const char text[] = {'1', static_cast<char>(c), '\0'};
    const bool digit = std::strchr("0123456789ABCDEFabcdef", c) != nullptr;
    EXPECT_EQ(loader.IsStaticData(text), digit ? 1 : 0) << c;
  }
}

TEST_F(TokenizerTest, DynamicDataLosesItsMark) {
  char dynamic[] = "1F#";
  EXPECT_EQ(loader.IsDynamicData(dynamic), 1);
  EXPECT_STREQ(dynamic, "1F");
  for (const char* other : {"", "1F", "1G#", "1F##", "'1'"}) {
    std::string text = other;
    EXPECT_EQ(loader.IsDynamicData(text.data()), 0) << other;
    EXPECT_EQ(text, other);
  }
}

TEST_F(TokenizerTest, AsciiTextStandsBetweenQuotes) {
  for (const char* text : {"''", "'", "'a'", "'a b'"})
    EXPECT_EQ(loader.IsASCIIText(text), 1) << text;
  for (const char* text : {"", "a", "'a", "a'", "\"a\""}) {
    EXPECT_EQ(loader.IsASCIIText(text), 0) << text;
  }
}

TEST_F(TokenizerTest, StrippingStaysInsideTheText) {
  const struct {
    const char* text;
    const char* without_last;
    const char* without_quotes;
  } rows[] = {
      {"", "", ""}, {"'", "", ""}, {"''", "'", ""}, {"'a'", "'a", "a"}, {"'ab'", "'ab", "ab"}};
  for (const auto& row : rows) {
    std::string text = row.text;
    loader.StripTrailingCharacter(text.data());
    EXPECT_STREQ(text.c_str(), row.without_last);
    text = row.text;
    loader.StripQuotes(text.data());
    EXPECT_STREQ(text.c_str(), row.without_quotes);
  }
}

// Numbers.

TEST_F(TokenizerTest, StringToUIntReadsUpToFourDigits) {
  const struct {
    const char* text;
    unsigned short value;
  } rows[] = {{"0040", 64},  {"0", 0},        {"F", 15},       {"41", 65},
              {"abc", 2748}, {"FFFF", 65535}, {"fFfF", 65535}, {"1000", 4096}};
  for (const auto& row : rows) EXPECT_EQ(loader.StringToUInt(row.text), row.value) << row.text;
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(TokenizerTest, StringToUIntReportsWhatIsNoNumber) {
  for (const char* text : {"10000", "00001", "", "G", "1G", "12 4", "'1'", "1234567890"}) {
    std::filesystem::remove("tarvek.log");
    EXPECT_EQ(loader.StringToUInt(text), 0) << text;
    EXPECT_THAT(LogTexts(),
                ElementsAre("Error, invalid number of bytes used to indicate hex number"))
        << text;
  }
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDR003"));
}

TEST_F(TokenizerTest, NothingButNumbersIsReported) {
  Input input("'abc 1G _X )( \xFF 12345\n");
  TokensOf(loader, &input);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

}  // namespace
}  // namespace tarvek_test
