#include "simulator/fault_plan.h"

namespace bmcsim {

const Action* Faults::Find(Fault fault) const {
  const Action* found = nullptr;
  for (const Action* action : *this) {
    if (action->fault == fault) found = action;
  }
  return found;
}

bool FaultPlan::Rule::Names(std::span<const std::uint8_t> request) const {
  if (wait || request.size() < pattern_size) return false;
  for (std::size_t i = 0; i < pattern_size; ++i) {
    if (!wildcard[i] && pattern[i] != request[i]) return false;
  }
  return true;
}

bool FaultPlan::Rule::CountAndTest() {
  if (seen < UINT32_MAX) ++seen;
  return seen >= first && seen <= last && seen % every == 0;
}

void FaultPlan::Collect(const Rule& rule, Faults& faults) const {
  for (std::size_t i = 0; i < rule.action_count; ++i) faults.Add(&actions_[rule.first_action + i]);
}

Faults FaultPlan::MatchRequest(std::span<const std::uint8_t> request) {
  Faults faults;
  for (std::size_t i = 0; i < rule_count_; ++i) {
    if (rules_[i].Names(request) && rules_[i].CountAndTest()) Collect(rules_[i], faults);
  }
  return faults;
}

Faults FaultPlan::MatchWait() {
  Faults faults;
  for (std::size_t i = 0; i < rule_count_; ++i) {
    if (rules_[i].wait && rules_[i].CountAndTest()) Collect(rules_[i], faults);
  }
  return faults;
}

}  // namespace bmcsim
