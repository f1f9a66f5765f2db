#ifndef TARVEK_SIMULATOR_FAULT_PLAN_H_
#define TARVEK_SIMULATOR_FAULT_PLAN_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bmcsim {

// A fault plan is a text of rules, one a line (or separated by ';'); '#' begins a comment:
//
//     plan    = { rule ( newline | ';' ) }
//     rule    = which ':' action { ',' action }
//     which   = [ request ] [ '@' times ]  |  'wait' [ '@' times ]  |  times
//     request = name | 'any' | byte '/' byte { '/' byte }       byte = two hex digits or '*'
//     times   = K | K '-' L | K '-' | 'every' N
//
// The bytes of a request are its NetFn/LUN, its command and the first of its data. The times
// count, from 1 and in one run of the program, the requests that the rule's request names; without
// times every one is meant. Times alone count all requests. 'wait' names the program's own waits
// (usleep, sleep, nanosleep, clock_nanosleep); only `signal` and `clock` apply to them.
//
// All rules that name a request apply to it; of two that set the same thing the later one wins.

/// The grammar and the actions, as text for people.
extern const char* const kFaultPlanHelp;

enum class FaultShape : std::uint8_t;

enum class Fault : std::uint8_t {
  kCode,          ///< number: completion code; the request is not carried out
  kCodeAfter,     ///< number: completion code; the request is carried out
  kAnswer,        ///< bytes: what stands behind the answer's command; not carried out
  kRequestBytes,  ///< bytes from `offset` of the request image, before the BMC sees it
  kAnswerBytes,   ///< bytes from `offset` of the answer image
  kLength,        ///< number: length of the answer image
  kNetFn,         ///< number: the answer's NetFn/LUN byte
  kCommand,       ///< number: the answer's command
  kNextId,        ///< number: next record ID in a Get SDR answer
  kBodyLength,    ///< number: body length of a record in a Get SDR answer
  kStuck,         ///< a clear answers that its erase is not complete
  kSendError,     ///< number: errno; the BMC does not see the request
  kSelectError,   ///< number: errno; carried out, the answer is lost
  kReceiveError,  ///< number: errno; carried out, the answer is lost
  kSilence,       ///< number: milliseconds or kForever; not carried out, no answer
  kDelay,         ///< number: milliseconds; the answer comes so much later
  kCancel,        ///< the reservations are cancelled first
  kReplace,       ///< number: record ID, bytes: SDR version to body; the record is replaced first
  kSignalBefore,  ///< number: signal sent to the caller before the BMC sees the request
  kSignalAfter,   ///< number: signal sent to the caller once the request is carried out
  kClockForward,  ///< number: seconds by which the caller's wall clock is put forward first
  kClockBack,     ///< number: seconds by which it is put back
};

/// As `Action::number` of kSilence: no answer ever comes.
inline constexpr std::uint32_t kForever = UINT32_MAX;

/// One thing that happens to a request.
struct Action {
  Fault fault;
  std::uint32_t number;
  std::uint16_t offset;                 ///< index into the image
  std::span<const std::uint8_t> bytes;  ///< owned by the plan
  std::string_view text;                ///< as the plan words it; owned by the plan
};

/// What a plan holds for one request, in the plan's order.
class Faults {
 public:
  static constexpr std::size_t kMost = 32;

  void Add(const Action* action) {
    if (count_ < kMost) actions_[count_++] = action;
  }
  bool empty() const { return count_ == 0; }
  const Action* const* begin() const { return actions_.data(); }
  const Action* const* end() const { return actions_.data() + count_; }

  /// @return the last action of this kind, or null.
  const Action* Find(Fault fault) const;

 private:
  std::array<const Action*, kMost> actions_{};
  std::size_t count_ = 0;
};

/// A parsed plan and its counters. Takes its memory from nowhere but itself, so that it can work
/// inside a program whose own allocations are being counted or made to fail.
class FaultPlan {
 public:
  static constexpr std::size_t kMaxText = 32768;
  static constexpr std::size_t kMaxRules = 512;
  static constexpr std::size_t kMaxActions = 1024;
  static constexpr std::size_t kMaxBytes = 4096;

  constexpr FaultPlan() = default;
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  /// Takes the plan's text; an earlier one is forgotten.
  ///
  /// @param error  receives what is wrong, for people, when the result is false.
  /// @return false when the text is no plan; the plan is empty then.
  bool Parse(std::string_view text, std::string& error);

  bool empty() const { return rule_count_ == 0; }

  /// Counts the request and tells what is to happen to it.
  ///
  /// @param request  the request image: NetFn/LUN, command, data.
  Faults MatchRequest(std::span<const std::uint8_t> request);

  /// Counts a wait of the program and tells what is to happen to it.
  Faults MatchWait();

  /// From now on a rule that strikes also sets its byte there, unless there are too few.
  void NoteStrikesIn(std::span<std::uint8_t> notes) { notes_ = notes; }

  /// The words of the rules that have never struck, nor are noted in the bytes given to
  /// NoteStrikesIn, in the plan's order.
  std::vector<std::string_view> Unstruck() const;

 private:
  static constexpr std::size_t kMaxPattern = 12;

  struct Rule {
    std::array<std::uint8_t, kMaxPattern> pattern{};
    std::array<bool, kMaxPattern> wildcard{};
    std::uint8_t pattern_size = 0;
    bool wait = false;
    std::uint32_t first = 1;
    std::uint32_t last = UINT32_MAX;
    std::uint32_t every = 1;
    std::uint32_t seen = 0;
    std::size_t first_action = 0;
    std::size_t action_count = 0;
    bool struck = false;
    std::string_view text;

    bool Names(std::span<const std::uint8_t> request) const;
    bool CountAndTest();
  };

  const char* ParseRule(std::string_view text);
  const char* ParseWhich(std::string_view text, Rule& rule);
  const char* ParseRequest(std::string_view text, Rule& rule);
  const char* ParsePattern(std::string_view text, Rule& rule);
  const char* ParseAction(std::string_view text, const Rule& rule);
  const char* ParseArguments(Action& action, FaultShape shape, std::string_view arguments);
  const char* ParseRecord(std::string_view words, Action& action);
  const char* ParseBytes(std::string_view words, Action& action);
  void Strike(std::size_t rule, Faults& faults);

  std::array<char, kMaxText> text_{};
  std::array<Rule, kMaxRules> rules_{};
  std::array<Action, kMaxActions> actions_{};
  std::array<std::uint8_t, kMaxBytes> bytes_{};
  std::span<std::uint8_t> notes_;
  std::size_t rule_count_ = 0;
  std::size_t action_count_ = 0;
  std::size_t byte_count_ = 0;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_FAULT_PLAN_H_
