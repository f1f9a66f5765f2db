#include "control/lock/holder_search.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <vector>

namespace tarvek::control {
namespace {

TEST(MapsLine, IsTheFilesByDeviceAndInodeAlone) {
  const FileIdentity file{makedev(0x19, 0x102), 4711};
  struct Case {
    const char* line;
    bool mapped;
  };
  const Case cases[] = {
      {"7f1-7f2 rw-s 00000000 19:102 4711                       /dev/shm/sem.tarvek_exe", true},
      {"7f1-7f2 rw-s 00000000 19:102 4711     /dev/shm/sem.tarvek_exe (deleted)", true},
      {"7f1-7f2 rw-s 00000000 19:102 4711     /another name", true},
      {"7f1-7f2 rw-s 00000000 19:102 4711 ", true},
      {"7f1-7f2 rw-s 00000000 19:102 4711", true},
      {"7f1-7f2 rw-s 00001000 19:102 4711 /x", true},
      {"7f1-7f2 rw-s 00000000 19:102 471 /dev/shm/sem.tarvek_exe", false},
      {"7f1-7f2 rw-s 00000000 19:102 47110 /dev/shm/sem.tarvek_exe", false},
      {"7f1-7f2 rw-s 00000000 19:0102 4711x /dev/shm/sem.tarvek_exe", false},
      {"7f1-7f2 rw-s 00000000 102:19 4711 /dev/shm/sem.tarvek_exe", false},
      {"7f1-7f2 rw-s 00000000 00:19 4711 /dev/shm/sem.tarvek_exe", false},
      {"7f1-7f2 rw-s 00000000 19:102 0 [heap]", false},
      {"7f1-7f2 rw-p 00000000 00:00 0 19:102 4711", false},
      {"7f1-7f2 rw-s 00000000 19 4711", false},
      {"7f1-7f2 rw-s 00000000 19:102 99999999999999999999 /x", false},
      {"7f1-7f2 rw-s", false},
      {"", false},
  };
  for (const Case& c : cases) EXPECT_EQ(IsMappingOf(c.line, file), c.mapped) << c.line;
}

TEST(Holder, OnlyReadsInAVersionQueryOrABackup) {
  struct Case {
    std::vector<std::string> arguments;
    bool reads;
  };
  const Case cases[] = {
      {{"-version", "-sdr", "A.SDR"}, true},
      {{"-sdr", "-VERSION"}, true},
      {{"-backup"}, true},
      {{"-Backup", "A.BAK"}, true},
      {{"-update", "-sdr"}, false},
      {{"-direct", "-sdr"}, false},
      {{"-version", "-update"}, false},
      {{"-Direct", "-backup"}, false},
      {{"-ratio"}, false},
      {{"version"}, false},
      {{"-versions"}, false},
      {{}, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OnlyReads(c.arguments), c.reads) << testing::PrintToString(c.arguments);
  }
}

}  // namespace
}  // namespace tarvek::control
