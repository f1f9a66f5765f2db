#include "simulator/launcher_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bmcsim_test {
namespace {

using bmcsim::Identity;
using bmcsim::LauncherOptions;
using Task = LauncherOptions::Task;
using ::testing::ElementsAre;

std::optional<LauncherOptions> Parse(const std::vector<const char*>& arguments,
                                     std::string& error) {
  return bmcsim::ParseLauncherOptions(arguments, error);
}

LauncherOptions Good(const std::vector<const char*>& arguments) {
  std::string error;
  auto options = Parse(arguments, error);
  EXPECT_TRUE(options.has_value()) << error;
  return options.value_or(LauncherOptions());
}

std::string Complaint(const std::vector<const char*>& arguments) {
  std::string error;
  EXPECT_FALSE(Parse(arguments, error).has_value());
  return error;
}

TEST(LauncherOptionsTest, ProgramStandsBehindTwoDashesWithAllItsArguments) {
  const LauncherOptions options = Good({"--", "tarvek", "-update", "--", "--state"});
  EXPECT_EQ(options.task, Task::kRun);
  EXPECT_THAT(options.program, ElementsAre("tarvek", "-update", "--", "--state"));
  EXPECT_EQ(options.state, "bmcsim.state");
  EXPECT_EQ(options.openipmi_node, "/dev/ipmi0");
  EXPECT_EQ(options.maker_node, "");
  EXPECT_EQ(options.set.records, 12U);
  EXPECT_EQ(options.set.version, "SDR Version 01.00");
}

TEST(LauncherOptionsTest, ValuesStandBehindTheOptionOrAnEqualsSign) {
  for (const auto& arguments :
       {std::vector<const char*>{"--state", "s", "--fault", "1: cc C5", "--trace", "t", "--clock",
                                 "virtual:5", "--stats", "u", "--", "x"},
        std::vector<const char*>{"--state=s", "--fault=1: cc C5", "--trace=t", "--clock=virtual:5",
                                 "--stats=u", "--", "x"}}) {
    const LauncherOptions options = Good(arguments);
    EXPECT_EQ(options.state, "s");
    EXPECT_EQ(options.fault, "1: cc C5");
    EXPECT_FALSE(options.strict);
    EXPECT_EQ(options.trace, "t");
    EXPECT_EQ(options.clock, "virtual:5");
    EXPECT_EQ(options.stats, "u");
  }
}

TEST(LauncherOptionsTest, DriversHaveTheirNodes) {
  struct Row {
    const char* driver;
    const char* openipmi;
    const char* maker;
  };
  for (const Row& row : {Row{"openipmi", "/dev/ipmi/0", ""}, Row{"maker", "", "/dev/ipmidev"},
                         Row{"both", "/dev/ipmi/0", "/dev/ipmidev"}, Row{"none", "", ""}}) {
    const LauncherOptions options =
        Good({"--driver", row.driver, "--node", "/dev/ipmi/0", "--", "x"});
    EXPECT_EQ(options.openipmi_node, row.openipmi) << row.driver;
    EXPECT_EQ(options.maker_node, row.maker) << row.driver;
  }
}

TEST(LauncherOptionsTest, PlansCanBeStrict) {
  EXPECT_TRUE(Good({"--strict", "--fault", "1: stuck", "--", "x"}).strict);
  EXPECT_TRUE(Good({"--fault=1: stuck", "--strict", "--serve=s"}).strict);
}

TEST(LauncherOptionsTest, TasksWithoutAProgram) {
  EXPECT_EQ(Good({"--create"}).task, Task::kCreate);
  EXPECT_EQ(Good({"--dump"}).task, Task::kDump);
  EXPECT_EQ(Good({"--dump=hex"}).task, Task::kDumpHex);
  EXPECT_EQ(Good({"--version"}).task, Task::kVersion);
  EXPECT_EQ(Good({"--help"}).task, Task::kHelp);
  EXPECT_EQ(Good({"--version", "--help", "--dump"}).task, Task::kHelp);
  const LauncherOptions both = Good({"--create", "--", "x"});
  EXPECT_EQ(both.task, Task::kRun);
  EXPECT_TRUE(both.create);
}

TEST(LauncherOptionsTest, ServingAMachineIsATaskOfItsOwn) {
  const LauncherOptions options =
      Good({"--serve", "s", "--state=t", "--fault", "1: cancel", "--trace=u", "--product", "7"});
  EXPECT_EQ(options.task, Task::kServe);
  EXPECT_EQ(options.serve, "s");
  EXPECT_EQ(options.state, "t");
  EXPECT_EQ(options.fault, "1: cancel");
  EXPECT_EQ(options.trace, "u");
  EXPECT_EQ(options.Apply(Identity()).product_id, 7);
  EXPECT_EQ(options.set.records, 12U);
  EXPECT_TRUE(Good({"--serve=s", "--create"}).create);
  EXPECT_EQ(Good({"--serve=s", "--help"}).task, Task::kHelp);
}

TEST(LauncherOptionsTest, IdentityOptionsChangeWhatTheyNameOnly) {
  const LauncherOptions options = Good({"--create",
                                        "--product",
                                        "beef",
                                        "--manufacturer",
                                        "112233",
                                        "--device-revision",
                                        "82",
                                        "--ipmi-version",
                                        "2.0",
                                        "--no-aux",
                                        "--slot",
                                        "0A0B0C",
                                        "--capacity",
                                        "131072",
                                        "--erase-polls",
                                        "0",
                                        "--max-read",
                                        "16",
                                        "--id-step",
                                        "3"});
  const Identity identity = options.Apply(Identity());
  EXPECT_EQ(identity.product_id, 0xBEEF);
  EXPECT_THAT(identity.manufacturer_id, ElementsAre(0x11, 0x22, 0x33));
  EXPECT_EQ(identity.device_revision, 0x82);
  EXPECT_EQ(identity.ipmi_version, 0x02);
  EXPECT_EQ(identity.has_auxiliary_revision, 0);
  EXPECT_EQ(identity.has_slot, 1);
  EXPECT_THAT(identity.slot, ElementsAre(0x0A, 0x0B, 0x0C));
  EXPECT_EQ(identity.capacity, 131072U);
  EXPECT_EQ(identity.erase_polls, 0U);
  EXPECT_EQ(identity.max_read, 16);
  EXPECT_EQ(identity.record_id_step, 3);
  EXPECT_EQ(identity.device_id, Identity().device_id);

  EXPECT_EQ(Good({"--ipmi-version", "1.0", "--create"}).Apply(Identity()).ipmi_version, 0x01);
  EXPECT_EQ(Good({"--ipmi-version", "1.5", "--create"}).Apply(Identity()).ipmi_version, 0x51);
  Identity other;
  other.product_id = 7;
  EXPECT_EQ(Good({"--no-aux", "--create"}).Apply(other).product_id, 7);
}

TEST(LauncherOptionsTest, SetIsExactlyWhatTheOptionsSay) {
  LauncherOptions options = Good({"--create", "--records", "0"});
  EXPECT_EQ(options.set.records, 0U);
  EXPECT_EQ(options.set.version, "");
  options = Good({"--create", "--version-text", "01.02"});
  EXPECT_EQ(options.set.records, 0U);
  EXPECT_EQ(options.set.version, "SDR Version 01.02");
  options = Good({"--create", "--version-text", "Something else", "--config-name", "BOARD"});
  EXPECT_EQ(options.set.version, "Something else");
  EXPECT_EQ(options.set.config_name, "BOARD");
  options = Good({"--create", "--version-text", "", "--records=65533"});
  EXPECT_EQ(options.set.version, "");
  EXPECT_EQ(options.set.records, 65533U);
  options = Good({"--create", "--load", "f"});
  EXPECT_EQ(options.load, "f");
  EXPECT_EQ(options.set.records, 0U);
}

TEST(LauncherOptionsTest, MistakesAreTold) {
  const std::string longest(61, 'S');
  const std::string too_long(62, 'S');
  EXPECT_EQ(Good({"--create", "--version-text", longest.c_str()}).set.version, longest);
  const std::pair<std::vector<const char*>, const char*> rows[] = {
      {{}, "there is nothing to do; --help tells more"},
      {{"--state", "s"}, "there is nothing to do; --help tells more"},
      {{"tarvek"}, "the program and its arguments come behind --, 'tarvek' does not"},
      {{"-h"}, "the program and its arguments come behind --, '-h' does not"},
      {{"--"}, "there is no program behind --"},
      {{"--what"}, "there is no option --what"},
      {{"--what=1"}, "there is no option --what"},
      {{"--state"}, "--state wants a value"},
      {{"--state", "--", "x"}, "--state wants a value"},
      {{"--state=", "--", "x"}, "--state wants a value"},
      {{"--create=1"}, "--create takes no value"},
      {{"--dump=xml"}, "--dump knows only =hex"},
      {{"--dump", "--create"}, "--dump goes with neither --create nor a program"},
      {{"--dump", "--", "x"}, "--dump goes with neither --create nor a program"},
      {{"--dump", "--product", "1"}, "--dump changes nothing about the BMC"},
      {{"--dump", "--records", "1"}, "--dump changes nothing about the BMC"},
      {{"--serve"}, "--serve wants a value"},
      {{"--serve="}, "--serve wants a value"},
      {{"--serve=s", "--dump"}, "--serve goes with neither --dump nor a program"},
      {{"--serve=s", "--", "x"}, "--serve goes with neither --dump nor a program"},
      {{"--serve=s", "--clock", "real"},
       "--clock and --stats are about a program, and --serve runs none"},
      {{"--serve=s", "--stats", "u"},
       "--clock and --stats are about a program, and --serve runs none"},
      {{"--driver", "kcs", "--", "x"}, "--driver is openipmi, maker, both or none"},
      {{"--strict", "--", "x"}, "--strict is about a fault plan, and there is none"},
      {{"--strict=1", "--fault", "1: stuck", "--", "x"}, "--strict takes no value"},
      {{"--node", "ipmi0", "--", "x"}, "--node wants an absolute path"},
      {{"--node", "/dev/ipmidev", "--", "x"}, "/dev/ipmidev is the maker's driver's node"},
      {{"--clock", "fast", "--", "x"},
       "clock 'fast': it is real, virtual or virtual:EPOCH (seconds since 1970)"},
      {{"--product", "10000", "--create"}, "--product wants a hex number, 0 to FFFF"},
      {{"--product", "x", "--create"}, "--product wants a hex number, 0 to FFFF"},
      {{"--product", "", "--create"}, "--product wants a hex number, 0 to FFFF"},
      {{"--manufacturer", "77", "--create"}, "--manufacturer wants three bytes in hex"},
      {{"--slot", "77zz00", "--create"}, "--slot wants a hex number, 0 to FFFFFF"},
      {{"--device-revision", "100", "--create"}, "--device-revision wants a hex number, 0 to FF"},
      {{"--ipmi-version", "3.0", "--create"}, "--ipmi-version is 1.0, 1.5 or 2.0"},
      {{"--capacity", "131073", "--create"}, "--capacity wants a number, 0 to 131072"},
      {{"--erase-polls", "-1", "--create"}, "--erase-polls wants a number, 0 to 1000000"},
      {{"--max-read", "0", "--create"}, "--max-read wants a number, 1 to 255"},
      {{"--id-step", "256", "--create"}, "--id-step wants a number, 1 to 255"},
      {{"--records", "65534", "--create"}, "--records wants a number, 0 to 65533"},
      {{"--version-text", too_long.c_str(), "--create"}, "--version-text is too long"},
      {{"--config-name", longest.c_str(), "--create"}, "--config-name is too long"},
  };
  for (const auto& [arguments, complaint] : rows) EXPECT_EQ(Complaint(arguments), complaint);
}

TEST(LauncherOptionsTest, HelpTellsOfEveryOptionAndTheGrammar) {
  const std::string help = bmcsim::LauncherHelp();
  for (const char* word :
       {"--state",        "--create",  "--dump",     "--help",           "--version",
        "--driver",       "--node",    "--fault",    "--strict",         "--trace",
        "--clock",        "--stats",   "--product",  "--manufacturer",   "--device-revision",
        "--ipmi-version", "--no-aux",  "--slot",     "--capacity",       "--erase-polls",
        "--max-read",     "--id-step", "--records",  "--version-text",   "--config-name",
        "--load",         "--serve",   "\n  cc XX ", "\n  silence [S] ", "oem-add@5: cancel"}) {
    EXPECT_NE(help.find(word), std::string::npos) << word;
  }
}

}  // namespace
}  // namespace bmcsim_test
