#include "control/show/progress.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tarvek::control {
namespace {

TEST(BarText, IsThirtyCharactersOfBar) {
  EXPECT_EQ(BarText({"id", "programming", 0, {}}),
            "Programming  [..............................]  0 %");
  EXPECT_EQ(BarText({"id", "programming", 50, 20}),
            "Programming  [###############...............]  50 %, 20 s left");
  EXPECT_EQ(BarText({"id", "verifying", 100, {}}),
            "Reading back what the BMC serves  [##############################]  100 %");
}

TEST(BarText, StaysInItsBounds) {
  for (const int percent : {-1000000, -1, 101, 2147483647}) {
    const std::string text = BarText({"", "x", percent, {}});
    EXPECT_EQ(text.find(']') - text.find('['), 31U) << percent;
  }
}

TEST(BarText, RisesWithEachPercent) {
  std::size_t done = 0;
  for (int percent = 0; percent <= 100; ++percent) {
    const std::string text = BarText({"", "reading", percent, {}});
    const auto now = static_cast<std::size_t>(std::count(text.begin(), text.end(), '#'));
    EXPECT_GE(now, done);
    done = now;
  }
  EXPECT_EQ(done, 30U);
}

}  // namespace
}  // namespace tarvek::control
