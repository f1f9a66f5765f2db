#include "sdrfile/utilities/digit_columns.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

namespace tarvek {
namespace {

constexpr std::size_t kDigits = 10;
constexpr std::size_t kWordBits = 64;

std::size_t WordsFor(std::size_t bits) { return (bits + kWordBits - 1) / kWordBits; }

}  // namespace

bool DigitColumns::Reserve(std::size_t names, std::size_t places) {
  if (WordsFor(names) <= words_) return true;
  const std::size_t words = std::max(WordsFor(names), 2 * words_);
  const std::size_t summary_words = WordsFor(words);
  const std::size_t columns = places * kDigits;
  const std::size_t size = words + summary_words;
  std::unique_ptr<Word[]> grown(new (std::nothrow) Word[columns * size]());
  if (grown == nullptr) return false;
  for (std::size_t column = 0; column < columns && words_ != 0; ++column) {
    const Word* const from = bits_.get() + column * (words_ + summary_words_);
    Word* const to = grown.get() + column * size;
    std::copy_n(from, words_, to);
    std::copy_n(from + words_, summary_words_, to + words);
  }
  bits_ = std::move(grown);
  words_ = words;
  summary_words_ = summary_words;
  return true;
}

DigitColumns::Word* DigitColumns::Column(Digit digit) const {
  return bits_.get() + (digit.place * kDigits + digit.value) * (words_ + summary_words_);
}

void DigitColumns::Set(std::size_t name, Digit digit, bool value) {
  const auto assign = [](Word& word, std::size_t bit, bool to) {
    const Word mask = Word{1} << (bit % kWordBits);
    word = to ? word | mask : word & ~mask;
  };
  Word* const column = Column(digit);
  const std::size_t word = name / kWordBits;
  assign(column[word], name, value);
  assign(column[words_ + word / kWordBits], word, column[word] != 0);
}

/// The bits that are set in that word of all the digits' columns.
DigitColumns::Word DigitColumns::Common(std::span<const Digit> digits, std::size_t word) const {
  Word common = ~Word{0};
  for (const Digit digit : digits) {
    common &= Column(digit)[word];
    if (common == 0) break;
  }
  return common;
}

bool DigitColumns::AnyHas(std::span<const Digit> digits) const {
  for (std::size_t summary = 0; summary < summary_words_; ++summary) {
    for (Word words = Common(digits, words_ + summary); words != 0; words &= words - 1) {
      const auto bit = static_cast<std::size_t>(std::countr_zero(words));
      if (Common(digits, summary * kWordBits + bit) != 0) return true;
    }
  }
  return false;
}

}  // namespace tarvek
