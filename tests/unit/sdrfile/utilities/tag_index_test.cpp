#include "sdrfile/utilities/tag_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "sdrfile/utilities/lib_funct.h"
#include "tests/unit/sdrfile/allocation_failure.h"

namespace {

using tarvek::TagIndex;
using tarvek_test::FailingAllocation;

TEST(TagKey, IsTheNameInUpperCaseFilledUpWithZeroBytes) {
  const tarvek::TagKey key = tarvek::MakeTagKey("aZ_{9#\xE4");
  EXPECT_EQ(std::string(key.data()), "AZ_{9#\xE4");
  EXPECT_EQ(std::count(key.begin(), key.end(), '\0'), 25);
}

TEST(TagKey, HoldsAtMost32Characters) {
  const std::string full(32, 'x');
  const tarvek::TagKey key = tarvek::MakeTagKey(full.c_str());
  EXPECT_EQ(std::string(key.begin(), key.end()), std::string(32, 'X'));
  EXPECT_EQ(tarvek::MakeTagKey((full + "more").c_str()), key);
  EXPECT_NE(tarvek::MakeTagKey(full.substr(1).c_str()), key);
}

TEST(TagKeyTable, FindsWhatItHasMade) {
  struct Thing {
    explicit Thing(const tarvek::TagKey& of) : key(of) {}
    tarvek::TagKey key;
    Thing* chained = nullptr;
  };
  tarvek::TagKeyTable<Thing> table;
  const auto key_of = [](int n) { return tarvek::MakeTagKey(std::to_string(n).c_str()); };
  EXPECT_EQ(table.Find(key_of(0)), nullptr);
  std::vector<const Thing*> things;
  for (int n = 0; n < 5000; ++n) things.push_back(table.FindOrMake(key_of(n)));
  for (int n = 0; n < 5000; ++n) {
    ASSERT_NE(things[static_cast<std::size_t>(n)], nullptr);
    EXPECT_EQ(things[static_cast<std::size_t>(n)]->key, key_of(n));
    EXPECT_EQ(table.Find(key_of(n)), things[static_cast<std::size_t>(n)]);
    EXPECT_EQ(table.FindOrMake(key_of(n)), things[static_cast<std::size_t>(n)]);
  }
  EXPECT_EQ(table.Find(key_of(5000)), nullptr);
}

TEST(TagIndex, CountsNamesWithoutRegardToCase) {
  TagIndex index;
  EXPECT_FALSE(index.Holds("cpu1"));
  EXPECT_EQ(index.Find("cpu1"), nullptr);
  TagIndex::Name* const name = index.Add("CPU1");
  EXPECT_EQ(index.Add("cpu1"), name);
  EXPECT_EQ(index.Find("Cpu1"), name);
  EXPECT_TRUE(index.Holds("Cpu1"));
  EXPECT_TRUE(index.Holds("CPU#"));
  EXPECT_FALSE(index.Holds("CPU"));
  TagIndex::Remove(name);
  EXPECT_TRUE(index.Holds("CPU1"));
  TagIndex::Remove(name);
  EXPECT_FALSE(index.Holds("CPU1"));
  EXPECT_FALSE(index.Holds("CPU#"));
  EXPECT_EQ(index.Add("cpu1"), name);
  EXPECT_TRUE(index.Holds("CPU1"));
}

/// A tag list, and the index of it.
class TagIndexTest : public ::testing::Test {
 protected:
  /// @param name  at most 32 characters; of that many it is not terminated.
  void Set(const std::string& name) {
    auto tag = std::make_unique<TagTbl>();
    name.copy(tag->name, sizeof(tag->name));
    ASSERT_NE(index.Add(tag->name), nullptr);
    tag->next = list.release();
    list = std::move(tag);
  }

  /// Clears the tag that stands at `at` in the list.
  void ClearAt(std::size_t at) {
    TagTbl* before = nullptr;
    TagTbl* tag = list.get();
    for (; at > 0; --at) {
      before = tag;
      tag = tag->next;
    }
    TagIndex::Remove(index.Find(tag->name));
    if (before == nullptr) {
      list.release();
      list.reset(tag->next);
    } else {
      before->next = tag->next;
    }
    tag->next = nullptr;
    delete tag;
  }

  void ExpectSameAnswer(const std::string& name) {
    ASSERT_EQ(index.Holds(name.c_str()), fruLib.CheckTable(list.get(), name.c_str()) == 1) << name;
  }

  std::unique_ptr<TagTbl> list;
  TagIndex index;
};

/// Random names of a few characters that collide often in every way.
class Names {
 public:
  explicit Names(unsigned seed) : random_(seed) {}

  std::size_t Below(std::size_t count) { return random_() % count; }

  std::string Of(const char* characters, std::size_t length) {
    const std::string choice(characters);
    std::string name;
    while (name.size() < length) name += choice[Below(choice.size())];
    return name;
  }

 private:
  std::mt19937 random_;
};

struct Kind {
  const char* name;
  const char* characters;
  std::size_t shortest;
  std::size_t longest;
};

class RandomNames : public TagIndexTest, public ::testing::WithParamInterface<Kind> {};

TEST_P(RandomNames, AreAnsweredAsCheckTableDoes) {
  Names names(11);
  const auto next = [&] {
    const std::size_t lengths = GetParam().longest - GetParam().shortest + 1;
    return names.Of(GetParam().characters, GetParam().shortest + names.Below(lengths));
  };
  std::size_t set = 0;
  for (int round = 0; round < 4000; ++round) {
    // Some hundred tags: both few and many names of a form are met.
    if (set == 0 || names.Below(400) >= set) {
      Set(next());
      ++set;
    } else {
      ClearAt(names.Below(set));
      --set;
    }
    for (int lookup = 0; lookup < 3; ++lookup) ExpectSameAnswer(next());
    ExpectSameAnswer(next() + next());
  }
}

INSTANTIATE_TEST_SUITE_P(TagIndex, RandomNames,
                         ::testing::Values(Kind{"OfLettersAndADigit", "aA1#", 0, 4},
                                           Kind{"MostlyWildcards", "aB12##", 1, 3},
                                           Kind{"OfFewDigits", "01#", 3, 5},
                                           Kind{"OfAllDigits", "0123456789#", 2, 4},
                                           Kind{"AroundTheLongest", "x7#", 30, 32},
                                           Kind{"OfTheLongestDigits", "1#", 31, 32},
                                           Kind{"OfOtherBytes", "\xE4\xC4 /:1#", 0, 3}),
                         [](const auto& row) { return row.param.name; });

TEST_F(TagIndexTest, AnswersAsCheckTableForEveryShortName) {
  // Every list of one tag against every name, of up to three of these characters.
  const std::string characters = "aA1#";
  std::vector<std::string> all{""};
  for (std::size_t at = 0; at < all.size(); ++at) {
    if (all[at].size() == 3) break;
    for (const char c : characters) all.push_back(all[at] + c);
  }
  for (const std::string& entry : all) {
    TagTbl tag;
    entry.copy(tag.name, sizeof(tag.name));
    TagIndex of_one;
    ASSERT_TRUE(of_one.AddAll(&tag));
    for (const std::string& name : all) {
      ASSERT_EQ(of_one.Holds(name.c_str()), fruLib.CheckTable(&tag, name.c_str()) == 1)
          << entry << " / " << name;
    }
  }
}

TEST_F(TagIndexTest, AnswersTheSameAtEveryNumberOfNames) {
  // Around the numbers at which it goes over to columns, and at which these grow.
  for (int n = 0; n < 300; ++n) {
    Set("A" + std::to_string(100 + n) + (n % 7 == 0 ? "#" : std::to_string(n % 2)));
    for (const std::string& name :
         {"A" + std::to_string(100 + n) + "#", "A#" + std::to_string(n % 100) + "1",
          std::string("A###2"), std::string("A##90"), std::string("A####")}) {
      ExpectSameAnswer(name);
    }
  }
  for (std::size_t left = 300; left > 0; --left) {
    ClearAt(left / 2);
    for (const char* name : {"A1###", "A#0##", "A###1", "A##90", "A####", "A#99#"}) {
      ExpectSameAnswer(name);
    }
  }
}

TEST_F(TagIndexTest, TakesUpAList) {
  EXPECT_TRUE(index.AddAll(nullptr));
  Set("CPU1");
  Set("FAN");
  TagIndex other;
  EXPECT_TRUE(other.AddAll(list.get()));
  EXPECT_TRUE(other.Holds("fan"));
  EXPECT_TRUE(other.Holds("CPU#"));
  EXPECT_FALSE(other.Holds("FAN#"));
}

TEST_F(TagIndexTest, CountsNothingWithoutMemory) {
  int failures = 0;
  for (int nth = 1;; ++nth) {
    const FailingAllocation failing(nth);
    const TagIndex::Name* const name = index.Add("CPU1");
    if (!failing.Happened()) break;
    EXPECT_EQ(name, nullptr);
    EXPECT_FALSE(index.Holds("CPU1"));
    EXPECT_FALSE(index.Holds("CPU#"));
    ++failures;
  }
  EXPECT_GE(failures, 2) << "the name's and its form's";
  EXPECT_TRUE(index.Holds("CPU1"));
  const FailingAllocation failing(1);
  EXPECT_FALSE(index.AddAll(std::make_unique<TagTbl>().get()));
}

TEST_F(TagIndexTest, AnswersTheSameWithoutMemoryForItsColumns) {
  for (int n = 100; n < 300; ++n) Set("A" + std::to_string(n));
  for (const char* name : {"A2#9", "A3##", "A##0"}) {
    const FailingAllocation failing(1);
    ExpectSameAnswer(name);
    EXPECT_TRUE(failing.Happened());
  }
  ExpectSameAnswer("A2#9");
}

}  // namespace
