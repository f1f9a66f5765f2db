#include <gmock/gmock.h>

#include "driver/reporting/run_settings.h"
#include "tests/unit/config/script_run.h"

namespace {

using tarvek_test::LogTexts;
using tarvek_test::OpenCfgFile;
using tarvek_test::ReadFile;
using tarvek_test::ResultText;
using tarvek_test::Script;
using tarvek_test::TheSeams;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kBadCommand = "Error, invalid command found in the configuration file ";
constexpr const char* kTooLong = "Error, exceeded maximum argument length";
constexpr const char* kNoWord = "Error, invalid configuration file string found";
constexpr const char* kNotClosed =
    "Error, matching quote missing after command in the configuration file";
constexpr const char* kLoneQuote = "Error, non-matching quotes found on configuration line";
constexpr const char* kQuoteInside = "Error, parsing configuration line ";
constexpr const char* kTooMany =
    "Error, too many arguments found after command in the configuration file";
constexpr const char* kControl = "Error, an invalid character was found on line";

using CfgLexer = tarvek_test::ScriptRun;

struct Accepted {
  const char* name;
  std::string line;
  std::string lexed;  // the command word as written, each argument in brackets
  int id;
};

class AcceptedLine : public CfgLexer, public ::testing::WithParamInterface<Accepted> {};

TEST_P(AcceptedLine, IsLexed) {
  OpenCfgFile file;
  EXPECT_EQ(file.Lex(GetParam().line + "\n"), 0);
  ASSERT_THAT(file.Lines(), ElementsAre(GetParam().lexed));
  EXPECT_EQ(file.lines->id, GetParam().id);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

const std::string kTag31(31, 't');
const std::string kText80(80, 'd');
const std::string kText128(128, 'm');

INSTANTIATE_TEST_SUITE_P(
    CfgLexer, AcceptedLine,
    ::testing::Values(
        Accepted{"LowerCaseCommandKeepsItsArguments", "ifset TagA tagB", "ifset [TagA] [tagB]", 11},
        Accepted{"ClearSdrIsNotClear", "CLEARSDR", "CLEARSDR", 21},
        Accepted{"ClearWithAnArgument", "CLEAR SDR", "CLEAR [SDR]", 20},
        Accepted{"MenuTitleIsNotMenu", "MENUTITLE x", "MENUTITLE [x]", 3},
        Accepted{"MenuPrompt", "MENUPROMPT", "MENUPROMPT", 4},
        Accepted{"Menu", "MENU x y", "MENU [x] [y]", 5},
        Accepted{"MenuOf128", "MENU " + kText128, "MENU [" + kText128 + "]", 5},
        Accepted{"No", "NO x", "NO [x]", 10}, Accepted{"NoArgumentAtAll", "SET", "SET", 19},
        Accepted{"TagOf31", "SET " + kTag31, "SET [" + kTag31 + "]", 19},
        Accepted{"QuotedTagOf31", "SET \"" + kTag31 + "\"", "SET [" + kTag31 + "]", 19},
        Accepted{"TextOf80", "DISPLAY \"" + kText80 + "\"", "DISPLAY [" + kText80 + "]", 2},
        Accepted{"QuotedTagWithABlankAndAComment", "SET \"CPU 1\" // the first", "SET [CPU 1]", 19},
        Accepted{"QuotedTextWithSlashes", "DISPLAY \"http://host // x\"",
                 "DISPLAY [http://host // x]", 2},
        Accepted{"EmptyArgument", "SET \"\"", "SET []", 19},
        Accepted{"EmptyArgumentFollowedAtOnce", "MENU \"\"x", "MENU [] [x]", 5},
        Accepted{"QuotedFollowedAtOnce", "MENU \"a b\"c", "MENU [a b] [c]", 5},
        Accepted{"QuotedFollowedAtOnceByQuoted", "MENU \"a\"\"b\"", "MENU [a] [b]", 5},
        Accepted{"QuotedBeginningWithABlank", "SET \" a\"", "SET [ a]", 19},
        Accepted{"TabsBetween", "MENU\ta\t \tb", "MENU [a] [b]", 5},
        Accepted{"FiveArguments", "PROBE a b c d e", "PROBE [a] [b] [c] [d] [e]", 6},
        Accepted{"FiveArgumentsAndBlanks", "PROBE a b c d \"e\" \t ", "PROBE [a] [b] [c] [d] [e]",
                 6},
        Accepted{"FourConditions", "IFSET a b c d", "IFSET [a] [b] [c] [d]", 11},
        Accepted{"ThreeOfSdrName", "SDRNAME f.sdr COMPARE first",
                 "SDRNAME [f.sdr] [COMPARE] [first]", 18},
        Accepted{"EveryPrintableCharacter", "SET !#$%&'()*+,-./:;<=>?@[\\]^_`{|}",
                 "SET [!#$%&'()*+,-./:;<=>?@[\\]^_`{|}]", 19},
        Accepted{"Tilde", "SET a~", "SET [a~]", 19},
        Accepted{"CarriageReturnBetweenArgumentsEndsTheLine", "SET a \rb c d", "SET [a]", 19},
        Accepted{"CarriageReturnBehindTheCommand", "SET\rb", "SET", 19},
        Accepted{"FirstCharacterIsNotTested",
                 "SET \x01"
                 "ab",
                 "SET [\x01"
                 "ab]",
                 19},
        Accepted{"FirstCharacterOf128AndMore", "DISPLAY \xE9t", "DISPLAY [\xE9t]", 2},
        Accepted{"FirstCharacterDelete", "SET \x7F", "SET [\x7F]", 19}),
    [](const auto& row) { return row.param.name; });

TEST_F(CfgLexer, EveryCommandIsFoundByItsWordAlone) {
  for (const CfgWord& word : CfgWordTable) {
    if (word.id == kCfgNone) continue;
    SCOPED_TRACE(word.word);
    OpenCfgFile file;
    EXPECT_EQ(file.Lex(std::string(word.word) + "\n"), 0);
    ASSERT_NE(file.lines, nullptr);
    EXPECT_EQ(file.lines->id, word.id);
    EXPECT_EQ(file.lines->max_arguments, word.max_arguments);
    EXPECT_EQ(file.lines->max_argument_length, word.max_argument_length);
    EXPECT_EQ(file.lines->argument_count, 0);
    EXPECT_EQ(file.matched_length, word.word.size());
  }
}

TEST_F(CfgLexer, EveryCommandTakesItsArgumentsAndNotOneMoreOrLonger) {
  for (const CfgWord& word : CfgWordTable) {
    if (word.id == kCfgNone) continue;
    SCOPED_TRACE(word.word);
    const auto with = [&word](int count, int length) {
      std::string line(word.word);
      for (int i = 0; i < count; ++i) {
        line.append(" ").append(static_cast<std::size_t>(length), 'x');
      }
      return line + "\n";
    };
    const int count = word.max_arguments;
    const int length = word.max_argument_length;
    // Lines hold 255 characters: long arguments are tried one at a time.
    EXPECT_EQ(OpenCfgFile().Lex(with(count, 1)), 0);
    EXPECT_EQ(OpenCfgFile().Lex(with(count + 1, 1)), 81);
    if (count > 0) {
      EXPECT_EQ(OpenCfgFile().Lex(with(1, length)), 0);
    }
    EXPECT_EQ(OpenCfgFile().Lex(with(1, length + 1)), 81);
  }
}

struct Refused {
  const char* name;
  std::string line;
  int status;  // what GetCfgWord() returns
  const char* message;
};

class RefusedLine : public CfgLexer, public ::testing::WithParamInterface<Refused> {};

/// A lexical fault ends the run with two lines in the log and the first one's result code;
/// nothing is interpreted, loaded or sent.
TEST_P(RefusedLine, EndsTheRun) {
  EXPECT_EQ(Run("DISPLAY hello\nSDRNAME f.sdr\n" + GetParam().line + "\n"), 81);
  EXPECT_THAT(LogTexts(), ElementsAre(kBadCommand, GetParam().message));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR011"));
  EXPECT_THAT(TheSeams().loads, IsEmpty());
  EXPECT_THAT(machine().requests, IsEmpty());
}

TEST_P(RefusedLine, IsLeftEmpty) {
  OpenCfgFile file;
  file.state = new CfgStruct;
  std::string line = GetParam().line;
  file.RemoveComments(line.data());
  file.Add(&file.lines, line.c_str());
  file.cursor = file.lines;
  EXPECT_EQ(file.GetCfgWord(), GetParam().status);
  if (GetParam().status != 13) {
    EXPECT_STREQ(file.lines->text, "");
    EXPECT_EQ(file.matched_length, 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(
    CfgLexer, RefusedLine,
    ::testing::Values(Refused{"WordWithoutDelimiter", "SETTING", 13, kNoWord},
                      Refused{"WordFollowedByAQuote", "SET\"a\"", 13, kNoWord},
                      Refused{"Placeholder", "NOTACMD", 13, kNoWord},
                      Refused{"PlaceholderWithArguments", "notacmd a b", 13, kNoWord},
                      Refused{"WordWithOtherControl", "SET\f", 13, kNoWord},
                      Refused{"TagOf32", "SET " + kTag31 + "t", 8, kTooLong},
                      Refused{"QuotedTagOf32", "SET \"" + kTag31 + "t\"", 8, kTooLong},
                      Refused{"SecondArgumentTooLong", "MENU a " + kText128 + "m", 8, kTooLong},
                      Refused{"TextOf81", "DISPLAY \"" + kText80 + "d\"", 8, kTooLong},
                      Refused{"ElseWithAnArgument", "ELSE x", 24, kTooMany},
                      Refused{"ElseWithAnEmptyArgument", "ELSE \"\"", 24, kTooMany},
                      Refused{"EndIfWithAnArgument", "ENDIF x", 24, kTooMany},
                      Refused{"TwoTags", "SET a b", 24, kTooMany},
                      Refused{"FiveConditions", "IFSET a b c d e", 24, kTooMany},
                      Refused{"SdrNameWithFour", "SDRNAME f.sdr COMPARE FIRST x", 24, kTooMany},
                      Refused{"SixArguments", "PROBE a b c d e f", 24, kTooMany},
                      Refused{"SixthArgumentEmpty", "PROBE a b c d e \"\"", 24, kTooMany},
                      Refused{"SixthArgumentNotClosed", "PROBE a b c d e \"f", 24, kTooMany},
                      Refused{"SixthArgumentLoneQuote", "PROBE a b c d e \"", 24, kTooMany},
                      Refused{"SixthArgumentAtOnce", "PROBE a b c d \"e\"f", 24, kTooMany},
                      Refused{"HundredArguments",
                              "SET" +
                                  [] {
                                    std::string many;
                                    for (int i = 0; i < 100; ++i) many += " a";
                                    return many;
                                  }(),
                              24, kTooMany},
                      Refused{"QuotedArgumentNotClosed", "SET \"abc", 14, kNotClosed},
                      Refused{"QuotedArgumentNotClosedBeforeAComment", "SET \"abc // x", 14,
                              kNotClosed},
                      Refused{"LoneQuote", "SET \"", 20, kLoneQuote},
                      Refused{"LoneQuoteAndTrailingBlank", "SET \" ", 20, kLoneQuote},
                      Refused{"LoneQuoteBehindAnArgument", "SET a \"", 20, kLoneQuote},
                      Refused{"LoneQuoteBeforeACarriageReturn", "SET \"\rx", 20, kLoneQuote},
                      Refused{"LoneQuoteOfElse", "ELSE \"", 20, kLoneQuote},
                      Refused{"QuoteInside", "SET a\"b", 22, kQuoteInside},
                      Refused{"QuotesInside", "SET a\"b\"", 22, kQuoteInside},
                      Refused{"QuoteAtTheEnd", "SET a\"", 22, kQuoteInside},
                      Refused{"QuoteInSecondArgument", "SET a b\"c", 22, kQuoteInside},
                      Refused{"ControlInside", "SET a\x01", 69, kControl},
                      Refused{"DeleteInside", "SET a\x7F", 69, kControl},
                      Refused{"TabInQuotes", "DISPLAY \"a\tb\"", 69, kControl},
                      Refused{"TabFirstInQuotes", "DISPLAY \"\tb\"", 69, kControl},
                      Refused{"ControlFirstInQuotes", "DISPLAY \"\x02\"", 69, kControl},
                      Refused{"LatinLetterInside", "DISPLAY caf\xE9", 69, kControl},
                      Refused{"LatinLetterInQuotes", "DISPLAY \"caf\xE9\"", 69, kControl},
                      Refused{"LatinLetterFirstInQuotes", "DISPLAY \"\xE9t\"", 69, kControl},
                      Refused{"Utf8Inside", "DISPLAY \"na\xC3\xAFve\"", 69, kControl},
                      Refused{"CarriageReturnInside", "SET a\rb", 69, kControl},
                      Refused{"CarriageReturnInQuotes", "SET \"a\rb\"", 69, kControl}),
    [](const auto& row) { return row.param.name; });

TEST_F(CfgLexer, AQuoteInsideAnArgumentIsTakenOutOfTheText) {
  OpenCfgFile file;
  file.state = new CfgStruct;
  for (const char* line : {"SET ab\"cd e", "SET ab\"", "SET ab\"\"cd"}) {
    SCOPED_TRACE(line);
    delete std::exchange(file.lines, nullptr);
    file.Add(&file.lines, line);
    file.cursor = file.lines;
    file.cursor->max_argument_length = 31;
    EXPECT_EQ(file.ParseLine(file.cursor->text + 3), 22);
    EXPECT_EQ(file.cursor->argument_count, 1);
    EXPECT_STREQ(file.cursor->arguments[0], "ab");
    EXPECT_STREQ(file.cursor->text + 7, line + 7) << "what stands behind it is left alone";
  }
}

TEST_F(CfgLexer, LexingStopsAtTheFirstFaultyLine) {
  OpenCfgFile file;
  EXPECT_EQ(file.Lex("SET a\nELSE x\nSET \"\nSET b\n"), 81);
  EXPECT_THAT(LogTexts(), ElementsAre(kBadCommand, kTooMany));
  EXPECT_THAT(file.Lines(), ElementsAre("SET [a]", " [x]", "SET \"", "SET b"));
  EXPECT_EQ(file.cursor, file.lines->next);
}

TEST_F(CfgLexer, TheArgumentPointersAreNeverExceeded) {
  OpenCfgFile file;
  EXPECT_EQ(file.Lex("PROBE a b c d e f g h\n"), 81);
  EXPECT_EQ(file.lines->argument_count, 5);
  EXPECT_STREQ(file.lines->arguments[4], "e");
  EXPECT_EQ(file.lines->next, nullptr);
}

TEST_F(CfgLexer, NoLinesAreLexedWithoutAFault) {
  OpenCfgFile file;
  EXPECT_EQ(file.Lex(""), 0);
  EXPECT_EQ(file.cursor, nullptr);
}

TEST_F(CfgLexer, APieceOfALongLineIsLexedAsALineOfItsOwn) {
  OpenCfgFile file;
  const std::string first = "MENU " + std::string(120, 'x') + " " + std::string(120, 'y');
  const std::string padded = first + std::string(255 - first.size(), ' ');
  EXPECT_EQ(file.Lex(padded + "SET a\n"), 0);
  EXPECT_THAT(file.Lines(),
              ElementsAre("MENU [" + std::string(120, 'x') + "] [" + std::string(120, 'y') + "]",
                          "SET [a]"));
}

TEST_F(CfgLexer, EveryByteInEveryPlaceIsTakenOrRefused) {
  // Each byte first and second in an unquoted and in a quoted argument.
  for (int value = 1; value < 256; ++value) {
    const std::string byte(1, static_cast<char>(value));
    for (const std::string& line : {"SET " + byte, "SET a" + byte + "b", "SET \"" + byte + "\"",
                                    "SET \"a" + byte + "\"", byte + "SET a", "SET" + byte + "a"}) {
      OpenCfgFile file;
      const ESTATUS status = file.Lex(line);
      EXPECT_TRUE(status == 0 || status == 81) << value << ": " << line;
      for (const CfgLine* read = file.lines; read != nullptr && status == 0; read = read->next) {
        EXPECT_GT(read->id, 0);
        EXPECT_LE(read->argument_count, read->max_arguments);
      }
    }
  }
}

}  // namespace
