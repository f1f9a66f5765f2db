#include "control/doctor/device_users.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

TEST(DeviceUsers, AreToldByWhatTheirDescriptorsAre) {
  const ScratchDirectory proc;
  proc.Write("1/comm", "init\n");
  proc.MakeLink("1/fd/0", "/dev/null");
  proc.Write("812/comm", "ipmievd\n");
  proc.MakeLink("812/fd/0", "/dev/null");
  proc.MakeLink("812/fd/7", "/dev/ipmi0");
  proc.MakeLink("812/fd/8", "/dev/ipmi0");
  proc.Write("90/comm", "odd (name\n)\n");
  proc.MakeLink("90/fd/3", "/dev/ipmidev");
  proc.MakeLink("91/fd/3", "/dev/ipmi01");
  proc.MakeLink("92/fd/3", "/dev/ipmi0 (deleted)");
  proc.MakeLink("self/fd/3", "/dev/ipmi0");
  proc.MakeLink(std::to_string(getpid()) + "/fd/3", "/dev/ipmi0");
  proc.Write("93/comm", "gone\n");  // without descriptors
  DeviceUsers found = FindDeviceUsers(proc.Path(""));
  std::sort(found.users.begin(), found.users.end(),
            [](const DeviceUser& a, const DeviceUser& b) { return a.pid < b.pid; });
  ASSERT_EQ(found.users.size(), 2U);
  EXPECT_EQ(found.users[0].pid, 90);
  EXPECT_EQ(found.users[0].name, "odd (name");
  EXPECT_EQ(found.users[0].node, "/dev/ipmidev");
  EXPECT_EQ(found.users[1].pid, 812);
  EXPECT_EQ(found.users[1].name, "ipmievd");
  EXPECT_EQ(found.unseen, 0);
  const Finding finding = DeviceUsersFinding(found);
  EXPECT_EQ(finding.subject, "programs");
  EXPECT_EQ(finding.gravity, Gravity::kNote);
  EXPECT_EQ(finding.sentence,
            "The BMC is used by odd (name (process 90, /dev/ipmidev) and ipmievd (process 812, "
            "/dev/ipmi0).");
}

TEST(DeviceUsers, ManyAreNotAllNamed) {
  DeviceUsers found;
  for (int n = 1; n <= 20; ++n) found.users.push_back({n, "p", "/dev/ipmi0"});
  found.unseen = 3;
  const std::string sentence = DeviceUsersFinding(found).sentence;
  EXPECT_NE(sentence.find("p (process 8, /dev/ipmi0) and 12 more; 3 processes could not be looked "
                          "at."),
            std::string::npos)
      << sentence;
}

TEST(DeviceUsers, NoneIsGood) {
  EXPECT_EQ(DeviceUsersFinding({}).sentence, "No program has the driver's node open.");
  EXPECT_EQ(DeviceUsersFinding({}).gravity, Gravity::kGood);
  EXPECT_EQ(DeviceUsersFinding({{}, 2}).sentence,
            "No program has the driver's node open; 2 processes could not be looked at.");
}

}  // namespace
}  // namespace tarvek::control
