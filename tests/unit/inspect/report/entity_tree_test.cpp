#include "inspect/report/entity_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/report/sample_server.h"

namespace tarvek::inspect {
namespace {

using tarvek_test::Association;
using tarvek_test::DiscreteSensor;
using tarvek_test::FruLocator;
using tarvek_test::SampleSet;

/// The tree in brackets: "System Board 1(Processor 1[CPU] Processor 2)".
std::string Drawn(const EntityTree& tree, const std::vector<std::size_t>& nodes) {
  std::string text;
  for (const std::size_t i : nodes) {
    const EntityNode& node = tree.nodes[i];
    text += (text.empty() ? "" : " ") + EntityText(node.entity, node.device);
    for (const ReportRecord& sensor : node.sensors) {
      text += "[" + std::string(sensor.record->NameText()) + "]";
    }
    for (const ReportRecord& device : node.devices) {
      text += "{" + std::string(device.record->NameText()) + "}";
    }
    for (const std::string& other : node.also) text += "<" + other + ">";
    if (!node.children.empty()) text += "(" + Drawn(tree, node.children) + ")";
  }
  return text;
}

std::string TreeOf(const SampleSet& set) {
  const EntityTree tree = BuildEntityTree(set.set().records);
  return Drawn(tree, tree.roots);
}

Bytes Sensor(const std::string& name, int entity, int instance) {
  return DiscreteSensor(name, 1, 7, 0x6F, 1, entity, instance);
}

TEST(EntityTreeTest, PutsPartsIntoTheirContainers) {
  SampleSet set("set");
  set.Add(Sensor("B", 3, 2));
  set.Add(Sensor("A", 3, 1));
  set.Add(Sensor("loose", 1, 1));
  set.Add(FruLocator("board", 0, 7, 1));
  set.Add(Association(7, 1, false, {3, 1, 3, 2, 0, 0, 0, 0}));
  EXPECT_EQ(TreeOf(set), "System Board 1{board}(Processor 1[A] Processor 2[B]) Other 1[loose]");
}

TEST(EntityTreeTest, ARangeHoldsThePartsThatAreThere) {
  SampleSet set("set");
  set.Add(Association(7, 1, true, {32, 1, 32, 16, 29, 1, 29, 4}));
  set.Add(Sensor("d3", 32, 3));
  set.Add(Sensor("d17", 32, 17));
  EXPECT_EQ(
      TreeOf(set),
      "System Board 1<Fan / Cooling Device 1 to 4>(Memory Device 3[d3]) Memory Device 17[d17]");
}

TEST(EntityTreeTest, APartOfTwoContainersStandsInTheFirst) {
  SampleSet set("set");
  set.Add(Association(7, 1, false, {3, 1, 0, 0, 0, 0, 0, 0}));
  set.Add(Association(23, 1, false, {3, 1, 7, 1, 0, 0, 0, 0}));
  EXPECT_EQ(TreeOf(set),
            "System Chassis 1<Processor 1, listed elsewhere>(System Board 1(Processor 1))");
}

TEST(EntityTreeTest, TheSameAssociationTwiceSaysNothingNew) {
  SampleSet set("set");
  set.Add(Association(7, 1, false, {3, 1, 3, 1, 0, 0, 0, 0}));
  set.Add(Association(7, 1, false, {3, 1, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(TreeOf(set), "System Board 1(Processor 1)");
}

TEST(EntityTreeTest, CutsCircles) {
  SampleSet set("set");
  set.Add(Association(7, 1, false, {7, 1, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(TreeOf(set), "System Board 1<System Board 1, listed elsewhere>");
  SampleSet ring("ring");
  ring.Add(Association(1, 1, false, {2, 1, 0, 0, 0, 0, 0, 0}));
  ring.Add(Association(2, 1, false, {3, 1, 0, 0, 0, 0, 0, 0}));
  ring.Add(Association(3, 1, false, {1, 1, 0, 0, 0, 0, 0, 0}));
  const EntityTree tree = BuildEntityTree(ring.set().records);
  ASSERT_EQ(tree.roots.size(), 1U);
  EXPECT_EQ(tree.nodes.size(), 3U);
}

TEST(EntityTreeTest, TellsInstancesOfDifferentDevicesApart) {
  SampleSet set("set");
  Bytes first = Sensor("first", 3, 0x61);
  Bytes second = first;
  second[5] = 0x30;  // the owner
  set.Add(first);
  set.Add(second);
  EXPECT_EQ(TreeOf(set), "Processor 97 of device 20h[first] Processor 97 of device 30h[first]");
}

TEST(EntityTreeTest, LogicalPartsAreTheSameParts) {
  SampleSet set("set");
  set.Add(Sensor("S", 19, 1));
  set.Add(Association(19, 0x81, false, {10, 1, 0, 0, 0, 0, 0, 0}));
  const EntityTree tree = BuildEntityTree(set.set().records);
  ASSERT_EQ(tree.roots.size(), 1U);
  EXPECT_TRUE(tree.nodes[tree.roots[0]].entity.logical);
}

TEST(EntityTreeTest, HasEveryPartOnceWhateverTheAssociationsSay) {
  unsigned state = 1;
  const auto random = [&state] {
    return static_cast<int>((state = state * 1103515245U + 12345U) >> 16);
  };
  for (int round = 0; round < 50; ++round) {
    SampleSet set("set");
    for (int i = 0; i < 60; ++i) {
      const auto small = [&] { return random() % 6; };
      set.Add(
          Association(small(), small(), random() % 2 == 0,
                      {small(), small(), small(), small(), small(), small(), small(), small()}));
      set.Add(Sensor("s", small(), small()));
    }
    const EntityTree tree = BuildEntityTree(set.set().records);
    std::multiset<std::size_t> met;
    std::vector<std::size_t> left = tree.roots;
    while (!left.empty()) {
      const std::size_t node = left.back();
      left.pop_back();
      met.insert(node);
      ASSERT_LE(met.count(node), 1U);
      left.insert(left.end(), tree.nodes[node].children.begin(), tree.nodes[node].children.end());
    }
    ASSERT_EQ(met.size(), tree.nodes.size());
  }
}

}  // namespace
}  // namespace tarvek::inspect
