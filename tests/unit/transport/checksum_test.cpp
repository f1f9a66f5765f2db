#include "transport/checksum.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

unsigned char SumOf(const Bytes& bytes) { return calc_sum(bytes.data(), bytes.size()); }

TEST(CalcSum, OfNothingIsZero) {
  EXPECT_EQ(calc_sum(nullptr, 0), 0);
  const unsigned char byte = 0x55;
  EXPECT_EQ(calc_sum(&byte, 0), 0);
}

TEST(CalcSum, IsWhatIsMissingTo256) {
  EXPECT_EQ(SumOf({0x00}), 0x00);
  EXPECT_EQ(SumOf({0x01}), 0xFF);
  EXPECT_EQ(SumOf({0xFF}), 0x01);
  EXPECT_EQ(SumOf({0x80, 0x80}), 0x00);
  EXPECT_EQ(SumOf({0x01, 0x02, 0x03, 0xFA}), 0x00);
  EXPECT_EQ(SumOf({0xFF, 0xFF, 0xFF}), 0x03);
}

TEST(CalcSum, BringsTheCoveredBytesToZeroWhateverTheirNumber) {
  for (std::size_t n = 0; n < 70000; n = n * 3 + 1) {
    Bytes bytes(n);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(n));
    bytes.push_back(SumOf(bytes));
    const unsigned total = std::accumulate(bytes.begin(), bytes.end(), 0U);
    EXPECT_EQ(total % 256, 0U) << n;
  }
}

TEST(CalcSum, LooksAtTheGivenBytesOnly) {
  const unsigned char bytes[] = {0x10, 0x20, 0x40};
  EXPECT_EQ(calc_sum(bytes, 2), 0xD0);
}

}  // namespace
