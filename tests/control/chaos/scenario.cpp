#include "tests/control/chaos/scenario.h"

#include <array>
#include <cstdio>

namespace chaos {
namespace {

using blackbox::SensorRecord;
using blackbox::VersionRecord;

constexpr std::array kStrikeNames{"none",
                                  "TERM to tarvekctl",
                                  "INT to tarvekctl",
                                  "HUP to tarvekctl",
                                  "KILL to tarvekctl",
                                  "TERM twice to tarvekctl",
                                  "TERM to the tool",
                                  "KILL to the tool",
                                  "KILL to both",
                                  "the BMC is reset",
                                  "a third set is programmed",
                                  "the disk is filled"};

std::uint64_t Mixed(std::uint64_t seed) {
  seed += 0x9E3779B97F4A7C15U;
  seed = (seed ^ seed >> 30U) * 0xBF58476D1CE4E5B9U;
  seed = (seed ^ seed >> 27U) * 0x94D049BB133111EBU;
  return seed ^ seed >> 31U;
}

std::string Version(unsigned number) { return "SDR Version 01.0" + std::to_string(number); }

SourceRecord OemRecord(std::size_t body, unsigned filler) {
  SourceRecord record;
  record.bytes = {0, 0, 0x51, 0xC0, static_cast<std::uint8_t>(body), 0x0B, 0, 0};
  record.bytes.resize(5 + body, static_cast<std::uint8_t>(filler));
  return record;
}

std::vector<SourceRecord> MakeSet(Dice& dice, unsigned version, bool odd_sizes) {
  std::vector<SourceRecord> set;
  const unsigned count = dice.Roll(9);
  for (unsigned i = 0; i < count; ++i) {
    set.push_back(
        SensorRecord(static_cast<int>(dice.Roll(200)) + 1,
                     std::string(1 + dice.Roll(12), static_cast<char>('a' + dice.Roll(26)))));
  }
  if (odd_sizes && dice.Chance(50)) set.push_back(OemRecord(3 + dice.Roll(8), dice.Roll(256)));
  if (odd_sizes && dice.Chance(30)) set.push_back(OemRecord(59 - dice.Roll(2), dice.Roll(256)));
  if (!dice.Chance(5)) {
    set.insert(set.begin() + dice.Roll(static_cast<unsigned>(set.size()) + 1),
               VersionRecord(Version(version)));
  }
  if (set.empty()) set.push_back(OemRecord(20, dice.Roll(256)));
  return set;
}

std::string Hex(unsigned byte) {
  std::array<char, 3> text{};
  std::snprintf(text.data(), text.size(), "%02X", byte & 0xFFU);
  return text.data();
}

constexpr std::array kReadingRequests{"get-device-id", "get-sdr-repository-info", "reserve",
                                      "get-sdr", "get-slot-information"};
constexpr std::array kWritingRequests{"spared",    "oem-reserve", "oem-get-sdr", "oem-add",
                                      "oem-clear", "F8/10/02",    "F8/10/01"};
constexpr std::array kCodes{0xC0, 0xC1, 0xC3, 0xC5, 0xC9, 0xCA, 0xCB, 0xCE, 0xD4, 0xD5, 0xFF};
constexpr std::array kErrors{"EIO", "EINTR", "EAGAIN", "ETIMEDOUT", "ENODEV", "EMSGSIZE"};

std::string Times(Dice& dice) {
  const std::string first = std::to_string(1 + dice.Roll(dice.Chance(50) ? 4 : 25));
  switch (dice.Roll(4)) {
    case 0:
      return "@" + first + "-";
    case 1:
      return "@every " + std::to_string(2 + dice.Roll(5));
    default:
      return "@" + first;
  }
}

/// @param truth  only what leaves the meaning of an answer alone.
std::string MakeAction(Dice& dice, bool truth) {
  switch (dice.Roll(truth ? 9 : 15)) {
    case 0:
    case 1:
      return "cc " + Hex(static_cast<unsigned>(dice.Pick(kCodes)));
    case 2:
      return "cc-after " + Hex(static_cast<unsigned>(dice.Pick(kCodes)));
    case 3:
      return std::string("send-error ") + dice.Pick(kErrors);
    case 4:
      return std::string("receive-error ") + dice.Pick(kErrors);
    case 5:
      return std::string("select-error ") + dice.Pick(kErrors);
    case 6:
      return "silence 5";
    case 7:
      return "cancel";
    case 8:
      return dice.Chance(50) ? "signal KILL after" : "signal TERM";
    case 9:
      return "data " + std::to_string(dice.Roll(20)) + "=" + Hex(dice.Roll(256));
    case 10:
      return "length " + std::to_string(dice.Roll(24));
    case 11:
      return "answer " + Hex(dice.Chance(70) ? 0 : 0xC9) + " " + Hex(dice.Roll(256));
    case 12:
      return "request " + std::to_string(2 + dice.Roll(20)) + "=" + Hex(dice.Roll(256));
    case 13:
      return "next " + Hex(0) + Hex(dice.Roll(12));
    default:
      return "body-length " + Hex(dice.Roll(256));
  }
}

void MakePlan(Dice& dice, Scenario* scenario) {
  const bool writes = dice.Chance(65);
  // Where the BMC tells lies of its records there is no truth to hold the command to.
  const bool truth = writes ? dice.Chance(50) : dice.Chance(85);
  scenario->lies = !writes && !truth;
  const std::string request = writes ? dice.Pick(kWritingRequests) : dice.Pick(kReadingRequests);
  const std::string times = Times(dice);
  // A BMC that says without end that it erases is waited for without end.
  const bool endless = request == "oem-clear" && !truth;
  scenario->plan = request + (endless ? "@1" : times) + ": " + MakeAction(dice, truth);
  scenario->plan_in = dice.Chance(50) ? 0 : 1 + static_cast<int>(dice.Roll(5));
}

constexpr std::array kCalls{"call", "alloc",    "fopen",      "fclose", "fwrite",
                            "open", "sem_open", "sem_unlink", "write",  "ioctl"};

void MakeFailingCall(Dice& dice, Scenario* scenario) {
  const std::string which = dice.Pick(kCalls);
  scenario->failing = which + "@" + std::to_string(1 + dice.Roll(which == "call" ? 150 : 30));
  if (dice.Chance(30)) scenario->failing += "-";
  if (which != "alloc" && dice.Chance(50)) scenario->failing += "=ENOSPC";
  scenario->plan_in = 1 + static_cast<int>(dice.Roll(5));
}

constexpr std::array kSignals{Strike::kTermLeader, Strike::kIntLeader,       Strike::kHangupLeader,
                              Strike::kKillLeader, Strike::kTermTwiceLeader, Strike::kTermTool,
                              Strike::kKillTool,   Strike::kKillBoth,        Strike::kKillLeader,
                              Strike::kKillLeader};

void MakeStrike(Dice& dice, Strike strike, Scenario* scenario) {
  scenario->strike = strike;
  scenario->at_stop = dice.Chance(60);
  scenario->strike_delay = static_cast<int>(dice.Roll(45000));
  if (!scenario->at_stop) return;
  scenario->plan_in = 1 + static_cast<int>(dice.Roll(5));
  if (dice.Chance(20)) {
    scenario->plan = "wait@" + std::to_string(1 + dice.Roll(70)) + ": signal STOP";
  } else {
    scenario->plan = std::to_string(1 + dice.Roll(110)) + ": signal STOP";
    if (dice.Chance(40)) scenario->plan += " after";
  }
}

void MakeTrouble(Dice& dice, Scenario* scenario) {
  const unsigned kind = dice.Roll(100);
  if (kind < 10) return;
  if (kind < 42) return MakePlan(dice, scenario);
  if (kind < 52) return MakeFailingCall(dice, scenario);
  if (kind < 57) {
    scenario->disk_kib = 24 + dice.Roll(1400);
    return;
  }
  if (kind < 61) {
    scenario->disk_kib = 3000;
    return MakeStrike(dice, Strike::kFillDisk, scenario);
  }
  if (kind < 67) return MakeStrike(dice, Strike::kResetBmc, scenario);
  if (kind < 70) return MakeStrike(dice, Strike::kReplaceSet, scenario);
  MakeStrike(dice, dice.Pick(kSignals), scenario);
}

void MakeCommand(Dice& dice, Scenario* scenario) {
  const unsigned kind = dice.Roll(100);
  scenario->command = kind < 76   ? "update"
                      : kind < 90 ? "restore"
                      : kind < 94 ? "plan"
                      : kind < 97 ? "backup"
                                  : "status";
  const unsigned form = dice.Roll(100);
  scenario->form = scenario->command == "restore" ? "image"
                   : form < 45                    ? "source"
                   : form < 70                    ? "script"
                   : form < 75                    ? "compare"
                                                  : "image";
  scenario->force = dice.Chance(50);
  scenario->reprogram = dice.Chance(20);
  scenario->no_backup = dice.Chance(25);
  scenario->break_lock = dice.Chance(10);
  scenario->detach = dice.Chance(12);
  scenario->strangers_lock = dice.Chance(5);
  scenario->looked_before = dice.Chance(15);
}

}  // namespace

Dice::Dice(std::uint64_t seed) : engine_(Mixed(seed)) {}

const char* StrikeName(Strike strike) { return kStrikeNames[static_cast<std::size_t>(strike)]; }

Scenario MakeScenario(std::uint64_t seed) {
  Dice dice(seed);
  Scenario scenario;
  scenario.seed = seed;
  MakeCommand(dice, &scenario);
  scenario.old_set = MakeSet(dice, 2 + dice.Roll(3), dice.Chance(15));
  scenario.new_set = MakeSet(dice, 3 + dice.Roll(2), dice.Chance(20));
  scenario.third_set = MakeSet(dice, 9, false);
  if (dice.Chance(12)) scenario.new_set = scenario.old_set;
  if (dice.Chance(5)) scenario.old_set.clear();
  MakeTrouble(dice, &scenario);
  scenario.after_kill = dice.Roll(3);
  return scenario;
}

std::string Scenario::Input() const {
  if (form == "source") return "new.sdr";
  return form == "image" ? "new.bak" : "new.cfg";
}

Words Scenario::CommandLine() const {
  Words words{command};
  if (break_lock) words.emplace_back("--break-lock");
  if (command == "status") return words;
  words.push_back(command == "backup" ? "saved.bak" : Input());
  const bool updates = command == "update" || command == "plan";
  if (command == "backup") return words;
  if (updates) words.emplace_back("--allow-findings");
  if (updates && force) words.emplace_back("--force");
  if (reprogram) words.emplace_back("--reprogram");
  if (no_backup) words.emplace_back("--no-backup");
  if (detach && command != "plan") words.emplace_back("--detach");
  return words;
}

std::string Scenario::ToText() const {
  std::string text = "seed " + std::to_string(seed) + ": tarvekctl";
  for (const std::string& word : CommandLine()) text += ' ' + word;
  text += " (" + form + ")\n  served " + std::to_string(old_set.size()) + " records, INPUT " +
          std::to_string(new_set.size()) + "\n";
  if (strangers_lock) text += "  a stranger's lock\n";
  if (looked_before) text += "  behind a status\n";
  const std::string where =
      plan_in == 0 ? " in every process" : " in start " + std::to_string(plan_in) + " of the tool";
  if (!plan.empty()) text += "  plan \"" + plan + '"' + where + (lies ? ", a lie\n" : "\n");
  if (!failing.empty()) text += "  failing \"" + failing + '"' + where + '\n';
  if (disk_kib != 0) text += "  disk of " + std::to_string(disk_kib) + " KiB\n";
  if (strike != Strike::kNone) {
    text += std::string("  strike: ") + StrikeName(strike) +
            (at_stop ? " where the plan stops the tool\n"
                     : " after " + std::to_string(strike_delay) + " us\n");
  }
  return text;
}

}  // namespace chaos
