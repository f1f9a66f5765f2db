#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <sstream>

#include "driver/reporting/run_settings.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"
#include "tests/unit/config/script_run.h"
#include "tests/unit/support/cpu_time.h"

namespace {

using tarvek_test::ConsoleOf;
using tarvek_test::LimitCpuTime;
using tarvek_test::LogTexts;
using tarvek_test::OpenCfgFile;
using tarvek_test::ReadFile;
using tarvek_test::ResultText;
using tarvek_test::Script;
using tarvek_test::Seams;
using tarvek_test::TheSeams;
using tarvek_test::WriteFile;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr const char* kNoMemory = "Error, insufficient memory";
constexpr const char* kBadCommand = "Error, invalid command found in the configuration file ";
constexpr const char* kUnbalanced = "Error, non-matching IfSet and Endif statements";
constexpr const char* kNoSdrEcho = "Error, failed to open SDR.TMP file";
constexpr const char* kNoScriptEcho = "Error, failed to open CFG.TMP file";
constexpr const char* kRebootNow = "Programming complete, reboot server for normal operation ";

// A board's records: one for every machine, and one each for the machines tagged a and CPU1.
constexpr const char* kBoard =
    "_LF_NAME 'F.SDR'\n"
    "_LF_VERSION '01.00'\n"
    "_LF_FMT_VER '1.5'\n"
    "_IPMI_VERSION '1.50'\n"
    "_SDR (\n"
    "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n"
    "_SDR_TYPE 12\n_REC_LEN 06\n0000 51 12 01 01\n"
    "_SDR_TYPE 12\n_SDR_TAG 'a'\n_REC_LEN 06\n0000 51 12 01 02\n"
    "_SDR_TYPE 12\n_SDR_TAG 'CPU#'\n_REC_LEN 06\n0000 51 12 01 03\n"
    ")\n";

class CfgInterpreter : public tarvek_test::ScriptRun {
 protected:
  void SetUp() override {
    ScriptRun::SetUp();
    for (const char* name : {"f.sdr", "g.sdr", "h.sdr"}) WriteFile(name, kBoard);
  }
};

// ---- The semantics: which tags a script leaves set, and which files it queues. ----

struct Semantics {
  const char* name;
  Texts lines;
  std::string tags;
  std::string files;
};

class ScriptMeaning : public CfgInterpreter, public ::testing::WithParamInterface<Semantics> {};

TEST_P(ScriptMeaning, IsWhatItSays) {
  OpenCfgFile file;
  EXPECT_EQ(file.InterpretText(Script(GetParam().lines)), 0);
  EXPECT_EQ(file.Tags(), GetParam().tags);
  EXPECT_EQ(file.Files(), GetParam().files);
  EXPECT_EQ(file.ifset_depth, 0);
}

INSTANTIATE_TEST_SUITE_P(
    CfgInterpreter, ScriptMeaning,
    ::testing::Values(
        Semantics{"Empty", {}, "", ""},
        Semantics{"TagsInOrder", {"SET b", "set A", "SET \"c d\""}, "b,A,c d", ""},
        Semantics{"ATagSetTwiceIsThereTwice", {"SET a", "SET a"}, "a,a", ""},
        Semantics{"SetTwiceClearedOnce", {"SET a", "SET a", "CLEAR A"}, "a", ""},
        Semantics{"ClearOfAnUnsetTag", {"SET a", "CLEAR b"}, "a", ""},
        Semantics{"ClearOfNothing", {"CLEAR b", "CLEAR \"\""}, "", ""},
        Semantics{"EmptyTag", {"SET \"\"", "SET a"}, "a", ""},
        Semantics{"ConditionMet", {"SET a", "IFSET a", "SET b", "ENDIF"}, "a,b", ""},
        Semantics{"ConditionNotMet", {"IFSET a", "SET b", "ENDIF"}, "", ""},
        Semantics{"BothTagsSet", {"SET a", "SET b", "IFSET a b", "SET c", "ENDIF"}, "a,b,c", ""},
        Semantics{"OneOfTwoTagsSet", {"SET a", "IFSET a b", "SET c", "ENDIF"}, "a", ""},
        Semantics{"Else", {"IFSET a", "SET b", "ELSE", "SET c", "ENDIF", "SET d"}, "c,d", ""},
        Semantics{"ElseOfAMetCondition",
                  {"SET a", "IFSET a", "SET b", "ELSE", "SET c", "ENDIF", "SET d"},
                  "a,b,d",
                  ""},
        Semantics{"DoubleElse", {"SET a", "IFSET a", "ELSE", "ELSE", "SET b", "ENDIF"}, "a,b", ""},
        Semantics{"TripleElse",
                  {"SET a", "IFSET a", "SET b", "ELSE", "SET c", "ELSE", "SET d", "ELSE", "SET e",
                   "ENDIF"},
                  "a,b,d",
                  ""},
        Semantics{"TheConditionIsFixedAtTheBeginning",
                  {"SET a", "IFSET a", "CLEAR a", "SET b", "ELSE", "SET c", "ENDIF"},
                  "b",
                  ""},
        Semantics{
            "NestedInATakenBranch",
            {"SET a", "IFSET a", "IFSET b", "SET x", "ELSE", "SET y", "ENDIF", "SET z", "ENDIF"},
            "a,y,z",
            ""},
        Semantics{"NestedInASkippedBranch",
                  {"SET b", "IFSET a", "IFSET b", "SET w", "ELSE", "SET x", "ENDIF", "SET y",
                   "ELSE", "SET z", "ENDIF"},
                  "b,z",
                  ""},
        Semantics{"NestedInTheElseOfAMetCondition",
                  {"SET a", "IFSET a", "ELSE", "IFSET a", "SET x", "ELSE", "SET y", "ENDIF",
                   "SET z", "ENDIF", "SET end"},
                  "a,end",
                  ""},
        Semantics{"NestedInTheElseOfAnUnmetCondition",
                  {"SET b", "IFSET a", "SET w", "ELSE", "IFSET b", "SET x", "ELSE", "SET y",
                   "ENDIF", "SET z", "ENDIF"},
                  "b,x,z",
                  ""},
        Semantics{
            "DeeplySkipped",
            {"IFSET a", "IFSET b", "IFSET c", "SET 1", "ELSE", "SET 2", "ENDIF", "ELSE", "IFSET c",
             "SET 3", "ELSE", "SET 4", "ENDIF", "SET 5", "ENDIF", "ELSE", "SET 6", "ENDIF"},
            "6",
            ""},
        Semantics{"BlocksInARow",
                  {"IFSET a", "SET 1", "ENDIF", "IFSET a", "ELSE", "SET 2", "ENDIF", "IFSET 2",
                   "SET 3", "ENDIF"},
                  "2,3",
                  ""},
        Semantics{"RefusedCommandsInASkippedBranch",
                  {"IFSET a", "MENUTITLE t", "MENUPROMPT", "MENU m 1", "PROBE 1 2 3 4 5",
                   "FOUND a b", "PROMPT p", "YES y", "NO n", "FRUNAME f", "FRUADDRESS 1 2 3 4",
                   "FRUAREA a", "FRUFIELD f x", "CLEARSDR", "ERRORLEVEL 1", "BOOT", "ENDIF"},
                  "",
                  ""},
        Semantics{"SkippedCommandsNeedNoArguments",
                  {"IFSET a", "SET", "CLEAR", "DISPLAY", "CONFIGURATION", "SDRNAME", "MENUTITLE",
                   "ENDIF"},
                  "",
                  ""},
        Semantics{
            "SkippedFilesAreNotTested", {"IFSET a", "SDRNAME missing.sdr wrong", "ENDIF"}, "", ""},
        Semantics{"FilesAndPasses",
                  {"SDRNAME f.sdr", "SDRNAME g.sdr LAST", "SDRNAME h.sdr FIRST"},
                  "",
                  "f.sdr compare=0 pass=1,g.sdr compare=0 pass=0,h.sdr compare=0 pass=1"},
        Semantics{"CompareIsInheritedByALaterFirstOrLast",
                  {"SDRNAME f.sdr COMPARE", "SDRNAME g.sdr FIRST", "SDRNAME h.sdr LAST"},
                  "",
                  "f.sdr compare=1 pass=1,g.sdr compare=1 pass=1,h.sdr compare=1 pass=0"},
        Semantics{"NoModeEndsTheInheritance",
                  {"SDRNAME f.sdr LAST COMPARE", "SDRNAME g.sdr", "SDRNAME h.sdr LAST"},
                  "",
                  "f.sdr compare=1 pass=0,g.sdr compare=0 pass=1,h.sdr compare=0 pass=0"},
        Semantics{
            "CompareIsInheritedOverASkippedFile",
            {"SDRNAME f.sdr COMPARE", "IFSET a", "SDRNAME g.sdr", "ENDIF", "SDRNAME h.sdr FIRST"},
            "",
            "f.sdr compare=1 pass=1,h.sdr compare=1 pass=1"},
        Semantics{"TheSameFileTwice",
                  {"SDRNAME f.sdr", "SDRNAME f.sdr COMPARE LAST"},
                  "",
                  "f.sdr compare=0 pass=1,f.sdr compare=1 pass=0"}),
    [](const auto& row) { return row.param.name; });

// ---- Whole runs: what is loaded, in which order, with which tags. ----

struct Loading {
  const char* name;
  Texts lines;
  Texts loads;
};

class ScriptLoads : public CfgInterpreter, public ::testing::WithParamInterface<Loading> {};

TEST_P(ScriptLoads, FilesPassByPassWithTheTagsOfTheEnd) {
  EXPECT_EQ(Run(Script(GetParam().lines)), 0);
  EXPECT_THAT(TheSeams().loads, ElementsAreArray(GetParam().loads));
  EXPECT_THAT(LogTexts(), IsEmpty());
  EXPECT_EQ(gTempFile, nullptr);
  EXPECT_THAT(machine().requests, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    CfgInterpreter, ScriptLoads,
    ::testing::Values(
        Loading{"NoFile", {"SET a", "IFSET a", "SET b", "ENDIF"}, {}},
        Loading{
            "OneFileInABlock", {"SET a", "IFSET a", "SDRNAME f.sdr", "ENDIF"}, {"f.sdr[a] c0 e"}},
        Loading{"TagsClearedBehindTheFile",
                {"SET a", "IFSET a", "SDRNAME f.sdr", "ENDIF", "CLEAR a"},
                {"f.sdr[] c0 e"}},
        Loading{"TagsSetBehindTheFile", {"SDRNAME f.sdr", "SET b", "SET C"}, {"f.sdr[b,C] c0 e"}},
        Loading{"LastBeforeFirst",
                {"SDRNAME f.sdr LAST", "SDRNAME g.sdr FIRST"},
                {"g.sdr[] c0 e", "f.sdr[] c0 e"}},
        Loading{"PassesKeepTheScriptsOrder",
                {"SDRNAME f.sdr LAST", "SDRNAME g.sdr", "SDRNAME h.sdr LAST", "SDRNAME f.sdr"},
                {"g.sdr[] c0 e", "f.sdr[] c0 e", "f.sdr[] c0 e", "h.sdr[] c0 e"}},
        Loading{"CompareFlags",
                {"SDRNAME f.sdr COMPARE", "SDRNAME g.sdr FIRST", "SDRNAME h.sdr"},
                {"f.sdr[] c1 e", "g.sdr[] c1 e", "h.sdr[] c0 e"}}),
    [](const auto& row) { return row.param.name; });

TEST_F(CfgInterpreter, TheCompareFlagIsLeftByTheEntriesOfBothPasses) {
  EXPECT_EQ(Run("SDRNAME f.sdr FIRST\nSDRNAME g.sdr COMPARE LAST\nSDRNAME h.sdr\n"), 0);
  EXPECT_EQ(gSDRCompare, 0);
  EXPECT_EQ(Run("SDRNAME f.sdr\nSDRNAME g.sdr COMPARE FIRST\n"), 0);
  EXPECT_EQ(gSDRCompare, 1);
}

TEST_F(CfgInterpreter, TheCompareFlagOfOnePassIsLeftByTheOthersEntries) {
  OpenCfgFile file;
  ASSERT_EQ(file.InterpretText("SDRNAME f.sdr\nSDRNAME g.sdr COMPARE LAST\n"), 0);
  EXPECT_EQ(file.WhileSDRFilesToLoad(1), 0);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[] c0"));
  EXPECT_EQ(gSDRCompare, 1);
}

TEST_F(CfgInterpreter, AFileThatFailsStopsTheLoading) {
  TheSeams().load_status["g.sdr"] = 33;
  EXPECT_EQ(Run("SDRNAME h.sdr LAST\nSDRNAME f.sdr\nSDRNAME g.sdr\nSDRNAME f.sdr COMPARE\n"), 33);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[] c0 e", "g.sdr[] c0 e"));
  // The loader has reported its failure itself.
  EXPECT_THAT(LogTexts(), IsEmpty());
  EXPECT_EQ(gTempFile, nullptr);
}

TEST_F(CfgInterpreter, TheEndOfProgrammingIsAnnounced) {
  gProgrammed = 1;
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 0);
  EXPECT_THAT(LogTexts(), ElementsAre(kRebootNow));
}

TEST_F(CfgInterpreter, TheEndOfProgrammingIsNotAnnouncedAfterAFailure) {
  gProgrammed = 1;
  TheSeams().load_status["f.sdr"] = 81;
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 81);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgInterpreter, TheRealLoaderSelectsRecordsByTheScriptsTags) {
  struct Selection {
    const char* script;
    int records;
  };
  const Selection selections[] = {
      {"SDRNAME f.sdr\n", 1},
      {"SET a\nIFSET a\nSDRNAME f.sdr\nENDIF\n", 2},
      {"SET a\nIFSET a\nSDRNAME f.sdr\nENDIF\nCLEAR a\n", 1},
      {"SET A\nSET cpu7\nSDRNAME f.sdr\n", 3},
      {"SDRNAME f.sdr\nSET a\nSDRNAME g.sdr LAST\n", 4},
  };
  TheSeams().load_status = {{"f.sdr", Seams::kRealLoader}, {"g.sdr", Seams::kRealLoader}};
  for (const Selection& selection : selections) {
    SCOPED_TRACE(selection.script);
    g_eu_flg = kProgressQuery;  // a mode in which the loader neither compares nor programs
    g_inputSdrRecord = 1;
    EXPECT_EQ(Run(selection.script), 0);
    EXPECT_EQ(g_inputSdrRecord, 1 + selection.records);
  }
}

TEST_F(CfgInterpreter, TheRealLoaderReportsItsOwnFailure) {
  WriteFile("bad.sdr", "_LF_VERSION '1'\n");
  TheSeams().load_status["bad.sdr"] = Seams::kRealLoader;
  EXPECT_EQ(Run("SDRNAME bad.sdr\nSDRNAME f.sdr\n"), 81);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, _LF_NAME should be the first tag in the file"));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR047"));
  EXPECT_THAT(TheSeams().loads, ElementsAre("bad.sdr[] c0 e"));
  EXPECT_THAT(machine().requests, IsEmpty());
}

TEST_F(CfgInterpreter, WhatTheScriptSaysIsLogged) {
  EXPECT_EQ(Run("CONFIGURATION \"Board 7\"\nDISPLAY \"Loading // now\"\nDISPLAY \"\"\n"
                "CONFIGURATION \"\"\nDISPLAY done\n"),
            0);
  EXPECT_THAT(LogTexts(),
              ElementsAre("Loading configuration file: Board 7", "Loading // now", "done"));
}

TEST_F(CfgInterpreter, AScriptWhoseEveryLineWasSkippedSucceeds) {
  for (const char* script : {"", "// nothing\n\n", "IFSET a\nMENU x\nENDIF\n"}) {
    SCOPED_TRACE(script);
    EXPECT_EQ(Run(script), 0);
  }
  EXPECT_THAT(LogTexts(), IsEmpty());
  EXPECT_EQ(ReadFile("Update_force.xml"), "(there is no Update_force.xml)");
}

TEST_F(CfgInterpreter, ARefusedCommandFailsOnlyWhereItRuns) {
  EXPECT_EQ(Run("IFSET a\nMENU x\nENDIF\n"), 0);
  EXPECT_EQ(Run("SET a\nIFSET a\nMENU x\nENDIF\n"), 11);
}

// ---- Failures. ----

struct Failure {
  const char* name;
  Texts lines;
  int status;
  Texts log;
  const char* code;
};

class ScriptFails : public CfgInterpreter, public ::testing::WithParamInterface<Failure> {};

TEST_P(ScriptFails, WithItsMessageAndCodeAndLoadsNothing) {
  EXPECT_EQ(Run(Script(GetParam().lines)), GetParam().status);
  EXPECT_THAT(LogTexts(), ElementsAreArray(GetParam().log));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText(GetParam().code));
  EXPECT_THAT(TheSeams().loads, IsEmpty());
  EXPECT_THAT(machine().requests, IsEmpty());
  EXPECT_EQ(gTempFile, nullptr);
}

Failure RefusedCommand(const char* name, const char* line) {
  return {name, {"SDRNAME f.sdr", line, "DISPLAY never"}, 11, {kBadCommand}, "SDR011"};
}

INSTANTIATE_TEST_SUITE_P(
    Refused, ScriptFails,
    ::testing::Values(RefusedCommand("MenuTitle", "MENUTITLE t"),
                      RefusedCommand("MenuPrompt", "MENUPROMPT"), RefusedCommand("Menu", "MENU m"),
                      RefusedCommand("Probe", "PROBE p"), RefusedCommand("Found", "FOUND f"),
                      RefusedCommand("Prompt", "PROMPT p"), RefusedCommand("Yes", "YES y"),
                      RefusedCommand("No", "NO n"), RefusedCommand("FruName", "FRUNAME f"),
                      RefusedCommand("FruAddress", "FRUADDRESS 1"),
                      RefusedCommand("FruArea", "FRUAREA a"),
                      RefusedCommand("FruField", "FRUFIELD f"),
                      RefusedCommand("ClearSdr", "CLEARSDR"),
                      RefusedCommand("ErrorLevel", "ERRORLEVEL 1"), RefusedCommand("Boot", "BOOT")),
    [](const auto& row) { return row.param.name; });

constexpr const char* kNoArgument =
    "Error, no valid argument found after command in the configuration file";
constexpr const char* kWrongMode =
    "Error, invalid argument following SDR name in the configuration file";

INSTANTIATE_TEST_SUITE_P(
    CfgInterpreter, ScriptFails,
    ::testing::Values(
        Failure{"UnknownCommand",
                {"SDRNAME f.sdr", "GARBAGE", "BOOT"},
                23,
                {kBadCommand, "Error, problem in reading configuration file"},
                "SDR011"},
        Failure{"LexicalFault",
                {"SDRNAME f.sdr", "SETTING", "SET \""},
                81,
                {kBadCommand, "Error, invalid configuration file string found"},
                "SDR011"},
        Failure{"ConfigurationWithoutName",
                {"SDRNAME f.sdr", "CONFIGURATION"},
                15,
                {kNoArgument},
                "SDR015"},
        Failure{"DisplayWithoutText", {"SDRNAME f.sdr", "DISPLAY"}, 15, {kNoArgument}, "SDR015"},
        Failure{
            "MenuTitleWithoutText", {"SDRNAME f.sdr", "MENUTITLE"}, 15, {kNoArgument}, "SDR015"},
        Failure{"SdrNameWithoutFile", {"SDRNAME f.sdr", "SDRNAME"}, 15, {kNoArgument}, "SDR015"},
        Failure{"SetWithoutTag", {"SDRNAME f.sdr", "SET"}, 15, {kNoArgument}, "SDR015"},
        Failure{"ClearWithoutTag", {"SDRNAME f.sdr", "CLEAR"}, 15, {kNoArgument}, "SDR015"},
        Failure{"IfSetWithoutTag",
                {"SDRNAME f.sdr", "IFSET", "ENDIF"},
                16,
                {"Error, no conditional statement found after IFSET"},
                "SDR016"},
        Failure{"SkippedIfSetWithoutTag",
                {"IFSET a", "IFSET", "ENDIF", "ENDIF"},
                16,
                {"Error, no conditional statement found after IFSET"},
                "SDR016"},
        Failure{"ElseOutside",
                {"SDRNAME f.sdr", "ELSE"},
                17,
                {"Error, an IFSET statement must precede the ELSE statement"},
                "SDR017"},
        Failure{"EndIfOutside",
                {"SDRNAME f.sdr", "ENDIF"},
                18,
                {"Error, an IFSET statement must precede the ENDIF statement"},
                "SDR018"},
        Failure{"OneEndIfTooMany",
                {"IFSET a", "ENDIF", "ENDIF"},
                18,
                {"Error, an IFSET statement must precede the ENDIF statement"},
                "SDR018"},
        Failure{"ElseBehindABlock",
                {"IFSET a", "ENDIF", "ELSE"},
                17,
                {"Error, an IFSET statement must precede the ELSE statement"},
                "SDR017"},
        Failure{"EndInABlock", {"SDRNAME f.sdr", "IFSET a", "SET b"}, 19, {kUnbalanced}, "SDR019"},
        Failure{
            "EndInATakenBlock", {"SET a", "IFSET a", "SDRNAME f.sdr"}, 19, {kUnbalanced}, "SDR019"},
        Failure{"EndInANestedBlock",
                {"SDRNAME f.sdr", "IFSET a", "IFSET b", "ENDIF"},
                19,
                {kUnbalanced},
                "SDR019"},
        Failure{"EndRightBehindIfSet", {"IFSET a"}, 19, {kUnbalanced}, "SDR019"},
        Failure{"WrongMode", {"SDRNAME f.sdr", "SDRNAME g.sdr SECOND"}, 9, {kWrongMode}, "SDR009"},
        Failure{"FirstAndLast", {"SDRNAME f.sdr FIRST LAST"}, 9, {kWrongMode}, "SDR009"},
        Failure{"MissingSdrFile",
                {"SDRNAME f.sdr", "SDRNAME missing.sdr", "SDRNAME g.sdr"},
                68,
                {"Error, failed to open the specified SDR file"},
                "SDR068"},
        // The first character of an unquoted argument passes the lexer whatever it is; then the
        // echo empties the argument, and the commands see it empty.
        Failure{"UnprintableFileName",
                {"SDRNAME \xE9.sdr"},
                68,
                {"Error, failed to open the specified SDR file"},
                "SDR068"}),
    [](const auto& row) { return row.param.name; });

TEST_F(CfgInterpreter, AScriptThatCannotBeOpenedIsReported) {
  for (const char* path : {"missing.cfg", ".", "no/such/directory.cfg"}) {
    SCOPED_TRACE(path);
    CfgFile file;
    EXPECT_EQ(file.Process(path), 67);
  }
  EXPECT_THAT(LogTexts(), Each("Error, failed to open the specified configuration file"));
  EXPECT_EQ(LogTexts().size(), 3u);
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR067"));
}

TEST_F(CfgInterpreter, AnArgumentThatMayNotBePrintedIsSeenEmpty) {
  EXPECT_EQ(Run("SET \xE9\nSET a\nDISPLAY \x01\nSDRNAME f.sdr\nIFSET \x02\nBOOT\nENDIF\n"), 0);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[a] c0 e"));
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgInterpreter, AnArgumentThatMayNotBePrintedIsSeenEmptyWithoutANullDeviceToo) {
  TheSeams().unopenable["/dev/null"] = -1;
  EXPECT_EQ(Run("SET \xE9\nSET a\nSDRNAME f.sdr\n"), 0);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[a] c0"));
}

TEST_F(CfgInterpreter, AFailureThatWasReportedIsSummedUp) {
  TheSeams().boot_status = 81;
  EXPECT_EQ(Run("SDRNAME f.sdr\nBOOT\n"), 21);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, parsing configuration information"));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR021"));
  EXPECT_THAT(TheSeams().loads, IsEmpty());
}

struct HandlerFault {
  int status;
  const char* line;
  const char* code;
};

// The lexer finds these faults first, so no script reaches them; a handler that returns them is
// reported all the same.
TEST_F(CfgInterpreter, FaultsThatTheLexerForestallsAreReportedToo) {
  for (const HandlerFault& row : {
           HandlerFault{6,
                        "Error, argument follows a command in the configuration file when it "
                        "should not",
                        "SDR006"},
           HandlerFault{7,
                        "Error, argument is too long that follows command in the configuration "
                        "file",
                        "SDR007"},
           HandlerFault{13, "Error, invalid configuration file string found", "SDR013"},
           HandlerFault{24,
                        "Error, too many arguments found after command in the configuration file",
                        "SDR024"},
       }) {
    SCOPED_TRACE(row.status);
    PrgError::firstError = true;
    std::filesystem::remove("tarvek.log");
    TheSeams().boot_status = row.status;
    EXPECT_EQ(Run("SDRNAME f.sdr\nBOOT\n"), row.status);
    EXPECT_THAT(LogTexts(), ElementsAre(row.line));
    EXPECT_EQ(ReadFile("Update_force.xml"), ResultText(row.code));
    EXPECT_THAT(TheSeams().loads, IsEmpty());
  }
}

TEST_F(CfgInterpreter, AnErrorLevelKeepsTheFinalReportBack) {
  gErrorLevel = 1;
  EXPECT_EQ(Run("BOOT\n"), 11);
  EXPECT_THAT(LogTexts(), IsEmpty());
  EXPECT_EQ(ReadFile("Update_force.xml"), "(there is no Update_force.xml)");
}

TEST_F(CfgInterpreter, ALineWithoutACommandIsRefused) {
  for (const int id : {0, 24, 99, -1}) {
    OpenCfgFile file;
    ASSERT_EQ(file.Lex("SET a\nSET b\n"), 0);
    file.lines->next->id = id;
    file.cursor = file.lines;
    EXPECT_EQ(file.Interpret(nullptr, 0, 0, 1), 13);
    EXPECT_EQ(file.cursor, file.lines->next);
  }
}

// ---- Blocks. ----

TEST_F(CfgInterpreter, InterpretingABlockStopsOnItsEndIf) {
  OpenCfgFile file;
  ASSERT_EQ(file.Lex("SET a\nIFSET a\nSET b\nENDIF\nENDIF\nSET c\n"), 0);
  file.cursor = file.lines;
  file.ifset_depth = 1;
  EXPECT_EQ(file.Interpret(nullptr, 1, 1, 1), 0);
  EXPECT_EQ(file.cursor, file.lines->next->next->next->next);
  EXPECT_EQ(file.Tags(), "a,b");
  EXPECT_EQ(file.ifset_depth, 1);
}

TEST_F(CfgInterpreter, AnEndIfAtDepthZeroDoesNotMatch) {
  OpenCfgFile file;
  ASSERT_EQ(file.Lex("ENDIF\n"), 0);
  file.cursor = file.lines;
  EXPECT_EQ(file.Interpret(nullptr, 1, 1, 1), 19);
}

TEST_F(CfgInterpreter, ABlockThatIsNotRunIsFollowedAllTheSame) {
  OpenCfgFile file;
  ASSERT_EQ(file.Lex("SET a\nIFSET a\nELSE\nSET b\nENDIF\nELSE\nBOOT\nENDIF\n"), 0);
  file.cursor = file.lines;
  file.ifset_depth = 1;
  EXPECT_EQ(file.Interpret(nullptr, 1, 1, 0), 0);
  EXPECT_EQ(file.cursor->next, nullptr);
  EXPECT_EQ(file.Tags(), "");
}

TEST_F(CfgInterpreter, TheDepthIsBackWhereItWasAfterAFailureInABlock) {
  OpenCfgFile file;
  EXPECT_EQ(file.InterpretText("IFSET a\nELSE\nIFSET a\nELSE\nBOOT\nENDIF\nENDIF\n"), 11);
  EXPECT_EQ(file.ifset_depth, 0);
}

std::string Repeated(int count, const std::string& line) {
  std::string text;
  text.reserve(line.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) text += line;
  return text;
}

constexpr int kDeep = 100000;

TEST_F(CfgInterpreter, NestingMayBeAsDeepAsTheScriptIsLong) {
  EXPECT_EQ(Run("SET a\n" + Repeated(kDeep, "IFSET a\n") + "SDRNAME f.sdr\n" +
                Repeated(kDeep, "ENDIF\n")),
            0);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[a] c0 e"));
}

TEST_F(CfgInterpreter, DeepNestingInASkippedBranchIsFollowed) {
  EXPECT_EQ(Run(Repeated(kDeep, "IFSET a\n") + "SDRNAME f.sdr\n" + Repeated(kDeep, "ENDIF\n") +
                "SDRNAME g.sdr\n"),
            0);
  EXPECT_THAT(TheSeams().loads, ElementsAre("g.sdr[] c0 e"));
}

TEST_F(CfgInterpreter, DeepNestingWithoutAnEndDoesNotMatch) {
  EXPECT_EQ(Run("SDRNAME f.sdr\n" + Repeated(kDeep, "IFSET a\n")), 19);
  EXPECT_THAT(LogTexts(), ElementsAre(kUnbalanced));
  EXPECT_THAT(TheSeams().loads, IsEmpty());
}

TEST_F(CfgInterpreter, AScriptMayHaveManyLinesTagsAndFiles) {
  EXPECT_EQ(Run(Repeated(kDeep, "SET a\n") + "SDRNAME f.sdr\n"), 0);
  ASSERT_EQ(TheSeams().loads.size(), 1u);
  EXPECT_EQ(TheSeams().loads[0].size(), std::string("f.sdr[] c0 e").size() + 2 * kDeep - 1);
  TheSeams().loads.clear();
  EXPECT_EQ(Run(Repeated(2000, "SDRNAME f.sdr\n")), 0);
  EXPECT_EQ(TheSeams().loads.size(), 2000u);
}

// ---- Many tags. ----

TEST_F(CfgInterpreter, AWildcardIsTestedWithoutWalkingTheTags) {
  constexpr int kTags = 200000;
  LimitCpuTime();
  std::string script;
  for (int n = 0; n < kTags; ++n) script += "SET TAG" + std::to_string(n) + "\n";
  EXPECT_EQ(Run(script + Repeated(kTags, "IFSET ZZ#\nBOOT\nENDIF\n")), 0);
}

TEST_F(CfgInterpreter, AWildcardAmongDigitsIsTestedWithoutWalkingTheTags) {
  constexpr int kTags = 100000;
  LimitCpuTime();
  std::string script;
  for (int n = 0; n < kTags; ++n) script += "SET T" + std::to_string(kTags + n) + "0\n";
  for (int n = 0; n < kTags; ++n) {
    const std::string number = std::to_string(kTags + n).substr(1);
    script += "IFSET T#" + number + "#\nELSE\nBOOT\nENDIF\n";
    script += "IFSET T#" + number + "1\nBOOT\nENDIF\n";
  }
  EXPECT_EQ(Run(script), 0);
}

TEST_F(CfgInterpreter, ATagIsClearedWithoutWalkingTheTags) {
  constexpr int kTags = 200000;
  LimitCpuTime();
  std::string script;
  for (int n = 0; n < kTags; ++n) script += "SET TAG" + std::to_string(n) + "\n";
  for (int n = kTags - 1; n > 0; --n) script += "CLEAR tag" + std::to_string(n) + "\n";
  EXPECT_EQ(Run(script + "SDRNAME f.sdr\n"), 0);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[TAG0] c0 e"));
}

// ---- The echo files. ----

TEST_F(CfgInterpreter, TheEchoesGoToTheNullDevice) {
  EXPECT_EQ(Run("SET a\nSDRNAME f.sdr\n"), 0);
  EXPECT_EQ(TheSeams().opened["/dev/null"], 3);
  EXPECT_EQ(ReadFile("CFG.TMP"), "(there is no CFG.TMP)");
  EXPECT_EQ(ReadFile("SDR.TMP"), "(there is no SDR.TMP)");
}

TEST_F(CfgInterpreter, TheScriptIsEchoedAsItWasLexed) {
  gTempFlag = 1;
  EXPECT_EQ(Run("  set  \"a b\" // c\n\nIFSET x y\nBOOT\nENDIF\nSET \"\"\nDISPLAY \xE9!\n"), 0);
  EXPECT_EQ(ReadFile("CFG.TMP"), "set a b \nIFSET x y \nBOOT \nENDIF \nSET  \nDISPLAY  \n");
  EXPECT_EQ(ReadFile("SDR.TMP"), "(there is no SDR.TMP)");
}

TEST_F(CfgInterpreter, AnEmptyScriptHasAnEmptyEcho) {
  gTempFlag = 1;
  EXPECT_EQ(Run("// nothing\n"), 0);
  EXPECT_EQ(ReadFile("CFG.TMP"), "");
}

TEST_F(CfgInterpreter, ARefusedScriptIsEchoedAlready) {
  gTempFlag = 1;
  EXPECT_EQ(Run("SET a\nBOOT\nSET b\n"), 11);
  EXPECT_EQ(ReadFile("CFG.TMP"), "SET a \nBOOT \nSET b \n");
}

TEST_F(CfgInterpreter, EachPassHasTheSdrEchoOpen) {
  gTempFlag = 1;
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 0);
  EXPECT_EQ(TheSeams().opened["SDR.TMP"], 2);
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[] c0 e"));
  EXPECT_EQ(ReadFile("SDR.TMP"), "");
}

TEST_F(CfgInterpreter, AScriptEchoThatDoesNotOpenTwiceEndsTheRun) {
  gTempFlag = 1;
  TheSeams().unopenable["CFG.TMP"] = -1;
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 64);
  EXPECT_EQ(TheSeams().opened["CFG.TMP"], 2);
  EXPECT_THAT(LogTexts(), ElementsAre(kNoScriptEcho));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR064"));
  EXPECT_THAT(TheSeams().loads, IsEmpty());
}

TEST_F(CfgInterpreter, AnEchoIsTriedTwice) {
  gTempFlag = 1;
  TheSeams().unopenable = {{"CFG.TMP", 1}, {"SDR.TMP", 1}};
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 0);
  EXPECT_EQ(TheSeams().opened["CFG.TMP"], 2);
  EXPECT_EQ(TheSeams().opened["SDR.TMP"], 3);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgInterpreter, AnSdrEchoThatDoesNotOpenTwiceEndsTheRun) {
  gTempFlag = 1;
  TheSeams().unopenable["SDR.TMP"] = -1;
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 65);
  EXPECT_EQ(TheSeams().opened["SDR.TMP"], 2);
  EXPECT_THAT(LogTexts(), ElementsAre(kNoSdrEcho));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR065"));
  EXPECT_THAT(TheSeams().loads, IsEmpty());
}

TEST_F(CfgInterpreter, WithoutANullDeviceTheRunGoesOn) {
  TheSeams().unopenable["/dev/null"] = -1;
  EXPECT_EQ(Run("SDRNAME f.sdr\n"), 0);
  EXPECT_THAT(LogTexts(), ElementsAre(kNoSdrEcho, kNoSdrEcho, kNoSdrEcho));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR065"));
  EXPECT_THAT(TheSeams().loads, ElementsAre("f.sdr[] c0"));
}

TEST_F(CfgInterpreter, WithoutANullDeviceAnEmptyScriptSucceedsToo) {
  TheSeams().unopenable["/dev/null"] = -1;
  EXPECT_EQ(Run(""), 0);
  EXPECT_THAT(LogTexts(), ElementsAre(kNoSdrEcho));
}

// ---- Memory. ----

TEST_F(CfgInterpreter, MemoryThatRunsOutAnywhereEndsTheRun) {
  const std::string script = "SET a\nIFSET a\nSDRNAME f.sdr\nENDIF\n";
  // SET and SDRNAME report their failure themselves, and the end of the run reports it again.
  const Texts once{kNoMemory};
  const Texts twice{kNoMemory, kNoMemory};
  const struct {
    const char* what;
    Texts log;
    std::size_t loads;
  } allocations[] = {
      {"state", once, 0},        {"line 1", once, 0},      {"line 2", once, 0},
      {"line 3", once, 0},       {"line 4", once, 0},      {"FRU", once, 0},
      {"FRU file", once, 0},     {"tag", twice, 0},        {"its place", twice, 0},
      {"names", twice, 0},       {"its name", twice, 0},   {"forms", twice, 0},
      {"its form", twice, 0},    {"block", once, 0},       {"SDR file", twice, 0},
      {"first loader", once, 0}, {"last loader", once, 1},
  };
  int k = 0;
  for (const auto& allocation : allocations) {
    SCOPED_TRACE(allocation.what);
    tarvek_test::ResetGlobals();
    g_eu_flg = kForcedUpdate;
    std::filesystem::remove("tarvek.log");
    std::filesystem::remove("Update_force.xml");
    if (gErrorBlock == nullptr) gErrorBlock = new char[kReserveBlockSize];
    TheSeams().loads.clear();
    TheSeams().failing_allocation = ++k;
    EXPECT_EQ(Run(script), 2);
    EXPECT_EQ(TheSeams().failing_allocation, 0);
    EXPECT_THAT(LogTexts(), ElementsAreArray(allocation.log));
    EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR002"));
    EXPECT_EQ(TheSeams().loads.size(), allocation.loads);
    EXPECT_EQ(gErrorBlock, nullptr);
    EXPECT_EQ(gTempFile, nullptr);
  }
  TheSeams().failing_allocation = ++k;
  EXPECT_EQ(Run(script), 0);
  EXPECT_EQ(TheSeams().failing_allocation, 1);
}

/// The addresses that a trace announces with `word`, sorted.
Texts Announced(const std::string& trace, const std::string& word) {
  Texts records;
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(word + " 0x", 0) == 0) records.push_back(line.substr(word.size()));
  }
  std::sort(records.begin(), records.end());
  return records;
}

TEST_F(CfgInterpreter, EveryRecordOfARunIsFreedOnEveryPath) {
  gMemAllocFlag = 1;
  const std::pair<const char*, int> scripts[] = {
      {"", 0},
      {"SET a\nCLEAR a\nSET b\nSDRNAME f.sdr\nIFSET b\nENDIF\n", 0},
      {"SET a\nSDRNAME f.sdr\nIFSET b\nIFSET c\n", 19},
      {"SET a\nGARBAGE\n", 23},
      {"SET a\nSET \"\n", 81},
      {"SET a\nSDRNAME f.sdr\nBOOT\n", 11},
  };
  for (const auto& [script, status] : scripts) {
    SCOPED_TRACE(script);
    const std::string trace =
        ConsoleOf([this, script = script, status = status] { EXPECT_EQ(Run(script), status); });
    const Texts made = Announced(trace, "Allocating");
    EXPECT_FALSE(made.empty());
    EXPECT_EQ(made, Announced(trace, "Deallocating"));
  }
}

// ---- Hostile input. ----

TEST_F(CfgInterpreter, AScriptCutAtAnyByteLoadsAllOfItsFilesOrNone) {
  const std::string script =
      "// board\r\nCONFIGURATION \"Board 7\"\nSET a\nIFSET a b\n\tSDRNAME f.sdr LAST\nELSE\n"
      "SDRNAME g.sdr COMPARE FIRST // x\nIFSET CPU#\nMENU \"m\" 1\nENDIF\nENDIF\nCLEAR a\n"
      "DISPLAY \"done // all\"\n";
  for (std::size_t size = 0; size <= script.size(); ++size) {
    SCOPED_TRACE(script.substr(0, size));
    TheSeams().loads.clear();
    const ESTATUS status = Run(script.substr(0, size));
    const bool loaded = !TheSeams().loads.empty();
    EXPECT_THAT(status, AnyOf(0, 9, 15, 16, 19, 23, 68, 81));
    EXPECT_TRUE(!loaded || status == 0);
    const bool past_the_files = size >= script.find("CLEAR") - 1;
    EXPECT_EQ(loaded, past_the_files && status == 0);
  }
  EXPECT_THAT(machine().requests, IsEmpty());
}

TEST_F(CfgInterpreter, BinaryInputIsRefused) {
  const std::string elf(
      "\x7F"
      "ELF\x02\x01\x01\0\0\0\0\0\0\0\0\0\x03\0>\0\x01\0\0\0",
      24);
  EXPECT_EQ(Run(elf), 23);
  EXPECT_THAT(LogTexts(), ElementsAre(kBadCommand, "Error, problem in reading configuration file"));
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR011"));
}

TEST_F(CfgInterpreter, AnyBytesBehindACommandWordAreTakenOrRefused) {
  std::mt19937 random(7);
  const auto pick = [&random](std::size_t count) {
    return static_cast<std::size_t>(random()) % count;
  };
  for (int round = 0; round < 2000; ++round) {
    std::string script;
    for (std::size_t line = pick(6) + 1; line > 0; --line) {
      script += CfgWordTable[pick(CfgWordTable.size())].word;
      for (std::size_t length = pick(40); length > 0; --length) {
        static constexpr char kLikely[] = " \t\"\"/\r\n\0\x7F\xE9 aF";
        script += pick(3) == 0 ? static_cast<char>(pick(256)) : kLikely[pick(sizeof(kLikely))];
      }
      script += '\n';
    }
    const ESTATUS status = Run(script);
    EXPECT_GE(status, 0);
    EXPECT_LE(status, 81);
  }
  EXPECT_THAT(TheSeams().loads, IsEmpty());
  EXPECT_THAT(machine().requests, IsEmpty());
}

}  // namespace
