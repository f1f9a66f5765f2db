#include "control/doctor/device_nodes.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tarvek::control {
namespace {

/// The four nodes, each with the errno that opening it gives; 0: a device.
std::vector<NodeLook> Nodes(const std::array<int, 4>& errors) {
  std::vector<NodeLook> nodes;
  for (std::size_t n = 0; n < errors.size(); ++n) {
    nodes.push_back({kDriverNodes[n], errors[n], errors[n] == 0});
  }
  return nodes;
}

TEST(NodeFinding, SaysWhichNodeOrWhatToDo) {
  constexpr const char* kNone =
      "There is no device node of an IPMI driver: none of /dev/ipmidev, /dev/ipmidev/0, /dev/ipmi0 "
      "and /dev/ipmi/0.";
  constexpr const char* kLoad = "modprobe -a ipmi_si ipmi_devintf";
  constexpr const char* kMessages = "dmesg | grep -i ipmi";
  struct Case {
    std::array<int, 4> errors;
    bool has_driver;
    bool is_root;
    Gravity gravity;
    const char* sentence;
    const char* command;
  };
  const Case cases[] = {
      {{0, ENOTDIR, 0, ENOENT},
       false,
       true,
       Gravity::kGood,
       "The driver's node is /dev/ipmidev.",
       ""},
      {{EISDIR, 0, 0, 0}, false, true, Gravity::kGood, "The driver's node is /dev/ipmidev/0.", ""},
      {{ENOENT, ENOENT, 0, ENOENT},
       true,
       false,
       Gravity::kGood,
       "The driver's node is /dev/ipmi0.",
       ""},
      {{EACCES, ENOTDIR, ENOENT, 0},
       true,
       true,
       Gravity::kGood,
       "The driver's node is /dev/ipmi/0.",
       ""},
      {{ENOENT, ENOENT, ENOENT, ENOENT}, false, true, Gravity::kProblem, kNone, kLoad},
      {{EISDIR, ENOENT, ENOENT, ENOTDIR}, true, true, Gravity::kProblem, kNone, kMessages},
      {{ENOENT, ENOENT, EACCES, ENOENT},
       true,
       false,
       Gravity::kProblem,
       "/dev/ipmi0 may not be opened: Permission denied.",
       "sudo tarvekctl doctor"},
      {{ENOENT, ENOENT, ENXIO, EPERM},
       true,
       true,
       Gravity::kProblem,
       "/dev/ipmi/0 may not be opened: Operation not permitted.",
       ""},
      {{ENOENT, ENOENT, ENXIO, ENOENT},
       false,
       true,
       Gravity::kProblem,
       "/dev/ipmi0 cannot be opened: No such device or address.",
       kLoad},
      {{ENODEV, ENOENT, ENOENT, ENOENT},
       true,
       true,
       Gravity::kProblem,
       "/dev/ipmidev cannot be opened: No such device.",
       kMessages},
  };
  for (const Case& c : cases) {
    const Finding finding = NodeFinding(Nodes(c.errors), c.has_driver, c.is_root);
    EXPECT_EQ(finding.subject, "node");
    EXPECT_EQ(finding.gravity, c.gravity) << c.sentence;
    EXPECT_EQ(finding.sentence, c.sentence);
    EXPECT_EQ(finding.command, c.command) << c.sentence;
    EXPECT_EQ(finding.remedy.empty(), c.gravity == Gravity::kGood) << c.sentence;
  }
}

TEST(NodeFinding, WhatIsNoDeviceIsInTheWay) {
  std::vector<NodeLook> nodes = Nodes({ENOENT, ENOENT, 0, 0});
  nodes[2].is_device = false;
  const Finding finding = NodeFinding(nodes, true, true);
  EXPECT_EQ(finding.gravity, Gravity::kProblem);
  EXPECT_EQ(finding.sentence, "/dev/ipmi0 is no device, yet it would be taken for the driver's.");
  EXPECT_EQ(finding.command, "rm -d /dev/ipmi0");
  EXPECT_FALSE(ToolsNode(nodes)->is_device);
}

}  // namespace
}  // namespace tarvek::control
