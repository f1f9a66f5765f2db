#include "inspect/report/entity_tree.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "inspect/decode/names.h"
#include "inspect/report/html.h"

namespace tarvek::inspect {
namespace {

constexpr int kFirstRelativeInstance = 0x60;
constexpr int kAddressMask = 0xFE;
constexpr int kBmcAddress = 0x20;

/// What tells one part from another; whether it is called a logical one does not.
struct Key {
  int id = 0;
  int instance = 0;
  int device = 0;

  bool operator<(const Key& other) const {
    return std::tie(id, instance, device) < std::tie(other.id, other.instance, other.device);
  }
};

/// What an association puts into a container: a part, or all of a range.
struct Content {
  std::size_t container = 0;
  Key first;
  Key last;
};

int RelativeTo(const EntityId& entity, int address) {
  return entity.instance >= kFirstRelativeInstance ? address & kAddressMask : 0;
}

class TreeBuilder {
 public:
  EntityTree Build(std::span<const ReportRecord> records);

 private:
  std::size_t NodeOf(const EntityId& entity, int device);
  void AddRecord(const ReportRecord& entry);
  void AddAssociation(const Record& record);
  void Adopt(const Content& content);
  void CutCircles();
  void Sort();

  EntityTree tree_;
  std::map<Key, std::size_t> index_;
  std::vector<Content> contents_;
};

std::size_t TreeBuilder::NodeOf(const EntityId& entity, int device) {
  const auto [place, fresh] =
      index_.try_emplace({entity.id, entity.instance, device}, tree_.nodes.size());
  if (fresh) {
    EntityNode& node = tree_.nodes.emplace_back();
    node.entity = entity;
    node.device = device;
  }
  return place->second;
}

void TreeBuilder::AddRecord(const ReportRecord& entry) {
  const Record& record = *entry.record;
  const bool association =
      record.Is(RecordType::kEntityAssociation) || record.Is(RecordType::kDeviceEntityAssociation);
  if (association) return AddAssociation(record);
  const std::optional<EntityId> entity = record.Entity();
  if (!entity) return;
  EntityNode& node = tree_.nodes[NodeOf(*entity, DeviceOf(record, *entity))];
  (record.IsSensor() ? node.sensors : node.devices).push_back(entry);
}

void TreeBuilder::AddAssociation(const Record& record) {
  const std::optional<EntityId> container = record.Entity();
  if (!container) return;
  const std::size_t node = NodeOf(*container, DeviceOf(record, *container));
  tree_.nodes[node].entity.logical |= container->logical;
  if (!record.contained_entities) return;
  const std::vector<ContainedEntity>& contained = *record.contained_entities;
  for (std::size_t i = 0; i < contained.size(); ++i) {
    const ContainedEntity& first = contained[i];
    const int device = RelativeTo(first.entity, first.device_address.value_or(kBmcAddress));
    const Key key{first.entity.id, first.entity.instance, device};
    const bool range =
        first.range && i + 1 < contained.size() && contained[i + 1].entity.id == first.entity.id;
    if (range) {
      contents_.push_back({node, key, {key.id, contained[++i].entity.instance, device}});
    } else {
      NodeOf(first.entity, device);
      contents_.push_back({node, key, key});
    }
  }
}

/// Puts the parts of a range that are known into their container. A range has at most 128.
void TreeBuilder::Adopt(const Content& content) {
  bool elsewhere = false;
  bool any = false;
  for (int instance = content.first.instance; instance <= content.last.instance; ++instance) {
    const auto found = index_.find({content.first.id, instance, content.first.device});
    if (found == index_.end()) continue;
    any = true;
    EntityNode& node = tree_.nodes[found->second];
    if (node.parent == content.container) continue;
    if (node.parent || found->second == content.container) {
      elsewhere = true;
      continue;
    }
    node.parent = content.container;
    tree_.nodes[content.container].children.push_back(found->second);
  }
  if (any && !elsewhere) return;
  const Key& first = content.first;
  std::string text = EntityText({first.id, first.instance, false}, first.device);
  if (content.last.instance != first.instance) {
    text += " to " + std::to_string(content.last.instance);
  }
  tree_.nodes[content.container].also.push_back(text + (any ? ", listed elsewhere" : ""));
}

/// Follows every part to its root, each once; one that leads back to itself becomes a root.
void TreeBuilder::CutCircles() {
  std::vector<std::size_t> seen_from(tree_.nodes.size(), tree_.nodes.size());
  for (std::size_t start = 0; start < tree_.nodes.size(); ++start) {
    std::optional<std::size_t> at = start;
    while (at && seen_from[*at] == tree_.nodes.size()) {
      seen_from[*at] = start;
      at = tree_.nodes[*at].parent;
    }
    if (!at || seen_from[*at] != start) continue;
    EntityNode& node = tree_.nodes[*at];
    std::erase(tree_.nodes[*node.parent].children, *at);
    tree_.nodes[*node.parent].also.push_back(EntityText(node.entity, node.device) +
                                             ", which contains this part");
    node.parent.reset();
  }
}

void TreeBuilder::Sort() {
  const auto key = [this](std::size_t i) {
    const EntityNode& node = tree_.nodes[i];
    return std::tuple(node.entity.id, node.device, node.entity.instance);
  };
  const auto by_key = [&](std::size_t a, std::size_t b) { return key(a) < key(b); };
  for (std::size_t i = 0; i < tree_.nodes.size(); ++i) {
    std::sort(tree_.nodes[i].children.begin(), tree_.nodes[i].children.end(), by_key);
    if (!tree_.nodes[i].parent) tree_.roots.push_back(i);
  }
  std::sort(tree_.roots.begin(), tree_.roots.end(), by_key);
  std::stable_partition(tree_.roots.begin(), tree_.roots.end(),
                        [this](std::size_t i) { return !tree_.nodes[i].children.empty(); });
}

EntityTree TreeBuilder::Build(std::span<const ReportRecord> records) {
  for (const ReportRecord& entry : records) AddRecord(entry);
  for (const Content& content : contents_) Adopt(content);
  CutCircles();
  Sort();
  return std::move(tree_);
}

}  // namespace

int DeviceOf(const Record& record, const EntityId& entity) {
  const std::optional<int> address = record.IsSensor() ? record.owner_id : record.device_address;
  return RelativeTo(entity, address.value_or(kBmcAddress));
}

std::string EntityText(const EntityId& entity, int device) {
  std::string text(EntityName(entity.id));
  if (!IsKnownEntity(entity.id)) text += " (" + HexByte(entity.id) + ")";
  text += " " + std::to_string(entity.instance);
  return device == 0 ? text : text + " of device " + HexByte(device);
}

EntityTree BuildEntityTree(std::span<const ReportRecord> records) {
  return TreeBuilder().Build(records);
}

}  // namespace tarvek::inspect
