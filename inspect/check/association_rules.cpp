// Entity associations: what they name, and whether they end.
#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>

#include "inspect/check/subject.h"

namespace tarvek::inspect {

namespace {

constexpr int kFirstRelativeInstance = 0x60;  // from here on relative to a device
constexpr int kLastInstance = 0x7F;

/// An entity as a number by which the instances of one kind are neighbours.
using EntityKey = std::uint32_t;

/// The device that an instance is relative to; 0: none is named.
std::uint32_t DeviceCode(std::optional<int> address, std::optional<int> channel) {
  constexpr unsigned kGiven = 0x1000;
  constexpr unsigned kAddressMask = 0xFE;
  constexpr unsigned kChannelMask = 0x0F;
  if (!address) return 0;
  const unsigned low = static_cast<unsigned>(channel.value_or(0)) & kChannelMask;
  return kGiven | (static_cast<unsigned>(*address) & kAddressMask) << 4 | low;
}

EntityKey KeyOf(const EntityId& entity, std::uint32_t device) {
  constexpr int kInstanceBits = 7;
  constexpr int kDeviceBits = 13;
  const std::uint32_t kind = static_cast<std::uint32_t>(entity.id) << 1 | (entity.logical ? 1 : 0);
  return (kind << kDeviceBits | device) << kInstanceBits |
         static_cast<std::uint32_t>(entity.instance & kLastInstance);
}

std::string EntityText(const EntityId& entity) {
  return HexNumber(entity.id) + "." + std::to_string(entity.instance) +
         (entity.logical ? " (logical)" : "");
}

/// One entity, or a range of instances of one kind.
struct Member {
  EntityId first;
  EntityId last;
  std::uint32_t device = 0;
};

std::uint32_t DeviceOf(const ContainedEntity& contained) {
  if (contained.entity.instance < kFirstRelativeInstance) return 0;
  return DeviceCode(contained.device_address, contained.channel);
}

/// What an association lists. Its entries stand in pairs of a first and a last one where it lists
/// ranges; a pair that is no range is two entities.
std::vector<Member> MembersOf(const Record& record) {
  std::vector<Member> members;
  const std::vector<ContainedEntity>& entries = *record.contained_entities;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const ContainedEntity& first = entries[i];
    const bool paired = first.range && i + 1 < entries.size();
    const EntityId& last = paired ? entries[i + 1].entity : first.entity;
    const bool is_range = paired && last.id == first.entity.id &&
                          last.logical == first.entity.logical &&
                          last.instance >= first.entity.instance;
    members.push_back({first.entity, is_range ? last : first.entity, DeviceOf(first)});
    if (is_range) ++i;
  }
  return members;
}

bool IsAssociation(const Record& record) {
  return record.contained_entities && record.Entity() && record.entity_id != 0;
}

Member ContainerOf(const Record& record) {
  const EntityId container = *record.Entity();
  const bool relative = container.instance >= kFirstRelativeInstance;
  return {container, container,
          relative ? DeviceCode(record.device_address, record.channel) : std::uint32_t{0}};
}

/// The entities that records have.
class Entities {
 public:
  void Add(const Record& record) {
    std::optional<EntityId> entity = record.Entity();
    if (!entity || record.contained_entities) return;
    const std::optional<int> owner = record.owner_id         ? record.owner_id
                                     : record.access_address ? record.access_address
                                                             : record.device_address;
    const bool counts_up = record.sharing && record.sharing->entity_instance_sharing == true;
    const int count = counts_up ? record.sharing->share_count.value_or(1) : 1;
    for (int i = 0; i < std::max(count, 1) && entity->instance <= kLastInstance; ++i) {
      keys_.insert(KeyOf(*entity, 0));
      keys_.insert(KeyOf(*entity, DeviceCode(owner, record.channel)));
      ++entity->instance;
    }
  }
  void AddContainer(const Record& record) {
    const Member container = ContainerOf(record);
    containers_.insert(KeyOf(container.first, container.device));
  }

  bool HasOwn(const Member& member) const { return HasAny(keys_, member); }
  bool Has(const Member& member) const { return HasOwn(member) || HasAny(containers_, member); }

 private:
  static bool HasAny(const std::set<EntityKey>& keys, const Member& member) {
    const auto at = keys.lower_bound(KeyOf(member.first, member.device));
    return at != keys.end() && *at <= KeyOf(member.last, member.device);
  }

  std::set<EntityKey> keys_;
  std::set<EntityKey> containers_;
};

Entities EntitiesOf(const Subject& subject, bool selected_alone) {
  Entities entities;
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    if (selected_alone && !subject.Selected(i)) continue;
    entities.Add(subject.records[i]);
    if (IsAssociation(subject.records[i])) entities.AddContainer(subject.records[i]);
  }
  return entities;
}

/// A logical container stands for a group, and needs no record of its own.
std::vector<std::string> MissingFrom(const Entities& entities, const Record& record) {
  std::vector<std::string> missing;
  const Member container = ContainerOf(record);
  if (!container.first.logical && !entities.HasOwn(container)) {
    missing.push_back("the container " + EntityText(container.first));
  }
  for (const Member& member : MembersOf(record)) {
    if (entities.Has(member)) continue;
    std::string text = EntityText(member.first);
    if (member.last != member.first) text += " to " + EntityText(member.last);
    missing.push_back(std::move(text));
  }
  return missing;
}

void CheckMembers(const Subject& subject, Findings* findings) {
  const Entities all = EntitiesOf(subject, false);
  const Entities selected = EntitiesOf(subject, true);
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    if (!IsAssociation(subject.records[i])) continue;
    const auto missing = MissingFrom(subject.Selected(i) ? selected : all, subject.records[i]);
    if (missing.empty()) continue;
    std::string list;
    for (const std::string& entity : missing) list += (list.empty() ? "" : ", ") + entity;
    findings->Add(RuleId::kAssociationUnknownEntity, i,
                  "The association names " + list +
                      ", and no sensor or locator of the set is of it; correct the association or "
                      "add the record that is missing.");
  }
}

/// Which entity contains which, and which of them are in a loop.
class Containment {
 public:
  /// Adds what an association says.
  void Add(std::size_t record, const Record& association);
  /// @return the records that make a loop, ascending.
  std::vector<std::size_t> Loops();

 private:
  struct Edge {
    std::size_t to;
    std::size_t record;
  };
  struct Node {
    std::vector<Edge> edges;
    std::size_t next_edge = 0;
    int order = -1;  // in which the search came by
    int lowest = 0;  // order of the first node in reach that is still open
    int loop = -1;   // nodes in reach of each other have the same
  };
  void Visit(std::size_t root);
  void Enter(std::size_t node, std::vector<std::size_t>* path);
  void Leave(std::size_t node);
  std::size_t NodeOf(EntityKey key);

  std::map<EntityKey, std::size_t> numbers_;
  std::vector<Node> nodes_;
  std::vector<std::size_t> open_;
  int visited_ = 0;
  int loops_ = 0;
};

std::size_t Containment::NodeOf(EntityKey key) {
  const auto [at, is_new] = numbers_.emplace(key, nodes_.size());
  if (is_new) nodes_.emplace_back();
  return at->second;
}

void Containment::Add(std::size_t record, const Record& association) {
  const Member container = ContainerOf(association);
  const std::size_t from = NodeOf(KeyOf(container.first, container.device));
  for (const Member& member : MembersOf(association)) {
    const EntityKey last = KeyOf(member.last, member.device);
    for (EntityKey key = KeyOf(member.first, member.device); key <= last; ++key) {
      const std::size_t to = NodeOf(key);
      nodes_[from].edges.push_back({to, record});
    }
  }
}

void Containment::Enter(std::size_t node, std::vector<std::size_t>* path) {
  nodes_[node].order = nodes_[node].lowest = visited_++;
  open_.push_back(node);
  path->push_back(node);
}

/// Closes a node behind which nothing is left to follow.
void Containment::Leave(std::size_t node) {
  if (nodes_[node].lowest != nodes_[node].order) return;
  for (bool more = true; more;) {
    more = open_.back() != node;
    nodes_[open_.back()].loop = loops_;
    open_.pop_back();
  }
  ++loops_;
}

/// Tarjan's search for strongly connected nodes, without recursion.
void Containment::Visit(std::size_t root) {
  std::vector<std::size_t> path;
  Enter(root, &path);
  while (!path.empty()) {
    Node& node = nodes_[path.back()];
    if (node.next_edge < node.edges.size()) {
      const Node& to = nodes_[node.edges[node.next_edge].to];
      if (to.order < 0) {
        Enter(node.edges[node.next_edge].to, &path);
      } else if (to.loop < 0) {
        node.lowest = std::min(node.lowest, to.order);
      }
      ++node.next_edge;
      continue;
    }
    const std::size_t done = path.back();
    Leave(done);
    path.pop_back();
    if (!path.empty()) {
      Node& parent = nodes_[path.back()];
      parent.lowest = std::min(parent.lowest, nodes_[done].lowest);
    }
  }
}

std::vector<std::size_t> Containment::Loops() {
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    if (nodes_[i].order < 0) Visit(i);
  }
  std::set<std::size_t> records;
  for (const Node& node : nodes_) {
    for (const Edge& edge : node.edges) {
      if (nodes_[edge.to].loop == node.loop) records.insert(edge.record);
    }
  }
  return {records.begin(), records.end()};
}

void CheckLoops(const Subject& subject, Findings* findings) {
  Containment containment;
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    // Records that are not selected may be alternatives, which make no loop together.
    if (!subject.Selected(i) || !IsAssociation(subject.records[i])) continue;
    containment.Add(i, subject.records[i]);
  }
  for (const std::size_t index : containment.Loops()) {
    findings->Add(RuleId::kAssociationLoop, index,
                  "What the entity " + EntityText(*subject.records[index].Entity()) +
                      " contains contains it in turn; take it out of the one that is no part of "
                      "the other.");
  }
}

}  // namespace

void CheckAssociations(const Subject& subject, Findings* findings) {
  CheckMembers(subject, findings);
  CheckLoops(subject, findings);
}

}  // namespace tarvek::inspect
