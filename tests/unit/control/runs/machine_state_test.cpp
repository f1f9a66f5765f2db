#include "control/runs/machine_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

using testing::HasSubstr;
using testing::Not;

ServedState Served() {
  ServedState served;
  served.product = "01a3";
  served.driver = "openipmi";
  served.records = 12;
  served.added = 0x5A497A00;
  served.erased = 0xFFFFFFFE;
  served.version = "01.02";
  served.digest = "0123456789abcdef";
  served.read = 1700000000;
  return served;
}

class MachineStateTest : public testing::Test {
 protected:
  const ScratchDirectory scratch_;
  const Directory directory_ = Directory::Open(scratch_.Path(""));
};

TEST_F(MachineStateTest, IsNothingWhereNothingIsKnown) {
  const MachineState machine = ReadMachineState(directory_);
  EXPECT_FALSE(machine.served.has_value());
  EXPECT_FALSE(machine.running.has_value());
  EXPECT_FALSE(machine.last.has_value());
  EXPECT_TRUE(machine.readable);
}

TEST_F(MachineStateTest, IsKeptAsItIs) {
  ChangeMachineState(directory_, [](MachineState* machine) {
    machine->served = Served();
    machine->served->script = "a\xFF\x1B\"\\";
    machine->served->programmed = "fedcba9876543210";
    machine->readable = false;
    machine->running = "run";
    machine->last = {"last", 6, 1700000001};
  });
  const MachineState machine = ReadMachineState(directory_);
  ASSERT_TRUE(machine.served.has_value());
  EXPECT_EQ(machine.served->added, 0x5A497A00U);
  EXPECT_EQ(machine.served->erased, 0xFFFFFFFEU);
  EXPECT_EQ(machine.served->records, 12U);
  EXPECT_EQ(machine.served->version, "01.02");
  EXPECT_EQ(machine.served->programmed, "fedcba9876543210");
  EXPECT_EQ(machine.served->Drift(), true);
  EXPECT_FALSE(machine.readable);
  EXPECT_EQ(machine.running, "run");
  EXPECT_EQ(machine.last->status, 6);
}

TEST_F(MachineStateTest, IsNothingWhereItCannotBeUnderstood) {
  ChangeMachineState(directory_, [](MachineState* machine) { machine->served = Served(); });
  const std::string good = *directory_.Read("state.json");
  for (std::size_t size = 0; size + 2 < good.size(); ++size) {
    directory_.Write("state.json", good.substr(0, size));
    EXPECT_FALSE(ReadMachineState(directory_).served.has_value()) << size;
  }
  directory_.Write("state.json", std::string(std::size_t{1} << 17U, ' '));
  EXPECT_FALSE(ReadMachineState(directory_).served.has_value());
  directory_.Write("state.json", std::string(60000, '['));
  EXPECT_FALSE(ReadMachineState(directory_).served.has_value());
}

TEST(Drift, IsUnknownWithoutARunThatHasProgrammed) {
  ServedState served = Served();
  EXPECT_EQ(served.Drift(), std::nullopt);
  served.programmed = served.digest;
  EXPECT_EQ(served.Drift(), false);
  served.digest = "0";
  EXPECT_EQ(served.Drift(), true);
}

/// Holds a text to the format, line by line.
void ExpectMetrics(const std::string& text) {
  const std::string value = "([^\"\\\n]|\\\\[\\\"n])*";
  const std::string sample = "tarvek_[a-z_]+(\\{([a-z]+=\"" + value + "\",?)+\\})? -?[0-9]+";
  const std::string comment = "# (HELP|TYPE) tarvek_[a-z_]+ .+";
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.back(), '\n');
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_THAT(line, testing::MatchesRegex(line.front() == '#' ? comment : sample));
  }
}

TEST(MetricsText, TellsWhatIsKnown) {
  MachineState machine;
  ExpectMetrics(MetricsText(machine));
  EXPECT_THAT(MetricsText(machine), Not(HasSubstr("tarvek_info")));
  EXPECT_THAT(MetricsText(machine), Not(HasSubstr("tarvek_last_run")));
  machine.served = Served();
  machine.served->script = "BOARD";
  machine.running = "run";
  machine.last = {"last", 5, 1700000001};
  const std::string text = MetricsText(machine);
  ExpectMetrics(text);
  EXPECT_THAT(text, HasSubstr("tarvek_info{product=\"01a3\",version=\"01.02\",script=\"BOARD\","
                              "driver=\"openipmi\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntarvek_run_in_progress 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntarvek_last_run_status 5\n"));
  EXPECT_THAT(text, HasSubstr("\ntarvek_state_timestamp_seconds 1700000000\n"));
  EXPECT_THAT(text, Not(HasSubstr("tarvek_drift")));
}

TEST(MetricsText, HoldsToTheFormatWhateverTheBmcSays) {
  for (const char* const hostile :
       {"\"", "\\", "\\\"", "\"} 1\nfake 2\n", "\x1B[2J", "\xFF\xFE", "\n", "{}", "\t", "a\\"}) {
    MachineState machine;
    machine.served = Served();
    machine.served->version = hostile;
    machine.served->script = hostile;
    const std::string text = MetricsText(machine);
    ExpectMetrics(text);
    EXPECT_THAT(text, Not(HasSubstr("\nfake")));
  }
}

}  // namespace
}  // namespace tarvek::control
