// What tarvekctl does to files, its own and others, and what files may do to it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>

#include "tests/control/control_server.h"

namespace control_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class Files : public ControlServer {
 public:
  void SetUp() override {
    ControlServer::SetUp();
    CreateServer();
    WriteInput(SdrSet(3, "SDR Version 01.03"));
    KeepBefore();
  }

 protected:
  /// Everything below a directory: what it is, and what it holds.
  std::map<std::string, std::string> Listing(const fs::path& directory) {
    std::map<std::string, std::string> listing;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
      struct stat info {};
      lstat(entry.path().c_str(), &info);
      std::string what = std::to_string(info.st_ino) + ' ' + std::to_string(info.st_mode) + ' ' +
                         std::to_string(info.st_mtim.tv_sec) + '.' +
                         std::to_string(info.st_mtim.tv_nsec);
      if (entry.is_regular_file() && !entry.is_symlink()) {
        std::ifstream file(entry.path(), std::ios::binary);
        what.append(std::istreambuf_iterator<char>(file), {});
      }
      listing[entry.path().string()] = what;
    }
    return listing;
  }

  /// Runs a command that is to end soon.
  Said Soon(const Words& words) {
    const auto began = std::chrono::steady_clock::now();
    Said said = Ctl(words);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    return said;
  }
};

TEST_F(Files, OfTheCallersDirectoryAreNeverWritten) {
  Write("new.cfg", "CONFIGURATION \"Board\"\nSDRNAME new.sdr\n");
  const auto listing = Listing(directory());
  struct stat before {};
  stat(directory().c_str(), &before);
  RunOptions failing;
  failing.fault = "oem-add@3: cc C1";
  Ctl({"update", "new.sdr"}, failing);
  failing.fault = "oem-add@3: signal KILL";
  Ctl({"update", "new.cfg"}, failing);
  for (const Words& words :
       {Words{"plan", "new.sdr"}, Words{"status"}, Words{"update", "new.cfg"}, Words{"history"},
        Words{"update", "gone.sdr"}, Words{"restore", "new.sdr"}, Words{"show", "x"},
        Words{"update", "new.sdr", "--force", "--reprogram"}}) {
    Ctl(words);
    EXPECT_EQ(Listing(directory()), listing) << words[0];
  }
  struct stat after {};
  stat(directory().c_str(), &after);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
}

TEST_F(Files, AReadOnlyDirectoryIsEnough) {
  if (mount("none", Path("").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
  Write("mchk_fil", "01a3\n");
  WriteInput(SdrSet(3, "SDR Version 01.03"));
  ASSERT_EQ(mount("none", Path("").c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(Ctl({"update", Path("new.sdr")}).outcome.exit_status, 0);
  umount2(Path("").c_str(), MNT_DETACH);
}

// ---- links that somebody has put there

TEST_F(Files, OfTheStateAreNotFollowedElsewhere) {
  const fs::path elsewhere = base() / "elsewhere";
  for (const char* const name : {"runs", "backups"}) {
    fs::create_directory(elsewhere);
    fs::create_directory_symlink(elsewhere, StatePath(name));
    EXPECT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 4) << name;
    EXPECT_TRUE(fs::is_empty(elsewhere));
    fs::remove_all(state_directory());
    fs::create_directory(state_directory());
    fs::remove_all(elsewhere);
  }
  std::ofstream(elsewhere) << "precious";
  fs::create_symlink(elsewhere, StatePath("lock"));
  EXPECT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 4);
  fs::remove(StatePath("lock"));
  fs::create_symlink(elsewhere, StatePath("state.json"));
  EXPECT_EQ(Ctl({"status"}).outcome.exit_status, 0);
  EXPECT_FALSE(fs::is_symlink(StatePath("state.json")));
  std::string text;
  std::getline(std::ifstream(elsewhere), text);
  EXPECT_EQ(text, "precious");
  EXPECT_EQ(Repository(), before());
}

TEST_F(Files, AtABackupsNameAreNeitherFollowedNorReplacedUnasked) {
  Write("precious", "precious");
  fs::create_symlink("precious", Path("link.bak"));
  fs::create_symlink("nowhere", Path("dangling.bak"));
  for (const char* const name : {"link.bak", "dangling.bak", "precious"}) {
    EXPECT_EQ(Ctl({"backup", name}).outcome.exit_status, 3) << name;
  }
  EXPECT_EQ(Read("precious"), "precious");
  EXPECT_FALSE(Exists("nowhere"));
  for (const char* const name : {"link.bak", "dangling.bak"}) {
    EXPECT_EQ(Ctl({"backup", name, "--overwrite"}).outcome.exit_status, 0) << name;
    EXPECT_FALSE(fs::is_symlink(Path(name)));
  }
  EXPECT_EQ(Read("precious"), "precious");
  EXPECT_FALSE(Exists("nowhere"));
  constexpr std::size_t kHeaders = 128;  // bytes; they tell when the image was made
  EXPECT_EQ(Read("link.bak").substr(kHeaders), Read("dangling.bak").substr(kHeaders));
}

TEST_F(Files, AtTheMetricsNameAreReplacedAndNotFollowed) {
  Write("precious", "precious");
  fs::create_symlink("precious", Path("tarvek.prom"));
  EXPECT_EQ(People({"status", "--format", "prometheus", "--output", "tarvek.prom"}).exit_status, 0);
  EXPECT_FALSE(fs::is_symlink(Path("tarvek.prom")));
  EXPECT_EQ(Read("precious"), "precious");
}

TEST_F(Files, OfAStateThatOthersMayWriteToAreNotTrusted) {
  fs::permissions(state_directory(), fs::perms::all);
  EXPECT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 4);
  EXPECT_EQ(Repository(), before());
}

TEST_F(Files, OfARunAreItsOwnersAloneAndABackupToo) {
  ASSERT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  ASSERT_EQ(Ctl({"backup", "new.bak"}).outcome.exit_status, 0);
  for (const auto& entry : fs::recursive_directory_iterator(StatePath("runs"))) {
    if (entry.path().parent_path().filename() == "work")
      continue;  // the tool's own are behind 0700
    EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all),
              fs::perms::none)
        << entry.path();
  }
  EXPECT_EQ(fs::status(Path("new.bak")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
}

// ---- files that are none

TEST_F(Files, ThatAreNoneAreRefusedAndNotWaitedFor) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  fs::create_directory(Path("folder"));
  fs::create_symlink("pipe", Path("link"));
  fs::create_symlink("loop", Path("loop"));
  { std::ofstream sparse(Path("sparse")); }
  ASSERT_EQ(truncate(Path("sparse").c_str(), off_t{1} << 42), 0);
  for (const char* const name :
       {"pipe", "folder", "link", "loop", "sparse", "/dev/zero", "/dev/null", "/dev/tty",
        "/dev/stdin", "/proc/self/mem", "/proc/kmsg"}) {
    for (const char* const command : {"plan", "update", "restore"}) {
      const Said said = Soon({command, name});
      EXPECT_EQ(said.outcome.exit_status, 3) << command << ' ' << name;
    }
  }
  EXPECT_EQ(Soon({"update", "-"}).outcome.exit_status, 64);
  EXPECT_EQ(Repository(), before());
}

TEST_F(Files, OfBoardsThatAreNoneAreRefused) {
  Remove("mchk_fil");
  ASSERT_EQ(mkfifo(Path("mchk_fil").c_str(), 0600), 0);
  EXPECT_EQ(Soon({"update", "new.sdr"}).outcome.exit_status, 3);
  for (const char* const name : {"/dev/zero", "mchk_fil", "."}) {
    EXPECT_EQ(Soon({"update", "new.sdr", "--boards", name}).outcome.exit_status, 3);
  }
}

TEST_F(Files, ThatAScriptNamesAreWaitedForNeither) {
  ASSERT_EQ(mkfifo(Path("pipe.sdr").c_str(), 0600), 0);
  Write("new.cfg", "CONFIGURATION \"Board\"\nSDRNAME pipe.sdr\n");
  EXPECT_EQ(Soon({"update", "new.cfg"}).outcome.exit_status, 3);
}

TEST_F(Files, InTheStateThatAreNoneAreNotWaitedFor) {
  for (const char* const name : {"state.json", "lock"}) {
    fs::remove(StatePath(name));
    ASSERT_EQ(mkfifo(StatePath(name).c_str(), 0600), 0);
    const int status = Soon({"status"}).outcome.exit_status;
    EXPECT_TRUE(status == 0 || status == 4) << name << status;
    fs::remove(StatePath(name));
  }
  fs::create_directories(StatePath("runs/20010101-000000-00000000"));
  ASSERT_EQ(mkfifo(StatePath("runs/20010101-000000-00000000/result.json").c_str(), 0600), 0);
  EXPECT_EQ(Soon({"history"}).outcome.exit_status, 0);
  Soon({"show", "20010101-000000-00000000"});
  EXPECT_EQ(Soon({"update", "new.sdr"}).outcome.exit_status, 0);
}

TEST_F(Files, AtABackupsNameThatAreNoneAreRefused) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(Soon({"backup", "pipe"}).outcome.exit_status, 3);
  EXPECT_EQ(Soon({"backup", "/dev/null"}).outcome.exit_status, 3);
  const int folder = Soon({"backup", "."}).outcome.exit_status;
  EXPECT_TRUE(folder == 3 || folder == 4) << folder;
}

// ---- a full disk

class SmallDisk : public Files {
 public:
  void SetUp() override {
    Files::SetUp();
    if (mount("tmpfs", state_directory().c_str(), "tmpfs", 0, "size=4096k,mode=0700") != 0) {
      GTEST_SKIP() << "no mounts here";
    }
  }
  void TearDown() override {
    umount2(state_directory().c_str(), MNT_DETACH);
    Files::TearDown();
  }

 protected:
  void Fill(std::size_t leave) {
    std::ofstream file(StatePath("filler"), std::ios::binary);
    const std::string piece(4096, 'x');
    while (file.write(piece.data(), static_cast<std::streamsize>(piece.size())).flush()) {
    }
    file.close();
    fs::resize_file(StatePath("filler"), fs::file_size(StatePath("filler")) - leave);
  }
};

TEST_F(SmallDisk, ThatIsFullBeforeARunRefusesIt) {
  constexpr std::size_t kRoomForABackup = 524288;
  for (const std::size_t left :
       {std::size_t{0}, std::size_t{8192}, std::size_t{65536}, kRoomForABackup}) {
    Fill(left);
    const Said said = Ctl({"update", "new.sdr"});
    EXPECT_EQ(said.outcome.exit_status, 4) << left;
    EXPECT_EQ(said.result["changed"], false);
    EXPECT_EQ(Repository(), before());
    if (left == kRoomForABackup) {
      // What was saved before the disk was full is told.
      EXPECT_EQ(said.result["version_before"], "01.02");
      EXPECT_TRUE(fs::exists(said.result["backup"].get<std::string>()));
    }
    fs::remove(StatePath("filler"));
  }
  EXPECT_EQ(Ctl({"update", "new.sdr"}).outcome.exit_status, 0);
  ExpectNothingLeft();
}

TEST_F(SmallDisk, ThatFillsDuringARunDoesNotHideWhatItCameTo) {
  RunOptions stops;
  stops.fault = "oem-add@3: signal STOP";
  const Started update = StartCtl({"update", "new.sdr"}, stops);
  const pid_t tool = StoppedToolOf(update.pid);
  Fill(0);
  kill(tool, SIGCONT);
  const Said said = Finish(update);
  ASSERT_TRUE(said.result.is_object());
  const std::string run = said.result["run"];
  // The tool may need room itself; what is told is true in either case.
  if (said.outcome.exit_status == 0) {
    EXPECT_EQ(Repository(), input());
  } else {
    EXPECT_EQ(Repository(), before());
    EXPECT_EQ(said.result["in_service"], "previous");
  }
  fs::remove(StatePath("filler"));
  EXPECT_EQ(Ctl({"show", run}).result["in_service"], said.result["in_service"]);
}

}  // namespace
}  // namespace control_test
