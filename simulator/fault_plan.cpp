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

void FaultPlan::Strike(std::size_t rule, Faults& faults) {
  rules_[rule].struck = true;
  if (rule < notes_.size()) notes_[rule] = 1;
  for (std::size_t i = 0; i < rules_[rule].action_count; ++i) {
    faults.Add(&actions_[rules_[rule].first_action + i]);
  }
}

Faults FaultPlan::MatchRequest(std::span<const std::uint8_t> request) {
  Faults faults;
  for (std::size_t i = 0; i < rule_count_; ++i) {
    if (rules_[i].Names(request) && rules_[i].CountAndTest()) Strike(i, faults);
  }
  return faults;
}

Faults FaultPlan::MatchWait() {
  Faults faults;
  for (std::size_t i = 0; i < rule_count_; ++i) {
    if (rules_[i].wait && rules_[i].CountAndTest()) Strike(i, faults);
  }
  return faults;
}

std::vector<std::string_view> FaultPlan::Unstruck() const {
  std::vector<std::string_view> rules;
  for (std::size_t i = 0; i < rule_count_; ++i) {
    const bool noted = i < notes_.size() && notes_[i] != 0;
    if (!noted && !rules_[i].struck) rules.push_back(rules_[i].text);
  }
  return rules;
}

}  // namespace bmcsim
