// What one run of the chaos is: a BMC, an input, a command, and what goes wrong. All of it follows
// from a seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/blackbox/sdr_text.h"

namespace chaos {

using blackbox::SourceRecord;
using Words = std::vector<std::string>;

/// Numbers that are the same everywhere for the same seed.
class Dice {
 public:
  explicit Dice(std::uint64_t seed);
  /// @return 0 to `sides` - 1.
  unsigned Roll(unsigned sides) { return static_cast<unsigned>(engine_() % sides); }
  bool Chance(unsigned percent) { return Roll(100) < percent; }
  template <typename List>
  const auto& Pick(const List& list) {
    return list[Roll(static_cast<unsigned>(std::size(list)))];
  }

 private:
  std::mt19937_64 engine_;
};

/// What strikes at a moment.
enum class Strike {
  kNone,
  kTermLeader,
  kIntLeader,
  kHangupLeader,
  kKillLeader,
  kTermTwiceLeader,
  kTermTool,
  kKillTool,
  kKillBoth,
  kResetBmc,    // the spare copy is dropped, reservations are cancelled
  kReplaceSet,  // somebody else programs a third set
  kFillDisk,
};

const char* StrikeName(Strike strike);

struct Scenario {
  std::uint64_t seed = 0;
  std::vector<SourceRecord> old_set;  // that the BMC serves
  std::vector<SourceRecord> new_set;  // that INPUT would leave in service
  std::vector<SourceRecord> third_set;
  std::string form;  // "source", "script", "compare" or "image"
  std::string command;
  bool force = false;
  bool reprogram = false;
  bool no_backup = false;
  bool break_lock = false;
  bool detach = false;
  bool strangers_lock = false;
  bool looked_before = false;  // a status has run

  std::string plan;       // a fault plan; empty: none
  int plan_in = 0;        // the start of the tool that has the plan, from 1; 0: every process
  bool lies = false;      // the BMC says of its records what is not so
  std::string failing;    // which calls of the tool fail, in that start
  unsigned disk_kib = 0;  // of the state directory; 0: as much as there is
  Strike strike = Strike::kNone;
  int strike_delay = 0;     // microseconds; unless it strikes where the plan stops the tool
  bool at_stop = false;     // it strikes when the tool has stopped (signal STOP of the plan)
  unsigned after_kill = 0;  // which command comes after the leader was killed

  /// INPUT's name.
  std::string Input() const;
  Words CommandLine() const;
  bool IsQuiet() const {
    return plan.empty() && failing.empty() && disk_kib == 0 && strike == Strike::kNone;
  }
  /// All of it, for people.
  std::string ToText() const;
};

Scenario MakeScenario(std::uint64_t seed);

}  // namespace chaos
