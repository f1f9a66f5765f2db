#include "control/system/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

using testing::ElementsAre;

class Files : public testing::Test {
 protected:
  Files() { scratch_.Write("outside", "precious"); }

  std::string Outside() const {
    std::ifstream file(scratch_.Path("outside"));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void Link(const std::string& name, const std::string& target) const {
    scratch_.MakeLink("dir/" + name, target);
  }
  /// @return the errno with which it fails; 0: it does not.
  static int ErrorOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const SystemError& error) {
      return error.error;
    }
    return 0;
  }
  mode_t ModeOf(const std::string& name) const {
    struct stat info {};
    EXPECT_EQ(lstat(directory_.PathOf(name).c_str(), &info), 0);
    return info.st_mode & 07777;
  }

  const ScratchDirectory scratch_;
  const Directory directory_ = Directory::OpenOrMake(scratch_.Path("dir"), 0700);
};

TEST_F(Files, AreWrittenWholeAndRead) {
  EXPECT_EQ(directory_.Read("new"), std::nullopt);
  for (const std::string& bytes :
       {std::string(), std::string("\0\n", 2), std::string(200000, 'x')}) {
    directory_.Write("new", bytes);
    EXPECT_EQ(directory_.Read("new"), bytes);
    directory_.WriteDurably("new", bytes + "1");
    EXPECT_EQ(directory_.Read("new"), bytes + "1");
  }
  EXPECT_EQ(ModeOf("new"), 0600U);
  directory_.Write("shared", "", 0644);
  EXPECT_THAT(directory_.Names(), ElementsAre("new", "shared"));
}

TEST_F(Files, AreNotReadBeyondTheirLimit) {
  directory_.Write("file", "12345");
  EXPECT_EQ(directory_.Read("file", 5), "12345");
  EXPECT_EQ(ErrorOf([&] { directory_.Read("file", 4); }), EFBIG);
}

TEST_F(Files, ThatAreLinksAreNeverFollowed) {
  const std::string target = scratch_.Path("outside");
  Link("read", target);
  EXPECT_EQ(ErrorOf([&] { directory_.Read("read"); }), ELOOP);
  Link("append", target);
  EXPECT_EQ(ErrorOf([&] { directory_.Append("append"); }), ELOOP);
  Link("lock", target);
  EXPECT_EQ(ErrorOf([&] { (void)directory_.TryLock("lock"); }), ELOOP);
  Link("reserve", target);
  EXPECT_NE(ErrorOf([&] { directory_.Reserve("reserve", 4096); }), 0);
  Link("new", target);
  EXPECT_EQ(ErrorOf([&] { directory_.WriteNew("new", "x"); }), EEXIST);
  Link("dangling", scratch_.Path("nowhere"));
  EXPECT_EQ(ErrorOf([&] { directory_.WriteNew("dangling", "x"); }), EEXIST);
  EXPECT_NE(ErrorOf([&] { directory_.Append("dangling"); }), 0);
  Link("written", target);
  directory_.Write("written", "x");
  EXPECT_FALSE(std::filesystem::is_symlink(directory_.PathOf("written")));
  Link("removed", target);
  directory_.Remove("removed");
  directory_.RemoveAll("new");
  EXPECT_EQ(Outside(), "precious");
  EXPECT_FALSE(std::filesystem::exists(scratch_.Path("nowhere")));
}

TEST_F(Files, OfADirectoryThatIsALinkAreNotEntered) {
  std::filesystem::create_directory(scratch_.Path("other"));
  Link("sub", scratch_.Path("other"));
  EXPECT_NE(ErrorOf([&] { directory_.Sub("sub"); }), 0);
  EXPECT_NE(ErrorOf([&] { directory_.SubOrMake("sub", 0700); }), 0);
  EXPECT_EQ(ErrorOf([&] { directory_.MakeSub("sub", 0700); }), EEXIST);
}

TEST_F(Files, ThatAreNoneAreNotWaitedFor) {
  ASSERT_EQ(mkfifo(directory_.PathOf("pipe").c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf([&] { directory_.Read("pipe"); }), EINVAL);
  directory_.MakeSub("folder", 0700);
  EXPECT_NE(ErrorOf([&] { directory_.Read("folder"); }), 0);
  EXPECT_NE(ErrorOf([&] { directory_.Write("folder", "x"); }), 0);
  EXPECT_EQ(ErrorOf([&] { directory_.WriteNew("pipe", "x"); }), EEXIST);
  // Nothing half-done stays.
  EXPECT_THAT(directory_.Names(), ElementsAre("folder", "pipe"));
}

TEST_F(Files, AreNewOnlyWhereThereIsNone) {
  directory_.WriteNew("new", "1");
  EXPECT_EQ(ErrorOf([&] { directory_.WriteNew("new", "2"); }), EEXIST);
  EXPECT_EQ(directory_.Read("new"), "1");
  EXPECT_THAT(directory_.Names(), ElementsAre("new"));
}

TEST_F(Files, AreWrittenThroughAPipeOnlyWhileSomebodyReads) {
  ASSERT_EQ(mkfifo((directory_.PathOf("pipe")).c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf([&] { directory_.WriteThrough("pipe", "text"); }), ENXIO);
  const Descriptor reader(
      open(directory_.PathOf("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  directory_.WriteThrough("pipe", "text");
  std::array<char, 8> bytes{};
  EXPECT_EQ(read(reader.get(), bytes.data(), bytes.size()), 4);
  // A reader that does not read is not waited for.
  const std::string much(1 << 20, 'x');
  EXPECT_EQ(ErrorOf([&] { directory_.WriteThrough("pipe", much); }), EAGAIN);
}

TEST_F(Files, StayWhereTheyAreWhenADirectoryIsRenamed) {
  std::filesystem::rename(scratch_.Path("dir"), scratch_.Path("moved"));
  std::filesystem::create_directory(scratch_.Path("dir"));
  directory_.Write("file", "x");
  EXPECT_TRUE(std::filesystem::exists(scratch_.Path("moved/file")));
  EXPECT_TRUE(std::filesystem::is_empty(scratch_.Path("dir")));
}

TEST_F(Files, AreRemovedWithAllThatIsInThem) {
  directory_.MakeSub("tree", 0700).MakeSub("inner", 0700).Write("file", "x");
  Link("tree/out", scratch_.Path("outside"));
  Link("tree/inner/up", scratch_.Path(""));
  directory_.RemoveAll("tree");
  EXPECT_FALSE(directory_.Has("tree"));
  EXPECT_EQ(Outside(), "precious");
  directory_.RemoveAll("not there");
  directory_.Remove("not there");
}

TEST_F(Files, AreLockedByOneAlone) {
  Descriptor first = directory_.TryLock("lock");
  EXPECT_TRUE(static_cast<bool>(first));
  EXPECT_FALSE(static_cast<bool>(directory_.TryLock("lock")));
  first.Close();
  EXPECT_TRUE(static_cast<bool>(directory_.TryLock("lock")));
}

TEST_F(Files, TakeTheirRoomAhead) {
  directory_.Reserve("ballast", 100000);
  struct stat info {};
  ASSERT_EQ(lstat(directory_.PathOf("ballast").c_str(), &info), 0);
  EXPECT_GE(info.st_blocks * 512, 100000);
  EXPECT_EQ(ErrorOf([&] { directory_.Reserve("too much", std::size_t{1} << 60U); }) == 0, false);
  EXPECT_FALSE(directory_.Has("too much"));
}

TEST_F(Files, DescriptorsAreNotHandedOn) {
  for (const int fd :
       {directory_.fd(), directory_.Append("log").get(), directory_.TryLock("l").get()}) {
    const int flags = fcntl(fd, F_GETFD);
    EXPECT_TRUE(flags < 0 || (flags & FD_CLOEXEC) != 0);
  }
}

TEST_F(Files, ErrorsSayWhichFileAndWhy) {
  try {
    (void)Directory::Open(scratch_.Path("gone"));
    FAIL();
  } catch (const SystemError& error) {
    EXPECT_EQ(error.error, ENOENT);
    EXPECT_EQ(std::string(error.what()),
              scratch_.Path("gone") + ": cannot be entered: No such file or directory");
  }
}

TEST(RandomDigits, AreDigitsThatDoNotComeAgain) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string digits = RandomDigits(16);
    EXPECT_EQ(digits.size(), 16U);
    EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_TRUE(seen.insert(digits).second);
  }
}

}  // namespace
}  // namespace tarvek::control
