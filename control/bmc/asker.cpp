#include "control/bmc/asker.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "control/system/apart.h"
#include "driver/reporting/history_log.h"
#include "transport/ipmi_driver.h"
#include "transport/ipmi_layout.h"

namespace tarvek::control {
namespace {

using Clock = std::chrono::steady_clock;

// What the process apart hands back, for each request:
//   [0] how it came out  [1] the driver  [2] length of the answer  [3..] the answer
constexpr std::size_t kOutcomeAt = 0;
constexpr std::size_t kDriverAt = 1;
constexpr std::size_t kLengthAt = 2;
constexpr std::size_t kAnswerAt = 3;
constexpr char kNoNode = 'n';
constexpr char kFailed = 'f';
constexpr char kAnswered = 'a';
constexpr char kOpenIpmi = 'o';
constexpr char kMakers = 'm';

/// Nothing of this is for the tool's log.
class Silence : public LogSink {
 public:
  void Line(std::string_view /*text*/) override {}
};

/// One request of the process apart.
/// @return whether the next one is to be sent.
bool Exchange(const ReadingRequest& request, char driver, const Teller& tell) {
  std::array<unsigned char, kResponseBufferSize> answer{};
  auto length = static_cast<unsigned char>(request.capacity);
  const auto size = static_cast<unsigned char>(request.image.size());
  if (Bmc_Access2(request.image.data(), size, answer.data(), &length) != 0) {
    tell(std::string{kFailed, driver, 0});
    return false;
  }
  std::string told{kAnswered, driver, static_cast<char>(length)};
  told.append(answer.begin(), answer.begin() + length);
  tell(told);
  return Complaint(request, {answer.data(), length}).empty();
}

/// The part of the process apart.
void ExchangeAll(std::span<const ReadingRequest* const> requests, const Teller& tell) {
  Silence silence;
  SetLogSink(&silence);
  if (SearchIpmiDriver() != 0) return tell(std::string{kNoNode, kNoNode, 0});
  const char driver = open_ipmi == 1 ? kOpenIpmi : kMakers;
  for (const ReadingRequest* const request : requests) {
    if (!Exchange(*request, driver, tell)) return;
  }
}

std::string DriverName(char driver) {
  if (driver == kOpenIpmi) return "openipmi";
  return driver == kMakers ? "maker" : "";
}

Reply Read(const ReadingRequest& request, std::string_view told) {
  const std::string name = request.name;
  const std::string driver = DriverName(told[kDriverAt]);
  if (told[kOutcomeAt] == kNoNode) {
    return {BmcFailure::kNoDriver, "no device node of an IPMI driver could be opened", {}, {}};
  }
  if (told[kOutcomeAt] == kFailed) {
    return {BmcFailure::kDriver, "the driver failed at " + name, driver, {}};
  }
  Reply reply{BmcFailure::kNone, {}, driver, {told.begin() + kAnswerAt, told.end()}};
  reply.detail = Complaint(request, reply.answer);
  if (!reply.detail.empty()) reply.failure = BmcFailure::kAnswer;
  return reply;
}

/// The reply to a request to which nothing was handed back.
Reply Unanswered(const ReadingRequest& request, ApartEnd end, int limit) {
  const std::string name = request.name;
  constexpr int kMilliseconds = 1000;
  switch (end) {
    case ApartEnd::kTimeOut:
      return {
          BmcFailure::kSilent,
          "no answer to " + name + " within " + std::to_string(limit / kMilliseconds) + " seconds",
          {},
          {}};
    case ApartEnd::kInterrupted:
      return {BmcFailure::kInterrupted, "interrupted", {}, {}};
    case ApartEnd::kDone:
    case ApartEnd::kDied:
      break;
  }
  return {BmcFailure::kDriver, "the process that asked " + name + " has died", {}, {}};
}

/// Takes the first of the replies off what was handed back; empty when it is not whole.
std::string_view TakeFirst(std::string_view* told) {
  if (told->size() < kAnswerAt) return {};
  const std::size_t size = kAnswerAt + static_cast<unsigned char>((*told)[kLengthAt]);
  if (told->size() < size) return {};
  const std::string_view first = told->substr(0, size);
  told->remove_prefix(size);
  return first;
}

}  // namespace

Asker::Asker(const Interrupts* interrupts, int limit)
    : interrupts_(interrupts),
      limit_(limit),
      end_(Clock::now() + std::chrono::milliseconds(limit)) {}

std::vector<Reply> Asker::Ask(std::span<const ReadingRequest* const> requests) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
  const int wait = static_cast<int>(std::clamp<std::int64_t>(left, 0, limit_));
  const ApartResult result =
      DoApart([&](const Teller& tell) { ExchangeAll(requests, tell); }, interrupts_, wait);
  std::string_view told = result.bytes;
  std::vector<Reply> replies;
  for (const ReadingRequest* const request : requests) {
    const std::string_view first = TakeFirst(&told);
    replies.push_back(first.empty() ? Unanswered(*request, result.end, limit_)
                                    : Read(*request, first));
    if (replies.back().failure != BmcFailure::kNone) break;
  }
  return replies;
}

Reply Asker::Ask(const ReadingRequest& request) {
  const std::array<const ReadingRequest*, 1> one{&request};
  return Ask(one).front();
}

}  // namespace tarvek::control
