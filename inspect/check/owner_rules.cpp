// The controllers that own sensors.
#include <map>
#include <set>
#include <utility>

#include "inspect/check/subject.h"

namespace tarvek::inspect {

namespace {

using Controller = std::pair<int, int>;  // slave address and channel

std::set<Controller> LocatedIn(const Subject& subject, bool selected_alone) {
  std::set<Controller> located;
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    const Record& record = subject.records[i];
    if (!record.Is(RecordType::kControllerLocator) || !record.device_address) continue;
    if (selected_alone && !subject.Selected(i)) continue;
    located.emplace(*record.device_address, record.channel.value_or(0));
  }
  return located;
}

/// The first sensor of an owner without a locator, and how many it has.
struct Orphans {
  std::size_t first = 0;
  int count = 0;
};

}  // namespace

void CheckOwners(const Subject& subject, Findings* findings) {
  const std::set<Controller> all = LocatedIn(subject, false);
  const std::set<Controller> selected = LocatedIn(subject, true);
  std::map<Controller, Orphans> orphans;
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    const Record& record = subject.records[i];
    // An odd owner is software, which has no slave address.
    if (!record.IsSensor() || !record.owner_id || (*record.owner_id & 1) != 0) continue;
    const Controller owner{*record.owner_id, record.channel.value_or(0)};
    if ((subject.Selected(i) ? selected : all).contains(owner)) continue;
    Orphans& of_owner = orphans[owner];
    if (of_owner.count == 0) of_owner.first = i;
    ++of_owner.count;
  }

  for (const auto& [owner, of_owner] : orphans) {
    findings->Add(RuleId::kOwnerWithoutLocator, of_owner.first,
                  "Owner " + HexNumber(owner.first) + " on channel " +
                      std::to_string(owner.second) + ", of " + std::to_string(of_owner.count) +
                      (of_owner.count == 1 ? " sensor" : " sensors") +
                      ", has no management controller locator in the set; add one, or correct the "
                      "owner or its channel.");
  }
}

}  // namespace tarvek::inspect
