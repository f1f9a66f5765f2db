#include "config/tag_index.h"

#include <gtest/gtest.h>

namespace {

TEST(TagIndex, CountsNamesWithoutRegardToCase) {
  tarvek::TagIndex index;
  EXPECT_FALSE(index.Holds("cpu1"));
  index.Add("CPU1");
  index.Add("cpu1");
  EXPECT_TRUE(index.Holds("Cpu1"));
  EXPECT_FALSE(index.Holds("CPU"));
  index.Remove("CPU1");
  EXPECT_TRUE(index.Holds("CPU1"));
  index.Remove("CPU1");
  EXPECT_FALSE(index.Holds("CPU1"));
  index.Remove("CPU1");
  EXPECT_FALSE(index.Holds("CPU1"));
}

}  // namespace
