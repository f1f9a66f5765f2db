#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "errors/reserve_block.h"
#include "tests/unit/config/script_run.h"

namespace {

using tarvek_test::LogTexts;
using tarvek_test::OpenCfgFile;
using tarvek_test::Script;
using tarvek_test::TheSeams;
using tarvek_test::WriteFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kBadCommand = "Error, invalid command found in the configuration file ";

class CfgReader : public tarvek_test::ScriptRun {
 protected:
  void SetUp() override {
    ScriptRun::SetUp();
    file.state = new CfgStruct;
  }

  /// Reads, without lexing, a script of this text.
  ESTATUS Read(const std::string& script) {
    WriteFile("script.cfg", script);
    return file.Read("script.cfg");
  }
  std::vector<int> LineNumbers() const {
    std::vector<int> numbers;
    for (const CfgLine* line = file.lines; line != nullptr; line = line->next) {
      numbers.push_back(line->line_number);
    }
    return numbers;
  }

  OpenCfgFile file;
};

struct Cleaning {
  const char* name;
  std::string line;
  std::string cleaned;
};

class Cleaned : public CfgReader, public ::testing::WithParamInterface<Cleaning> {};

TEST_P(Cleaned, RemoveComments) {
  std::string line = GetParam().line;
  EXPECT_EQ(file.RemoveComments(line.data()), 0);
  EXPECT_EQ(std::string(line.c_str()), GetParam().cleaned);
}

INSTANTIATE_TEST_SUITE_P(
    CfgReader, Cleaned,
    ::testing::Values(
        Cleaning{"Nothing", "", ""}, Cleaning{"NoComment", "SET a", "SET a"},
        Cleaning{"Trailing", "SET a // tag", "SET a"}, Cleaning{"OnlyComment", "// all", ""},
        Cleaning{"AtOnce", "SET a//b", "SET a"}, Cleaning{"OneSlash", "SET a/b", "SET a/b"},
        Cleaning{"SlashAtTheEnd", "SET a/", "SET a/"},
        Cleaning{"InQuotes", "DISPLAY \"a//b\"", "DISPLAY \"a//b\""},
        Cleaning{"BehindQuotes", "DISPLAY \"a//b\" // c", "DISPLAY \"a//b\""},
        Cleaning{"UnbalancedQuote", "DISPLAY \"a // b", "DISPLAY \"a // b"},
        Cleaning{"BehindThreeQuotes", "SET \"a\" \" // b", "SET \"a\" \" // b"},
        Cleaning{"LineFeed", "SET a\n", "SET a"}, Cleaning{"CrLf", "SET a\r\n", "SET a"},
        Cleaning{"AnyMixOfTrailing", "SET a \t\r \n\t", "SET a"},
        Cleaning{"OnlyBlanks", " \t\r\n", ""}, Cleaning{"OtherControl", "SET a\f", "SET a\f"}),
    [](const auto& row) { return row.param.name; });

TEST_F(CfgReader, RemoveIndentMovesTheTextOverBlanksAndTabsAlone) {
  const std::pair<const char*, const char*> rows[] = {
      {"SET", "SET"}, {"  \t SET  a", "SET  a"}, {"", ""}, {" \t", ""}, {" \r SET", "\r SET"}};
  for (const auto& [before, after] : rows) {
    std::string line = before;
    file.RemoveIndent(line.data());
    EXPECT_STREQ(line.c_str(), after);
  }
}

TEST_F(CfgReader, IsLineGoodEmptiesCommentsAndLineEnds) {
  const std::pair<const char*, int> rows[] = {{"SET a", 1}, {"/", 1},   {" //", 1}, {"", 0},
                                              {"// a", 0},  {"\ra", 0}, {"\na", 0}};
  for (const auto& [text, good] : rows) {
    SCOPED_TRACE(text);
    std::string line = text;
    EXPECT_EQ(file.IsLineGood(line.data()), good);
    EXPECT_STREQ(line.c_str(), good == 1 ? text : "");
  }
}

TEST_F(CfgReader, KeepsCommandLinesWithTheirNumbers) {
  EXPECT_EQ(Read("// a script\n\n  SET a // tag\n\t\n\tendif\nCLEAR a"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a", "endif", "CLEAR a"));
  EXPECT_THAT(LineNumbers(), ElementsAre(3, 5, 6));
  EXPECT_EQ(file.state->line_number, 6);
  EXPECT_EQ(file.state->fp, nullptr);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgReader, ReadsCarriageReturnLineFeedLikeLineFeed) {
  EXPECT_EQ(Read("SET a\r\n\r\nDISPLAY \"x y\"\r\n// c\r\nENDIF\r\n"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a", "DISPLAY \"x y\"", "ENDIF"));
  EXPECT_THAT(LineNumbers(), ElementsAre(1, 3, 5));
}

TEST_F(CfgReader, AnEmptyScriptOrOneOfCommentsGivesNoLines) {
  for (const char* script : {"", "\n", "// only\n", " \t\n\r\n  // more", "//"}) {
    SCOPED_TRACE(script);
    EXPECT_EQ(Read(script), 0);
    EXPECT_EQ(file.lines, nullptr);
  }
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgReader, ReadLineGivesOneLineAtATimeAndThenNone) {
  WriteFile("script.cfg", "SET a\n\n//\nBOOT\n");
  file.state->fp = std::fopen("script.cfg", "r");
  EXPECT_EQ(file.ReadLine(), 1);
  EXPECT_STREQ(file.state->line, "SET a");
  EXPECT_EQ(file.ReadLine(), 1);
  EXPECT_STREQ(file.state->line, "BOOT");
  EXPECT_EQ(file.state->line_number, 4);
  EXPECT_EQ(file.ReadLine(), 0);
  EXPECT_EQ(file.ReadLine(), 0);
}

TEST_F(CfgReader, OnlyTheBeginningOfALineIsTested) {
  EXPECT_EQ(Read("SETTING\nNOTACMD\nELSEWHERE \"\nnothing at all\n"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre("SETTING", "NOTACMD", "ELSEWHERE \"", "nothing at all"));
}

TEST_F(CfgReader, ALineWithoutACommandWordIsReportedAndEndsTheReading) {
  EXPECT_EQ(Read("SET a\nGARBAGE\nSET b\nMORE\n"), 81);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a"));
  EXPECT_EQ(file.state->line_number, 2);
  EXPECT_EQ(file.state->fp, nullptr);
  EXPECT_THAT(LogTexts(), ElementsAre(kBadCommand));
}

TEST_F(CfgReader, ANewReadStartsCountingAgain) {
  EXPECT_EQ(Read("SET a\nSET b\n"), 0);
  EXPECT_EQ(Read("\nBOOT\n"), 0);
  EXPECT_THAT(LineNumbers(), ElementsAre(1, 2, 2));
  EXPECT_EQ(file.matched_length, 0u);
}

TEST_F(CfgReader, ALongLineIsReadInPiecesOf255Characters) {
  const std::string first = "DISPLAY " + std::string(247, 'x');
  const std::string rest = "SET " + std::string(41, 'y');
  ASSERT_EQ((first + rest).size(), 300u);
  EXPECT_EQ(Read(first + rest + "\nSET z\n"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre(first, rest, "SET z"));
  EXPECT_THAT(LineNumbers(), ElementsAre(1, 2, 3));
}

TEST_F(CfgReader, EachPieceOfALongLineNeedsACommandWord) {
  EXPECT_EQ(Read("DISPLAY " + std::string(292, 'x') + "\n"), 81);
  EXPECT_EQ(file.state->line_number, 2);
  EXPECT_THAT(LogTexts(), ElementsAre(kBadCommand));
}

TEST_F(CfgReader, ALineFeedBehind255CharactersIsABlankPiece) {
  const std::string full = "DISPLAY " + std::string(247, 'x');
  EXPECT_EQ(Read(full + "\nSET a\n"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre(full, "SET a"));
  EXPECT_THAT(LineNumbers(), ElementsAre(1, 3));
}

TEST_F(CfgReader, ALineEndsAtAZeroByte) {
  const std::string zero(1, '\0');
  EXPECT_EQ(Read("SET a" + zero + "bc\n" + zero + "GARBAGE\nBOOT" + zero), 0);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a", "BOOT"));
  EXPECT_THAT(LineNumbers(), ElementsAre(1, 3));
}

TEST_F(CfgReader, AMissingScriptIsNotReportedHere) {
  EXPECT_EQ(file.Read("missing.cfg"), 67);
  EXPECT_EQ(file.Read(""), 67);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgReader, ADirectoryIsNoScript) {
  EXPECT_EQ(file.Read("."), 67);
  EXPECT_EQ(file.lines, nullptr);
  EXPECT_EQ(file.state->fp, nullptr);
}

TEST_F(CfgReader, APipeWhoseWriterDoesNotComeIsNoScript) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  int waits = 0;
  TheSeams().poll = [&] {
    ++waits;
    return 0;
  };
  EXPECT_EQ(file.Read("pipe"), 67);
  EXPECT_EQ(file.lines, nullptr);
  EXPECT_EQ(waits, 1);
}

TEST_F(CfgReader, APipeIsReadToItsWritersEnd) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  const int writer = open("pipe", O_RDWR);
  ASSERT_GE(writer, 0);
  const char* const pieces[] = {"SET a\nSE", "T b\nBO", "OT"};
  std::size_t waits = 0;
  TheSeams().poll = [&] {
    if (waits == std::size(pieces)) {
      close(writer);
    } else {
      EXPECT_GT(write(writer, pieces[waits], std::strlen(pieces[waits])), 0);
      ++waits;
    }
    return 1;
  };
  EXPECT_EQ(file.Read("pipe"), 0);
  EXPECT_EQ(waits, std::size(pieces));
  EXPECT_THAT(file.Lines(), ElementsAre("SET a", "SET b", "BOOT"));
  EXPECT_THAT(LineNumbers(), ElementsAre(1, 2, 3));
}

TEST_F(CfgReader, APipeThatFallsSilentIsAScriptThatCannotBeRead) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  const int writer = open("pipe", O_RDWR);
  ASSERT_GE(writer, 0);
  ASSERT_EQ(write(writer, "SET a\nSET", 9), 9);
  int waits = 0;
  TheSeams().poll = [&waits] {
    ++waits;
    return 0;
  };
  EXPECT_EQ(file.Read("pipe"), 67);
  EXPECT_EQ(waits, 1);
  close(writer);
}

TEST_F(CfgReader, WhatAPipeThatFallsSilentHasBegunIsNoLine) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  for (const std::string begun : {"S", "GARBAGE", "SET b", "// half a comm"}) {
    SCOPED_TRACE(begun);
    const int writer = open("pipe", O_RDWR);
    ASSERT_GE(writer, 0);
    const std::string text = "SET a\n" + begun;
    ASSERT_EQ(write(writer, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    int waits = 0;
    TheSeams().poll = [&waits] { return ++waits == 1 ? 1 : 0; };
    EXPECT_EQ(file.Read("pipe"), 67);
    EXPECT_EQ(waits, 2);
    EXPECT_THAT(file.Lines(), ElementsAre("SET a"));
    EXPECT_THAT(LogTexts(), IsEmpty());
    close(writer);
    delete std::exchange(file.lines, nullptr);
  }
}

/// What a file can be read of whose disk fails behind that.
ssize_t ReadUpToAFault(void* rest, char* buffer, std::size_t size) {
  auto& text = *static_cast<std::string*>(rest);
  if (text.empty()) {
    errno = EIO;
    return -1;
  }
  const std::size_t count = text.copy(buffer, size);
  text.erase(0, count);
  return static_cast<ssize_t>(count);
}

TEST_F(CfgReader, ALineThatAReadErrorCutsShortIsNone) {
  std::string text = "SET a\nGARB";
  file.state->fp = fopencookie(&text, "r", {ReadUpToAFault, nullptr, nullptr, nullptr});
  ASSERT_NE(file.state->fp, nullptr);
  EXPECT_EQ(file.ReadLine(), 1);
  EXPECT_STREQ(file.state->line, "SET a");
  EXPECT_EQ(file.ReadLine(), 0);
  EXPECT_STREQ(file.state->line, "");
  EXPECT_EQ(file.state->line_number, 1);
}

TEST_F(CfgReader, ADeviceIsNoScript) {
  EXPECT_EQ(file.Read("/dev/zero"), 67);
  EXPECT_EQ(file.state->fp, nullptr);
}

TEST_F(CfgReader, AScriptOfTooManyLinesIsRefused) {
  EXPECT_EQ(kMaxCfgLines, 2000000);
  const std::string most(kMaxCfgLines, '\n');
  const std::string without_the_last_line_feed = most.substr(1) + "SET a";
  EXPECT_EQ(Read(most), 0);
  EXPECT_EQ(file.state->line_number, kMaxCfgLines);
  EXPECT_EQ(Read(without_the_last_line_feed), 0);
  EXPECT_THAT(LineNumbers(), ElementsAre(kMaxCfgLines));
  for (const char* more : {"\n", " ", "SET b", "GARBAGE\n"}) {
    EXPECT_EQ(Read(most + more), 2) << more;
  }
  EXPECT_EQ(Read(without_the_last_line_feed + "\n\n"), 2);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a", "SET a"));
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgReader, MemoryThatRunsOutEndsTheReading) {
  WriteFile("script.cfg", Script({"SET a", "SET b", "SET c"}));
  TheSeams().failing_allocation = 2;
  EXPECT_EQ(file.Read("script.cfg"), 2);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a"));
  EXPECT_EQ(gErrorBlock, nullptr);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

}  // namespace
