#include "control/doctor/kernel_modules.h"

#include <gtest/gtest.h>

namespace tarvek::control {
namespace {

constexpr const char* kAllAvailable =
    "kernel/drivers/char/ipmi/ipmi_msghandler.ko:\n"
    "kernel/drivers/char/ipmi/ipmi_devintf.ko.xz: kernel/drivers/char/ipmi/ipmi_msghandler.ko.xz\n"
    "kernel/drivers/char/ipmi/ipmi_si.ko.zst: kernel/drivers/char/ipmi/ipmi_msghandler.ko\n";
constexpr const char* kAllLoaded =
    "ipmi_si 73728 0 - Live 0x0000000000000000\n"
    "ipmi_devintf 20480 0 - Live 0x0000000000000000\n"
    "ipmi_msghandler 69632 2 ipmi_si,ipmi_devintf, Live 0x0000000000000000\n";

ModuleTexts Texts(const char* loaded, const char* built_in, const char* available,
                  const std::vector<ModprobeFile>& modprobe = {}) {
  return {"6.1.0-1-amd64", loaded, built_in, available, modprobe};
}

TEST(KernelModule, IsFoundInTheKernelsLists) {
  struct Case {
    ModuleTexts texts;
    ModuleState state;
  };
  const Case cases[] = {
      {Texts("", "", ""), ModuleState::kMissing},
      {Texts(kAllLoaded, "", ""), ModuleState::kLoaded},
      {Texts("ipmi_si", "", ""), ModuleState::kLoaded},
      {Texts("ipmi_six 1 0\nx_ipmi_si 1 0\nx 1 1 ipmi_si\n", "", ""), ModuleState::kMissing},
      {Texts("", "kernel/drivers/char/ipmi/ipmi_si.ko\n", kAllAvailable), ModuleState::kBuiltIn},
      {Texts("", "ipmi-si.ko", ""), ModuleState::kBuiltIn},
      {Texts("", "kernel/ipmi_si\nipmi_si.ko/x\nxipmi_si.ko\nipmi_si2.ko\n", ""),
       ModuleState::kMissing},
      {Texts("", "", kAllAvailable), ModuleState::kAvailable},
      {Texts("", "", "updates/ipmi-si.ko.gz:"), ModuleState::kAvailable},
      {Texts("", "", "a/other.ko: kernel/drivers/char/ipmi/ipmi_si.ko\n"), ModuleState::kMissing},
      {Texts("\n\n \n", "\n/\n.ko\n", ":\n::\n"), ModuleState::kMissing},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(LookAtModule("ipmi_si", c.texts).state, c.state)
        << c.texts.loaded << c.texts.built_in << c.texts.available;
  }
}

TEST(KernelModule, IsHeldBackByModprobesFiles) {
  struct Case {
    const char* text;
    ModuleState state;
    const char* place;
  };
  const Case cases[] = {
      {"", ModuleState::kAvailable, ""},
      {"blacklist ipmi_si\n", ModuleState::kBlacklisted, "x.conf:1"},
      {"# none\n\n \t blacklist\tipmi-si # why", ModuleState::kBlacklisted, "x.conf:3"},
      {"#blacklist ipmi_si\n# blacklist ipmi_si\n", ModuleState::kAvailable, ""},
      {"blacklist ipmi_si2\nblacklist ipmi\nblacklist\n", ModuleState::kAvailable, ""},
      {"install ipmi_si /bin/false\n", ModuleState::kBlocked, "x.conf:1"},
      {"install ipmi_si /bin/true", ModuleState::kBlocked, "x.conf:1"},
      {"install ipmi_si\n", ModuleState::kBlocked, "x.conf:1"},
      {"install ipmi_si /sbin/modprobe --ignore-install ipmi_si; true\n", ModuleState::kAvailable,
       ""},
      {"install ipmi_si insmod /x.ko\n", ModuleState::kAvailable, ""},
      {"install ipmi_devintf /bin/false\n", ModuleState::kAvailable, ""},
      {"remove ipmi_si /bin/false\noptions ipmi_si type=kcs\nalias x ipmi_si\n",
       ModuleState::kAvailable, ""},
      {"blacklist ipmi_si\ninstall ipmi_si /bin/false\n", ModuleState::kBlocked, "x.conf:2"},
      {"install ipmi_si /bin/false\nblacklist ipmi_si\n", ModuleState::kBlocked, "x.conf:1"},
      {"blacklist x\ninstall \\\n  ipmi_si \\\n /bin/false\n", ModuleState::kBlocked, "x.conf:2"},
      {"install ipmi_si \\", ModuleState::kBlocked, "x.conf:1"},
  };
  for (const Case& c : cases) {
    const Module module =
        LookAtModule("ipmi_si", Texts("", "", kAllAvailable, {{"x.conf", c.text}}));
    EXPECT_EQ(module.state, c.state) << c.text;
    EXPECT_EQ(module.place, c.place) << c.text;
  }
}

TEST(KernelModule, OneThatIsLoadedIsHeldBackNoMore) {
  const std::vector<ModprobeFile> files{{"x.conf", "install ipmi_si /bin/false\n"}};
  EXPECT_EQ(LookAtModule("ipmi_si", Texts(kAllLoaded, "", "", files)).state, ModuleState::kLoaded);
}

TEST(ModulesFinding, SaysWhatToDo) {
  struct Case {
    ModuleTexts texts;
    Gravity gravity;
    const char* sentence;
    const char* command;
  };
  const Case cases[] = {
      {Texts(kAllLoaded, "", kAllAvailable), Gravity::kGood,
       "The kernel's modules: ipmi_msghandler loaded, ipmi_devintf loaded and ipmi_si loaded.", ""},
      {Texts("", "", kAllAvailable), Gravity::kProblem,
       "Not loaded: ipmi_msghandler, ipmi_devintf and ipmi_si.",
       "modprobe -a ipmi_si ipmi_devintf"},
      {Texts("", "ipmi_msghandler.ko\nipmi_si.ko", kAllAvailable), Gravity::kProblem,
       "Not loaded: ipmi_devintf.", "modprobe -a ipmi_si ipmi_devintf"},
      {Texts("", "", kAllAvailable, {{"/etc/modprobe.d/a.conf", "blacklist ipmi_si"}}),
       Gravity::kProblem, "Not loaded by itself because of /etc/modprobe.d/a.conf:1: ipmi_si.",
       "modprobe -a ipmi_si ipmi_devintf"},
      {Texts("", "", kAllAvailable,
             {{"a.conf", "blacklist ipmi_devintf"}, {"b.conf", "\ninstall ipmi_si /bin/false"}}),
       Gravity::kProblem, "Kept from being loaded by b.conf:2: ipmi_si.",
       "modprobe --ignore-install -a ipmi_si ipmi_devintf"},
      {Texts("", "ipmi_msghandler.ko", "x.ko:"), Gravity::kProblem,
       "The kernel 6.1.0-1-amd64 has no ipmi_devintf and ipmi_si.", ""},
      {Texts("", "", ""), Gravity::kProblem,
       "The modules of the running kernel, 6.1.0-1-amd64, are not on this machine.", ""},
  };
  for (const Case& c : cases) {
    const Finding finding = ModulesFinding(c.texts, false);
    EXPECT_EQ(finding.subject, "modules");
    EXPECT_EQ(finding.gravity, c.gravity) << c.sentence;
    EXPECT_EQ(finding.sentence, c.sentence);
    EXPECT_EQ(finding.command, c.command) << c.sentence;
    EXPECT_EQ(finding.remedy.empty(), c.gravity == Gravity::kGood) << c.sentence;
    EXPECT_EQ(HasDriver(c.texts), c.gravity == Gravity::kGood);
  }
}

TEST(ModulesFinding, NothingIsMissedWhereANodeIs) {
  const Finding finding = ModulesFinding(Texts("", "ipmi_si.ko", ""), true);
  EXPECT_EQ(finding.gravity, Gravity::kGood);
  EXPECT_EQ(finding.sentence,
            "The kernel's modules: ipmi_msghandler missing, ipmi_devintf missing and ipmi_si built "
            "in; the node that is there needs no more.");
}

}  // namespace
}  // namespace tarvek::control
