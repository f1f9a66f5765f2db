#include "sdrfile/utilities/digit_columns.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/unit/sdrfile/allocation_failure.h"

namespace {

using tarvek::DigitColumns;
using Digits = std::vector<DigitColumns::Digit>;

TEST(DigitColumns, AnswerForNamesThatHaveAllDigits) {
  DigitColumns columns;
  ASSERT_TRUE(columns.Reserve(200, 2));
  columns.Set(0, {0, 1}, true);
  columns.Set(0, {1, 9}, true);
  columns.Set(199, {0, 0}, true);
  columns.Set(199, {1, 5}, true);
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 1}}));
  EXPECT_TRUE(columns.AnyHas(Digits{{1, 5}}));
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 1}, {1, 9}}));
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 0}, {1, 5}}));
  EXPECT_FALSE(columns.AnyHas(Digits{{0, 1}, {1, 5}})) << "of two different names";
  EXPECT_FALSE(columns.AnyHas(Digits{{0, 9}}));
  columns.Set(199, {1, 5}, false);
  EXPECT_FALSE(columns.AnyHas(Digits{{1, 5}}));
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 0}}));
}

TEST(DigitColumns, KeepTheirBitsWhenTheyGrow) {
  DigitColumns columns;
  for (std::size_t name = 0; name < 1000; ++name) {
    ASSERT_TRUE(columns.Reserve(name + 1, 3));
    columns.Set(name, {0, static_cast<unsigned>(name / 100)}, true);
    columns.Set(name, {1, static_cast<unsigned>(name / 10 % 10)}, true);
    columns.Set(name, {2, static_cast<unsigned>(name % 10)}, true);
  }
  for (unsigned name = 0; name < 1000; ++name) {
    const Digits digits{{0, name / 100}, {1, name / 10 % 10}, {2, name % 10}};
    EXPECT_TRUE(columns.AnyHas(digits)) << name;
    columns.Set(name, digits[1], false);
    EXPECT_FALSE(columns.AnyHas(digits)) << name;
  }
}

TEST(DigitColumns, FindTheOneNameAmongManyWhereverItStands) {
  constexpr std::size_t kNames = 10000;  // more than a word of a summary stands for
  DigitColumns columns;
  ASSERT_TRUE(columns.Reserve(kNames, 2));
  for (std::size_t name = 0; name < kNames; ++name) columns.Set(name, {0, 1}, true);
  for (const std::size_t name : {0U, 63U, 64U, 4095U, 4096U, 8191U, 8192U, 9999U}) {
    EXPECT_FALSE(columns.AnyHas(Digits{{0, 1}, {1, 2}}));
    columns.Set(name, {1, 2}, true);
    EXPECT_TRUE(columns.AnyHas(Digits{{0, 1}, {1, 2}})) << name;
    EXPECT_TRUE(columns.AnyHas(Digits{{1, 2}})) << name;
    columns.Set(name, {1, 2}, false);
  }
}

TEST(DigitColumns, ClearOneNameOfAWordAndKeepTheOthers) {
  DigitColumns columns;
  ASSERT_TRUE(columns.Reserve(64, 1));
  columns.Set(3, {0, 4}, true);
  columns.Set(5, {0, 4}, true);
  columns.Set(3, {0, 4}, false);
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 4}}));
  columns.Set(5, {0, 4}, false);
  EXPECT_FALSE(columns.AnyHas(Digits{{0, 4}}));
}

TEST(DigitColumns, AreAsTheyWereWhenTheyCannotGrow) {
  DigitColumns columns;
  ASSERT_TRUE(columns.Reserve(64, 1));
  columns.Set(63, {0, 7}, true);
  {
    const tarvek_test::FailingAllocation failing(1);
    EXPECT_FALSE(columns.Reserve(65, 1));
    EXPECT_TRUE(failing.Happened());
  }
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 7}}));
  ASSERT_TRUE(columns.Reserve(65, 1));
  EXPECT_TRUE(columns.AnyHas(Digits{{0, 7}}));
}

}  // namespace
