#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "inspect/decode/record.h"

namespace tarvek_test {
namespace {

using tarvek::inspect::AnalogFormat;
using tarvek::inspect::Conversion;
using testing::Eq;
using testing::Optional;

Conversion Linear(int m, int b, int b_exp, int r_exp,
                  AnalogFormat format = AnalogFormat::kUnsigned) {
  return {.analog_format = format,
          .linearization = 0,
          .m = m,
          .tolerance = 0,
          .b = b,
          .accuracy = 0,
          .accuracy_exp = 0,
          .r_exp = r_exp,
          .b_exp = b_exp};
}

struct SignedRow {
  AnalogFormat format;
  int raw;
  std::optional<int> number;
};
constexpr SignedRow kSignedRows[] = {
    {AnalogFormat::kUnsigned, 0x00, 0},          {AnalogFormat::kUnsigned, 0x7F, 127},
    {AnalogFormat::kUnsigned, 0x80, 128},        {AnalogFormat::kUnsigned, 0xFF, 255},
    {AnalogFormat::kOnesComplement, 0x00, 0},    {AnalogFormat::kOnesComplement, 0x7F, 127},
    {AnalogFormat::kOnesComplement, 0x80, -127}, {AnalogFormat::kOnesComplement, 0xFE, -1},
    {AnalogFormat::kOnesComplement, 0xFF, 0},    {AnalogFormat::kTwosComplement, 0x00, 0},
    {AnalogFormat::kTwosComplement, 0x7F, 127},  {AnalogFormat::kTwosComplement, 0x80, -128},
    {AnalogFormat::kTwosComplement, 0xFE, -2},   {AnalogFormat::kTwosComplement, 0xFF, -1},
    {AnalogFormat::kNone, 0x00, std::nullopt},   {AnalogFormat::kNone, 0xFF, std::nullopt},
};

TEST(ConversionTest, ARawByteIsSignedByItsAnalogFormat) {
  for (const SignedRow& row : kSignedRows) {
    EXPECT_EQ(Linear(1, 0, 0, 0, row.format).Signed(row.raw), row.number)
        << static_cast<int>(row.format) << " " << row.raw;
  }
}

struct LinearRow {
  int m, b, b_exp, r_exp, raw;
  double value;
};
constexpr LinearRow kLinearRows[] = {
    {1, 0, 0, 0, 95, 95},           {1, 0, 0, -1, 33, 3.3},  // and not 3.3000000000000003
    {-1, 0, 0, 0, 95, -95},         {511, 0, 0, 0, 255, 130305},
    {-512, 0, 0, 0, 255, -130560},  {0, 42, 0, 0, 255, 42},  // M of 0 gives the constant
    {0, 0, 0, 0, 255, 0},           {1, 511, 0, 0, 0, 511},
    {1, -512, 0, 0, 0, -512},       {1, 511, 7, 0, 1, 5110000001},
    {1, 511, -8, 0, 0, 0.00000511}, {2, 5, -1, -2, 100, 2.005},
    {1, 0, 0, 7, 255, 2550000000},  {1, 0, 0, -8, 1, 1e-8},
    {1, -512, 7, 7, 0, -5.12e16},   {3, 0, 0, 0, 0, 0},
    {59, 0, 0, -3, 203, 11.977},    {1, 1, -8, -8, 1, 1.00000001e-8},
};

TEST(ConversionTest, FactorsAndExponentsGiveTheNearestDouble) {
  for (const LinearRow& row : kLinearRows) {
    EXPECT_THAT(Linear(row.m, row.b, row.b_exp, row.r_exp).ToReal(row.raw), Optional(row.value))
        << row.m << " " << row.b << " " << row.b_exp << " " << row.r_exp << " " << row.raw;
  }
}

/// The exact result in decimal, rounded by the C library.
double Exact(int m, int raw, int b, int b_exp, int r_exp) {
  long long sum = static_cast<long long>(m) * raw;
  int exponent = r_exp;
  long long constant = b;
  for (int i = 0; i < b_exp; ++i) constant *= 10;
  for (int i = b_exp; i < 0; ++i) sum *= 10;
  if (b_exp < 0) exponent += b_exp;
  return std::strtod((std::to_string(sum + constant) + "e" + std::to_string(exponent)).c_str(),
                     nullptr);
}

TEST(ConversionTest, EveryExponentIsExact) {
  for (int b_exp = -8; b_exp <= 7; ++b_exp) {
    for (int r_exp = -8; r_exp <= 7; ++r_exp) {
      for (const int m : {-512, -511, -7, -1, 0, 1, 3, 511}) {
        for (const int b : {-512, -3, 0, 1, 17, 511}) {
          for (const int raw : {0, 1, 100, 255}) {
            ASSERT_THAT(Linear(m, b, b_exp, r_exp).ToReal(raw),
                        Optional(Exact(m, raw, b, b_exp, r_exp)))
                << m << " " << b << " " << b_exp << " " << r_exp << " " << raw;
          }
        }
      }
    }
  }
}

struct FunctionRow {
  int linearization;
  int raw;  // two's complement
  std::optional<double> value;
};
constexpr int kMinusEight = 0xF8;
const FunctionRow kFunctionRows[] = {
    {0, kMinusEight, -8.0},
    {1, 8, std::log(8.0)},
    {1, 1, 0.0},
    {1, 0, std::nullopt},
    {1, kMinusEight, std::nullopt},
    {2, 100, 2.0},
    {2, 0, std::nullopt},
    {2, kMinusEight, std::nullopt},
    {3, 8, 3.0},
    {3, 0, std::nullopt},
    {3, kMinusEight, std::nullopt},
    {4, 0, 1.0},
    {4, 8, std::exp(8.0)},
    {4, kMinusEight, std::exp(-8.0)},
    {5, 8, 1e8},
    {5, kMinusEight, 1e-8},
    {6, 8, 256.0},
    {6, kMinusEight, 1.0 / 256},
    {7, 8, 0.125},
    {7, kMinusEight, -0.125},
    {7, 0, std::nullopt},
    {8, 8, 64.0},
    {8, kMinusEight, 64.0},
    {9, 8, 512.0},
    {9, kMinusEight, -512.0},
    {10, 64, 8.0},
    {10, 0, 0.0},
    {10, kMinusEight, std::nullopt},
    {11, 8, 2.0},
    {11, kMinusEight, -2.0},  // a real root
    {11, 0, 0.0},
    {12, 8, std::nullopt},  // reserved
    {0x6F, 8, std::nullopt},
    {0x70, 8, std::nullopt},  // non-linear
    {0x7F, 8, std::nullopt},
};

TEST(ConversionTest, EveryLinearizationIsItsFunctionWhereThatIsFinite) {
  for (const FunctionRow& row : kFunctionRows) {
    Conversion to = Linear(1, 0, 0, 0, AnalogFormat::kTwosComplement);
    to.linearization = row.linearization;
    const std::optional<double> value = to.ToReal(row.raw);
    ASSERT_EQ(value.has_value(), row.value.has_value()) << row.linearization << " " << row.raw;
    if (value) {
      EXPECT_DOUBLE_EQ(*value, *row.value) << row.linearization << " " << row.raw;
    }
  }
}

TEST(ConversionTest, WhatOverflowsHasNoValue) {
  for (const int linearization : {4, 5, 6}) {
    Conversion to = Linear(511, 0, 0, 0);
    to.linearization = linearization;
    EXPECT_EQ(to.ToReal(255), std::nullopt) << linearization;
    EXPECT_THAT(to.ToReal(0), Optional(1.0)) << linearization;
  }
}

TEST(ConversionTest, TheFunctionIsAppliedToTheScaledReading) {
  Conversion to = Linear(2, 10, 1, -2);  // (2x + 100) / 100
  to.linearization = 8;
  EXPECT_THAT(to.ToReal(100), Optional(9.0));
}

TEST(ConversionTest, WithoutAnalogReadingOrWithAMissingFactorThereIsNoValue) {
  EXPECT_EQ(Linear(1, 0, 0, 0, AnalogFormat::kNone).ToReal(1), std::nullopt);
  EXPECT_EQ(Conversion{}.ToReal(1), std::nullopt);
  std::optional<int> Conversion::*const kFactors[] = {&Conversion::linearization, &Conversion::m,
                                                      &Conversion::b, &Conversion::r_exp,
                                                      &Conversion::b_exp};
  for (const auto factor : kFactors) {
    Conversion to = Linear(1, 0, 0, 0);
    to.*factor = std::nullopt;
    EXPECT_EQ(to.ToReal(1), std::nullopt);
  }
  Conversion formatless = Linear(1, 0, 0, 0);
  formatless.analog_format = std::nullopt;
  EXPECT_EQ(formatless.ToReal(1), std::nullopt);
}

TEST(ConversionTest, ToleranceAndAccuracyAreNotNeeded) {
  Conversion to = Linear(1, 0, 0, 0);
  to.tolerance = std::nullopt;
  to.accuracy = std::nullopt;
  to.accuracy_exp = std::nullopt;
  EXPECT_THAT(to.ToReal(7), Optional(7.0));
}

}  // namespace
}  // namespace tarvek_test
