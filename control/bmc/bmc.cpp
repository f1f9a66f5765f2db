#include "control/bmc/bmc.h"

#include <array>

#include "control/bmc/answers.h"
#include "control/bmc/asker.h"
#include "transport/ipmi_layout.h"

namespace tarvek::control {
namespace {

constexpr unsigned kReserveSupported = 0x02;  // operation support, bit 1
constexpr unsigned kIpmi15 = 0x51;
constexpr unsigned kIpmi20 = 0x02;
constexpr int kUnknownCommand = 0xC1;
constexpr int kUnknownForLun = 0xC2;

std::string NameOf(const ReadingRequest& request) {
  return RequestName(request.name, request.image[kNetFnLunOffset], request.image[kCommandOffset]);
}

Probe NotTried(std::string name, const std::string& why) {
  return {std::move(name), false, false, false, -1, "not tried: " + why};
}

Probe Told(const ReadingRequest& request, const Reply& reply) {
  Probe probe{NameOf(request), true, false, false, -1, reply.detail};
  if (reply.failure == BmcFailure::kNoDriver) return NotTried(probe.request, reply.detail);
  if (!reply.HasAnswer()) return probe;
  probe.completion_code = CompletionCode(request, reply.answer);
  probe.known = reply.failure == BmcFailure::kNone || (probe.completion_code > kCompletionOk &&
                                                       probe.completion_code != kUnknownCommand &&
                                                       probe.completion_code != kUnknownForLun);
  return probe;
}

/// Asks one request after the other until one is not answered.
class Prober {
 public:
  Prober(const Interrupts* interrupts, int limit) : asker_(interrupts, limit) {}

  /// @return the answer, if it is good.
  std::vector<unsigned char> Ask(const ReadingRequest& request) {
    if (!why_not_.empty()) {
      probes_.push_back(NotTried(NameOf(request), why_not_));
      return {};
    }
    Reply reply = asker_.Ask(request);
    probes_.push_back(Told(request, reply));
    if (!reply.HasAnswer()) why_not_ = reply.detail;
    return reply.failure == BmcFailure::kNone ? reply.answer : std::vector<unsigned char>();
  }

  void Add(Probe probe) { probes_.push_back(std::move(probe)); }
  std::vector<Probe> Take() { return std::move(probes_); }

 private:
  Asker asker_;
  std::string why_not_;
  std::vector<Probe> probes_;
};

/// What the BMC says of itself about the request that is not sent.
Probe ProbeReserve(Image info) {
  Probe probe =
      NotTried(RequestName("Reserve SDR Repository", kStorageRequest, kReserveSdrRepository),
               "it cancels the reservations of other programs");
  if (info.empty()) return probe;
  probe.known = (RepositoryInfoOf(info).operations & kReserveSupported) != 0;
  probe.denied = !probe.known;
  probe.detail +=
      probe.known ? "; the BMC says that it has it" : "; the BMC says that it has it not";
  return probe;
}

void ProbeSlot(Prober& prober, Image device_answer) {
  const std::string name = NameOf(kAskSlotInformation);
  if (device_answer.empty()) return prober.Add(NotTried(name, "nobody knows whose BMC it is"));
  const DeviceId device = DeviceIdOf(device_answer);
  if (device.manufacturer != kMakersNumber) {
    return prober.Add(NotTried(name, "on another maker's BMC it may mean anything"));
  }
  if (device.ipmi_version != kIpmi15 && device.ipmi_version != kIpmi20) {
    return prober.Add(NotTried(name, "a BMC of this IPMI version is never asked it"));
  }
  prober.Ask(kAskSlotInformation);
}

void ProbeSparedMode(Prober& prober) {
  struct Row {
    const char* name;
    unsigned char command;
  };
  constexpr Row kRows[] = {{"SparedSDR", kOemSparedSdr},
                           {"Reserve", kOemReserve},
                           {"Get SDR", kOemGetSdr},
                           {"Partial Add SDR", kOemPartialAddSdr},
                           {"Clear SDR Repository", kOemClearSdrRepository}};
  for (const Row& row : kRows) {
    prober.Add(NotTried(RequestName(row.name, kOemRequest, row.command), "only an update can"));
  }
}

}  // namespace

BmcReport AskBmc(const Interrupts* interrupts, int limit) {
  constexpr std::array kBoth{&kAskDeviceId, &kAskRepositoryInfo};
  const std::vector<Reply> replies = Asker(interrupts, limit).Ask(kBoth);
  BmcReport report;
  report.failure = replies.back().failure;
  report.detail = replies.back().detail;
  for (const Reply& reply : replies) {
    if (!reply.driver.empty()) report.driver = reply.driver;
  }
  const auto good = [&](std::size_t at) {
    return at < replies.size() && replies[at].failure == BmcFailure::kNone;
  };
  if (good(0)) report.device = DeviceIdOf(replies[0].answer);
  if (good(1)) report.info = RepositoryInfoOf(replies[1].answer);
  return report;
}

std::vector<Probe> ProbeCommands(const Interrupts* interrupts, int limit) {
  Prober prober(interrupts, limit);
  const std::vector<unsigned char> device = prober.Ask(kAskDeviceId);
  const std::vector<unsigned char> info = prober.Ask(kAskRepositoryInfo);
  prober.Add(ProbeReserve(info));
  prober.Ask(kAskFirstRecord);
  ProbeSlot(prober, device);
  ProbeSparedMode(prober);
  return prober.Take();
}

}  // namespace tarvek::control
