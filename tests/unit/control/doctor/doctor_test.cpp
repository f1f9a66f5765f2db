#include "control/doctor/doctor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "tests/unit/control/bmc/simulated_machine.h"
#include "tests/unit/control/doctor/scratch_directory.h"
#include "tests/unit/support/lock_name.h"

namespace tarvek::control {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Lines = std::vector<std::string>;

/// A server in order, but for what a test changes.
class Doctor : public ::testing::Test {
 protected:
  void SetUp() override {
    tarvek_test::UsePrivateLock();
    root_.Write("root/proc/1/maps", "");
    root_.Write("root/proc/1/environ", "PATH=/bin");
    root_.Write("root/proc/sys/kernel/osrelease", "6.1.0\n");
    root_.Write("root/proc/modules", "ipmi_si 1\nipmi_devintf 1\nipmi_msghandler 1\n");
    root_.Write("root/sys/class/dmi/id/sys_vendor", "ACME\n");
    root_.Write("tarvek", "");
    ASSERT_EQ(chmod(Path("tarvek").c_str(), 0700), 0);
    root_.Write("boards", "01A3\n");
  }

  std::string Path(const std::string& name) const { return root_.Path(name); }
  void Write(const std::string& name, const std::string& bytes) { root_.Write(name, bytes); }

  Lines Examine(SimulatedMachine& machine, const Lines& simulator = {}, bool with_boards = true,
                const char* verb = "doctor") {
    Lines words{ASKING_PROGRAM, verb, Path("root"), Path("tarvek"), Path("state")};
    if (with_boards) words.push_back(Path("boards"));
    const blackbox::Outcome outcome = machine.Run(words, simulator);
    EXPECT_EQ(outcome.exit_status, 0) << outcome.errors;
    EXPECT_TRUE(machine.IsTidy());
    Lines lines;
    std::istringstream stream(outcome.console);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }

 private:
  ScratchDirectory root_;
};

TEST_F(Doctor, FindsNothingWrongWithAServerInOrder) {
  SimulatedMachine machine;
  EXPECT_THAT(
      Examine(machine),
      ElementsAre("node: good: The driver's node is /dev/ipmi0. []",
                  StartsWith("modules: good: The kernel's modules: ipmi_msghandler loaded, "),
                  "container: good: This is no container. []",
                  "virtual-machine: good: This is no virtual machine. []",
                  "bmc: good: The BMC answers: product 01a3, manufacturer 119, firmware 1.10, IPMI "
                  "1.5, 13 records. []",
                  StartsWith("manufacturer: good: "),
                  "boards: good: " + Path("boards") + " names the product 01a3. []",
                  StartsWith("requests: good: "), StartsWith("programs: good: "),
                  "lock: good: No run holds the lock. []", StartsWith("shared-memory: good: "),
                  "tool: good: " + Path("tarvek") + " is there. []",
                  "state-directory: good: " + Path("state") + " will be made. []",
                  StartsWith("space: ")));
  EXPECT_THAT(machine.Requests(),
              ElementsAre("18 01", "28 20", "18 01", "28 20", "28 23 00 00 00 00 00 05", "F8 E0"));
}

TEST_F(Doctor, WithoutANodeTellsWhyAndSendsNothing) {
  Write("root/proc/modules", "ext4 1\n");
  Write("root/lib/modules/6.1.0/modules.builtin", "kernel/ipmi_msghandler.ko\n");
  Write("root/lib/modules/6.1.0/modules.dep", "kernel/ipmi_si.ko:\nkernel/ipmi_devintf.ko:\n");
  Write("root/etc/modprobe.d/ipmi.conf", "# not here\ninstall ipmi_si /bin/false\n");
  Write("root/lib/modprobe.d/ipmi.conf", "install ipmi_devintf /bin/false\n");  // not in force
  Write("root/lib/modprobe.d/ipmi.conf~", "install ipmi_devintf /bin/false\n");
  Write("root/.dockerenv", "");
  Write("root/sys/class/dmi/id/product_name", "KVM\n");
  SimulatedMachine machine;
  const Lines lines = Examine(machine, {"--driver", "none"});
  ASSERT_GE(lines.size(), 5U);
  EXPECT_THAT(lines[0], StartsWith("node: problem: There is no device node of an IPMI driver"));
  EXPECT_EQ(lines[1],
            "modules: problem: Kept from being loaded by /etc/modprobe.d/ipmi.conf:2: ipmi_si. "
            "[modprobe --ignore-install -a ipmi_si ipmi_devintf]");
  EXPECT_EQ(lines[2],
            "container: problem: This is a container (docker), which has no BMC of its own. []");
  EXPECT_THAT(lines[3], StartsWith("virtual-machine: problem: This is a virtual machine (KVM)"));
  EXPECT_THAT(lines[4], StartsWith("programs: "));
  EXPECT_THAT(machine.Requests(), IsEmpty());
}

TEST_F(Doctor, ABmcThatFailsIsAProblemAndNothingMoreIsAskedOfIt) {
  SimulatedMachine machine;
  const Lines lines = Examine(machine, {"--fault", "get-device-id: cc C1"});
  EXPECT_THAT(lines, Contains("bmc: problem: Get Device ID was refused with completion code C1. "
                              "[tarvekctl doctor]"));
  EXPECT_THAT(lines, Not(Contains(StartsWith("requests: "))));
  EXPECT_THAT(machine.Requests(), ElementsAre("18 01"));
}

TEST_F(Doctor, AnotherMakersBmcIsToldAndNeverAskedTheMakersRequests) {
  SimulatedMachine machine({"--manufacturer", "570100", "--product", "0B00"});
  const Lines lines = Examine(machine);
  EXPECT_THAT(lines,
              Contains(StartsWith("manufacturer: problem: The BMC's manufacturer ID is 343")));
  EXPECT_THAT(lines, Contains("boards: problem: " + Path("boards") +
                              " does not name the product 0b00. []"));
  EXPECT_THAT(machine.Requests(), Not(Contains(StartsWith("F8"))));
  EXPECT_THAT(Examine(machine, {}, false), Not(Contains(StartsWith("boards: "))));
}

TEST_F(Doctor, ALockThatWasLeftBehindIsTold) {
  tarvek_test::RemoveLock();
  tarvek_test::TakeLockAsAnotherRun();
  SimulatedMachine machine;
  const Lines lines = Examine(machine);
  tarvek_test::RemoveLock();
  EXPECT_THAT(lines, Contains("lock: problem: A run that is gone has left the lock behind. "
                              "[tarvekctl update INPUT --break-lock]"));
}

TEST_F(Doctor, AnInterruptEndsTheExamination) {
  SimulatedMachine machine;
  for (const char* fault : {"get-device-id: silence", "get-sdr: silence"}) {
    const Lines lines = Examine(machine, {"--fault", fault}, true, "doctor-interrupted");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "1") << fault;
    EXPECT_THAT(lines, Not(Contains(StartsWith("requests: "))));
    EXPECT_THAT(lines, Not(Contains(StartsWith("lock: "))));
  }
}

TEST(Gravity, HasAName) {
  EXPECT_STREQ(GravityName(Gravity::kGood), "good");
  EXPECT_STREQ(GravityName(Gravity::kNote), "note");
  EXPECT_STREQ(GravityName(Gravity::kProblem), "problem");
}

}  // namespace
}  // namespace tarvek::control
