#include "control/doctor/places.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "control/doctor/finding.h"
#include "tests/unit/control/doctor/scratch_directory.h"

namespace tarvek::control {
namespace {

constexpr std::uint64_t kPlenty = kNeededSpace;

DirectoryLook Directory(const std::string& path, mode_t mode = 0700) {
  return {path, path, 0, true, 0, mode, 0, kPlenty};
}

TEST(StateDirectory, SaysWhatIsWrongWithIt) {
  struct Case {
    DirectoryLook look;
    uid_t user;
    Gravity gravity;
    const char* sentence;
    const char* command;
  };
  const auto with = [](auto change) {
    DirectoryLook look = Directory("/var/lib/tarvek");
    change(look);
    return look;
  };
  const Case cases[] = {
      {with([](auto&) {}), 0, Gravity::kGood, "/var/lib/tarvek can be written to.", ""},
      {with([](auto& look) { look.mode = 0755; }), 0, Gravity::kGood,
       "/var/lib/tarvek can be written to.", ""},
      {with([](auto& look) { look.existing = "/var"; }), 0, Gravity::kGood,
       "/var/lib/tarvek will be made.", ""},
      {with([](auto& look) { look.mode = 0770; }), 0, Gravity::kProblem,
       "Others may write to /var/lib/tarvek, and so change what is run.",
       "chmod 0700 /var/lib/tarvek"},
      {with([](auto& look) { look.owner = 1000; }), 0, Gravity::kProblem,
       "/var/lib/tarvek belongs to another user (1000), who could change what is run.",
       "chown 0 /var/lib/tarvek"},
      {with([](auto& look) { look.is_directory = false; }), 0, Gravity::kProblem,
       "/var/lib/tarvek is no directory.", ""},
      {with([](auto& look) { look.error = ELOOP; }), 0, Gravity::kProblem,
       "/var/lib/tarvek cannot be looked at: Too many levels of symbolic links.", ""},
      {with([](auto& look) { look.write_error = EROFS; }), 0, Gravity::kProblem,
       "Nothing can be made in /var/lib/tarvek: Read-only file system.", ""},
      {with([](auto& look) { look.write_error = EACCES; }), 1000, Gravity::kProblem,
       "Nothing can be made in /var/lib/tarvek: Permission denied.", "sudo tarvekctl doctor"},
  };
  for (const Case& c : cases) {
    const Finding finding = StateDirectoryFindings(c.look, c.user).front();
    EXPECT_EQ(finding.subject, "state-directory");
    EXPECT_EQ(finding.gravity, c.gravity) << c.sentence;
    EXPECT_EQ(finding.sentence, c.sentence);
    EXPECT_EQ(finding.command, c.command);
  }
}

TEST(StateDirectory, NeedsSpace) {
  DirectoryLook look = Directory("/s");
  look.free_bytes = kNeededSpace;
  std::vector<Finding> findings = StateDirectoryFindings(look, 0);
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(findings[1].subject, "space");
  EXPECT_EQ(findings[1].gravity, Gravity::kGood);
  EXPECT_EQ(findings[1].sentence, "64 MiB are free in /s.");
  look.free_bytes = kNeededSpace - 1;
  findings = StateDirectoryFindings(look, 0);
  EXPECT_EQ(findings[1].gravity, Gravity::kProblem);
  EXPECT_EQ(findings[1].sentence, "63 MiB are free in /s, 64 are needed.");
  look.error = ENOENT;
  EXPECT_EQ(StateDirectoryFindings(look, 0).size(), 1U);
}

TEST(StateDirectory, IsLookedAtWhereItIsOrWouldBe) {
  const ScratchDirectory scratch;
  struct Case {
    std::string path;
    std::string existing;
    bool is_directory;
    int error;
  };
  scratch.Write("file", "");
  scratch.MakeLink("loop", "loop");
  const Case cases[] = {
      {scratch.Path(""), scratch.Path(""), true, 0},
      {scratch.Path("a/b//c/"), scratch.Path(""), true, 0},
      {scratch.Path("file"), scratch.Path("file"), false, 0},
      {scratch.Path("file/below"), scratch.Path("file/below"), false, ENOTDIR},
      {scratch.Path("loop"), scratch.Path("loop"), false, ELOOP},
      {"/no/such/place", "/", true, 0},
      {"nothing-here", ".", true, 0},
      {"/", "/", true, 0},
  };
  for (const Case& c : cases) {
    const DirectoryLook look = LookAtDirectory(c.path);
    EXPECT_EQ(look.path, c.path);
    EXPECT_EQ(look.error, c.error) << c.path;
    EXPECT_EQ(look.is_directory, c.is_directory) << c.path;
    // A slash at the end names the same directory.
    EXPECT_EQ(look.existing.substr(0, look.existing.find_last_not_of('/') + 1),
              c.existing.substr(0, c.existing.find_last_not_of('/') + 1))
        << c.path;
  }
  const DirectoryLook look = LookAtDirectory(scratch.Path(""));
  EXPECT_EQ(look.owner, geteuid());
  EXPECT_EQ(look.mode & 0777U, 0700U);
  EXPECT_EQ(look.write_error, 0);
  EXPECT_GT(look.free_bytes, 0U);
}

TEST(SharedMemory, MustBeThereForWriting) {
  struct Case {
    DirectoryLook look;
    Gravity gravity;
    const char* command;
  };
  const Case cases[] = {
      {Directory("/dev/shm", 01777), Gravity::kGood, ""},
      {{"/dev/shm", "/dev", 0, true, 0, 0755, 0, kPlenty},
       Gravity::kProblem,
       "mount -t tmpfs -o mode=1777 tmpfs /dev/shm"},
      {{"/dev/shm", "/dev/shm", 0, true, 0, 01777, EROFS, kPlenty},
       Gravity::kProblem,
       "mount -o remount,rw /dev/shm"},
      {{"/dev/shm", "/dev/shm", 0, true, 0, 01777, 0, kNeededSharedSpace - 1},
       Gravity::kProblem,
       "ls -lS /dev/shm"},
  };
  for (const Case& c : cases) {
    const Finding finding = SharedMemoryFinding(c.look);
    EXPECT_EQ(finding.subject, "shared-memory");
    EXPECT_EQ(finding.gravity, c.gravity) << c.command;
    EXPECT_EQ(finding.command, c.command);
  }
}

TEST(Tool, MustBeAProgram) {
  const ScratchDirectory scratch;
  scratch.Write("plain", "x");
  scratch.Write("good tool", "x");
  ASSERT_EQ(chmod(scratch.Path("good tool").c_str(), 0700), 0);
  struct Case {
    std::string path;
    Gravity gravity;
    std::string sentence;
    std::string command;
  };
  const Case cases[] = {
      {scratch.Path("good tool"), Gravity::kGood, scratch.Path("good tool") + " is there.", ""},
      {scratch.Path("plain"), Gravity::kProblem,
       scratch.Path("plain") + " cannot be run: Permission denied.",
       "chmod a+x " + scratch.Path("plain")},
      {scratch.Path("none"), Gravity::kProblem,
       scratch.Path("none") + " cannot be found: No such file or directory.", ""},
      {scratch.Path(""), Gravity::kProblem, scratch.Path("") + " is no program.", ""},
  };
  for (const Case& c : cases) {
    const Finding finding = ToolFinding(LookAtTool(c.path));
    EXPECT_EQ(finding.subject, "tool");
    EXPECT_EQ(finding.gravity, c.gravity) << c.path;
    EXPECT_EQ(finding.sentence, c.sentence);
    EXPECT_EQ(finding.command, c.command);
  }
}

TEST(Words, AreEnumerated) {
  EXPECT_EQ(Enumeration({}), "");
  EXPECT_EQ(Enumeration({"a"}), "a");
  EXPECT_EQ(Enumeration({"a", "b"}), "a and b");
  EXPECT_EQ(Enumeration({"a", "b", "c"}), "a, b and c");
}

}  // namespace
}  // namespace tarvek::control
