#include "control/doctor/bmc_findings.h"

#include <algorithm>
#include <iterator>

#include "control/doctor/finding.h"
#include "driver/reporting/text_format.h"

namespace tarvek::control {
namespace {

constexpr const char* kBmc = "bmc";
constexpr const char* kManufacturer = "manufacturer";
constexpr const char* kBoards = "boards";
constexpr const char* kRequests = "requests";

std::string Describe(const DeviceId& device) {
  constexpr unsigned kNibble = 4;
  constexpr unsigned kNibbleMask = 0x0F;
  return Format("product %04x, manufacturer %u, firmware %u.%02x, IPMI %u.%u", device.product,
                device.manufacturer, device.firmware_major, device.firmware_minor,
                device.ipmi_version & kNibbleMask, device.ipmi_version >> kNibble)
      .c_str();
}

std::string Sentence(std::string detail) {
  if (!detail.empty() && detail[0] >= 'a' && detail[0] <= 'z') {
    detail[0] = static_cast<char>(detail[0] - 'a' + 'A');
  }
  return detail + ".";
}

}  // namespace

Finding BmcFinding(const BmcReport& report) {
  switch (report.failure) {
    case BmcFailure::kNone:
    case BmcFailure::kInterrupted:
      break;
    case BmcFailure::kNoDriver:
      return Problem(kBmc, Sentence(report.detail), "Look again: the node has gone meanwhile.",
                     "tarvekctl doctor");
    case BmcFailure::kDriver:
      return Problem(kBmc, Sentence(report.detail), "See what the kernel's driver says.",
                     "dmesg | grep -i ipmi");
    case BmcFailure::kAnswer:
      return Problem(
          kBmc, Sentence(report.detail),
          "Look again in a minute, as a BMC that starts refuses requests; if it stays so, "
          "this BMC's firmware does not do what updates need.",
          "tarvekctl doctor");
    case BmcFailure::kSilent:
      return Problem(
          kBmc, Sentence(report.detail),
          "Restart the BMC, from its web page, say; the server itself can go on running.");
  }
  if (!report.device || !report.info) return Problem(kBmc, "The BMC was not asked.", "Look again.");
  return Good(kBmc, "The BMC answers: " + Describe(*report.device) + ", " +
                        std::to_string(report.info->records) + " records.");
}

Finding ManufacturerFinding(const DeviceId& device) {
  const std::string number = std::to_string(device.manufacturer);
  if (device.manufacturer == kMakersNumber) {
    return Good(kManufacturer,
                "The BMC is one of the maker whose BMCs have the spared mode (" + number + ").");
  }
  return Problem(kManufacturer,
                 "The BMC's manufacturer ID is " + number + ", not " +
                     std::to_string(kMakersNumber) +
                     ": to another maker's BMC the requests of an update may mean anything.",
                 "Do not update this server, and put its product " + device.ProductText() +
                     " in no hardware list.");
}

Finding BoardsFinding(const std::string& path, const SmallFile& list, const DeviceId& device) {
  if (list.error != 0) {
    return Problem(kBoards, path + " cannot be read: " + ErrorWords(list.error) + ".",
                   "Name the hardware list that came with the records with --boards.");
  }
  const std::string product = device.ProductText();
  if (ListNames(list.bytes, device))
    return Good(kBoards, path + " names the product " + product + ".");
  if (!list.whole) {
    return Problem(kBoards, path + " is too large for a hardware list.",
                   "Name the hardware list that came with the records with --boards.");
  }
  return Problem(kBoards, path + " does not name the product " + product + ".",
                 "Use the records, and the hardware list, that were made for this board.");
}

Finding RequestsFinding(const std::vector<Probe>& probes) {
  std::vector<std::string> known;
  std::vector<std::string> missing;
  std::vector<std::string> details;  // of the missing ones
  std::vector<std::string> unneeded;
  std::vector<std::string> denied;
  std::vector<std::string> left;
  for (const Probe& probe : probes) {
    if (probe.denied) denied.push_back(probe.request);
    // A backup does without Get slot information.
    const bool needed = probe.request.rfind("Get slot information", 0) != 0;
    if (!probe.tried) {
      left.push_back(probe.request);
    } else if (probe.known) {
      known.push_back(probe.request);
    } else if (needed) {
      missing.push_back(probe.request);
      details.push_back(probe.detail);
    } else {
      unneeded.push_back(probe.request);
    }
  }
  if (!missing.empty()) {
    return Problem(
        kRequests,
        "The BMC does not do " + Enumeration(missing) + ": " + Enumeration(details) + ".",
        "Updates need that: this BMC's firmware must be another one.");
  }
  std::string sentence = "The BMC knows what could be tried: " + Enumeration(known) + ".";
  if (!unneeded.empty()) {
    sentence += " Not known: " + Enumeration(unneeded) + ", which is done without.";
  }
  sentence += " Not tried: " + Enumeration(left) + ".";
  if (denied.empty()) return Good(kRequests, sentence);
  return Note(kRequests, sentence + " It says that it has not " + Enumeration(denied) + ".",
              "Updates need that: see first whether a backup can be made.",
              "tarvekctl backup FILE.BAK");
}

}  // namespace tarvek::control
