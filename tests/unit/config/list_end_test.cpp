#include "config/list_end.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

struct Node {
  char name = '?';
  Node* next = nullptr;
};

std::string Names(const Node* node) {
  std::string names;
  for (; node != nullptr; node = node->next) names += node->name;
  return names;
}

TEST(ListEnd, AppendsInOrder) {
  std::array<Node, 3> nodes{{{'a'}, {'b'}, {'c'}}};
  Node* head = nullptr;
  tarvek::ListEnd<Node> end(&head);
  for (Node& node : nodes) end.Append(&node);
  EXPECT_EQ(Names(head), "abc");
}

TEST(ListEnd, AppendsBehindWhatTheListHolds) {
  std::array<Node, 3> nodes{{{'a'}, {'b'}, {'c'}}};
  nodes[0].next = &nodes[1];
  Node* head = nodes.data();
  tarvek::ListEnd<Node> end(&head);
  end.Append(&nodes[2]);
  EXPECT_EQ(Names(head), "abc");
}

TEST(ListEnd, KnowsItsList) {
  Node* head = nullptr;
  Node* other = nullptr;
  const tarvek::ListEnd<Node> end(&head);
  EXPECT_TRUE(end.IsOf(&head));
  EXPECT_FALSE(end.IsOf(&other));
}

}  // namespace
