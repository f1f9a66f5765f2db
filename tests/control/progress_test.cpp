// How a run shows how far it is: a bar on a terminal, a line a phase elsewhere, objects in JSON.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/control/control_server.h"

namespace control_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class ShownProgress : public ControlServer {
 public:
  void SetUp() override {
    ControlServer::SetUp();
    CreateServer();
    WriteInput(SdrSet(40, "SDR Version 01.03"));
  }
};

TEST_F(ShownProgress, OnATerminalIsABarThatRisesAndGoes) {
  RunOptions options;
  options.fault = "oem-add@every 20: delay 1";
  std::string told;
  EXPECT_EQ(OnTerminal({"update", "new.sdr"}, options, &told), 0);
  int last = -1;
  int steps = 0;
  for (std::size_t at = told.find('['); at != std::string::npos; at = told.find('[', at + 1)) {
    const std::size_t end = told.find("]  ", at);
    if (told[at - 1] == '\x1B' || end == std::string::npos) continue;  // it clears the line
    const std::string bar = told.substr(at + 1, end - at - 1);
    const int percent = std::stoi(told.substr(end + 3));
    const std::size_t done = static_cast<std::size_t>(30 * percent / 100);
    EXPECT_EQ(bar, std::string(done, '#') + std::string(30 - done, '.'));
    EXPECT_GE(percent, last);
    last = percent;
    ++steps;
  }
  EXPECT_GE(steps, 4);
  EXPECT_GE(last, 90);
  for (const char* const phase :
       {"Checking INPUT and the machine", "Reading what the BMC serves",
        "Saving what the BMC serves", "Programming", "Reading back what the BMC serves"}) {
    EXPECT_THAT(told, HasSubstr(phase));
  }
  EXPECT_THAT(told, HasSubstr(" s left"));
  // What stays on the screen is the result.
  const std::string rest = told.substr(told.rfind("\x1B[K"));
  EXPECT_THAT(rest, Not(HasSubstr("%")));
  EXPECT_THAT(rest, HasSubstr("INPUT was written, read back and found equal."));
}

TEST_F(ShownProgress, OnANarrowTerminalStaysInItsLine) {
  constexpr unsigned short kColumns = 40;
  std::string told;
  EXPECT_EQ(OnTerminal({"update", "new.sdr"}, {}, &told, kColumns), 0);
  int bars = 0;
  for (std::size_t at = told.find("\x1B[K"); at != std::string::npos;) {
    const std::size_t next = told.find("\x1B[K", at + 1);
    if (next == std::string::npos) break;  // the result, which may be longer
    EXPECT_LT(next - at - 4, kColumns);    // a return and the sequence that clears
    at = next;
    ++bars;
  }
  EXPECT_GE(bars, 4);
}

TEST_F(ShownProgress, ElsewhereIsALineAPhase) {
  const Outcome told = People({"update", "new.sdr"});
  EXPECT_EQ(told.exit_status, 0);
  EXPECT_EQ(told.errors, "");
  EXPECT_THAT(told.console, testing::StartsWith("Checking INPUT and the machine ...\n"
                                                "Reading what the BMC serves ...\n"
                                                "Saving what the BMC serves ...\n"
                                                "Programming ...\n"
                                                "Reading back what the BMC serves ...\n- 1: "));
  EXPECT_THAT(told.console, Not(HasSubstr("\x1B")));
}

TEST_F(ShownProgress, AsJsonIsAnObjectAStep) {
  const Said said = Ctl({"update", "new.sdr"});
  std::vector<std::string> phases;
  int percent = 0;
  for (const Json& step : said.progress) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : step.items()) keys.push_back(key);
    EXPECT_THAT(keys, ElementsAre("schema", "command", "run", "phase", "percent", "seconds_left"));
    EXPECT_EQ(step["run"], said.result["run"]);
    EXPECT_EQ(step["command"], "update");
    EXPECT_GE(step["percent"], percent);
    percent = step["percent"];
    if (phases.empty() || phases.back() != step["phase"]) phases.push_back(step["phase"]);
  }
  EXPECT_THAT(phases, ElementsAre("checking", "reading", "saving", "programming", "verifying"));
}

TEST_F(ShownProgress, IsNotShownByCommandsThatOnlyLook) {
  EXPECT_TRUE(Ctl({"plan", "new.sdr"}).progress.empty());
  EXPECT_TRUE(Ctl({"status"}).progress.empty());
  EXPECT_TRUE(Ctl({"backup", "old.bak"}).progress.empty());
}

TEST_F(ShownProgress, WithoutAReaderIsNoReasonToEndARun) {
  // The reader of standard output goes away at once.
  const Words words{"/bin/sh", "-c",
                    std::string(TARVEKCTL_PROGRAM) + " --state-dir " + state_directory() +
                        " --json update new.sdr | true"};
  RunOptions options;
  options.clock = "virtual";
  blackbox::RunProgram(words, directory().string(), Beneath(options));
  EXPECT_EQ(Ctl({"wait", LastRun()}).outcome.exit_status, 0);
  EXPECT_EQ(Repository(), input());
}

TEST_F(ShownProgress, ComplaintsGoToStandardErrorInThreeSentences) {
  const Outcome told = People({"update", "gone.sdr"});
  EXPECT_EQ(told.exit_status, 3);
  EXPECT_EQ(told.console, "");
  EXPECT_EQ(std::count(told.errors.begin(), told.errors.end(), '\n'), 3) << told.errors;
  EXPECT_EQ(told.errors.substr(0, 11), "tarvekctl: ");
}

}  // namespace
}  // namespace control_test
