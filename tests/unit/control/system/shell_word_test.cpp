#include "control/system/shell_word.h"

#include <gtest/gtest.h>

namespace tarvek::control {
namespace {

TEST(ShellWord, IsQuotedWhereAShellWouldTakeItForMore) {
  EXPECT_EQ(ShellWord("/srv/BOARD-1.SDR"), "/srv/BOARD-1.SDR");
  EXPECT_EQ(ShellWord(""), "''");
  EXPECT_EQ(ShellWord("a b"), "'a b'");
  EXPECT_EQ(ShellWord("a;reboot"), "'a;reboot'");
  EXPECT_EQ(ShellWord("$(reboot)"), "'$(reboot)'");
  EXPECT_EQ(ShellWord("it's\n"), "'it'\\''s\n'");
}

}  // namespace
}  // namespace tarvek::control
