#include "inspect/diff/moved.h"

#include <gmock/gmock.h>

#include <numeric>

namespace tarvek::inspect {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Matches of these old indices with 0, 1, 2 …; the old indices of those that have moved.
std::vector<std::size_t> MovedAmong(const std::vector<std::size_t>& old_indices) {
  std::vector<Match> matches;
  for (std::size_t i = 0; i < old_indices.size(); ++i) matches.push_back({old_indices[i], i});
  std::vector<std::size_t> moved;
  for (const Match& match : MovedOf(matches)) moved.push_back(match.old_index);
  return moved;
}

TEST(MovedOf, NothingHasMovedWhereTheOrderIsTheSame) {
  EXPECT_THAT(MovedAmong({}), IsEmpty());
  EXPECT_THAT(MovedAmong({0}), IsEmpty());
  EXPECT_THAT(MovedAmong({0, 1, 2, 3}), IsEmpty());
}

TEST(MovedOf, WhatIsAddedOrRemovedMovesNothing) { EXPECT_THAT(MovedAmong({1, 4, 9}), IsEmpty()); }

TEST(MovedOf, OneThatGoesToTheEndIsAlone) { EXPECT_THAT(MovedAmong({1, 2, 3, 0}), ElementsAre(0)); }

TEST(MovedOf, OneThatGoesToTheFrontIsAlone) {
  EXPECT_THAT(MovedAmong({3, 0, 1, 2}), ElementsAre(3));
}

TEST(MovedOf, OfTwoThatChangePlacesOneHasMoved) { EXPECT_EQ(MovedAmong({1, 0}).size(), 1U); }

TEST(MovedOf, AllButOneHaveMovedWhereTheOrderIsReversed) {
  EXPECT_EQ(MovedAmong({4, 3, 2, 1, 0}).size(), 4U);
}

TEST(MovedOf, TheFewestAreTold) { EXPECT_THAT(MovedAmong({2, 3, 0, 4, 1, 5}), ElementsAre(0, 1)); }

TEST(MovedOf, AMillionInReverseTakeNoTime) {
  std::vector<std::size_t> indices(1000000);
  std::iota(indices.rbegin(), indices.rend(), 0);
  EXPECT_EQ(MovedAmong(indices).size(), indices.size() - 1);
}

}  // namespace
}  // namespace tarvek::inspect
