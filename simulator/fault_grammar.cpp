#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>

#include "simulator/fault_plan.h"
#include "simulator/fault_words.h"

namespace bmcsim {
namespace {

constexpr std::uint32_t kLastSignal = 64;
constexpr std::uint32_t kLastErrno = 4095;
constexpr std::uint32_t kLongestAnswer = 2048;
constexpr std::uint32_t kLongestWaitSeconds = 1000000;
constexpr std::uint32_t kLongestClockStepSeconds = 1000000000;

std::string_view Trim(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

// Cuts the part before `separator` off `rest`; all of it when there is none.
std::string_view Cut(std::string_view& rest, std::string_view separators) {
  const std::size_t end = rest.find_first_of(separators);
  const std::string_view part = rest.substr(0, end);
  rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  return part;
}

// Cuts the next word off `rest`; empty at its end.
std::string_view Word(std::string_view& rest) {
  rest = Trim(rest);
  return Cut(rest, " \t");
}

std::optional<std::uint32_t> Number(std::string_view text, int base, std::uint32_t most) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  if (text.empty() || error != std::errc() || stop != end || number > most) return std::nullopt;
  return number;
}

std::optional<std::uint8_t> HexByte(std::string_view text) {
  const auto number = Number(text, 16, 0xFF);
  if (!number || text.size() > 2) return std::nullopt;
  return static_cast<std::uint8_t>(*number);
}

// The number that the text's name stands for (`named`, 0: none), or the text as a number from 1 on.
std::optional<std::uint32_t> NamedOrNumber(std::uint32_t named, std::string_view text,
                                           std::uint32_t most) {
  if (named != 0) return named;
  const auto number = Number(text, 10, most);
  return number && *number > 0 ? number : std::nullopt;
}

// Seconds with at most three decimals, as milliseconds.
std::optional<std::uint32_t> Milliseconds(std::string_view text) {
  std::string_view fraction = text;
  const auto seconds = Number(Cut(fraction, "."), 10, kLongestWaitSeconds);
  if (!seconds) return std::nullopt;
  if (text.find('.') == std::string_view::npos) return *seconds * 1000;
  auto thousandths = Number(fraction, 10, 999);
  if (!thousandths || fraction.size() > 3) return std::nullopt;
  for (std::size_t digits = fraction.size(); digits < 3; ++digits) *thousandths *= 10;
  return *seconds * 1000 + *thousandths;
}

const char* ParseTimes(std::string_view text, std::uint32_t& first, std::uint32_t& last,
                       std::uint32_t& every) {
  std::string_view rest = text;
  if (Word(rest) == "every") {
    const auto step = Number(Trim(rest), 10, UINT32_MAX);
    if (!step || *step == 0) return "'every' wants a count from 1 on";
    every = *step;
    return nullptr;
  }
  rest = text;
  const auto from = Number(Trim(Cut(rest, "-")), 10, UINT32_MAX);
  if (!from || *from == 0) return "the times are not K, K-L, K- or 'every' N";
  first = *from;
  last = *from;
  if (text.find('-') == std::string_view::npos) return nullptr;
  rest = Trim(rest);
  if (rest.empty()) {
    last = UINT32_MAX;
    return nullptr;
  }
  const auto to = Number(rest, 10, UINT32_MAX);
  if (!to || *to < first) return "the times are not K, K-L, K- or 'every' N";
  last = *to;
  return nullptr;
}

const char* ParseSignal(std::string_view arguments, Action& action) {
  std::string_view name = Word(arguments);
  if (name.starts_with("SIG")) name.remove_prefix(3);
  const auto number = NamedOrNumber(FaultSignal(name), name, kLastSignal);
  if (!number) return "the signal is unknown";
  action.number = *number;
  const std::string_view when = Word(arguments);
  if (when == "after") action.fault = Fault::kSignalAfter;
  if (!when.empty() && when != "after" && when != "before") {
    return "a signal comes 'before' or 'after'";
  }
  return Trim(arguments).empty() ? nullptr : "there are too many words";
}

const char* ParseClockStep(std::string_view arguments, Action& action) {
  const bool back = arguments.starts_with('-');
  const bool signed_number = back || arguments.starts_with('+');
  if (signed_number) arguments.remove_prefix(1);
  const auto seconds = Number(arguments, 10, kLongestClockStepSeconds);
  if (!signed_number || !seconds) return "the action wants seconds with their sign, +S or -S";
  action.fault = back ? Fault::kClockBack : Fault::kClockForward;
  action.number = *seconds;
  return nullptr;
}

}  // namespace

bool FaultPlan::Parse(std::string_view text, std::string& error) {
  rule_count_ = action_count_ = byte_count_ = 0;
  notes_ = {};
  if (text.size() > kMaxText) {
    error = "fault plan: it is longer than " + std::to_string(kMaxText) + " bytes";
    return false;
  }
  std::copy(text.begin(), text.end(), text_.begin());
  std::string_view rest(text_.data(), text.size());
  for (int line_number = 1; !rest.empty(); ++line_number) {
    std::string_view line = Cut(rest, "\n");
    line = line.substr(0, line.find('#'));
    while (!line.empty()) {
      const std::string_view rule = Trim(Cut(line, ";"));
      if (rule.empty()) continue;
      const char* wrong = ParseRule(rule);
      if (wrong == nullptr) continue;
      error = "fault plan, line " + std::to_string(line_number) + ", '" + std::string(rule) +
              "': " + wrong;
      rule_count_ = 0;
      return false;
    }
  }
  return true;
}

const char* FaultPlan::ParseRule(std::string_view text) {
  if (rule_count_ == kMaxRules) return "there are too many rules";
  std::string_view actions = text;
  const std::string_view which = Trim(Cut(actions, ":"));
  if (text.find(':') == std::string_view::npos) return "a rule is WHICH ':' ACTION";
  Rule& rule = rules_[rule_count_];
  rule = Rule{};
  rule.text = text;
  rule.first_action = action_count_;
  if (const char* wrong = ParseWhich(which, rule); wrong != nullptr) return wrong;
  if (Trim(actions).empty()) return "there is no action";
  for (bool more = true; more;) {
    more = actions.find(',') != std::string_view::npos;
    const char* wrong = ParseAction(Trim(Cut(actions, ",")), rule);
    if (wrong != nullptr) return wrong;
  }
  rule.action_count = action_count_ - rule.first_action;
  ++rule_count_;
  return nullptr;
}

const char* FaultPlan::ParseWhich(std::string_view text, Rule& rule) {
  if (text.empty()) return "it does not say which requests";
  const bool bare_times =
      (text.front() >= '0' && text.front() <= '9' && text.find('/') == std::string_view::npos) ||
      text.starts_with("every");
  std::string_view times = text;
  const std::string_view request = bare_times ? "any" : Trim(Cut(times, "@"));
  if (const char* wrong = ParseRequest(request, rule); wrong != nullptr) return wrong;
  if (!bare_times && text.find('@') == std::string_view::npos) return nullptr;
  return ParseTimes(times, rule.first, rule.last, rule.every);
}

const char* FaultPlan::ParseRequest(std::string_view text, Rule& rule) {
  if (text.empty() || text == "any") return nullptr;
  if (text == "wait") {
    rule.wait = true;
    return nullptr;
  }
  return ParsePattern(FaultRequestPattern(text), rule);
}

const char* FaultPlan::ParsePattern(std::string_view text, Rule& rule) {
  if (text.find('/') == std::string_view::npos) return "the request is unknown";
  while (!text.empty()) {
    if (rule.pattern_size == kMaxPattern) return "the request's bytes are too many";
    const std::string_view word = Trim(Cut(text, "/"));
    const auto byte = HexByte(word);
    if (!byte && word != "*") return "a request's bytes are two hex digits or '*'";
    rule.pattern[rule.pattern_size] = byte.value_or(0);
    rule.wildcard[rule.pattern_size] = !byte;
    ++rule.pattern_size;
  }
  return nullptr;
}

const char* FaultPlan::ParseAction(std::string_view text, const Rule& rule) {
  if (action_count_ == kMaxActions) return "there are too many actions";
  std::string_view arguments = text;
  const std::string_view name = Word(arguments);
  const FaultVerb* const verb = FindFaultVerb(name);
  if (verb == nullptr) return "the action is unknown";
  if (rule.wait && verb->shape != FaultShape::kSignal && verb->shape != FaultShape::kClockStep) {
    return "a wait knows only 'signal' and 'clock'";
  }
  Action& action = actions_[action_count_];
  action = Action{verb->fault, 0, 0, {}, text};
  if (const char* wrong = ParseArguments(action, verb->shape, Trim(arguments)); wrong != nullptr) {
    return wrong;
  }
  ++action_count_;
  return nullptr;
}

const char* FaultPlan::ParseArguments(Action& action, FaultShape shape,
                                      std::string_view arguments) {
  std::optional<std::uint32_t> number;
  switch (shape) {
    case FaultShape::kNothing:
      return arguments.empty() ? nullptr : "the action takes nothing more";
    case FaultShape::kBytes:
      return ParseBytes(arguments, action);
    case FaultShape::kPlacedBytes: {
      const auto offset = Number(Trim(Cut(arguments, "=")), 10, kLongestAnswer - 1);
      if (!offset) return "the action wants OFFSET=XX..., the offset in decimal";
      action.offset = static_cast<std::uint16_t>(*offset);
      return ParseBytes(arguments, action);
    }
    case FaultShape::kRecord:
      return ParseRecord(arguments, action);
    case FaultShape::kSignal:
      return ParseSignal(arguments, action);
    case FaultShape::kClockStep:
      return ParseClockStep(arguments, action);
    case FaultShape::kHexByte:
      number = HexByte(arguments);
      if (!number) return "the action wants one byte in hex";
      break;
    case FaultShape::kHexWord:
      number = Number(arguments, 16, 0xFFFF);
      if (!number) return "the action wants a record ID in hex";
      break;
    case FaultShape::kDecimal:
      number = Number(arguments, 10, kLongestAnswer);
      if (!number) return "the action wants a length, 0 to 2048";
      break;
    case FaultShape::kErrno:
      number =
          arguments.empty() ? EIO : NamedOrNumber(FaultErrno(arguments), arguments, kLastErrno);
      if (!number) return "the errno is unknown";
      break;
    default:
      number = shape == FaultShape::kMaybeSeconds && arguments.empty() ? kForever
                                                                       : Milliseconds(arguments);
      if (!number) return "the action wants seconds";
      break;
  }
  action.number = *number;
  return nullptr;
}

const char* FaultPlan::ParseRecord(std::string_view words, Action& action) {
  constexpr std::size_t kHeader = 3;  // SDR version, type, body length
  const auto id = Number(Word(words), 16, 0xFFFF);
  if (!id) return "the action wants a record ID and a record, in hex";
  action.number = *id;
  if (const char* wrong = ParseBytes(Trim(words), action); wrong != nullptr) return wrong;
  const auto& record = action.bytes;
  const bool whole = record.size() >= kHeader && record.size() == kHeader + record[kHeader - 1];
  return whole ? nullptr : "the record is not whole (SDR version, type, body length, body)";
}

const char* FaultPlan::ParseBytes(std::string_view words, Action& action) {
  const std::size_t first = byte_count_;
  for (std::string_view word = Word(words); !word.empty(); word = Word(words)) {
    const auto byte = HexByte(word);
    if (!byte) return "the action wants bytes in hex";
    if (byte_count_ == kMaxBytes) return "there are too many bytes";
    bytes_[byte_count_++] = *byte;
  }
  if (byte_count_ == first) return "the action wants bytes in hex";
  action.bytes = std::span<const std::uint8_t>(bytes_).subspan(first, byte_count_ - first);
  return nullptr;
}

}  // namespace bmcsim
