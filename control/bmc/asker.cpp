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

// What the process apart hands back:
//   [0] how it came out  [1] the driver  [2..] the answer
constexpr std::size_t kOutcomeAt = 0;
constexpr std::size_t kDriverAt = 1;
constexpr std::size_t kAnswerAt = 2;
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

/// The part of the process apart.
std::string Exchange(const ReadingRequest& request) {
  Silence silence;
  SetLogSink(&silence);
  if (SearchIpmiDriver() != 0) return {kNoNode, kNoNode};
  const char driver = open_ipmi == 1 ? kOpenIpmi : kMakers;
  std::array<unsigned char, kResponseBufferSize> answer{};
  auto length = static_cast<unsigned char>(request.capacity);
  const auto size = static_cast<unsigned char>(request.image.size());
  if (Bmc_Access2(request.image.data(), size, answer.data(), &length) != 0)
    return {kFailed, driver};
  std::string told{kAnswered, driver};
  told.append(answer.begin(), answer.begin() + length);
  return told;
}

std::string DriverName(char driver) {
  if (driver == kOpenIpmi) return "openipmi";
  return driver == kMakers ? "maker" : "";
}

Reply Read(const ReadingRequest& request, const std::string& told) {
  const std::string name = request.name;
  if (told.size() < kAnswerAt) {
    return {BmcFailure::kDriver, "the process that asked " + name + " has died", {}, {}};
  }
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

}  // namespace

Asker::Asker(const Interrupts* interrupts, int limit)
    : interrupts_(interrupts),
      limit_(limit),
      end_(Clock::now() + std::chrono::milliseconds(limit)) {}

Reply Asker::Ask(const ReadingRequest& request) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
  const int wait = static_cast<int>(std::clamp<std::int64_t>(left, 0, limit_));
  const ApartResult result = DoApart([&] { return Exchange(request); }, interrupts_, wait);
  switch (result.end) {
    case ApartEnd::kTimeOut: {
      constexpr int kMilliseconds = 1000;
      return {BmcFailure::kSilent,
              "no answer to " + std::string(request.name) + " within " +
                  std::to_string(limit_ / kMilliseconds) + " seconds",
              {},
              {}};
    }
    case ApartEnd::kInterrupted:
      return {BmcFailure::kInterrupted, "interrupted", {}, {}};
    case ApartEnd::kDone:
    case ApartEnd::kDied:
      break;
  }
  return Read(request, result.bytes);
}

}  // namespace tarvek::control
