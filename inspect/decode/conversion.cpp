#include <array>
#include <cmath>
#include <cstdint>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

namespace {

constexpr int kSignBit = 0x80;
constexpr int kByteMask = 0xFF;
constexpr int kByteValues = 0x100;
constexpr int kLastFunction = 11;

// Table 43-1, byte 24.
enum Linearization {
  kLinear,
  kLn,
  kLog10,
  kLog2,
  kExpE,
  kExp10,
  kExp2,
  kInverse,
  kSquare,
  kCube,
  kSquareRoot,
  kCubeRoot,
};

/// 10 to the `exponent`, exactly; `exponent` is 0 to 16.
constexpr std::int64_t PowerOfTen(int exponent) {
  std::int64_t power = 1;
  constexpr int kBase = 10;
  for (int i = 0; i < exponent; ++i) power *= kBase;
  return power;
}

/// (M x + B 10^K1) 10^K2, rounded once: the sum is taken in whole numbers, in units of the smallest
/// power of ten that occurs. The terms stay below 2^63 for every M, B and exponent that there is.
double Linear(std::int64_t m, std::int64_t x, std::int64_t b, int b_exp, int r_exp) {
  const int scale = b_exp < 0 ? -b_exp : 0;
  const std::int64_t sum = m * x * PowerOfTen(scale) + b * PowerOfTen(b_exp + scale);
  const int exponent = r_exp - scale;
  if (exponent >= 0) return static_cast<double>(sum * PowerOfTen(exponent));
  return static_cast<double>(sum) / static_cast<double>(PowerOfTen(-exponent));
}

double Apply(int linearization, double y) {
  constexpr double kTen = 10;
  switch (linearization) {
    case kLn:
      return std::log(y);
    case kLog10:
      return std::log10(y);
    case kLog2:
      return std::log2(y);
    case kExpE:
      return std::exp(y);
    case kExp10:
      return std::pow(kTen, y);
    case kExp2:
      return std::exp2(y);
    case kInverse:
      return 1 / y;
    case kSquare:
      return y * y;
    case kCube:
      return y * y * y;
    case kSquareRoot:
      return std::sqrt(y);
    case kCubeRoot:
      return std::cbrt(y);
    default:
      return y;
  }
}

}  // namespace

std::optional<int> Conversion::Signed(int raw) const {
  raw &= kByteMask;
  if (!analog_format || *analog_format == AnalogFormat::kNone) return std::nullopt;
  if (*analog_format == AnalogFormat::kUnsigned || (raw & kSignBit) == 0) return raw;
  // FFh is minus zero in ones' complement, minus one in two's.
  const int negative = raw - kByteValues;
  return *analog_format == AnalogFormat::kOnesComplement ? negative + 1 : negative;
}

std::optional<double> Conversion::ToReal(int raw) const {
  const std::optional<int> x = Signed(raw);
  if (!x || !linearization || !m || !b || !r_exp || !b_exp) return std::nullopt;
  if (*linearization < 0 || *linearization > kLastFunction) return std::nullopt;
  const double value = Apply(*linearization, Linear(*m, *x, *b, *b_exp, *r_exp));
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace tarvek::inspect
