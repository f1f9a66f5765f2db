#include "control/doctor/surroundings.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "control/doctor/finding.h"

namespace tarvek::control {
namespace {

using namespace std::string_view_literals;

constexpr const char* kContainer = "container";
constexpr const char* kVirtualMachine = "virtual-machine";
constexpr const char* kUnknown = "unknown";

// What firmware made for virtual machines has at the beginning of its vendor's or product's name.
constexpr std::array<std::pair<std::string_view, const char*>, 14> kFirmwares{{
    {"QEMU"sv, "QEMU"},
    {"KVM"sv, "KVM"},
    {"VMware"sv, "VMware"},
    {"VMW"sv, "VMware"},
    {"innotek GmbH"sv, "VirtualBox"},
    {"VirtualBox"sv, "VirtualBox"},
    {"Virtual Machine"sv, "Hyper-V"},
    {"Xen"sv, "Xen"},
    {"HVM domU"sv, "Xen"},
    {"Bochs"sv, "Bochs"},
    {"Parallels"sv, "Parallels"},
    {"BHYVE"sv, "bhyve"},
    {"OpenStack"sv, "OpenStack"},
    {"Google Compute Engine"sv, "Google Compute Engine"},
}};

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

/// The value of a variable in an environment as /proc has it.
std::string Variable(std::string_view environment, std::string_view name) {
  while (!environment.empty()) {
    const std::string_view entry = environment.substr(0, environment.find('\0'));
    environment.remove_prefix(std::min(entry.size() + 1, environment.size()));
    const std::size_t equals = entry.find('=');
    if (equals != std::string_view::npos && entry.substr(0, equals) == name) {
      return std::string(entry.substr(equals + 1));
    }
  }
  return {};
}

/// Whether the first processor has a flag: "flags : fpu vme hypervisor lahf_lm".
bool HasFlag(std::string_view processors, std::string_view flag) {
  const std::size_t begin = processors.find("\nflags");
  if (begin == std::string_view::npos) return false;
  std::string line(processors.substr(begin + 1));
  line = " " + FirstLine(line) + " ";
  return line.find(" " + std::string(flag) + " ") != std::string::npos;
}

}  // namespace

std::string ContainerKind(const SurroundingTexts& texts) {
  if (std::string kind = FirstLine(texts.systemd_container); !kind.empty()) return kind;
  if (std::string kind = Variable(texts.first_environment, "container"); !kind.empty()) return kind;
  if (texts.has_docker_mark) return "docker";
  return texts.has_podman_mark ? "podman" : "";
}

std::string VirtualMachineKind(const SurroundingTexts& texts) {
  for (const auto& [begin, kind] : kFirmwares) {
    if (texts.vendor.rfind(begin, 0) == 0 || texts.product.rfind(begin, 0) == 0) return kind;
  }
  return HasFlag(texts.processors, "hypervisor") ? kUnknown : "";
}

std::vector<Finding> SurroundingFindings(const SurroundingTexts& texts, bool has_node) {
  std::vector<Finding> findings;
  const auto grave = has_node ? Note : Problem;
  if (const std::string kind = ContainerKind(texts); kind.empty()) {
    findings.push_back(Good(kContainer, "This is no container."));
  } else {
    findings.push_back(grave(kContainer,
                             "This is a container (" + kind + "), which has no BMC of its own.",
                             has_node ? "Know that it is the host's BMC which is updated."
                                      : "Work on the host, or hand its driver's node in.",
                             ""));
  }
  const std::string kind = VirtualMachineKind(texts);
  if (kind.empty()) {
    findings.push_back(Good(kVirtualMachine, "This is no virtual machine."));
    return findings;
  }
  const std::string whose = kind == kUnknown ? "" : " (" + kind + ")";
  findings.push_back(
      grave(kVirtualMachine, "This is a virtual machine" + whose + ", which has no BMC of its own.",
            has_node ? "Know that what answers is what the virtual machine was given."
                     : "Work on the server itself; to try the programs out, simulate a BMC.",
            has_node ? "" : "bmcsim -- tarvekctl doctor"));
  return findings;
}

}  // namespace tarvek::control
