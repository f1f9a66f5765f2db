#include "inspect/check/loaded_together.h"

#include <gtest/gtest.h>

namespace tarvek::inspect {
namespace {

InputRecord Tagged(std::vector<std::string> tags, bool selected) {
  InputRecord record;
  record.tags = std::move(tags);
  record.selected = selected;
  return record;
}

TEST(AlikeRecords, TheFirstHasNoOther) {
  EXPECT_EQ(AlikeRecords().Add(0, Tagged({}, true)), std::nullopt);
  EXPECT_EQ(AlikeRecords().Add(5, Tagged({"A", "A", "a"}, false)), std::nullopt);
}

TEST(AlikeRecords, SelectedOnesAreLoadedTogether) {
  AlikeRecords alike;
  alike.Add(3, Tagged({"A"}, true));
  EXPECT_EQ(alike.Add(4, Tagged({"B"}, true)), 3U);
  EXPECT_EQ(alike.Add(5, Tagged({"C"}, false)), std::nullopt);
}

TEST(AlikeRecords, OneWithoutTagsIsLoadedWithEveryOther) {
  AlikeRecords alike;
  alike.Add(3, Tagged({"A"}, false));
  EXPECT_EQ(alike.Add(4, Tagged({}, true)), 3U);
  EXPECT_EQ(alike.Add(5, Tagged({"B"}, false)), 4U);
}

TEST(AlikeRecords, ThoseThatShareATagAreLoadedTogetherWhateverItsLetterCase) {
  AlikeRecords alike;
  alike.Add(3, Tagged({"CPU1", "x"}, false));
  EXPECT_EQ(alike.Add(4, Tagged({"cpu2"}, false)), std::nullopt);
  EXPECT_EQ(alike.Add(5, Tagged({"y", "cpu1"}, false)), 3U);
  EXPECT_EQ(alike.Add(6, Tagged({"Y"}, false)), 5U);
}

TEST(AlikeRecords, ATagThatFitsTheWildcardOfAnotherLoadsBoth) {
  AlikeRecords alike;
  alike.Add(3, Tagged({"CPU1"}, false));
  EXPECT_EQ(alike.Add(4, Tagged({"cpu#"}, false)), 3U);
  EXPECT_EQ(alike.Add(5, Tagged({"CPU2"}, false)), 4U);
  EXPECT_EQ(alike.Add(6, Tagged({"#PU2"}, false)), std::nullopt);
}

TEST(AlikeRecords, TwoWildcardsLoadBothWhereOneTagFitsThem) {
  AlikeRecords alike;
  alike.Add(3, Tagged({"A#1"}, false));
  EXPECT_EQ(alike.Add(4, Tagged({"A2#"}, false)), 3U);
  EXPECT_EQ(alike.Add(5, Tagged({"A#3"}, false)), 4U);
}

TEST(AlikeRecords, TheFirstOfSeveralIsTold) {
  AlikeRecords alike;
  alike.Add(1, Tagged({"A"}, false));
  alike.Add(2, Tagged({}, true));
  EXPECT_EQ(alike.Add(3, Tagged({"A"}, true)), 1U);
}

}  // namespace
}  // namespace tarvek::inspect
