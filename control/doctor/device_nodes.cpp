#include "control/doctor/device_nodes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "control/doctor/finding.h"
#include "control/doctor/kernel_modules.h"
#include "control/system/descriptor.h"

namespace tarvek::control {
namespace {

constexpr const char* kSubject = "node";

NodeLook LookAt(const char* path) {
  const Descriptor node(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!node) return {path, errno, false};
  struct stat status {};
  if (fstat(node.get(), &status) != 0) return {path, errno, false};
  // OpenIPMI nodes may live in a directory of the first one's name.
  if (S_ISDIR(status.st_mode) && path == kDriverNodes.front()) return {path, EISDIR, false};
  return {path, 0, S_ISCHR(status.st_mode)};
}

bool IsAbsent(const NodeLook& node) {
  return node.error == ENOENT || node.error == ENOTDIR || node.error == EISDIR;
}

bool IsForbidden(const NodeLook& node) { return node.error == EACCES || node.error == EPERM; }

Finding ForbiddenFinding(const NodeLook& node, bool is_root) {
  const std::string sentence = node.path + " may not be opened: " + ErrorWords(node.error) + ".";
  if (!is_root) return Problem(kSubject, sentence, "Run it as root.", "sudo tarvekctl doctor");
  return Problem(kSubject, sentence,
                 "Let this container or unit use the device; whoever started it can grant that.");
}

Finding AbsentFinding(bool has_driver) {
  const std::string sentence = "There is no device node of an IPMI driver: none of " +
                               Enumeration({kDriverNodes.begin(), kDriverNodes.end()}) + ".";
  if (has_driver) {
    return Problem(kSubject, sentence,
                   "The kernel's driver is there, but has found no BMC: see what it says, and look "
                   "in the firmware's setup whether the BMC is switched on.",
                   "dmesg | grep -i ipmi");
  }
  return Problem(
      kSubject, sentence,
      "Load the kernel's driver; what keeps it from being loaded is told of its modules.",
      kLoadModules);
}

}  // namespace

std::vector<NodeLook> LookAtNodes() {
  std::vector<NodeLook> nodes;
  std::transform(kDriverNodes.begin(), kDriverNodes.end(), std::back_inserter(nodes), LookAt);
  return nodes;
}

std::optional<NodeLook> ToolsNode(const std::vector<NodeLook>& nodes) {
  const auto found = std::find_if(nodes.begin(), nodes.end(),
                                  [](const NodeLook& node) { return node.error == 0; });
  return found == nodes.end() ? std::optional<NodeLook>() : *found;
}

Finding NodeFinding(const std::vector<NodeLook>& nodes, bool has_driver, bool is_root) {
  if (const std::optional<NodeLook> node = ToolsNode(nodes)) {
    if (node->is_device) return Good(kSubject, "The driver's node is " + node->path + ".");
    return Problem(kSubject, node->path + " is no device, yet it would be taken for the driver's.",
                   "Remove it.", "rm -d " + node->path);
  }
  const auto forbidden = std::find_if(nodes.begin(), nodes.end(), IsForbidden);
  if (forbidden != nodes.end()) return ForbiddenFinding(*forbidden, is_root);
  const auto broken = std::find_if_not(nodes.begin(), nodes.end(), IsAbsent);
  if (broken == nodes.end()) return AbsentFinding(has_driver);
  return Problem(kSubject, broken->path + " cannot be opened: " + ErrorWords(broken->error) + ".",
                 "See what the kernel's driver says; load it if it is not there.",
                 has_driver ? "dmesg | grep -i ipmi" : kLoadModules);
}

}  // namespace tarvek::control
