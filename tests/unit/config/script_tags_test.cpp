#include "config/script_tags.h"

#include <gtest/gtest.h>

#include <cstring>
#include <list>
#include <memory>
#include <random>
#include <string>

#include "tests/unit/config/script_run.h"

namespace {

using tarvek_test::TheSeams;

class ScriptTagsTest : public tarvek_test::ScriptRun {
 protected:
  ~ScriptTagsTest() override { delete list; }

  static std::unique_ptr<TagTbl> NewTag(const std::string& name) {
    auto tag = std::make_unique<TagTbl>();
    name.copy(tag->name, sizeof(tag->name) - 1);
    return tag;
  }
  bool Append(const std::string& name) {
    auto tag = NewTag(name);
    return tags.Append(tag.get()) && tag.release() != nullptr;
  }
  /// @return the name of the node that was taken out, or "none".
  std::string Unlink(const char* name) {
    const std::unique_ptr<const TagTbl> tag(tags.Unlink(name));
    if (tag == nullptr) return "none";
    EXPECT_EQ(tag->next, nullptr);
    return tag->name;
  }
  std::string Names() const {
    std::string names;
    for (const TagTbl* tag = list; tag != nullptr; tag = tag->next) {
      names.append(tag == list ? "" : ",").append(tag->name);
    }
    return names;
  }

  TagTbl* list = nullptr;
  tarvek::ScriptTags tags{&list};
};

TEST_F(ScriptTagsTest, KnowsItsList) {
  TagTbl* other = nullptr;
  EXPECT_TRUE(tags.IsOf(&list));
  EXPECT_FALSE(tags.IsOf(&other));
}

TEST_F(ScriptTagsTest, KeepsTheOrderAndTakesTheFirstOfAName) {
  for (const char* name : {"a", "B", "c", "b", "A"}) EXPECT_TRUE(Append(name));
  EXPECT_EQ(Names(), "a,B,c,b,A");
  EXPECT_EQ(Unlink("b"), "B");
  EXPECT_EQ(Names(), "a,c,b,A");
  EXPECT_EQ(Unlink("A"), "a");
  EXPECT_EQ(Unlink("A"), "A");
  EXPECT_EQ(Unlink("A"), "none");
  EXPECT_EQ(Names(), "c,b");
  EXPECT_TRUE(Append("a"));
  EXPECT_EQ(Names(), "c,b,a");
}

TEST_F(ScriptTagsTest, TakesNoWildcardOut) {
  EXPECT_TRUE(Append("CPU1"));
  EXPECT_EQ(Unlink("CPU#"), "none");
  EXPECT_TRUE(Append("CPU#"));
  EXPECT_EQ(Unlink("CPU#"), "CPU#");
  EXPECT_EQ(Unlink("CPU#"), "none");
}

TEST_F(ScriptTagsTest, GrowsAgainFromAnEmptyList) {
  EXPECT_TRUE(Append("a"));
  EXPECT_EQ(Unlink("a"), "a");
  EXPECT_EQ(list, nullptr);
  EXPECT_TRUE(Append("b"));
  EXPECT_EQ(Names(), "b");
}

TEST_F(ScriptTagsTest, TakesUpWhatTheListHolds) {
  list = NewTag("a").release();
  list->next = NewTag("b").release();
  ASSERT_TRUE(tags.TakeUp());
  EXPECT_TRUE(tags.Holds("B"));
  EXPECT_TRUE(Append("c"));
  EXPECT_EQ(Unlink("a"), "a");
  EXPECT_EQ(Names(), "b,c");
}

TEST_F(ScriptTagsTest, IsAsItWasAfterAnAppendThatFoundNoMemory) {
  ASSERT_TRUE(Append("a"));
  int failures = 0;
  for (int nth = 1;; ++nth) {
    TheSeams().failing_allocation = nth;
    const bool appended = Append("NEW1");
    if (TheSeams().failing_allocation != 0) break;
    EXPECT_FALSE(appended);
    EXPECT_EQ(Names(), "a");
    EXPECT_FALSE(tags.Holds("NEW1"));
    EXPECT_FALSE(tags.Holds("NEW#"));
    EXPECT_EQ(Unlink("NEW1"), "none");
    ++failures;
  }
  TheSeams().failing_allocation = 0;
  EXPECT_GT(failures, 1);
  EXPECT_EQ(Names(), "a,NEW1");
  EXPECT_TRUE(tags.Holds("NEW#"));
}

/// What it is to equal: the list with every tag looked for from its head.
class Walked {
 public:
  void Append(const std::string& name) { names_.push_back(name); }
  std::string Unlink(const std::string& name) {
    for (auto at = names_.begin(); at != names_.end(); ++at) {
      if (strcasecmp(at->c_str(), name.c_str()) != 0) continue;
      std::string found = *at;
      names_.erase(at);
      return found;
    }
    return "none";
  }
  std::string Names() const {
    std::string names;
    for (const std::string& name : names_) names.append(names.empty() ? "" : ",").append(name);
    return names;
  }

 private:
  std::list<std::string> names_;
};

TEST_F(ScriptTagsTest, EqualsAListThatIsWalked) {
  std::mt19937 random(3);
  Walked walked;
  for (int round = 0; round < 20000; ++round) {
    std::string name;
    for (auto length = random() % 2 + 1; length > 0; --length) name += "aAbB1#"[random() % 6];
    if (random() % 2 == 0) {
      walked.Append(name);
      ASSERT_TRUE(Append(name));
    } else {
      ASSERT_EQ(Unlink(name.c_str()), walked.Unlink(name));
    }
    ASSERT_EQ(Names(), walked.Names());
    ASSERT_EQ(tags.Holds(name.c_str()), fruLib.CheckTable(list, name.c_str()) == 1);
  }
}

}  // namespace
