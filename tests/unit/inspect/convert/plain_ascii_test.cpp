#include "inspect/convert/plain_ascii.h"

#include <gtest/gtest.h>

namespace tarvek::inspect {
namespace {

struct Case {
  std::string_view text;
  std::string_view plain;
};

TEST(PlainAsciiTest, WritesWhatIsNotPrintableAsciiInDigits) {
  const Case cases[] = {
      {"", ""},
      {"CPU 1 Temp ~'\"\\/", "CPU 1 Temp ~'\"\\/"},
      {"\r\n\t\x1A\x1B\x7F", "\\x0D\\x0A\\x09\\x1A\\x1B\\x7F"},
      {std::string_view("a\0b", 3),
       "a\\x00"
       "b"},
      {"\xC3\xA9", "\\u00E9"},              // é
      {"\xE2\x82\xAC", "\\u20AC"},          // €
      {"\xF0\x9F\x92\xA9", "\\U0001F4A9"},  // beyond the first plane
      {"\xE2\x80\xAE", "\\xE2\\x80\\xAE"},  // turns the writing direction
      {"\xC2\x9B", "\\xC2\\x9B"},           // a control of the second set
      {"\xFF\xC3", "\\xFF\\xC3"},           // no UTF-8
  };
  for (const Case& row : cases) EXPECT_EQ(PlainAscii(row.text), row.plain);
}

}  // namespace
}  // namespace tarvek::inspect
