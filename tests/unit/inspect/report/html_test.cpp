#include "inspect/report/html.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarvek::inspect {
namespace {

TEST(HtmlTest, EscapesWhatMeansSomethingToABrowser) {
  EXPECT_EQ(Html("<a href=\"x\" id='y'>&amp;"),
            "&lt;a href=&quot;x&quot; id=&#39;y&#39;&gt;&amp;amp;");
}

TEST(HtmlTest, EscapesWhatActsOnAReader) {
  EXPECT_EQ(Html("\x1B[2J\r\n"), "\\x1B[2J\\x0D\\x0A");
  EXPECT_EQ(Html("a\xE2\x80\xAE<b"), "a\\xE2\\x80\\xAE&lt;b");
  EXPECT_EQ(Html(std::string_view("\0\xFF", 2)), "\\x00\\xFF");
}

TEST(HtmlTest, LeavesOtherTextAsItIs) {
  EXPECT_EQ(Html("CPU 1 \xC2\xB0"
                 "C \xD7\x90"),
            "CPU 1 \xC2\xB0"
            "C \xD7\x90");
  EXPECT_EQ(Isolated("\xD7\x90<"), "<bdi>\xD7\x90&lt;</bdi>");
}

TEST(HtmlTest, WritesNumbersInSixDigits) {
  EXPECT_EQ(ShortNumber(95), "95");
  EXPECT_EQ(ShortNumber(-0.0), "0");
  EXPECT_EQ(ShortNumber(25500), "25500");
  EXPECT_EQ(ShortNumber(1.0 / 3), "0.333333");
  EXPECT_EQ(ShortNumber(std::numeric_limits<double>::max()), "1.79769e+308");
}

TEST(HtmlTest, CountsThings) {
  EXPECT_EQ(Counted(0, "record"), "0 records");
  EXPECT_EQ(Counted(1, "record"), "1 record");
  EXPECT_EQ(Counted(2, "record"), "2 records");
}

}  // namespace
}  // namespace tarvek::inspect
