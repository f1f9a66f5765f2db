// The companion's command line: its forms, its exit statuses, its complaints.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/blackbox/child_program.h"
#include "tests/blackbox/sdr_text.h"

namespace blackbox {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class CommandLine : public testing::Test {
 protected:
  CommandLine() {
    std::string name = (std::filesystem::temp_directory_path() / "tarvek-sdr.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    directory_ = name;
    Write("a.sdr", SdrText(SdrSet(2)));
  }
  ~CommandLine() override { std::filesystem::remove_all(directory_); }

  Outcome Run(std::vector<std::string> arguments, const Surroundings& surroundings = {}) {
    arguments.insert(arguments.begin(), TARVEK_SDR_PROGRAM);
    return RunProgram(arguments, directory_.string(), surroundings);
  }
  void Write(const std::string& name, const std::string& bytes) {
    std::ofstream(directory_ / name, std::ios::binary) << bytes;
  }
  /// Runs a command of the shell, with "$SDR" for the program.
  Outcome Shell(const std::string& command) {
    return RunProgram({"/bin/sh", "-c", command}, directory_.string(),
                      {"", {{"SDR", TARVEK_SDR_PROGRAM}}, {}, {}});
  }

  std::filesystem::path directory_;
};

TEST_F(CommandLine, HelpFitsAScreen) {
  for (const char* command : {"", "show", "check", "diff", "convert", "report"}) {
    std::vector<std::string> words{"--help"};
    if (command[0] != '\0') words.insert(words.begin(), command);
    const Outcome help = Run(words);
    EXPECT_EQ(help.exit_status, 0) << command;
    EXPECT_LE(std::count(help.console.begin(), help.console.end(), '\n'), 24) << command;
    EXPECT_EQ(help.errors, "");
  }
}

TEST_F(CommandLine, TellsItsVersion) {
  const Outcome version = Run({"--version"});
  EXPECT_EQ(version.exit_status, 0);
  EXPECT_THAT(version.console, StartsWith("tarvek-sdr 1."));
}

TEST_F(CommandLine, WrongUseEndsWith2AndSaysWhy) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> uses{
      {{}, "A subcommand is required"},
      {{"frobnicate"}, "no command: frobnicate"},
      {{"show"}, "INPUT is required"},
      {{"show", "--frobnicate", "a.sdr"}, "--frobnicate"},
      {{"show", "--json", "--raw", "a.sdr"}, "excludes"},
      {{"show", "a.sdr", "b.sdr"}, "b.sdr"},
      {{"check"}, "check needs an INPUT"},
      {{"check", "--fail-on", "never", "a.sdr"}, "--fail-on"},
      {{"check", "--capacity", "many", "a.sdr"}, "many"},
      {{"check", "--capacity", "-1", "a.sdr"}, "-1"},
      {{"check", "--capacity", "99999999999999999999", "a.sdr"}, "no number of bytes"},
      {{"check", "--rules", "--json"}, "excludes"},
      {{"diff", "a.sdr"}, "NEW is required"},
      {{"diff", "-", "-"}, "only one input can be -"},
      {{"convert", "a.sdr"}, "--to is required"},
      {{"convert", "--to", "yaml", "a.sdr"}, "--to"},
      {{"convert", "--to", "hex", "--identity", "a.sdr", "a.sdr"}, "--identity"},
      {{"report", "a.sdr"}, "--output is required"},
      {{"show", "--set", "", "a.sdr"}, "1 to 31 characters"},
      {{"show", "--set", std::string(32, 'A'), "a.sdr"}, "1 to 31 characters"},
      {{"show", "--set", "A\"B", "a.sdr"}, "no double quote"},
      {{"show", "--set", "A", "a.sdr"}, "--set goes with scripts alone"},
      {{"--color", "sometimes", "show", "a.sdr"}, "--color"},
  };
  for (const auto& [words, complaint] : uses) {
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.exit_status, 2) << complaint;
    EXPECT_THAT(outcome.errors, HasSubstr(complaint));
    EXPECT_EQ(outcome.console, "");
  }
}

TEST_F(CommandLine, InputsThatCannotBeReadEndWith3) {
  Write("empty", "");
  Write("wrong.sdr", "_LF_NAME BOARD\n");
  for (const char* input : {"none", "empty", "wrong.sdr", ".", "/dev/zero"}) {
    const Outcome outcome = Run({"show", input});
    EXPECT_EQ(outcome.exit_status, 3) << input;
    EXPECT_THAT(outcome.errors, StartsWith(input));
    EXPECT_EQ(outcome.console, "");
  }
}

TEST_F(CommandLine, ComplainsWithThePlaceTheLineAndACaret) {
  Write("wrong.sdr", "_LF_NAME BOARD\n");
  EXPECT_EQ(Run({"show", "wrong.sdr"}).errors,
            "wrong.sdr:1:10: expected ASCII text after _LF_NAME\n"
            "  _LF_NAME BOARD\n"
            "           ^\n"
            "  expected a text in single quotes\n"
            "  found \"BOARD\"\n");
}

TEST_F(CommandLine, ReadsStandardInput) {
  const std::string text = SdrText(SdrSet(2));
  EXPECT_EQ(Run({"show", "--raw", "-"}, {text, {}, {}, {}}).console,
            Run({"show", "--raw", "a.sdr"}).console);
  EXPECT_THAT(Run({"show", "-"}, {"nonsense", {}, {}, {}}).errors, StartsWith("<stdin>:1:1: "));
}

TEST_F(CommandLine, WritesNothingBesideItsOutput) {
  Run({"show", "a.sdr"});
  Run({"show", "none"});
  const auto files = std::filesystem::directory_iterator(directory_);
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(CommandLine, ColoursWhenToldTo) {
  EXPECT_THAT(Run({"show", "a.sdr"}).console, Not(HasSubstr("\x1B")));
  EXPECT_THAT(Run({"--color", "always", "show", "a.sdr"}).console, HasSubstr("\x1B["));
  EXPECT_THAT(Run({"show", "--color", "always", "a.sdr"}).console, HasSubstr("\x1B["));
  EXPECT_THAT(Run({"show", "--color", "never", "a.sdr"}).console, Not(HasSubstr("\x1B")));
}

TEST_F(CommandLine, ANameNeverReachesATerminalAsItIs) {
  SourceRecord evil = SensorRecord(1, "ABCDEF");
  const std::string escape = "\x1B[2J\x07\x9B";
  std::copy(escape.begin(), escape.end(), evil.bytes.end() - 6);
  Write("evil.sdr", SdrText({evil}));
  for (const char* form : {"--long", "--raw", "--json", "--all"}) {
    const Outcome shown = Run({"show", form, "evil.sdr"});
    EXPECT_EQ(shown.exit_status, 0);
    EXPECT_THAT(shown.console, Not(HasSubstr("\x1B"))) << form;
    EXPECT_THAT(shown.console, Not(HasSubstr("\x07"))) << form;
    EXPECT_THAT(shown.console, Not(HasSubstr("\xC2\x9B"))) << form;
  }
}

TEST_F(CommandLine, ATagTakesOneWordWhereverItStands) {
  Write("s.cfg", "IFSET B\nSDRNAME a.sdr\nENDIF\n");
  const std::vector<std::pair<std::vector<std::string>, int>> uses{
      {{"show", "--set", "A", "--set", "B", "s.cfg"}, 0},
      {{"show", "s.cfg", "--set", "A", "--set", "B"}, 0},
      {{"check", "--fail-on", "error", "--set", "B", "s.cfg"}, 0},
      {{"check", "--fail-on", "error", "s.cfg", "--set=B"}, 0},
      {{"diff", "--set", "B", "a.sdr", "s.cfg"}, 0},
      {{"diff", "a.sdr", "s.cfg", "--set", "B"}, 0},
      {{"convert", "--to", "hex", "--set", "B", "s.cfg"}, 0},
      {{"report", "-o", "r.html", "--set", "B", "a.sdr", "s.cfg"}, 0},
      {{"report", "--set", "B", "s.cfg", "-o", "r.html"}, 0},
  };
  for (const auto& [words, status] : uses) {
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.exit_status, status) << words.front() << ' ' << words[1] << outcome.errors;
  }
  Run({"report", "-o", "r.html", "--set", "B", "a.sdr", "s.cfg"});
  std::ifstream page(directory_ / "r.html");
  const std::string text{std::istreambuf_iterator<char>(page), {}};
  EXPECT_THAT(text, HasSubstr("a.sdr"));
}

TEST_F(CommandLine, AReportOfTwoKeepsTheNumbersOfTheInput) {
  SourceRecord left_out = SensorRecord(7, "Left out");
  left_out.tags = {"NEVER"};
  const SourceRecord twin = SensorRecord(9, "Twin");
  Write("twins.sdr", SdrText({VersionRecord(), left_out, twin, twin}));
  Run({"report", "-o", "r.html", "a.sdr", "twins.sdr"});
  std::ifstream page(directory_ / "r.html");
  const std::string text{std::istreambuf_iterator<char>(page), {}};
  EXPECT_THAT(text, HasSubstr("is already that of record 3"));
  EXPECT_THAT(text, Not(HasSubstr("is already that of record 2")));
}

TEST_F(CommandLine, AClosedPipeEndsItQuietly) {
  Write("large.sdr", SdrText(SdrSet(2000)));
  const Outcome outcome = Shell("{ \"$SDR\" show large.sdr; echo $? >&2; } | head -n 1");
  EXPECT_EQ(outcome.errors, "0\n");
}

TEST_F(CommandLine, AFullDeviceIsAnError) {
  const Outcome outcome = Shell("\"$SDR\" show a.sdr >/dev/full");
  EXPECT_EQ(outcome.exit_status, 3);
  EXPECT_EQ(outcome.errors,
            "tarvek-sdr: standard output: cannot be written: No space left on device\n");
  EXPECT_EQ(Shell("\"$SDR\" --help >/dev/full").exit_status, 3);
}

TEST_F(CommandLine, RefusesToShowWhatTheToolWouldNotSend) {
  Write("long.sdr", SdrText({{{0, 0, 0x51, 0xC0, 0x0B, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {}}}));
  EXPECT_EQ(Run({"show", "--raw", "long.sdr"}).exit_status, 0);
  SourceRecord record{{0, 0, 0x51, 0xC0, 0xFF, 1}, {}};
  Write("long.sdr", SdrText({record}));
  EXPECT_EQ(Run({"show", "long.sdr"}).exit_status, 0);
  const Outcome outcome = Run({"show", "--raw", "long.sdr"});
  EXPECT_EQ(outcome.exit_status, 3);
  EXPECT_THAT(outcome.errors, HasSubstr("record 1 has a length byte of 255"));
}

}  // namespace
}  // namespace blackbox
