#include <gmock/gmock.h>

#include <cstring>

#include "sdrfile/sdr_file.h"
#include "tests/unit/config/script_run.h"

namespace {

using tarvek_test::LogTexts;
using tarvek_test::OpenCfgFile;
using tarvek_test::TheSeams;
using tarvek_test::WriteFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Arguments = std::vector<std::string>;

/// A handler that does nothing in a skipped branch.
struct Gated {
  const char* name;
  int id;
  std::function<ESTATUS(CfgFile&, int, int, int)> call;
};

template <ESTATUS (CfgFile::*kHandler)(int, int, int)>
ESTATUS Plain(CfgFile& file, int in_if, int branch, int run) {
  return (file.*kHandler)(in_if, branch, run);
}

template <ESTATUS (CfgFile::*kHandler)(CFRU*, int, int, int)>
ESTATUS WithFru(CfgFile& file, int in_if, int branch, int run) {
  CFRU fru;
  return (file.*kHandler)(&fru, in_if, branch, run);
}

const std::vector<Gated> kActing = {
    {"CONFIGURATION", kCfgConfiguration, Plain<&CfgFile::CmdConfiguration>},
    {"DISPLAY", kCfgDisplay, Plain<&CfgFile::CmdDisplay>},
    {"MENUTITLE", kCfgMenuTitle, Plain<&CfgFile::CmdDisplay>},
    {"SDRNAME", kCfgSdrName, Plain<&CfgFile::CmdSdrName>},
    {"SET", kCfgSet, Plain<&CfgFile::CmdSet>},
    {"CLEAR", kCfgClear, Plain<&CfgFile::CmdClear>},
};

const std::vector<Gated> kRefusing = {
    {"MENUPROMPT", kCfgMenuPrompt, Plain<&CfgFile::CmdMenuPrompt>},
    {"MENU", kCfgMenu, Plain<&CfgFile::CmdMenu>},
    {"PROBE", kCfgProbe, WithFru<&CfgFile::CmdProbe>},
    {"FOUND", kCfgFound, Plain<&CfgFile::CmdFound>},
    {"PROMPT", kCfgPrompt, Plain<&CfgFile::CmdPrompt>},
    {"YES", kCfgYes, Plain<&CfgFile::CmdYes>},
    {"NO", kCfgNo, Plain<&CfgFile::CmdNo>},
    {"FRUNAME", kCfgFruName, WithFru<&CfgFile::CmdFruName>},
    {"FRUADDRESS", kCfgFruAddress, WithFru<&CfgFile::CmdFruAddress>},
    {"FRUAREA", kCfgFruArea, WithFru<&CfgFile::CmdFruArea>},
    {"FRUFIELD", kCfgFruField, WithFru<&CfgFile::CmdFruField>},
    {"CLEARSDR", kCfgClearSdr, Plain<&CfgFile::CmdClearSdr>},
    {"ERRORLEVEL", kCfgErrorLevel, Plain<&CfgFile::CmdErrorLevel>},
    {"BOOT", kCfgBoot, Plain<&CfgFile::CmdBoot>},
};

class CfgCommands : public tarvek_test::ScriptRun {
 protected:
  void SetUp() override {
    ScriptRun::SetUp();
    file.state = new CfgStruct;
    file.lines = new CfgLine;
    WriteFile("f.sdr", "x");
    WriteFile("g.sdr", "x");
  }

  /// Puts a line of these arguments under the cursor, as the lexer would, but of any length.
  void Line(int id, const Arguments& arguments) {
    arguments_ = arguments;
    delete file.lines;
    file.lines = new CfgLine;
    file.lines->id = id;
    for (std::string& argument : arguments_) {
      file.lines->arguments[file.lines->argument_count++] = argument.data();
    }
    file.cursor = file.lines;
  }

  ESTATUS SdrName(const Arguments& arguments) {
    Line(kCfgSdrName, arguments);
    return file.CmdSdrName(0, 0, 1);
  }

  OpenCfgFile file;

 private:
  Arguments arguments_;
};

TEST_F(CfgCommands, NothingActsInABranchThatIsSkipped) {
  std::vector<Gated> all = kActing;
  all.insert(all.end(), kRefusing.begin(), kRefusing.end());
  for (const Gated& command : all) {
    SCOPED_TRACE(command.name);
    for (const Arguments& arguments : {Arguments{}, Arguments{"f.sdr"}}) {
      Line(command.id, arguments);
      EXPECT_EQ(command.call(file, 1, 0, 1), 0);
      EXPECT_EQ(command.call(file, 0, 0, 0), 0);
      EXPECT_EQ(command.call(file, 1, 1, 0), 0);
      EXPECT_EQ(command.call(file, 1, 0, 0), 0);
    }
  }
  EXPECT_EQ(file.Tags(), "");
  EXPECT_EQ(file.Files(), "");
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgCommands, CommandsOfTheLargerLanguageAreRefusedWhereTheyRun) {
  for (const Gated& command : kRefusing) {
    SCOPED_TRACE(command.name);
    Line(command.id, {"x"});
    EXPECT_EQ(command.call(file, 0, 0, 1), 11);
    EXPECT_EQ(command.call(file, 0, 1, 1), 11);
    EXPECT_EQ(command.call(file, 1, 1, 1), 11);
  }
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgCommands, FruNameClearsItsFieldAlsoWhereItIsSkipped) {
  file.fru_name_field = 5;
  EXPECT_EQ(file.CmdFruName(nullptr, 1, 0, 1), 0);
  EXPECT_EQ(file.fru_name_field, 0);
}

struct Check {
  const char* name;
  Arguments arguments;
  int configuration;
  int display;
  int menu_title;
  int sdr_name;
  int set;
  int clear;
};

TEST_F(CfgCommands, TheFirstArgumentAndTheirNumberAreChecked) {
  const std::string of31(31, 'x');
  const std::string of80(80, 'x');
  const Check checks[] = {
      {"none", {}, 15, 15, 15, 15, 15, 15},
      {"31 characters", {of31}, 0, 0, 11, 68, 0, 0},
      {"32 characters", {of31 + "x"}, 7, 0, 11, 7, 7, 7},
      {"80 characters", {of80}, 7, 0, 11, 7, 7, 7},
      {"81 characters", {of80 + "x"}, 7, 7, 7, 7, 7, 7},
      {"two", {"f.sdr", "FIRST"}, 24, 24, 24, 0, 24, 24},
      {"four", {"f.sdr", "FIRST", "COMPARE", "x"}, 24, 24, 24, 24, 24, 24},
      {"two, the first too long", {of80 + "x", "x"}, 7, 7, 7, 7, 7, 7},
      {"the second of any length", {"f.sdr", of80 + of80}, 24, 24, 24, 9, 24, 24},
      {"empty", {""}, 0, 0, 11, 68, 0, 0},
  };
  for (const Check& check : checks) {
    SCOPED_TRACE(check.name);
    const int expected[] = {check.configuration, check.display, check.menu_title,
                            check.sdr_name,      check.set,     check.clear};
    for (std::size_t i = 0; i < kActing.size(); ++i) {
      SCOPED_TRACE(kActing[i].name);
      Line(kActing[i].id, check.arguments);
      EXPECT_EQ(kActing[i].call(file, 0, 0, 1), expected[i]);
    }
  }
}

TEST_F(CfgCommands, ConfigurationAnnouncesTheScriptAndKeepsItsName) {
  Line(kCfgConfiguration, {"Board 7"});
  EXPECT_EQ(file.CmdConfiguration(0, 0, 1), 0);
  EXPECT_STREQ(file.state->work, "Board 7");
  EXPECT_THAT(LogTexts(), ElementsAre("Loading configuration file: Board 7"));
}

TEST_F(CfgCommands, AnEmptyNameOrTextIsPassedOverInSilence) {
  for (const Gated& command : kActing) {
    if (command.id == kCfgMenuTitle || command.id == kCfgSdrName) continue;
    Line(command.id, {""});
    EXPECT_EQ(command.call(file, 0, 0, 1), 0) << command.name;
  }
  EXPECT_EQ(file.Tags(), "");
  EXPECT_STREQ(file.state->work, "");
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgCommands, WhatMayNotBePrintedIsNotLogged) {
  Line(kCfgConfiguration, {"a\x01"});
  EXPECT_EQ(file.CmdConfiguration(0, 0, 1), 0);
  EXPECT_STREQ(file.state->work, "");
  Line(kCfgDisplay, {"\xE9t\xE9"});
  EXPECT_EQ(file.CmdDisplay(0, 0, 1), 0);
  EXPECT_THAT(LogTexts(), ElementsAre("Loading configuration file: ", ""));
}

TEST_F(CfgCommands, ATextIsNoFormat) {
  Line(kCfgDisplay, {"%s%n%d 100%"});
  EXPECT_EQ(file.CmdDisplay(0, 0, 1), 0);
  EXPECT_THAT(LogTexts(), ElementsAre("%s%n%d 100%"));
}

struct Condition {
  Arguments tags;
  Arguments arguments;
  bool met;
};

TEST_F(CfgCommands, IfSetIsTrueWhenEveryArgumentNamesASetTag) {
  const Condition conditions[] = {
      {{}, {"a"}, false},
      {{"a"}, {"a"}, true},
      {{"a"}, {"A"}, true},
      {{"a", "b"}, {"a", "b"}, true},
      {{"a", "b"}, {"b", "a", "b", "a"}, true},
      {{"a"}, {"a", "b"}, false},
      {{"a"}, {"b", "a"}, false},
      {{"a", "b", "c"}, {"a", "b", "c", "d"}, false},
      {{"CPU7"}, {"cpu#"}, true},
      {{"CPUX"}, {"CPU#"}, false},
      {{"CPU#"}, {"CPU1"}, false},
      {{"a"}, {""}, false},
  };
  for (const Condition& condition : conditions) {
    SCOPED_TRACE(::testing::PrintToString(condition.arguments));
    OpenCfgFile fresh;
    std::string script;
    for (const std::string& tag : condition.tags) script += "SET " + tag + "\n";
    script += "IFSET";
    for (const std::string& tag : condition.arguments) script += " \"" + tag + "\"";
    EXPECT_EQ(fresh.InterpretText(script + "\nSET met\nENDIF\n"), 0);
    EXPECT_EQ(fresh.CheckTable(fresh.state->tags, "met"), condition.met ? 1 : 0);
  }
}

TEST_F(CfgCommands, IfSetChecksItsArgumentsAlsoWhereItIsSkipped) {
  const std::pair<Arguments, int> rows[] = {{{}, 16},
                                            {{std::string(32, 'x')}, 7},
                                            {{"a", "b", "c", "d", "e"}, 24},
                                            {{std::string(31, 'x')}, 0}};
  for (const auto& [arguments, status] : rows) {
    for (const int run : {0, 1}) {
      Line(kCfgIfSet, arguments);
      file.ifset_depth = 0;
      EXPECT_EQ(file.CmdIfSet(nullptr, 1, 0, run), status);
      EXPECT_EQ(file.ifset_depth, status == 0 ? 1 : 0);
    }
  }
}

TEST_F(CfgCommands, ElseFlipsTheBranchInABlockAlone) {
  Line(kCfgElse, {});
  int branch = 1;
  EXPECT_EQ(file.CmdElse(1, &branch), 0);
  EXPECT_EQ(branch, 0);
  EXPECT_EQ(file.CmdElse(1, &branch), 0);
  EXPECT_EQ(branch, 1);
  EXPECT_EQ(file.CmdElse(0, &branch), 17);
  EXPECT_EQ(branch, 1);
  Line(kCfgElse, {"x"});
  EXPECT_EQ(file.CmdElse(1, &branch), 6);
  EXPECT_EQ(file.CmdElse(0, &branch), 17);
  EXPECT_EQ(branch, 1);
}

TEST_F(CfgCommands, EndIfIsTakenInABlockWithoutArguments) {
  Line(kCfgEndIf, {});
  EXPECT_EQ(file.CmdEndIf(1), 0);
  EXPECT_EQ(file.CmdEndIf(0), 18);
  Line(kCfgEndIf, {"x"});
  EXPECT_EQ(file.CmdEndIf(1), 6);
  EXPECT_EQ(file.CmdEndIf(0), 18);
}

struct Modes {
  Arguments words;  // behind the file's name
  int before;       // the compare flag that the SDRNAME before it left
  int status;
  const char* queued;
};

TEST_F(CfgCommands, SdrNameTakesCompareFlagAndPassFromItsModes) {
  const Modes rows[] = {
      {{}, 1, 0, "f.sdr compare=0 pass=1"},
      {{"COMPARE"}, 0, 0, "f.sdr compare=1 pass=1"},
      {{"compare"}, 0, 0, "f.sdr compare=1 pass=1"},
      {{"FIRST"}, 0, 0, "f.sdr compare=0 pass=1"},
      {{"First"}, 1, 0, "f.sdr compare=1 pass=1"},
      {{"LAST"}, 0, 0, "f.sdr compare=0 pass=0"},
      {{"last"}, 1, 0, "f.sdr compare=1 pass=0"},
      {{"COMPARE", "FIRST"}, 0, 0, "f.sdr compare=1 pass=1"},
      {{"FIRST", "COMPARE"}, 0, 0, "f.sdr compare=1 pass=1"},
      {{"COMPARE", "LAST"}, 0, 0, "f.sdr compare=1 pass=0"},
      {{"Last", "Compare"}, 0, 0, "f.sdr compare=1 pass=0"},
      {{"FIRST", "LAST"}, 0, 9, ""},
      {{"LAST", "FIRST"}, 0, 9, ""},
      {{"FIRST", "FIRST"}, 0, 9, ""},
      {{"COMPARE", "COMPARE"}, 0, 9, ""},
      {{"COMPARE", "x"}, 0, 9, ""},
      {{"x", "COMPARE"}, 0, 9, ""},
      {{"x"}, 0, 9, ""},
      {{""}, 0, 9, ""},
      {{"FIRSTLY"}, 0, 9, ""},
      {{"COMPARE", ""}, 0, 9, ""},
  };
  for (const Modes& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    tarvek::FreeRestOfList(file.state->sdr_files);
    file.compare = static_cast<std::int16_t>(row.before);
    Arguments arguments = row.words;
    arguments.insert(arguments.begin(), "f.sdr");
    EXPECT_EQ(SdrName(arguments), row.status);
    EXPECT_EQ(file.Files(), row.queued);
  }
}

TEST_F(CfgCommands, TheDefaultPassGoesByTheIpmiVersion) {
  gIPMI_Version = 0;
  EXPECT_EQ(SdrName({"f.sdr"}), 0);
  EXPECT_EQ(SdrName({"g.sdr", "COMPARE"}), 0);
  EXPECT_EQ(SdrName({"g.sdr", "FIRST"}), 0);
  EXPECT_EQ(file.Files(), "f.sdr compare=0 pass=0,g.sdr compare=1 pass=0,g.sdr compare=1 pass=1");
}

TEST_F(CfgCommands, SdrNameTestsThatTheFileOpensAndHoldsSomething) {
  WriteFile("empty.sdr", "");
  EXPECT_EQ(SdrName({"f.sdr"}), 0);
  EXPECT_STREQ(file.last_sdr_name, "f.sdr");
  EXPECT_EQ(SdrName({"missing.sdr"}), 68);
  EXPECT_EQ(SdrName({"empty.sdr"}), 68);
  EXPECT_EQ(SdrName({""}), 68);
  EXPECT_STREQ(file.last_sdr_name, "f.sdr");
  EXPECT_EQ(file.Files(), "f.sdr compare=0 pass=1");
  EXPECT_THAT(LogTexts(), IsEmpty());
}

TEST_F(CfgCommands, AMissingFileIsFoundBeforeAWrongMode) {
  EXPECT_EQ(SdrName({"missing.sdr", "x"}), 68);
}

TEST_F(CfgCommands, GetFilenameAddsNoExtension) {
  char name[] = "board";
  EXPECT_EQ(file.GetFilename(name, "sdr"), 0);
  EXPECT_STREQ(name, "board");
}

TEST_F(CfgCommands, MemoryThatRunsOutIsReportedBySetAndSdrName) {
  Line(kCfgSet, {"a"});
  TheSeams().failing_allocation = 1;
  EXPECT_EQ(file.CmdSet(0, 0, 1), 2);
  TheSeams().failing_allocation = 1;
  EXPECT_EQ(SdrName({"f.sdr"}), 2);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, insufficient memory", "Error, insufficient memory"));
}

TEST_F(CfgCommands, MemoryThatRunsOutIsLeftToTheCallerByIfSet) {
  Line(kCfgIfSet, {"a"});
  TheSeams().failing_allocation = 1;
  EXPECT_EQ(file.CmdIfSet(nullptr, 0, 0, 1), 2);
  EXPECT_EQ(file.ifset_depth, 0);
  EXPECT_THAT(LogTexts(), IsEmpty());
}

}  // namespace
