#include "inspect/decode/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace tarvek_test {
namespace {

using namespace std::string_literals;

struct Row {
  char32_t character;
  std::string text;
};
const Row kRows[] = {
    {0x0, "\0"s},
    {0x7F, "\x7F"},
    {0x80, "\xC2\x80"},
    {0x7FF, "\xDF\xBF"},
    {0x800, "\xE0\xA0\x80"},
    {0xD7FF, "\xED\x9F\xBF"},
    {0xD800, "\xEF\xBF\xBD"},
    {0xDBFF, "\xEF\xBF\xBD"},
    {0xDC00, "\xEF\xBF\xBD"},
    {0xDFFF, "\xEF\xBF\xBD"},
    {0xE000, "\xEE\x80\x80"},
    {0xFFFF, "\xEF\xBF\xBF"},
    {0x10000, "\xF0\x90\x80\x80"},
    {0x10FFFF, "\xF4\x8F\xBF\xBF"},
    {0x110000, "\xEF\xBF\xBD"},
    {0xFFFFFFFF, "\xEF\xBF\xBD"},
};

TEST(Utf8Test, ACharacterIsItsBytesAndWhatIsNoneTheReplacement) {
  for (const Row& row : kRows) {
    std::string text = "x";
    tarvek::inspect::AppendUtf8(row.character, &text);
    EXPECT_EQ(text, "x" + row.text) << static_cast<unsigned long>(row.character);
  }
}

TEST(Utf8Test, SurrogatesPairUp) {
  EXPECT_EQ(tarvek::inspect::FromSurrogates(0xD800, 0xDC00), 0x10000U);
  EXPECT_EQ(tarvek::inspect::FromSurrogates(0xDBFF, 0xDFFF), 0x10FFFFU);
}

TEST(Utf8Test, Latin1KeepsNuls) {
  const unsigned char bytes[] = {'A', 0, 0xE9};
  EXPECT_EQ(tarvek::inspect::Latin1ToUtf8(bytes), "A\0\xC3\xA9"s);
}

}  // namespace
}  // namespace tarvek_test
