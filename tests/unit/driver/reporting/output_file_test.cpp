#include "driver/reporting/output_file.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/no_standard_input.h"

namespace {

constexpr int kShort = -1;  // as an error: a write that stops after half of its bytes

/// The calls that change files, as a test sees them and lets them fail.
struct Disk {
  bool watching = false;
  std::function<void()> look;  // asked before and after each call
  // What is wrong with the Kth call of all, or of those that write; 0: nothing.
  std::function<int(int)> error_of_call;
  std::function<int(int)> error_of_write;
  int calls = 0;
  int writes = 0;
};

Disk& TheDisk() {
  static Disk disk;
  return disk;
}

int ErrorOf(Disk& disk, bool writes) {
  ++disk.calls;
  if (writes) ++disk.writes;
  if (writes && disk.error_of_write) return disk.error_of_write(disk.writes);
  return disk.error_of_call ? disk.error_of_call(disk.calls) : 0;
}

/// Makes a call, or lets it fail. `half` is a write that does half of its work, if it is one.
template <typename Result, typename Call, typename Half = std::nullptr_t>
Result Change(Call call, Half half = nullptr) {
  constexpr bool kWrites = !std::is_same_v<Half, std::nullptr_t>;
  Disk& disk = TheDisk();
  if (!disk.watching) return call();
  disk.watching = false;
  disk.look();
  const int error = ErrorOf(disk, kWrites);
  Result result = -1;
  if (error == 0) result = call();
  if constexpr (kWrites) {
    if (error == kShort) result = half();
  }
  const int call_error = error > 0 ? error : errno;
  // What a write that was broken off leaves is seen until the cut behind it; that is not promised.
  if (error != kShort) disk.look();
  disk.watching = true;
  errno = call_error;
  return result;
}

std::size_t Half(std::size_t size) { return (size + 1) / 2; }

}  // namespace

extern "C" {
ssize_t __real_write(int fd, const void* bytes, std::size_t size);
ssize_t __real_pwrite(int fd, const void* bytes, std::size_t size, off_t offset);
int __real_ftruncate(int fd, off_t size);
int __real_fstat(int fd, struct stat* info);
int __real_linkat(int from_place, const char* from, int to_place, const char* to, int flags);

ssize_t __wrap_write(int fd, const void* bytes, std::size_t size) {
  return Change<ssize_t>([=] { return __real_write(fd, bytes, size); },
                         [=] { return __real_write(fd, bytes, Half(size)); });
}

ssize_t __wrap_pwrite(int fd, const void* bytes, std::size_t size, off_t offset) {
  return Change<ssize_t>([=] { return __real_pwrite(fd, bytes, size, offset); },
                         [=] { return __real_pwrite(fd, bytes, Half(size), offset); });
}

int __wrap_ftruncate(int fd, off_t size) {
  return Change<int>([=] { return __real_ftruncate(fd, size); });
}

int __wrap_fstat(int fd, struct stat* info) {
  return Change<int>([=] { return __real_fstat(fd, info); });
}

int __wrap_linkat(int from_place, const char* from, int to_place, const char* to, int flags) {
  return Change<int>([=] { return __real_linkat(from_place, from, to_place, to, flags); });
}
}  // extern "C"

namespace tarvek_test {
namespace {

using tarvek::Keep;
using tarvek::WriteOutput;
using tarvek::Written;

Written Replace(const std::string& text, const char* path = "out.txt") {
  return WriteOutput(path, Keep::kNothing, text);
}

Written Append(const std::string& text, const char* path = "out.txt") {
  return WriteOutput(path, Keep::kContent, text);
}

/// Whether `seen` is `text`, white space behind it or not.
bool IsText(const std::string& seen, const std::string& text) {
  return seen.compare(0, text.size(), text) == 0 &&
         seen.find_first_not_of(" \n", text.size()) == std::string::npos;
}

/// Whether `seen` holds nothing that a reader could take for a text.
bool IsBlank(const std::string& seen) { return IsText(seen, ""); }

class OutputFile : public FreshRun {
 protected:
  static constexpr const char* kMissing = "(there is no out.txt)";

  void TearDown() override {
    TheDisk() = Disk();
    FreshRun::TearDown();
  }

  /// Replaces what "out.txt" holds while a reader looks before and after each call.
  /// @param error_of_call, error_of_write  what goes wrong.
  /// @return the texts that it has found.
  static std::set<std::string> Watch(const std::string& text,
                                     std::function<int(int)> error_of_call = nullptr,
                                     std::function<int(int)> error_of_write = nullptr) {
    std::set<std::string> seen;
    Disk& disk = TheDisk();
    disk = Disk();
    disk.look = [&] { seen.insert(ReadFile("out.txt")); };
    disk.error_of_call = std::move(error_of_call);
    disk.error_of_write = std::move(error_of_write);
    disk.watching = true;
    result = Replace(text);
    disk.watching = false;
    disk.look = nullptr;
    return seen;
  }

  static inline Written result = Written::kWhole;  // of the last Watch()
};

TEST_F(OutputFile, IsCreatedReplacedOrGoneOnWith) {
  EXPECT_EQ(Append("one"), Written::kWhole);
  EXPECT_EQ(Append("two"), Written::kWhole);
  EXPECT_EQ(ReadFile("out.txt"), "onetwo");
  EXPECT_EQ(Replace("3"), Written::kWhole);
  EXPECT_EQ(ReadFile("out.txt"), "3");
  EXPECT_EQ(Replace(""), Written::kWhole);
  EXPECT_EQ(ReadFile("out.txt"), "");
}

TEST_F(OutputFile, MayHaveDescriptorZero) {
  const NoStandardInput closed;
  errno = ELOOP;  // of an earlier failure
  EXPECT_EQ(Replace("one"), Written::kWhole);
  EXPECT_TRUE(closed.IsFree());
  EXPECT_EQ(ReadFile("out.txt"), "one");
  EXPECT_EQ(Append("two"), Written::kWhole);
  EXPECT_TRUE(closed.IsFree());
  EXPECT_EQ(ReadFile("out.txt"), "onetwo");
}

const std::array<std::string, 6> kTexts = {
    "",
    "a word\n",
    "another word\n",
    "OK\n",
    std::string(300, 'x') + "\n",
    std::string(9000, 'y') + "\n",  // of several pages
};

TEST_F(OutputFile, IsReplacedByAShorterAndByALongerText) {
  for (const std::string& before : kTexts) {
    for (const std::string& text : kTexts) {
      WriteFile("out.txt", before);
      EXPECT_EQ(Replace(text), Written::kWhole);
      EXPECT_EQ(ReadFile("out.txt"), text);
    }
  }
}

TEST_F(OutputFile, IsSeenWithTheOldTextOrTheNewOneAndWithNothingElse) {
  for (const std::string& before : kTexts) {
    for (const std::string& text : kTexts) {
      WriteFile("out.txt", before);
      for (const std::string& seen : Watch(text)) {
        EXPECT_TRUE(IsText(seen, before) || IsText(seen, text)) << seen;
      }
      EXPECT_GE(TheDisk().calls, 2) << "the reader has looked";
    }
  }
}

TEST_F(OutputFile, AppearsWithItsTextInIt) {
  for (const std::string& text : kTexts) {
    std::filesystem::remove("out.txt");
    for (const std::string& seen : Watch(text)) {
      EXPECT_TRUE(seen == kMissing || IsText(seen, text)) << seen;
    }
    EXPECT_EQ(ReadFile("out.txt"), text);
  }
}

TEST_F(OutputFile, HasTheModeThatTheCallersMaskLeavesAndLeavesNothingElse) {
  const mode_t before = umask(027);
  EXPECT_EQ(Replace("one"), Written::kWhole);
  umask(before);
  struct stat info {};
  ASSERT_EQ(stat("out.txt", &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640U);
  EXPECT_EQ(info.st_nlink, 1U);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
}

TEST_F(OutputFile, StaysTheSameFile) {
  ASSERT_EQ(Replace("one"), Written::kWhole);
  std::filesystem::create_hard_link("out.txt", "other");
  EXPECT_EQ(Replace("three"), Written::kWhole);
  EXPECT_EQ(Replace("2"), Written::kWhole);
  EXPECT_EQ(ReadFile("other"), "2");
}

TEST_F(OutputFile, ThoseWhoWaitForItsClosingAreTold) {
  const int watch = inotify_init1(IN_NONBLOCK);
  ASSERT_GE(inotify_add_watch(watch, ".", IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE), 0);
  std::uint32_t told = 0;
  EXPECT_EQ(Replace("one"), Written::kWhole);
  alignas(inotify_event) std::array<char, 4096> events{};
  const ssize_t size = read(watch, events.data(), events.size());
  for (ssize_t at = 0; at < size;) {
    const auto* event = reinterpret_cast<const inotify_event*>(events.data() + at);
    if (event->len > 0 && std::string(event->name) == "out.txt") told |= event->mask;
    at += static_cast<ssize_t>(sizeof(inotify_event)) + event->len;
  }
  close(watch);
  EXPECT_EQ(told, static_cast<std::uint32_t>(IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE));
}

// What fails once is done again.

const std::array<std::string, 3> kBefore = {"Complete, and what else there was\n", "OK\n", ""};
const std::string kText = "a new text\n";

bool IsPromised(const std::string& seen, const std::string& before) {
  return IsText(seen, before) || IsText(seen, kText) || IsBlank(seen);
}

TEST_F(OutputFile, OneFailureCostsTheTextNothing) {
  for (const std::string& before : kBefore) {
    for (const int error : {ENOSPC, EIO, EDQUOT, EFBIG, EINTR}) {
      for (int k = 1; k == 1 || TheDisk().calls >= k - 1; ++k) {
        SCOPED_TRACE(before + std::to_string(error) + " at call " + std::to_string(k));
        WriteFile("out.txt", before);
        const auto once = [k, error](int call) { return call == k ? error : 0; };
        for (const std::string& seen : Watch(kText, once)) {
          EXPECT_TRUE(IsPromised(seen, before)) << seen;
        }
        EXPECT_EQ(result, Written::kWhole);
        EXPECT_TRUE(IsText(ReadFile("out.txt"), kText)) << ReadFile("out.txt");
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

TEST_F(OutputFile, OneFailureCostsANewFileNothing) {
  for (const int error : {ENOSPC, EIO, EINTR}) {
    for (int k = 1; k == 1 || TheDisk().calls >= k - 1; ++k) {
      SCOPED_TRACE(std::to_string(error) + " at call " + std::to_string(k));
      std::filesystem::remove("out.txt");
      const auto once = [k, error](int call) { return call == k ? error : 0; };
      for (const std::string& seen : Watch(kText, once)) {
        EXPECT_TRUE(seen == kMissing || IsPromised(seen, "")) << seen;
      }
      EXPECT_EQ(result, Written::kWhole);
      EXPECT_EQ(ReadFile("out.txt"), kText);
      ASSERT_FALSE(HasFailure());
    }
  }
}

/// The text that one write would have been is whole, or there is none: here until the cut that
/// follows the write that was broken off.
TEST_F(OutputFile, WritesThatStopHalfWayCostTheTextNothing) {
  for (const std::string& before : kBefore) {
    for (int k = 0; k <= 4; ++k) {
      SCOPED_TRACE(before + "write " + std::to_string(k));
      WriteFile("out.txt", before);
      Watch(kText, nullptr, [k](int write) { return k == 0 || write == k ? kShort : 0; });
      EXPECT_EQ(result, Written::kWhole);
      EXPECT_EQ(ReadFile("out.txt"), kText);
    }
  }
}

// What fails for good leaves nothing.

TEST_F(OutputFile, ThatCannotBeWrittenAnyMoreIsEmptyOrWhole) {
  for (const std::string& before : kBefore) {
    for (int k = 1; k <= 5; ++k) {
      SCOPED_TRACE(before + "from write " + std::to_string(k) + " on");
      WriteFile("out.txt", before);
      const auto onwards = [k](int write) { return write >= k ? ENOSPC : 0; };
      for (const std::string& seen : Watch(kText, nullptr, onwards)) {
        EXPECT_TRUE(IsPromised(seen, before)) << seen;
      }
      EXPECT_EQ(ReadFile("out.txt"), result == Written::kWhole ? kText : "");
      EXPECT_EQ(result == Written::kLost, TheDisk().writes >= k);
    }
  }
}

TEST_F(OutputFile, ThatCannotBeCutHasWhiteSpaceBehindItsText) {
  WriteFile("out.txt", kBefore[0]);
  const auto second = [](int call) { return call >= 3 ? EIO : 0; };  // behind fstat() and pwrite()
  Watch(kText, second);
  EXPECT_EQ(result, Written::kWhole);
  EXPECT_EQ(ReadFile("out.txt"), kText + std::string(kBefore[0].size() - kText.size(), '\n'));
}

/// Replaces a text by another one while no file may be longer than `size`.
bool IsWholeOrEmptyUnder(rlim_t size, const std::string& before, const std::string& text) {
  WriteFile("out.txt", before);
  rlimit limit{size, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limit);
  const Written written = Replace(text);
  limit.rlim_cur = RLIM_INFINITY;
  setrlimit(RLIMIT_FSIZE, &limit);
  const bool fits = text.size() <= size;
  return (written == Written::kWhole) == fits && ReadFile("out.txt") == (fits ? text : "");
}

[[noreturn]] void ReplaceUnderLimits() {
  std::signal(SIGXFSZ, SIG_IGN);
  const std::string ok = ResultText("OK");
  const std::string complete = ResultText("Complete");
  for (const auto& [before, text] : {std::pair(ok, complete), {complete, ok}, {"", ok}}) {
    for (rlim_t size = 0; size <= complete.size() + 1; ++size) {
      if (!IsWholeOrEmptyUnder(size, before, text)) _exit(1);
    }
  }
  _exit(0);
}

TEST_F(OutputFile, WhereFilesMayNotGrowIsWholeIfItFitsAndElseEmpty) {
  EXPECT_EXIT(ReplaceUnderLimits(), ::testing::ExitedWithCode(0), "");
}

TEST_F(OutputFile, MayReplaceWhatIsLongerThanAnyTextOfTheTool) {
  for (const std::size_t size : {tarvek::kLongestOutput, tarvek::kLongestOutput + 1}) {
    WriteFile("out.txt", std::string(size, 'x'));
    EXPECT_EQ(Replace(kText), Written::kWhole);
    EXPECT_EQ(ReadFile("out.txt"), kText);
  }
}

TEST_F(OutputFile, MayHaveALongTextButNotALongerOne) {
  const std::string longest(tarvek::kLongestOutput, 'x');
  for (const std::string& before : {std::string(), kText, std::string(100000, 'y')}) {
    WriteFile("out.txt", before);
    EXPECT_EQ(Replace(longest), Written::kWhole);
    EXPECT_EQ(ReadFile("out.txt"), longest);
    WriteFile("out.txt", before);
    EXPECT_EQ(Replace(longest + "x"), Written::kLost);
    EXPECT_EQ(ReadFile("out.txt"), "");
  }
}

// What is no regular file.

TEST_F(OutputFile, MayBeAPipeThatIsRead) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  const int reader = open("pipe", O_RDONLY | O_NONBLOCK);
  EXPECT_EQ(Replace("one\n", "pipe"), Written::kWhole);
  EXPECT_EQ(Append("two\n", "pipe"), Written::kWhole);
  std::array<char, 16> bytes{};
  EXPECT_EQ(read(reader, bytes.data(), bytes.size()), 8);
  EXPECT_STREQ(bytes.data(), "one\ntwo\n");
  close(reader);
}

TEST_F(OutputFile, MayBeTheNullDevice) {
  EXPECT_EQ(Replace("one", "/dev/null"), Written::kWhole);
  EXPECT_EQ(Append("one", "/dev/null"), Written::kWhole);
}

TEST_F(OutputFile, MayNotBeADirectoryOrAPipeWithoutAReader) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  for (const char* path : {"pipe", ".", "none/out.txt", ""}) {
    EXPECT_EQ(Replace("one", path), Written::kNotOpened) << path;
    EXPECT_EQ(Append("one", path), Written::kNotOpened) << path;
  }
}

TEST_F(OutputFile, TellsWhenItCouldNotBeWritten) {
  EXPECT_EQ(Replace("one", "/dev/full"), Written::kLost);
  EXPECT_EQ(Append("one", "/dev/full"), Written::kLost);
}

TEST_F(OutputFile, IsNotWrittenThroughAStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give links away";
  WriteFile("target", "old");
  std::filesystem::create_symlink("target", "link");
  EXPECT_EQ(Replace("new", "link"), Written::kWhole);
  ASSERT_EQ(lchown("link", 12345, 12345), 0);
  EXPECT_EQ(Replace("newer", "link"), Written::kNotOpened);
  EXPECT_EQ(Append("newer", "link"), Written::kNotOpened);
  EXPECT_EQ(ReadFile("target"), "new");
}

}  // namespace
}  // namespace tarvek_test
