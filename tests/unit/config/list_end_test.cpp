#include "config/list_end.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

struct Node {
  char name = '?';
  Node* next = nullptr;
};

class ListEndTest : public ::testing::Test {
 protected:
  void Append(char name) {
    Node& node = nodes_.at(used_++);
    node.name = name;
    end_.Append(&head_, &node);
  }
  /// Takes the first node of that name out.
  void Unlink(char name) {
    Node** slot = &head_;
    while ((*slot)->name != name) slot = &(*slot)->next;
    Node* const node = *slot;
    EXPECT_EQ(end_.Unlink(slot), node);
    EXPECT_EQ(node->next, nullptr);
  }
  std::string Names() const {
    std::string names;
    for (const Node* node = head_; node != nullptr; node = node->next) names += node->name;
    return names;
  }

  Node* head_ = nullptr;
  tarvek::ListEnd<Node> end_;

 private:
  std::array<Node, 8> nodes_;
  std::size_t used_ = 0;
};

TEST_F(ListEndTest, AppendsInOrder) {
  for (const char name : std::string("abc")) Append(name);
  EXPECT_EQ(Names(), "abc");
}

TEST_F(ListEndTest, AppendsBehindTheNewLastNodeOnceTheLastOneIsGone) {
  for (const char name : std::string("abc")) Append(name);
  Unlink('c');
  Append('d');
  EXPECT_EQ(Names(), "abd");
}

TEST_F(ListEndTest, AppendsAfterTheFirstOrAMiddleNodeIsGone) {
  for (const char name : std::string("abc")) Append(name);
  Unlink('a');
  Append('d');
  Unlink('c');
  Append('e');
  EXPECT_EQ(Names(), "bde");
}

TEST_F(ListEndTest, StartsAgainWhenTheListBecameEmpty) {
  Append('a');
  Unlink('a');
  EXPECT_EQ(head_, nullptr);
  Append('b');
  head_ = nullptr;  // freed by somebody else
  Append('c');
  Append('d');
  EXPECT_EQ(Names(), "cd");
}

TEST_F(ListEndTest, TakesAnotherListUp) {
  Append('a');
  Node other_first{'x', nullptr};
  Node other_second{'y', nullptr};
  Node* other = &other_first;
  end_.Append(&other, &other_second);
  EXPECT_EQ(other_first.next, &other_second);
  Append('b');
  EXPECT_EQ(Names(), "ab");
}

}  // namespace
