#include "driver/reporting/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/no_standard_input.h"

namespace {
bool no_streams = false;  // lets descriptors be had, but no memory for a stream
}  // namespace

extern "C" {
std::FILE* __real_fdopen(int fd, const char* mode);

std::FILE* __wrap_fdopen(int fd, const char* mode) {
  return no_streams ? nullptr : __real_fdopen(fd, mode);
}
}  // extern "C"

namespace tarvek_test {
namespace {

using InputFile = FreshRun;
using TrustedFile = FreshRun;

TEST_F(InputFile, OpensAFileForReading) {
  WriteFile("in.txt", "ab");
  std::FILE* const stream = tarvek::OpenInput("in.txt");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), 'a');
  EXPECT_EQ(std::getc(stream), 'b');
  EXPECT_EQ(std::getc(stream), EOF);
  EXPECT_EQ(std::fputc('x', stream), EOF) << "an input is not written";
  std::fclose(stream);
  EXPECT_EQ(ReadFile("in.txt"), "ab");
}

TEST_F(InputFile, FailsOnAFileThatIsNotThere) {
  EXPECT_EQ(tarvek::OpenInput("missing"), nullptr);
  EXPECT_EQ(tarvek::OpenInput(""), nullptr);
  EXPECT_FALSE(std::filesystem::exists("missing"));
}

TEST_F(InputFile, APipeWithoutAWriterIsEmptyInsteadOfHoldingTheRunUp) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::FILE* const stream = tarvek::OpenInput("pipe");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), EOF);
  std::fclose(stream);
}

TEST_F(InputFile, ADirectoryReadsAsEmpty) {
  std::FILE* const stream = tarvek::OpenInput(".");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::getc(stream), EOF);
  std::fclose(stream);
}

TEST_F(InputFile, ADeviceIsRefused) {
  EXPECT_EQ(tarvek::OpenInput("/dev/zero"), nullptr);
  std::filesystem::create_symlink("/dev/zero", "endless");
  EXPECT_EQ(tarvek::OpenInput("endless"), nullptr);
}

TEST_F(InputFile, MayHaveDescriptorZero) {
  WriteFile("in.txt", "a");
  const NoStandardInput closed;
  EXPECT_EQ(tarvek::OpenInput("/dev/zero"), nullptr);
  EXPECT_TRUE(closed.IsFree());
  std::FILE* const stream = tarvek::OpenInput("in.txt");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(fileno(stream), STDIN_FILENO);
  EXPECT_EQ(std::getc(stream), 'a');
  std::fclose(stream);
}

TEST_F(InputFile, WithoutMemoryForAStreamTheFileIsClosed) {
  WriteFile("in.txt", "a");
  const NoStandardInput closed;
  no_streams = true;
  EXPECT_EQ(tarvek::OpenInput("in.txt"), nullptr);
  EXPECT_TRUE(closed.IsFree());
  no_streams = false;
}

TEST_F(InputFile, TheNullDeviceIsAnEmptyFile) {
  std::filesystem::create_symlink("/dev/null", "nothing");
  for (const char* name : {"/dev/null", "nothing"}) {
    std::FILE* const stream = tarvek::OpenInput(name);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::getc(stream), EOF);
    EXPECT_EQ(std::ferror(stream), 0);
    EXPECT_FALSE(tarvek::IsDevice(fileno(stream)));
    std::fclose(stream);
  }
}

TEST_F(InputFile, OtherDevicesThanTheNullDeviceAreDevices) {
  for (const char* name : {"/dev/zero", "/dev/full", "/dev/urandom"}) {
    const int fd = open(name, O_RDONLY);
    EXPECT_TRUE(tarvek::IsDevice(fd)) << name;
    close(fd);
  }
  EXPECT_FALSE(tarvek::IsDevice(-1));
}

TEST(DirectoryOf, IsWhatStandsBeforeTheLastName) {
  EXPECT_EQ(tarvek::DirectoryOf("name"), ".");
  EXPECT_EQ(tarvek::DirectoryOf("/name"), "/");
  EXPECT_EQ(tarvek::DirectoryOf("../name"), "../");
  EXPECT_EQ(tarvek::DirectoryOf("/a/b/name"), "/a/b/");
  EXPECT_EQ(tarvek::DirectoryOf(""), ".");
}

/// A link "place/link" to a file that is there, in a directory of its own.
class TrustedLink : public TrustedFile {
 protected:
  static constexpr uid_t kStranger = 12345;

  void SetUp() override {
    TrustedFile::SetUp();
    std::filesystem::create_directory("place");
    std::filesystem::create_symlink("../target", "place/link");
    WriteFile("target", "old");
    if (geteuid() != 0) GTEST_SKIP() << "only root can give links away";
  }

  static void Give(const char* path, uid_t owner) { ASSERT_EQ(lchown(path, owner, owner), 0); }

  /// @return whether root opens the link, to write and to read alike; then it is the target.
  static bool Opens(const char* path = "place/link") {
    const int fd = tarvek::OpenTrusted(path, O_RDWR, 0);
    const int error = errno;
    const int input = tarvek::OpenOwnInput(path);
    EXPECT_EQ(fd >= 0, input >= 0);
    if (fd < 0) {
      EXPECT_EQ(error, ELOOP);
      return false;
    }
    for (const int opened : {fd, input}) {
      EXPECT_TRUE(IsTarget(opened));
      close(opened);
    }
    return true;
  }

  static bool Opens(uid_t link_owner, uid_t directory_owner) {
    Give("place/link", link_owner);
    Give("place", directory_owner);
    return Opens();
  }

 private:
  static bool IsTarget(int fd) {
    char bytes[4] = {};
    return read(fd, bytes, sizeof(bytes)) == 3 && std::string(bytes) == "old";
  }
};

TEST_F(TrustedLink, IsFollowedWhenRootHasMadeIt) {
  EXPECT_TRUE(Opens(0, 0));
  EXPECT_TRUE(Opens(0, kStranger));
}

TEST_F(TrustedLink, IsFollowedWhenTheDirectorysOwnerHasMadeIt) {
  EXPECT_TRUE(Opens(kStranger, kStranger));
}

TEST_F(TrustedLink, IsNotFollowedWhenAStrangerHasMadeIt) {
  EXPECT_FALSE(Opens(kStranger, 0));
  EXPECT_FALSE(Opens(kStranger, kStranger + 1));
}

TEST_F(TrustedLink, IsJudgedInTheWorkingDirectoryAlike) {
  std::filesystem::current_path("place");
  Give("link", kStranger);
  EXPECT_FALSE(Opens("link"));
  Give(".", kStranger);
  EXPECT_TRUE(Opens("link"));
  std::filesystem::current_path("..");
}

TEST_F(TrustedLink, EachOneOfAChainIsJudged) {
  std::filesystem::create_symlink("place/link", "first");
  EXPECT_TRUE(Opens("first"));
  Give("place/link", kStranger);
  EXPECT_FALSE(Opens("first"));
  Give("place", kStranger);
  EXPECT_TRUE(Opens("first"));
  Give("first", kStranger);
  EXPECT_FALSE(Opens("first"));
}

TEST_F(TrustedLink, MayLeadToAnAbsolutePathAndThroughDirectoriesThatAreLinks) {
  std::filesystem::create_directory_symlink("place", "through");
  EXPECT_TRUE(Opens("through/link"));
  std::filesystem::create_symlink(std::filesystem::current_path() / "through/link", "absolute");
  EXPECT_TRUE(Opens("absolute"));
}

TEST_F(TrustedLink, MayLeadToAFileThatIsNotThereYet) {
  std::filesystem::create_symlink("../none", "place/new");
  EXPECT_EQ(tarvek::OpenTrusted("place/new", O_WRONLY, 0), -1);
  EXPECT_EQ(errno, ENOENT);
  const int fd = tarvek::OpenTrusted("place/new", O_WRONLY | O_CREAT, 0600);
  EXPECT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(ReadFile("none"), "");
}

TEST_F(TrustedFile, AnEndlessLinkIsNotFollowed) {
  std::filesystem::create_symlink("loop", "loop");
  EXPECT_EQ(tarvek::OpenTrusted("loop", O_WRONLY | O_CREAT, 0600), -1);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_EQ(tarvek::OpenTrusted("loop/", O_RDONLY, 0), -1);
}

TEST_F(TrustedFile, MayBeADescriptorThatTheCallerHasOpen) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string name = "/dev/fd/" + std::to_string(ends[1]);
  std::filesystem::create_symlink(name, "link");
  for (const char* path : {name.c_str(), "link"}) {
    const int fd = tarvek::OpenTrusted(path, O_WRONLY | O_CREAT | O_NONBLOCK, 0600);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(write(fd, "x", 1), 1);
    close(fd);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
  }
  close(ends[0]);
  close(ends[1]);
}

TEST_F(TrustedFile, LeavesNoDescriptorOpen) {
  WriteFile("target", "old");
  std::filesystem::create_symlink("target", "link");
  std::filesystem::create_symlink("loop", "loop");
  const NoStandardInput closed;
  const int fd = tarvek::OpenTrusted("link", O_RDONLY, 0);
  EXPECT_GE(fd, 0);
  close(fd);
  EXPECT_EQ(tarvek::OpenTrusted("loop", O_RDONLY, 0), -1);
  EXPECT_EQ(tarvek::OpenOwnInput("/dev/zero"), -1);
  EXPECT_TRUE(closed.IsFree());
}

/// While a link is judged it may be exchanged: what is opened must not be the other one's target.
TEST_F(TrustedLink, CannotBeExchangedBetweenItsJudgementAndItsUse) {
  WriteFile("secret", "other");
  std::filesystem::create_symlink("../secret", "theirs");
  Give("theirs", kStranger);
  std::atomic<bool> done = false;
  std::thread stranger([&] {
    while (!done) {
      renameat2(AT_FDCWD, "theirs", AT_FDCWD, "place/link", RENAME_EXCHANGE);
    }
  });
  for (int i = 0; i < 20000; ++i) {
    const int fd = tarvek::OpenTrusted("place/link", O_RDONLY, 0);
    if (fd < 0) continue;
    char bytes[8] = {};
    EXPECT_EQ(read(fd, bytes, sizeof(bytes)), 3);
    close(fd);
    if (HasFailure()) break;
  }
  done = true;
  stranger.join();
}

using OwnInput = FreshRun;

bool OpensOwn(const char* path) {
  const int fd = tarvek::OpenOwnInput(path);
  if (fd >= 0) close(fd);
  return fd >= 0;
}

TEST_F(OwnInput, IsARegularFileOrTheNullDevice) {
  WriteFile("file", "");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_TRUE(OpensOwn("file"));
  EXPECT_TRUE(OpensOwn("/dev/null"));
  for (const char* name : {"pipe", ".", "/dev/zero", "missing", ""}) {
    EXPECT_FALSE(OpensOwn(name)) << name;
  }
}

TEST_F(OwnInput, HasNoSecondName) {
  WriteFile("file", "");
  std::filesystem::create_hard_link("file", "other");
  EXPECT_FALSE(OpensOwn("file"));
  std::filesystem::remove("other");
  EXPECT_TRUE(OpensOwn("file"));
}

}  // namespace
}  // namespace tarvek_test
