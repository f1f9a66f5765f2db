#include "inspect/input/input_error.h"

#include <gtest/gtest.h>

namespace tarvek::inspect {
namespace {

TEST(InputErrorText, ShowsThePlaceTheLineAndWhatWasExpected) {
  InputError error({"a.sdr", 3, 5, {}}, "it is wrong");
  error.line = "one two";
  error.expected = "three";
  error.found = "\"two\"";
  EXPECT_EQ(ToText(error),
            "a.sdr:3:5: it is wrong\n"
            "  one two\n"
            "      ^\n"
            "  expected three\n"
            "  found \"two\"\n");
}

TEST(InputErrorText, PutsTheCaretUnderWhatATerminalShows) {
  InputError error({"a.sdr", 1, 4, {}}, "wrong");
  error.line = "\t\x1B x";
  EXPECT_EQ(ToText(error), "a.sdr:1:4: wrong\n   \\x1B x\n        ^\n");
}

TEST(InputErrorText, ShowsWhatIsAroundThePlaceInALongLine) {
  InputError error({"a.sdr", 1, 1001, {}}, "wrong");
  error.line = std::string(1000, 'a') + "X" + std::string(5000, 'b');
  error.found = std::string(5000, 'X');
  EXPECT_EQ(ToText(error), "a.sdr:1:1001: wrong\n  ..." + std::string(80, 'a') + "X" +
                               std::string(79, 'b') + "...\n" + std::string(85, ' ') +
                               "^\n  found " + std::string(80, 'X') + "...\n");
}

TEST(InputErrorText, NamesABinaryPlaceByItsOffset) {
  EXPECT_EQ(ToText(InputError({"a.bin", 0, 0, 96}, "wrong")), "a.bin: offset 96: wrong\n");
}

TEST(InputErrorText, EscapesTheNameOfTheFile) {
  EXPECT_EQ(ToText(InputError({"a\x1B", 0, 0, {}}, "is empty")), "a\\x1B: is empty\n");
}

}  // namespace
}  // namespace tarvek::inspect
