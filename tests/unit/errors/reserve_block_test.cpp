#include "errors/reserve_block.h"

#include <gtest/gtest.h>

namespace tarvek_test {
namespace {

TEST(ReserveBlock, IsThereBeforeTheRunStarts) { EXPECT_NE(gErrorBlock, nullptr); }

TEST(ReserveBlock, IsFreedOnceAndTheNameCleared) {
  ASSERT_NE(gErrorBlock, nullptr);
  gErrorBlock[kReserveBlockSize - 1] = 'x';  // all of it may be used
  tarvek::ReleaseReserveBlock();
  EXPECT_EQ(gErrorBlock, nullptr);
  tarvek::ReleaseReserveBlock();
  EXPECT_EQ(gErrorBlock, nullptr);
  gErrorBlock = new char[kReserveBlockSize];  // as the next test of this process expects it
}

}  // namespace
}  // namespace tarvek_test
