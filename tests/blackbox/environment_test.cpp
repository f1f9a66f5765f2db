// What surrounds a run: broken consoles, large logs, and files that are not files.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

class Environment : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(1);
    Write("BMCSDR.SDR", SdrText(SdrSet(2)));
  }

  /// Runs an update through a shell command that has "$@" in place of the tool.
  Outcome UpdateThrough(const std::string& command) {
    RunOptions options;
    options.launcher = {"--", "/bin/sh", "-c", "shift; " + command, "sh"};
    return Tarvek({"-update", "-sdr", "-display"}, options);
  }

  void ExpectComplete() {
    EXPECT_EQ(Read("Update_normal.xml"), ResultText("Complete"));
    EXPECT_EQ(Repository(), HexOf(SdrSet(2)));
    EXPECT_FALSE(LockExists());
  }
};

TEST_F(Environment, MayLoseItsConsole) {
  EXPECT_EQ(UpdateThrough("\"$@\" | true").exit_status, 0);
  ExpectComplete();
}

TEST_F(Environment, MayHaveAFullConsole) {
  EXPECT_EQ(UpdateThrough("exec \"$@\" >/dev/full").exit_status, 0);
  ExpectComplete();
}

TEST_F(Environment, MayLimitTheSizeOfFiles) {
  Write("tarvek.log", std::string(16384, 'x') + "\n");
  EXPECT_EQ(UpdateThrough("ulimit -f 8; exec \"$@\"").exit_status, 0);
  ExpectComplete();
}

TEST_F(Environment, MayHavePipesInPlaceOfItsOutputs) {
  for (const char* name : {"tarvek.log", "sdrversion_HW", "Get_ratio.xml_tmp"}) {
    ASSERT_EQ(mkfifo(Path(name).c_str(), 0600), 0);
  }
  EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
  ExpectComplete();
}

TEST_F(Environment, MayHaveAPipeInPlaceOfTheResult) {
  ASSERT_EQ(mkfifo(Path("Update_normal.xml").c_str(), 0600), 0);
  EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
  EXPECT_EQ(Repository(), HexOf(SdrSet(2)));
}

TEST_F(Environment, MayHaveAPipeOrADeviceInPlaceOfItsInputs) {
  for (const char* name : {"BMCSDR.SDR", "mchk_fil"}) {
    for (const bool pipe : {true, false}) {
      SCOPED_TRACE(name);
      CreateServer(1);
      Write("BMCSDR.SDR", SdrText(SdrSet(2)));
      Remove(name);
      if (pipe) {
        ASSERT_EQ(mkfifo(Path(name).c_str(), 0600), 0);
      } else {
        std::filesystem::create_symlink("/dev/zero", Path(name));
      }
      const std::vector<std::string> before = Repository();
      EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
      EXPECT_NE(Read("Update_normal.xml"), ResultText("Complete"));
      EXPECT_EQ(Repository(), before);
      EXPECT_FALSE(LockExists());
      Remove(name);
    }
  }
}

TEST_F(Environment, MayHaveTheNullDeviceInPlaceOfItsInputsAsAnEmptyFile) {
  struct Row {
    std::vector<std::string> arguments;
    const char* code;
  };
  const std::vector<std::string> before = Repository();
  for (const Row& row : {Row{{"-update", "-force", "-cfg", "/dev/null"}, "Complete"},
                         {{"-update", "-force", "-bin", "/dev/null"}, "SDR031"},
                         {{"-update", "-force", "-sdr", "/dev/null"}, "SDR068"},
                         {{"-update", "-force", "-cfg", "/dev/zero"}, "SDR067"},
                         {{"-update", "-force", "-bin", "/dev/zero"}, "SDR066"}}) {
    SCOPED_TRACE(row.arguments.back());
    EXPECT_EQ(Tarvek(row.arguments).exit_status, 0);
    EXPECT_EQ(Read("Update_force.xml"), ResultText(row.code));
    EXPECT_EQ(Repository(), before);
  }
}

TEST_F(Environment, MayHaveTheNullDeviceInPlaceOfTheBoardsAndTheCache) {
  std::filesystem::create_symlink("/dev/null", Path("sdrversion_HW"));
  EXPECT_EQ(Tarvek({"-version", "-sdr"}).exit_status, 0);
  EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
  Remove("mchk_fil");
  std::filesystem::create_symlink("/dev/null", Path("mchk_fil"));
  EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
  EXPECT_EQ(Read("Update_normal.xml"), ResultText("SDRC04"));
}

TEST_F(Environment, MayLeadAProgressQueryToAFileThatIsRootsAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give links away";
  constexpr uid_t kStranger = 12345;
  Write("secret", "the password");
  std::filesystem::create_symlink("secret", Path("Get_ratio.xml_tmp"));
  ASSERT_EQ(lchown(Path("Get_ratio.xml_tmp").c_str(), kStranger, kStranger), 0);
  EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
  EXPECT_EQ(Read("Get_ratio.xml"), ResultText("SDRC08"));
  Remove("Get_ratio.xml_tmp");
  std::filesystem::create_hard_link(Path("secret"), Path("Get_ratio.xml_tmp"));
  EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
  EXPECT_EQ(Read("Get_ratio.xml"), ResultText("SDRC08"));
}

TEST_F(Environment, MayLeadAProgressQueryToAFileThatIsTooLong) {
  Write("long", std::string(65537, 'x'));
  std::filesystem::create_symlink("long", Path("Get_ratio.xml_tmp"));
  EXPECT_EQ(Tarvek({"-ratio"}).exit_status, 0);
  EXPECT_EQ(Read("Get_ratio.xml"), ResultText("SDRC08"));
}

TEST_F(Environment, MayHaveDirectoriesInPlaceOfItsOutputs) {
  for (const char* name : {"tarvek.log", "sdrversion_HW", "Get_ratio.xml_tmp"}) {
    std::filesystem::create_directory(directory() / name);
  }
  EXPECT_EQ(Tarvek({"-update", "-sdr"}).exit_status, 0);
  ExpectComplete();
}

}  // namespace
}  // namespace blackbox
