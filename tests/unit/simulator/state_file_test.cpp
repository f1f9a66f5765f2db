#include "simulator/state_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "simulator/repository_text.h"
#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

namespace fs = std::filesystem;

using bmcsim::StateFile;

class StateFileTest : public BmcFixture {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "bmcsim-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
    path_ = (directory_ / "state").string();
  }
  void TearDown() override { fs::remove_all(directory_); }

  void Create() {
    std::string error;
    ASSERT_TRUE(StateFile::Create(path_, *state_, error)) << error;
  }

  std::string OpenError() {
    StateFile file;
    std::string error;
    EXPECT_FALSE(file.Open(path_, error));
    EXPECT_EQ(file.state(), nullptr);
    return error;
  }

  void Write(const std::string& bytes) { std::ofstream(path_, std::ios::binary) << bytes; }

  fs::path directory_;
  std::string path_;
};

TEST_F(StateFileTest, WhatIsCreatedIsOpened) {
  Fill({RecordOf(11, 0xAA)});
  Create();
  StateFile file;
  std::string error;
  ASSERT_TRUE(file.Open(path_, error)) << error;
  EXPECT_EQ(bmcsim::HexRepository(*file.state()), Served());
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read | fs::perms::owner_write |
                                                 fs::perms::group_read | fs::perms::others_read);
}

TEST_F(StateFileTest, CreatingLeavesNothingElseBehind) {
  Create();
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 1);
}

TEST_F(StateFileTest, AnExistingFileIsNotReplaced) {
  Write("precious");
  std::string error;
  EXPECT_FALSE(StateFile::Create(path_, *state_, error));
  EXPECT_EQ(error, "cannot create " + path_ + ": File exists");
  EXPECT_EQ(fs::file_size(path_), 8U);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory_), fs::directory_iterator()), 1);
}

TEST_F(StateFileTest, AMissingDirectoryIsTold) {
  std::string error;
  EXPECT_FALSE(StateFile::Create(path_ + "/x/y", *state_, error));
  EXPECT_EQ(error, "cannot create " + path_ + "/x/y: No such file or directory");
}

TEST_F(StateFileTest, AMissingFileIsTold) {
  EXPECT_EQ(OpenError(), "cannot use " + path_ + " as a BMC's state: No such file or directory");
}

TEST_F(StateFileTest, ForeignFilesAreRefusedUntouched) {
  for (const std::string& bytes :
       {std::string(), std::string("not a state"), std::string(sizeof(bmcsim::BmcState) - 1, 'x'),
        std::string(sizeof(bmcsim::BmcState) + 1, '\0')}) {
    Write(bytes);
    EXPECT_EQ(OpenError(), "cannot use " + path_ +
                               " as a BMC's state: it is not a simulated BMC's state (its size is "
                               "another)");
    EXPECT_EQ(fs::file_size(path_), bytes.size());
  }
  Write(std::string(sizeof(bmcsim::BmcState), 'x'));
  EXPECT_EQ(OpenError(),
            "cannot use " + path_ + " as a BMC's state: it is not a simulated BMC's state");
}

TEST_F(StateFileTest, OtherThingsThanFilesAreRefused) {
  fs::create_directory(path_);
  EXPECT_EQ(OpenError(), "cannot use " + path_ + " as a BMC's state: Is a directory");
  fs::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(OpenError(), "cannot use " + path_ + " as a BMC's state: it is not a regular file");
}

TEST_F(StateFileTest, SpoiltFilesAreRefused) {
  Create();
  {
    StateFile file;
    std::string error;
    ASSERT_TRUE(file.Open(path_, error)) << error;
    file.state()->active = 7;
  }
  EXPECT_EQ(OpenError(),
            "cannot use " + path_ + " as a BMC's state: its active slot is neither 0 nor 1");
}

TEST_F(StateFileTest, TwoUsersSeeTheSameMemory) {
  Create();
  StateFile one;
  StateFile two;
  std::string error;
  ASSERT_TRUE(one.Open(path_, error)) << error;
  ASSERT_TRUE(two.Open(path_, error)) << error;
  bmcsim::BmcModel first(*one.state());
  bmcsim::BmcModel second(*two.state());
  bmcsim::Answer answer;
  first.Handle(0x28, 0x22, {}, 0, answer);
  EXPECT_EQ(answer.bytes()[1], 1);
  second.Handle(0x28, 0x22, {}, 0, answer);
  EXPECT_EQ(answer.bytes()[1], 2);
}

TEST_F(StateFileTest, TheLockOfADeadProcessIsGone) {
  Create();
  const pid_t child = fork();
  if (child == 0) {
    StateFile file;
    std::string error;
    if (!file.Open(path_, error)) _exit(1);
    file.Lock();
    (void)raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  StateFile file;
  std::string error;
  ASSERT_TRUE(file.Open(path_, error)) << error;
  file.Lock();
  file.Unlock();
}

TEST_F(StateFileTest, DetachedMemoryOutlivesTheFile) {
  Fill({RecordOf(11, 0xAA)});
  Create();
  bmcsim::BmcState* memory = nullptr;
  {
    StateFile file;
    std::string error;
    ASSERT_TRUE(file.Open(path_, error)) << error;
    memory = file.Detach();
    EXPECT_EQ(file.state(), nullptr);
  }
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(bmcsim::CheckState(*memory), "");
  munmap(memory, sizeof(bmcsim::BmcState));
}

}  // namespace
}  // namespace bmcsim_test
