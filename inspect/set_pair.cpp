#include "inspect/set_pair.h"

#include <numeric>
#include <utility>

namespace tarvek::inspect {
namespace {

std::vector<const Record*> Pointers(const std::vector<Record>& records) {
  std::vector<const Record*> pointers;
  pointers.reserve(records.size());
  for (const Record& record : records) pointers.push_back(&record);
  return pointers;
}

}  // namespace

std::vector<SetRecord> DecodedSet::Shown() const {
  std::vector<SetRecord> shown;
  shown.reserve(decoded.size());
  for (std::size_t i = 0; i < decoded.size(); ++i) {
    const InputRecord& input = set.records[i];
    SetRecord record{numbers[i], &decoded[i], {}};
    if (set.from_source) record.source = {input.tags, input.selected, input.place.line};
    shown.push_back(std::move(record));
  }
  return shown;
}

DecodedSet LoadSet(const std::string& path, const LoadOptions& load) {
  DecodedSet loaded;
  loaded.set = Load(path, load);
  loaded.decoded = DecodeAll(loaded.set);
  loaded.numbers.resize(loaded.decoded.size());
  std::iota(loaded.numbers.begin(), loaded.numbers.end(), 1);
  return loaded;
}

void KeepSelected(DecodedSet* set) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < set->decoded.size(); ++i) {
    if (!set->set.records[i].selected) continue;
    if (kept != i) {
      set->set.records[kept] = std::move(set->set.records[i]);
      set->decoded[kept] = std::move(set->decoded[i]);
      set->numbers[kept] = set->numbers[i];
    }
    ++kept;
  }
  set->set.records.resize(kept);
  set->decoded.resize(kept);
  set->numbers.resize(kept);
}

SetPair LoadPair(const Options& options) {
  LoadOptions load = options.load;
  load.pass_over_tags = true;
  SetPair sets;
  sets.old_set = LoadSet(options.old_input, {false, load.tags, true});
  sets.new_set = LoadSet(options.input, load);
  const bool script =
      sets.old_set.set.format == Format::kScript || sets.new_set.set.format == Format::kScript;
  if (!load.tags.empty() && !script) {
    throw OptionError("--set goes with scripts alone, and neither input is one");
  }
  return sets;
}

Difference CompareSets(const SetPair& sets) {
  return Compare(Pointers(sets.old_set.decoded), Pointers(sets.new_set.decoded));
}

}  // namespace tarvek::inspect
