#include <gmock/gmock.h>

#include <cstring>
#include <utility>

#include "driver/reporting/run_settings.h"
#include "errors/reserve_block.h"
#include "tests/unit/config/script_run.h"

namespace {

using tarvek_test::ConsoleOf;
using tarvek_test::OpenCfgFile;
using tarvek_test::TheSeams;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

class CfgLists : public tarvek_test::ScriptRun {
 protected:
  void SetUp() override {
    ScriptRun::SetUp();
    file.state = new CfgStruct;
  }

  OpenCfgFile file;
};

TEST_F(CfgLists, ANewLineCarriesItsTextAndTheCurrentLineNumberAlone) {
  file.state->line_number = 7;
  EXPECT_EQ(file.Add(&file.lines, "SET a"), 0);
  file.state->line_number = 9;
  EXPECT_EQ(file.Add(&file.lines, "BOOT"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre("SET a", "BOOT"));
  const CfgLine& line = *file.lines;
  EXPECT_EQ(line.line_number, 7);
  EXPECT_EQ(line.next->line_number, 9);
  EXPECT_EQ(line.argument_count, 0);
  EXPECT_EQ(line.max_arguments, 0);
  EXPECT_EQ(line.max_argument_length, 0);
  EXPECT_EQ(line.id, 0);
  for (const char* argument : line.arguments) EXPECT_EQ(argument, nullptr);
}

TEST_F(CfgLists, ALineKeepsAtMost255Characters) {
  EXPECT_EQ(file.Add(&file.lines, std::string(300, 'x').c_str()), 0);
  EXPECT_EQ(std::string(file.lines->text), std::string(255, 'x'));
}

TEST_F(CfgLists, TagsAreKeptInOrderOfSettingWithTheirCaseAndTwice) {
  for (const char* tag : {"b", "A", "b"}) EXPECT_EQ(file.Add(&file.state->tags, tag), 0);
  EXPECT_EQ(file.Tags(), "b,A,b");
}

TEST_F(CfgLists, ATagKeepsAtMost31Characters) {
  EXPECT_EQ(file.Add(&file.state->tags, std::string(40, 't').c_str()), 0);
  EXPECT_EQ(file.Tags(), std::string(31, 't'));
}

TEST_F(CfgLists, ClearTagRemovesTheFirstOfThatNameInAnyCase) {
  for (const char* tag : {"a", "CPU", "b", "cpu"}) file.Add(&file.state->tags, tag);
  EXPECT_EQ(file.ClearTag(&file.state->tags, "Cpu"), 0);
  EXPECT_EQ(file.Tags(), "a,b,cpu");
  EXPECT_EQ(file.ClearTag(&file.state->tags, "CPU"), 0);
  EXPECT_EQ(file.Tags(), "a,b");
  EXPECT_EQ(file.ClearTag(&file.state->tags, "cpu"), 81);
  EXPECT_EQ(file.Tags(), "a,b");
  EXPECT_EQ(file.Add(&file.state->tags, "c"), 0);
  EXPECT_EQ(file.Tags(), "a,b,c");
}

TEST_F(CfgLists, ClearTagTakesNoWildcard) {
  file.Add(&file.state->tags, "CPU1");
  EXPECT_EQ(file.ClearTag(&file.state->tags, "CPU#"), 81);
  EXPECT_EQ(file.Tags(), "CPU1");
}

TEST_F(CfgLists, ClearingTheLastTagLeavesAnEmptyListThatCanGrow) {
  EXPECT_EQ(file.ClearTag(&file.state->tags, "a"), 81);
  file.Add(&file.state->tags, "a");
  EXPECT_EQ(file.ClearTag(&file.state->tags, "a"), 0);
  EXPECT_EQ(file.state->tags, nullptr);
  file.Add(&file.state->tags, "b");
  EXPECT_EQ(file.Tags(), "b");
}

TEST_F(CfgLists, AFileIsQueuedWithTheCompareFlagOfTheMoment) {
  EXPECT_EQ(file.Add(&file.state->sdr_files, "f.sdr", 1), 0);
  file.compare = 1;
  EXPECT_EQ(file.Add(&file.state->sdr_files, "g.sdr", 0), 0);
  EXPECT_EQ(file.Files(), "f.sdr compare=0 pass=1,g.sdr compare=1 pass=0");
}

TEST_F(CfgLists, AFileNameKeepsAtMost127Characters) {
  EXPECT_EQ(file.Add(&file.state->sdr_files, std::string(200, 'n').c_str(), 1), 0);
  EXPECT_EQ(std::string(file.state->sdr_files->filename), std::string(127, 'n'));
}

TEST_F(CfgLists, MemoryThatRunsOutReleasesTheReserveBlock) {
  const std::function<ESTATUS()> adders[] = {
      [this] { return file.Add(&file.lines, "SET a"); },
      [this] { return file.Add(&file.state->tags, "a"); },
      [this] { return file.Add(&file.state->sdr_files, "f.sdr", 1); },
  };
  for (const auto& add : adders) {
    if (gErrorBlock == nullptr) gErrorBlock = new char[kReserveBlockSize];
    TheSeams().failing_allocation = 1;
    EXPECT_EQ(add(), 2);
    EXPECT_EQ(gErrorBlock, nullptr);
  }
  EXPECT_EQ(file.lines, nullptr);
  EXPECT_EQ(file.state->tags, nullptr);
  EXPECT_EQ(file.state->sdr_files, nullptr);
}

// A list may be freed and built again between two calls, also where the nodes stand at the same
// addresses again.

TEST_F(CfgLists, ATagIsAddedToAListThatWasBuiltAgain) {
  for (const char* tag : {"a", "b", "c"}) file.Add(&file.state->tags, tag);
  delete std::exchange(file.state->tags, nullptr);
  file.state->tags = new TagTbl;
  std::strcpy(file.state->tags->name, "d");
  EXPECT_EQ(file.Add(&file.state->tags, "e"), 0);
  EXPECT_EQ(file.Tags(), "d,e");
  EXPECT_EQ(file.ClearTag(&file.state->tags, "a"), 81);
  EXPECT_EQ(file.ClearTag(&file.state->tags, "D"), 0);
  EXPECT_EQ(file.Tags(), "e");
}

TEST_F(CfgLists, ALineIsAddedToAListThatWasBuiltAgain) {
  for (const char* line : {"SET a", "SET b", "SET c"}) file.Add(&file.lines, line);
  delete std::exchange(file.lines, nullptr);
  file.lines = new CfgLine;
  std::strcpy(file.lines->text, "SET d");
  EXPECT_EQ(file.Add(&file.lines, "SET e"), 0);
  EXPECT_THAT(file.Lines(), ElementsAre("SET d", "SET e"));
}

TEST_F(CfgLists, AFileIsAddedToAListThatWasBuiltAgain) {
  for (const char* name : {"f.sdr", "g.sdr", "h.sdr"}) file.Add(&file.state->sdr_files, name, 0);
  delete std::exchange(file.state->sdr_files, nullptr);
  file.state->sdr_files = new CSDRHeader;
  EXPECT_EQ(file.Add(&file.state->sdr_files, "e.sdr", 0), 0);
  EXPECT_EQ(file.Files(), " compare=0 pass=1,e.sdr compare=0 pass=0");
}

TEST_F(CfgLists, ListsOfTheCallersOwnAreWalked) {
  TagTbl* tags = nullptr;
  TagTbl* others = nullptr;
  for (const char* tag : {"a", "b"}) {
    EXPECT_EQ(file.Add(&tags, tag), 0);
    EXPECT_EQ(file.Add(&others, "x"), 0);
  }
  EXPECT_EQ(file.ClearTag(&others, "a"), 81) << "set in the other list";
  EXPECT_EQ(file.ClearTag(&tags, "B"), 0);
  EXPECT_STREQ(tags->name, "a");
  EXPECT_EQ(tags->next, nullptr);
  EXPECT_STREQ(others->next->name, "x");
  EXPECT_EQ(others->next->next, nullptr);
  delete tags;
  delete others;
}

TEST_F(CfgLists, AScriptTakesUpTheTagsThatItFinds) {
  file.state->tags = new TagTbl;
  std::strcpy(file.state->tags->name, "CPU1");
  EXPECT_EQ(file.InterpretText("SET b\nIFSET cpu1 CPU# b\nSET c\nENDIF\nCLEAR cpu1\nSET d\n"), 0);
  EXPECT_EQ(file.Tags(), "b,c,d");
}

TEST_F(CfgLists, TagsThatAScriptCannotTakeUpEndIt) {
  ASSERT_EQ(file.Lex("SET b\n"), 0);
  ASSERT_EQ(file.Add(&file.state->tags, "a"), 0);
  file.cursor = file.lines;
  TheSeams().failing_allocation = 1;
  EXPECT_EQ(file.Interpret(nullptr, 0, 0, 1), 2);
  EXPECT_EQ(gErrorBlock, nullptr);
  EXPECT_EQ(file.Tags(), "a");
}

TEST_F(CfgLists, EachRecordIsAnnouncedWhenTheTraceIsOn) {
  gMemAllocFlag = 1;
  EXPECT_THAT(ConsoleOf([this] { file.Add(&file.state->tags, "a"); }),
              MatchesRegex("Allocating 0x0028 bytes at address 0x[0-9a-f]+\n"));
  EXPECT_THAT(ConsoleOf([this] { file.ClearTag(&file.state->tags, "a"); }),
              MatchesRegex("Deallocating 0x0028 bytes at address 0x[0-9a-f]+\n"));
}

TEST_F(CfgLists, AnAbandonedScriptIsFreedWithItsReader) {
  gMemAllocFlag = 1;
  const std::string trace = ConsoleOf([] {
    OpenCfgFile abandoned;
    abandoned.state = tarvek::TraceNew(new CfgStruct);
    abandoned.Add(&abandoned.lines, "SET a");
    abandoned.Add(&abandoned.lines, "SET b");
    abandoned.Add(&abandoned.state->tags, "a");
    abandoned.Add(&abandoned.state->sdr_files, "f.sdr", 1);
  });
  const auto count = [&trace](const std::string& word) {
    int found = 0;
    for (std::size_t at = 0; (at = trace.find(word, at)) != std::string::npos; ++at) ++found;
    return found;
  };
  EXPECT_EQ(count("Allocating 0x"), 5);
  EXPECT_EQ(count("Deallocating 0x"), 5);
}

}  // namespace
