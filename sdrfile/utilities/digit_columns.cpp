#include "sdrfile/utilities/digit_columns.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tarvek {
namespace {

constexpr std::size_t kDigits = 10;
constexpr std::size_t kWordBits = 64;

}  // namespace

bool DigitColumns::Reserve(std::size_t names, std::size_t places) {
  const std::size_t needed = (names + kWordBits - 1) / kWordBits;
  if (needed <= words_) return true;
  const std::size_t words = std::max(needed, 2 * words_);
  const std::size_t columns = places * kDigits;
  std::unique_ptr<std::uint64_t[]> grown(new (std::nothrow) std::uint64_t[columns * words]());
  if (grown == nullptr) return false;
  for (std::size_t column = 0; column < columns && words_ != 0; ++column) {
    std::copy_n(bits_.get() + column * words_, words_, grown.get() + column * words);
  }
  bits_ = std::move(grown);
  words_ = words;
  return true;
}

std::uint64_t* DigitColumns::Column(Digit digit) const {
  return bits_.get() + (digit.place * kDigits + digit.value) * words_;
}

void DigitColumns::Set(std::size_t name, Digit digit, bool value) {
  std::uint64_t& word = Column(digit)[name / kWordBits];
  const std::uint64_t bit = std::uint64_t{1} << (name % kWordBits);
  word = value ? word | bit : word & ~bit;
}

bool DigitColumns::AnyHas(std::span<const Digit> digits) const {
  for (std::size_t word = 0; word < words_; ++word) {
    std::uint64_t names = ~std::uint64_t{0};
    for (const Digit digit : digits) {
      names &= Column(digit)[word];
      if (names == 0) break;
    }
    if (names != 0) return true;
  }
  return false;
}

}  // namespace tarvek
