#include "control/doctor/surroundings.h"

#include <gtest/gtest.h>

namespace tarvek::control {
namespace {

using namespace std::string_literals;

TEST(Surroundings, AContainerIsToldByItsMarks) {
  struct Case {
    SurroundingTexts texts;
    const char* kind;
  };
  const Case cases[] = {
      {{}, ""},
      {{"systemd-nspawn\n", false, false, "", "", "", ""}, "systemd-nspawn"},
      {{"\n", false, false, "", "", "", ""}, ""},
      {{"", true, false, "", "", "", ""}, "docker"},
      {{"", false, true, "", "", "", ""}, "podman"},
      {{"lxc", true, true, "", "", "", ""}, "lxc"},
      {{"", true, false, "PATH=/bin\0container=oci\0TERM=x\0"s, "", "", ""}, "oci"},
      {{"", false, false, "container=lxc", "", "", ""}, "lxc"},
      {{"", false, false, "container=\0containers=x\0a container=y\0=\0\0x"s, "", "", ""}, ""},
  };
  for (const Case& c : cases) EXPECT_EQ(ContainerKind(c.texts), c.kind);
}

TEST(Surroundings, AVirtualMachineIsToldByItsFirmwareOrItsProcessor) {
  struct Case {
    std::string vendor;
    std::string product;
    std::string processors;
    const char* kind;
  };
  const std::string plain = "processor\t: 0\nflags\t\t: fpu vme lahf_lm\n";
  const std::string guest = "processor\t: 0\nflags\t\t: fpu hypervisor lahf_lm\n\nprocessor\t: 1\n";
  const Case cases[] = {
      {"", "", "", ""},
      {"ACME", "Server 3", plain, ""},
      {"QEMU", "Standard PC (Q35 + ICH9, 2009)", plain, "QEMU"},
      {"VMware, Inc.", "VMware7,1", guest, "VMware"},
      {"Microsoft Corporation", "Virtual Machine", guest, "Hyper-V"},
      {"Microsoft Corporation", "C2080", plain, ""},
      {"Google", "Google Compute Engine", guest, "Google Compute Engine"},
      {"innotek GmbH", "VirtualBox", guest, "VirtualBox"},
      {"Amazon EC2", "m5.metal", plain, ""},
      {"Amazon EC2", "m5.large", guest, "unknown"},
      {"ACME", "Server 3", guest, "unknown"},
      {"", "", "flags: hypervisor", ""},
      {"", "", "x\nflags\t: fpu hypervisor", "unknown"},
      {"", "", "x\nflags\t: hypervisors xhypervisor\nhypervisor\n", ""},
  };
  for (const Case& c : cases) {
    const SurroundingTexts texts{"", false, false, "", c.vendor, c.product, c.processors};
    EXPECT_EQ(VirtualMachineKind(texts), c.kind) << c.vendor << c.product << c.processors;
  }
}

TEST(Surroundings, AreAProblemOnlyWhereNoNodeIs) {
  SurroundingTexts texts;
  texts.has_docker_mark = true;
  texts.vendor = "QEMU";
  for (const bool has_node : {true, false}) {
    const std::vector<Finding> findings = SurroundingFindings(texts, has_node);
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].subject, "container");
    EXPECT_EQ(findings[0].sentence, "This is a container (docker), which has no BMC of its own.");
    EXPECT_EQ(findings[1].subject, "virtual-machine");
    EXPECT_EQ(findings[1].sentence,
              "This is a virtual machine (QEMU), which has no BMC of its own.");
    for (const Finding& finding : findings) {
      EXPECT_EQ(finding.gravity, has_node ? Gravity::kNote : Gravity::kProblem);
      EXPECT_FALSE(finding.remedy.empty());
    }
  }
  const std::vector<Finding> none = SurroundingFindings({}, false);
  ASSERT_EQ(none.size(), 2U);
  EXPECT_EQ(none[0].gravity, Gravity::kGood);
  EXPECT_EQ(none[1].gravity, Gravity::kGood);
}

}  // namespace
}  // namespace tarvek::control
