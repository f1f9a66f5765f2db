// Asks the machine's BMC and prints what came of it, for tests that run it on a simulated one:
// asking_program ask|probe|interrupted MILLISECONDS
// asking_program doctor|doctor-interrupted ROOT TOOL STATE_DIRECTORY [BOARDS]
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "control/bmc/bmc.h"
#include "control/doctor/doctor.h"

namespace {

using tarvek::control::AskBmc;
using tarvek::control::BmcFailure;
using tarvek::control::BmcReport;
using tarvek::control::DeviceId;
using tarvek::control::DoctorOptions;
using tarvek::control::Examine;
using tarvek::control::Finding;
using tarvek::control::GravityName;
using tarvek::control::Interrupts;
using tarvek::control::Probe;
using tarvek::control::ProbeCommands;
using tarvek::control::RepositoryInfo;

const char* Name(BmcFailure failure) {
  switch (failure) {
    case BmcFailure::kNone:
      return "none";
    case BmcFailure::kNoDriver:
      return "no-driver";
    case BmcFailure::kDriver:
      return "driver";
    case BmcFailure::kAnswer:
      return "answer";
    case BmcFailure::kSilent:
      return "silent";
    case BmcFailure::kInterrupted:
      return "interrupted";
  }
  return "?";
}

void Print(const BmcReport& report) {
  std::printf("%s [%s] [%s]\n", Name(report.failure), report.driver.c_str(), report.detail.c_str());
  if (report.device) {
    const DeviceId& device = *report.device;
    std::printf("device %s %u %02X %02X %u.%02X %02X\n", device.ProductText().c_str(),
                device.manufacturer, device.device_id, device.device_revision,
                device.firmware_major, device.firmware_minor, device.ipmi_version);
  }
  if (report.info) {
    const RepositoryInfo& info = *report.info;
    std::printf("info %02X %u %u %s %s %02X\n", info.sdr_version, info.records, info.free_bytes,
                info.added != 0 ? "added" : "-", info.erased != 0 ? "erased" : "-",
                info.operations);
  }
}

void Print(const Probe& probe) {
  std::printf("%s: %s %s %02X [%s]\n", probe.request.c_str(), probe.tried ? "tried" : "-",
              probe.known    ? "known"
              : probe.denied ? "denied"
                             : "-",
              static_cast<unsigned>(probe.completion_code) & 0xFFFFU, probe.detail.c_str());
}

/// In a moment of real time, whatever the simulated clock shows.
void SendTermLater() {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGTERM;
  timer_t timer{};
  constexpr long kMoment = 300000000;  // nanoseconds
  const itimerspec moment{{0, 0}, {0, kMoment}};
  if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) std::abort();
  if (timer_settime(timer, 0, &moment, nullptr) != 0) std::abort();
}

void ExamineMachine(const std::vector<std::string>& words, const Interrupts* interrupts) {
  DoctorOptions options;
  options.root = words.at(0);
  options.tool = words.at(1);
  options.state_directory = words.at(2);
  if (words.size() > 3) options.boards = words[3];
  for (const Finding& finding : Examine(options, interrupts)) {
    std::printf("%s: %s: %s [%s]\n", finding.subject.c_str(), GravityName(finding.gravity),
                finding.sentence.c_str(), finding.command.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return EXIT_FAILURE;
  const std::string verb = argv[1];
  if (verb == "doctor") ExamineMachine({argv + 2, argv + argc}, nullptr);
  if (verb == "doctor-interrupted") {
    const Interrupts interrupts;
    SendTermLater();
    ExamineMachine({argv + 2, argv + argc}, &interrupts);
    std::printf("%d\n", interrupts.Count());
  }
  const int limit = std::atoi(argv[2]);
  if (verb == "ask") Print(AskBmc(nullptr, limit));
  if (verb == "interrupted") {
    const Interrupts interrupts;
    SendTermLater();
    Print(AskBmc(&interrupts, limit));
    std::printf("%d\n", interrupts.Count());
  }
  if (verb == "probe") {
    for (const Probe& probe : ProbeCommands(nullptr, limit)) Print(probe);
  }
  return EXIT_SUCCESS;
}
