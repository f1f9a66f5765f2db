// The device nodes of IPMI drivers.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "control/doctor/doctor.h"

namespace tarvek::control {

/// Where the tool looks for a driver, in its order.
inline constexpr std::array kDriverNodes{"/dev/ipmidev", "/dev/ipmidev/0", "/dev/ipmi0",
                                         "/dev/ipmi/0"};

/// What came of opening a node.
struct NodeLook {
  std::string path;
  int error = 0;           // an errno
  bool is_device = false;  // what was opened is a character device
};

/// Opens each; nothing else tells whether a node can be used, and what is behind it.
std::vector<NodeLook> LookAtNodes();

/// @return the one that the tool takes, a device or not: it takes the first that opens, but for a
///   directory at the first place.
std::optional<NodeLook> ToolsNode(const std::vector<NodeLook>& nodes);

/// @param has_driver  the kernel's driver is loaded.
/// @param is_root     this process may do what root may.
Finding NodeFinding(const std::vector<NodeLook>& nodes, bool has_driver, bool is_root);

}  // namespace tarvek::control
