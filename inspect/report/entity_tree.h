// The parts of a machine, and what they contain, as a set's records tell.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "inspect/decode/record.h"
#include "inspect/report/report.h"

namespace tarvek::inspect {

/// A part of the machine.
struct EntityNode {
  EntityId entity;
  int device = 0;  // address of the device that the instance is relative to; 0: it is not
  std::optional<std::size_t> parent;
  std::vector<std::size_t> children;  // parts that it contains
  std::vector<std::string> also;      // parts that it contains, but that stand elsewhere; as text
  std::vector<ReportRecord> sensors;  // in the order of the set
  std::vector<ReportRecord> devices;  // locator records: what the part is called
};

/// A forest: every part stands in it once.
struct EntityTree {
  std::vector<EntityNode> nodes;
  std::vector<std::size_t> roots;  // containers first, then by entity
};

/// Builds the tree in time linear in the records. Where associations put a part into several
/// containers the first one has it; where they go round in a circle it is cut.
EntityTree BuildEntityTree(std::span<const ReportRecord> records);

/// "Processor 1"; "Reserved (45h) 1" for a part that the standard does not name. Plain text.
std::string EntityText(const EntityId& entity, int device);

/// The device that the instance of an entity which `record` names is relative to; 0: none.
int DeviceOf(const Record& record, const EntityId& entity);

}  // namespace tarvek::inspect
