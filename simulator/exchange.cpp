#include "simulator/exchange.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>

namespace bmcsim {
namespace {

constexpr std::uint8_t kAnswerNetFn = 4;  // an answer's NetFn/LUN byte is the request's plus this
constexpr std::size_t kCompletionCode = 2;
constexpr std::size_t kNextRecordId = 3;
constexpr std::size_t kRecordBytes = 5;  // of a Get SDR answer
constexpr std::size_t kEraseProgress = 3;

// Get SDR's request image: NetFn/LUN, command, reservation (2), record ID (2), offset, count.
constexpr std::size_t kReadOffset = 6;

// Room for the trace of one request: three characters a byte, and the plan's words.
constexpr std::size_t kMaxTrace = std::size_t{3} * 2 * kMaxImage + 4096;

bool IsGetSdr(std::span<const std::uint8_t> request) {
  return request.size() > kReadOffset && ((request[0] == kNetFnStorage && request[1] == kGetSdr) ||
                                          (request[0] == kNetFnOem && request[1] == kOemGetSdr));
}

// Changes the answer from `offset` on, and lengthens it where it is too short.
void Overwrite(Outcome& outcome, std::size_t offset, std::span<const std::uint8_t> bytes) {
  const std::size_t end = std::min(offset + bytes.size(), kMaxImage);
  for (std::size_t i = outcome.size; i < end; ++i) outcome.image[i] = 0;
  outcome.size = std::max(outcome.size, end);
  for (std::size_t i = offset; i < end; ++i) outcome.image[i] = bytes[i - offset];
}

void Overwrite(Outcome& outcome, std::size_t offset, std::uint32_t byte) {
  const auto value = static_cast<std::uint8_t>(byte);
  Overwrite(outcome, offset, {&value, 1});
}

void SetLength(Outcome& outcome, std::size_t length) {
  for (std::size_t i = outcome.size; i < length; ++i) outcome.image[i] = 0;
  outcome.size = length;
}

void ChangeNextId(std::span<const std::uint8_t> request, std::uint32_t id, Outcome& outcome) {
  if (!IsGetSdr(request) || outcome.size < kRecordBytes) return;
  Overwrite(outcome, kNextRecordId, id);
  Overwrite(outcome, kNextRecordId + 1, id >> 8);
}

void ChangeBodyLength(std::span<const std::uint8_t> request, std::uint32_t length,
                      Outcome& outcome) {
  if (!IsGetSdr(request) || request[kReadOffset] > kBodyLengthOffset) return;
  const std::size_t place = kRecordBytes + kBodyLengthOffset - request[kReadOffset];
  if (place < outcome.size) Overwrite(outcome, place, length);
}

void ChangeAnswer(std::span<const std::uint8_t> request, const Action& action, Outcome& outcome) {
  switch (action.fault) {
    case Fault::kCodeAfter:
      outcome.size = kCompletionCode;
      return Overwrite(outcome, kCompletionCode, action.number);
    case Fault::kAnswerBytes:
      return Overwrite(outcome, action.offset, action.bytes);
    case Fault::kLength:
      return SetLength(outcome, action.number);
    case Fault::kNetFn:
      return Overwrite(outcome, 0, action.number);
    case Fault::kCommand:
      return Overwrite(outcome, 1, action.number);
    case Fault::kNextId:
      return ChangeNextId(request, action.number, outcome);
    case Fault::kBodyLength:
      return ChangeBodyLength(request, action.number, outcome);
    case Fault::kStuck:
      return Overwrite(outcome, kEraseProgress, kEraseRunning);
    default:
      return;
  }
}

int NumberOf(const Faults& faults, Fault fault) {
  const Action* action = faults.Find(fault);
  return action == nullptr ? 0 : static_cast<int>(action->number);
}

/// Text in a buffer of its own, cut where the buffer ends.
class TraceText {
 public:
  void Put(std::string_view text) {
    const std::size_t count = std::min(text.size(), text_.size() - size_);
    std::copy_n(text.begin(), count, text_.begin() + static_cast<std::ptrdiff_t>(size_));
    size_ += count;
  }

  void PutBytes(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const char triple[] = {' ', kDigits[bytes[i] >> 4], kDigits[bytes[i] & 0x0F]};
      Put(i == 0 ? std::string_view(triple + 1, 2) : std::string_view(triple, 3));
    }
    if (bytes.empty()) Put("-");
  }

  void PutNumber(std::uint32_t number) {
    std::array<char, 10> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    Put({digits.data(), static_cast<std::size_t>(end.ptr - digits.data())});
  }

  std::span<const char> text() const { return {text_.data(), size_}; }

 private:
  std::array<char, kMaxTrace> text_;
  std::size_t size_ = 0;
};

/// Sets the program's clock, if that is what the action is.
bool SetClock(ExchangeHost& host, const Action& action) {
  const std::int64_t seconds = action.number;
  if (action.fault == Fault::kClockForward) {
    host.StepClock(seconds);
  } else if (action.fault == Fault::kClockBack) {
    host.StepClock(-seconds);
  } else {
    return false;
  }
  return true;
}

}  // namespace

void TraceAndRaise(ExchangeHost& host, std::uint32_t signal) {
  TraceText line;
  line.Put("! signal ");
  line.PutNumber(signal);
  line.Put("\n");
  host.Trace(line.text());
  host.Raise(static_cast<int>(signal));
}

void StrikeWait(ExchangeHost& host, const Faults& faults) {
  for (const Action* action : faults) {
    if (!SetClock(host, *action)) {
      TraceAndRaise(host, action->number);
      continue;
    }
    TraceText line;
    line.Put("! ");
    line.Put(action->text);
    line.Put("\n");
    host.Trace(line.text());
  }
}

void Exchange::Run(std::span<const std::uint8_t> request, Outcome& outcome) {
  request = request.first(std::min(request.size(), kMaxImage));
  ++requests_;
  const Faults faults = plan_.empty() ? Faults() : plan_.MatchRequest(request);
  if (!faults.empty()) ++faulted_;
  for (const Action* action : faults) SetClock(host_, *action);
  if (const Action* signal = faults.Find(Fault::kSignalBefore)) {
    TraceAndRaise(host_, signal->number);
  }
  outcome.size = 0;
  outcome.wait_ms = static_cast<std::uint32_t>(NumberOf(faults, Fault::kDelay));
  outcome.send_errno = NumberOf(faults, Fault::kSendError);
  outcome.select_errno = NumberOf(faults, Fault::kSelectError);
  outcome.receive_errno = NumberOf(faults, Fault::kReceiveError);
  if (outcome.send_errno == 0) Reply(request, faults, outcome);
  if (host_.tracing()) WriteTrace(request, faults, outcome);
  if (const Action* signal = faults.Find(Fault::kSignalAfter)) {
    TraceAndRaise(host_, signal->number);
  }
}

void Exchange::Reply(std::span<const std::uint8_t> request, const Faults& faults,
                     Outcome& outcome) {
  const Action* code = faults.Find(Fault::kCode);
  const Action* bytes = faults.Find(Fault::kAnswer);
  const Action* silence = faults.Find(Fault::kSilence);
  const bool refused = code != nullptr || bytes != nullptr || silence != nullptr;
  Answer answer;
  CarryOut(request, faults, !refused, answer);
  if (silence != nullptr) {
    outcome.wait_ms = silence->number;
    if (silence->number == kForever) return;
    if (code == nullptr && bytes == nullptr) outcome.select_errno = ETIMEDOUT;
  }
  if (outcome.select_errno == ETIMEDOUT && silence != nullptr) return;
  const std::uint8_t prefix[] = {static_cast<std::uint8_t>(request[0] + kAnswerNetFn), request[1]};
  Overwrite(outcome, 0, prefix);
  if (bytes != nullptr) {
    Overwrite(outcome, kCompletionCode, bytes->bytes);
  } else if (code != nullptr) {
    Overwrite(outcome, kCompletionCode, code->number);
  } else {
    Overwrite(outcome, kCompletionCode, answer.bytes());
  }
  for (const Action* action : faults) ChangeAnswer(request, *action, outcome);
}

void Exchange::CarryOut(std::span<const std::uint8_t> request, const Faults& faults, bool carry_out,
                        Answer& answer) {
  std::array<std::uint8_t, kMaxImage> changed;
  for (const Action* action : faults) {
    if (action->fault != Fault::kRequestBytes) continue;
    if (request.data() != changed.data()) {
      std::copy(request.begin(), request.end(), changed.begin());
      request = std::span<const std::uint8_t>(changed).first(request.size());
    }
    for (std::size_t i = 0; i < action->bytes.size(); ++i) {
      if (action->offset + i < request.size()) changed[action->offset + i] = action->bytes[i];
    }
  }
  host_.BeginRequest();
  if (faults.Find(Fault::kCancel) != nullptr) model_.CancelReservations();
  for (const Action* action : faults) {
    if (action->fault != Fault::kReplace) continue;
    const auto id = static_cast<std::uint16_t>(action->number);
    (void)model_.ReplaceRecord(id, action->bytes, host_.Now());
  }
  if (carry_out) {
    model_.Handle(request[0], request[1], request.subspan(kImagePrefix), host_.Now(), answer);
  }
  host_.EndRequest();
}

void Exchange::WriteTrace(std::span<const std::uint8_t> request, const Faults& faults,
                          const Outcome& outcome) {
  TraceText line;
  line.Put("> ");
  line.PutBytes(request);
  line.Put("\n< ");
  line.PutBytes({outcome.image.data(), outcome.size});
  std::string_view separator = " ! ";
  for (const Action* action : faults) {
    line.Put(separator);
    line.Put(action->text);
    separator = ", ";
  }
  line.Put("\n");
  host_.Trace(line.text());
}

}  // namespace bmcsim
