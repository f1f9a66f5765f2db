// What the singly linked lists of the data model have in common: a node owns its successors.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {

/// A list of `count` nodes, at least one.
template <typename Node>
Node* MakeList(int count) {
  auto* head = new Node;
  for (int i = 1; i < count; ++i) {
    auto* const node = new Node;
    node->next = head;
    head = node;
  }
  return head;
}

/// What the allocation trace says when `node` is freed.
template <typename Node>
std::string Deallocation(const Node* node) {
  std::ostringstream text;
  text << std::uppercase << std::hex;
  text.width(4);
  text.fill('0');
  text << sizeof(Node);
  std::ostringstream address;
  address << std::hex << reinterpret_cast<std::uintptr_t>(node);
  return "Deallocating 0x" + text.str() + " bytes at address 0x" + address.str() + "\n";
}

/// A node that is destroyed takes the rest of its list along, each node announced when the trace
/// is on; a list of a million nodes stays within the stack. (Leaks are the sanitizers' to find.)
template <typename Node>
void ExpectNodesOwnTheirSuccessors() {
  Node* const list = MakeList<Node>(3);
  const std::string expected = Deallocation(list->next) + Deallocation(list->next->next);
  gMemAllocFlag = 1;
  EXPECT_EQ(ConsoleOf([&] { delete list; }), expected);
  gMemAllocFlag = 0;
  EXPECT_EQ(ConsoleOf([] { delete MakeList<Node>(3); }), "");
  delete MakeList<Node>(1000000);
}

}  // namespace tarvek_test
