// Digits of many names, held so that 64 names are compared at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace tarvek {

/// A bit for each name, place and digit: whether the name has that digit at that place. Names and
/// places are numbers from 0.
class DigitColumns {
 public:
  /// A digit that is asked for.
  struct Digit {
    std::size_t place;
    unsigned value;  // 0 to 9
  };

  /// Makes room for names with numbers below `names`; those that there are keep their bits.
  /// @param places  places that each name has; the same in every call.
  /// @return false when memory ran out: nothing has changed.
  bool Reserve(std::size_t names, std::size_t places);

  /// Sets or clears one bit. There is room for `name`.
  void Set(std::size_t name, Digit digit, bool value);

  /// Whether a name has all of `digits`, which are not empty. There is room for names.
  bool AnyHas(std::span<const Digit> digits) const;

 private:
  using Word = std::uint64_t;

  /// A column is `words_` words of names, and behind them `summary_words_` that have a bit for
  /// each of those: it is clear where no name of the word has the digit.
  Word* Column(Digit digit) const;
  Word Common(std::span<const Digit> digits, std::size_t word) const;

  std::unique_ptr<Word[]> bits_;
  std::size_t words_ = 0;
  std::size_t summary_words_ = 0;
};

}  // namespace tarvek
