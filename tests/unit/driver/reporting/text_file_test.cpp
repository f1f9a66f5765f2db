#include "driver/reporting/text_file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>

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
using OutputFile = FreshRun;

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
  EXPECT_EQ(tarvek::OpenOutput("out.txt", tarvek::Keep::kNothing), nullptr);
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

void Put(const char* path, tarvek::Keep keep, const char* text) {
  std::FILE* const stream = tarvek::OpenOutput(path, keep);
  ASSERT_NE(stream, nullptr);
  std::fputs(text, stream);
  std::fclose(stream);
}

TEST_F(OutputFile, IsCreatedReplacedOrGoneOnWith) {
  Put("out.txt", tarvek::Keep::kContent, "one");
  EXPECT_EQ(ReadFile("out.txt"), "one");
  Put("out.txt", tarvek::Keep::kContent, "two");
  EXPECT_EQ(ReadFile("out.txt"), "onetwo");
  Put("out.txt", tarvek::Keep::kNothing, "3");
  EXPECT_EQ(ReadFile("out.txt"), "3");
}

TEST_F(OutputFile, IsWrittenInOneGo) {
  EXPECT_TRUE(tarvek::WriteOutput("out.txt", tarvek::Keep::kContent, "one"));
  EXPECT_TRUE(tarvek::WriteOutput("out.txt", tarvek::Keep::kContent, "two"));
  EXPECT_EQ(ReadFile("out.txt"), "onetwo");
  EXPECT_TRUE(tarvek::WriteOutput("out.txt", tarvek::Keep::kNothing, ""));
  EXPECT_EQ(ReadFile("out.txt"), "");
}

TEST_F(OutputFile, MayHaveDescriptorZero) {
  const NoStandardInput closed;
  errno = ELOOP;  // of an earlier failure
  EXPECT_TRUE(tarvek::WriteOutput("out.txt", tarvek::Keep::kNothing, "one"));
  EXPECT_TRUE(closed.IsFree());
  EXPECT_EQ(ReadFile("out.txt"), "one");
  Put("out.txt", tarvek::Keep::kContent, "two");
  EXPECT_EQ(ReadFile("out.txt"), "onetwo");
}

TEST_F(OutputFile, IsReplacedByAShorterAndByALongerText) {
  for (const char* text : {"a long text", "short", "", "a longer text still"}) {
    EXPECT_TRUE(tarvek::WriteOutput("out.txt", tarvek::Keep::kNothing, text));
    EXPECT_EQ(ReadFile("out.txt"), text);
  }
}

TEST_F(OutputFile, MayBeAPipeThatIsRead) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  std::FILE* const reader = tarvek::OpenInput("pipe");
  EXPECT_TRUE(tarvek::WriteOutput("pipe", tarvek::Keep::kNothing, "one\n"));
  char line[8] = {};
  EXPECT_STREQ(std::fgets(line, sizeof(line), reader), "one\n");
  std::fclose(reader);
}

/// Replaces a file of eight bytes while no file may be longer than that.
[[noreturn]] void ReplaceWithoutRoom() {
  const rlimit limit{8, 8};
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, SIG_IGN);
  const bool fits = tarvek::WriteOutput("out.txt", tarvek::Keep::kNothing, "abcdefgh");
  const bool grows = tarvek::WriteOutput("out.txt", tarvek::Keep::kNothing, "123456789");
  _exit(fits && !grows ? 0 : 1);
}

TEST_F(OutputFile, ReplacedWhereThereIsNoRoomItIsNotLeftEmpty) {
  ASSERT_TRUE(tarvek::WriteOutput("out.txt", tarvek::Keep::kNothing, "12345678"));
  EXPECT_EXIT(ReplaceWithoutRoom(), ::testing::ExitedWithCode(0), "");
  EXPECT_EQ(ReadFile("out.txt"), "12345678");
}

TEST_F(OutputFile, TellsWhenItCouldNotBeWritten) {
  EXPECT_FALSE(tarvek::WriteOutput("/dev/full", tarvek::Keep::kNothing, "one"));
  EXPECT_FALSE(tarvek::WriteOutput("none/out.txt", tarvek::Keep::kNothing, "one"));
}

/// A link "link" to a file that is there, in a directory of its own.
class OutputThroughLink : public OutputFile {
 protected:
  static constexpr uid_t kStranger = 12345;

  void SetUp() override {
    OutputFile::SetUp();
    std::filesystem::create_directory("place");
    std::filesystem::create_symlink("../target", "place/link");
    Put("target", tarvek::Keep::kNothing, "old");
    if (geteuid() != 0) GTEST_SKIP() << "only root can give links away";
  }

  /// @return what the target holds after the link was written through by root.
  static std::string Written(uid_t link_owner, uid_t directory_owner) {
    EXPECT_EQ(lchown("place/link", link_owner, link_owner), 0);
    EXPECT_EQ(chown("place", directory_owner, directory_owner), 0);
    const bool written = tarvek::WriteOutput("place/link", tarvek::Keep::kNothing, "new");
    EXPECT_EQ(written, ReadFile("target") == "new");
    return ReadFile("target");
  }
};

TEST_F(OutputThroughLink, FollowsOneThatRootHasMade) {
  EXPECT_EQ(Written(0, 0), "new");
  EXPECT_EQ(Written(0, kStranger), "new");
}

TEST_F(OutputThroughLink, FollowsOneOfTheDirectorysOwner) {
  EXPECT_EQ(Written(kStranger, kStranger), "new");
}

TEST_F(OutputThroughLink, DoesNotFollowAStrangers) {
  EXPECT_EQ(Written(kStranger, 0), "old");
  EXPECT_EQ(Written(kStranger, kStranger + 1), "old");
  EXPECT_EQ(tarvek::OpenForWriting("place/link", O_WRONLY, 0), -1);
  EXPECT_EQ(errno, ELOOP);
  EXPECT_EQ(tarvek::OpenOutput("place/link", tarvek::Keep::kContent), nullptr);
}

TEST_F(OutputThroughLink, FollowsOneInTheWorkingDirectoryAlike) {
  std::filesystem::current_path("place");
  ASSERT_EQ(lchown("link", kStranger, kStranger), 0);
  EXPECT_FALSE(tarvek::WriteOutput("link", tarvek::Keep::kNothing, "new"));
  ASSERT_EQ(chown(".", kStranger, kStranger), 0);
  EXPECT_TRUE(tarvek::WriteOutput("link", tarvek::Keep::kNothing, "new"));
  std::filesystem::current_path("..");
}

TEST_F(OutputFile, AnEndlessLinkIsNotFollowed) {
  std::filesystem::create_symlink("loop", "loop");
  EXPECT_FALSE(tarvek::WriteOutput("loop", tarvek::Keep::kNothing, "new"));
}

TEST_F(OutputFile, APipeWithoutAReaderCannotBeOpened) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(tarvek::OpenOutput("pipe", tarvek::Keep::kNothing), nullptr);
  EXPECT_EQ(tarvek::OpenOutput("pipe", tarvek::Keep::kContent), nullptr);
}

TEST_F(OutputFile, ADirectoryCannotBeOpened) {
  EXPECT_EQ(tarvek::OpenOutput(".", tarvek::Keep::kNothing), nullptr);
  EXPECT_EQ(tarvek::OpenOutput("none/out.txt", tarvek::Keep::kNothing), nullptr);
}

}  // namespace
}  // namespace tarvek_test
