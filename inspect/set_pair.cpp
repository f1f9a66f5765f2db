#include "inspect/set_pair.h"

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

DecodedSet LoadSet(const std::string& path, const LoadOptions& load, bool all) {
  DecodedSet loaded;
  loaded.set = Load(path, load);
  for (std::size_t i = 0; i < loaded.set.records.size(); ++i) {
    if (all || loaded.set.records[i].selected) loaded.numbers.push_back(static_cast<int>(i + 1));
  }
  if (!all) {
    std::erase_if(loaded.set.records, [](const InputRecord& record) { return !record.selected; });
  }
  loaded.decoded = DecodeAll(loaded.set);
  return loaded;
}

SetPair LoadPair(const Options& options) {
  LoadOptions load = options.load;
  load.pass_over_tags = true;
  SetPair sets;
  sets.old_set = LoadSet(options.old_input, {false, load.tags, true}, options.all);
  sets.new_set = LoadSet(options.input, load, options.all);
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
