#include "driver/reporting/memory_trace.h"

#include <cstdint>
#include <sstream>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"

namespace tarvek_test {
namespace {

using MemoryTrace = FreshRun;

struct Node {
  static inline int alive = 0;

  Node() { ++alive; }
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  ~Node() {
    --alive;
    tarvek::FreeRestOfList(next);
  }

  Node* next = nullptr;
};
static_assert(sizeof(Node) == 8);

std::string Address(const void* address) {
  std::ostringstream text;
  text << "0x" << std::hex << reinterpret_cast<std::uintptr_t>(address);
  return text.str();
}

TEST_F(MemoryTrace, SaysNothingUnlessSwitchedOn) {
  const std::string shown = ConsoleOf([] {
    int object = 0;
    tarvek::TraceAllocation(sizeof(object), &object);
    tarvek::TraceDeallocation(sizeof(object), &object);
    tarvek::TraceDelete(tarvek::TraceNew(new Node));
  });
  EXPECT_EQ(shown, "");
}

TEST_F(MemoryTrace, AnnouncesSizeAndAddress) {
  gMemAllocFlag = 1;
  struct Case {
    std::size_t size;
    const char* shown;
  };
  constexpr Case kCases[] = {
      {0, "0x0000"}, {8, "0x0008"}, {0xABC, "0x0ABC"}, {0xFFFF, "0xFFFF"}, {0x12345, "0x12345"}};
  int object = 0;
  for (const Case& c : kCases) {
    const std::string shown = ConsoleOf([&] {
      tarvek::TraceAllocation(c.size, &object);
      tarvek::TraceDeallocation(c.size, &object);
    });
    const std::string rest = std::string(c.shown) + " bytes at address " + Address(&object) + "\n";
    EXPECT_EQ(shown, "Allocating " + rest + "Deallocating " + rest);
  }
}

TEST_F(MemoryTrace, FollowsAnObjectFromItsCreationToItsEnd) {
  gMemAllocFlag = 1;
  Node* object = nullptr;
  std::string address;
  const std::string shown = ConsoleOf([&] {
    object = tarvek::TraceNew(new Node);
    address = Address(object);
    tarvek::TraceDelete(object);
  });
  EXPECT_EQ(shown, "Allocating 0x0008 bytes at address " + address +
                       "\nDeallocating 0x0008 bytes at address " + address + "\n");
  EXPECT_EQ(Node::alive, 0);
}

TEST_F(MemoryTrace, AnObjectThatCouldNotBeAllocatedIsNotAnnounced) {
  gMemAllocFlag = 1;
  const std::string shown = ConsoleOf([] {
    Node* const none = nullptr;
    EXPECT_EQ(tarvek::TraceNew(none), nullptr);
    tarvek::TraceDelete(none);
  });
  EXPECT_EQ(shown, "");
}

TEST_F(MemoryTrace, FreesAListFromTheFrontAndAnnouncesEachNode) {
  gMemAllocFlag = 1;
  auto* const first = new Node;
  first->next = new Node;
  first->next->next = new Node;
  std::string expected;
  for (const Node* node : {first->next, first->next->next}) {
    expected += "Deallocating 0x0008 bytes at address " + Address(node) + "\n";
  }
  EXPECT_EQ(ConsoleOf([&] { delete first; }), expected);
  EXPECT_EQ(Node::alive, 0);
}

TEST_F(MemoryTrace, FreesAListOfAMillionNodesWithinTheStack) {
  Node head;
  for (int i = 0; i < 1000000; ++i) {
    auto* const node = new Node;
    node->next = head.next;
    head.next = node;
  }
  EXPECT_EQ(Node::alive, 1000001);
  tarvek::FreeRestOfList(head.next);
  EXPECT_EQ(head.next, nullptr);
  EXPECT_EQ(Node::alive, 1);
}

}  // namespace
}  // namespace tarvek_test
