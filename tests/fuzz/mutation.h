// What the mutators share. They are compiled into the libFuzzer programs alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

/// libFuzzer's own mutations of any bytes.
/// @return the size they have then, at most `max_size`.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace tarvek_fuzz {

/// The random choices of one mutation: the same ones for the same seed.
class Dice {
 public:
  explicit Dice(unsigned seed) : numbers_(seed) {}
  /// @return 0 to `n` - 1, or 0 when `n` is 0.
  std::size_t Below(std::size_t n) { return n == 0 ? 0 : numbers_() % n; }
  bool OneIn(std::size_t n) { return Below(n) == 0; }
  /// One of the elements; there is one.
  template <typename Range>
  auto& Pick(Range& range) {
    return range[Below(range.size())];
  }

 private:
  std::mt19937 numbers_;
};

/// Lets libFuzzer mutate a string or a vector of bytes, which grows by at most `growth`.
template <typename Range>
void MutateBytes(Range& bytes, std::size_t growth) {
  const std::size_t size = bytes.size();
  bytes.resize(size + growth);
  bytes.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
}

}  // namespace tarvek_fuzz
