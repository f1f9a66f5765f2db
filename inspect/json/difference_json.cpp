#include "inspect/json/difference_json.h"

#include <nlohmann/json.hpp>

#include "inspect/json/value_json.h"

namespace tarvek::inspect {
namespace {

constexpr int kSchema = 1;

/// Numbers, texts and lists of them are JSON values by themselves.
struct ToJson {
  Json operator()(const Reading& value) const { return ValueJson(value); }
  Json operator()(const Threshold& value) const { return ValueJson(value); }
  Json operator()(const Hysteresis& value) const { return ValueJson(value); }
  Json operator()(const std::vector<ContainedEntity>& value) const { return ValueJson(value); }
  template <typename T>
  Json operator()(const T& value) const {
    return value;
  }
};

Json FieldJson(const FieldChange& change) {
  Json json = Json::object();
  json["field"] = change.key;
  const auto value = [](const FieldValue& field) { return std::visit(ToJson{}, field); };
  if (change.old_value) json["old"] = value(*change.old_value);
  if (change.new_value) json["new"] = value(*change.new_value);
  return json;
}

Json PairJson(const std::vector<SetRecord>& old_set, const std::vector<SetRecord>& new_set,
              const Match& match) {
  Json json = Json::object();
  json["old"] = RecordJson(old_set[match.old_index]);
  json["new"] = RecordJson(new_set[match.new_index]);
  return json;
}

Json RecordsJson(const std::vector<SetRecord>& set, const std::vector<std::size_t>& indices) {
  Json json = Json::array();
  for (const std::size_t index : indices) json.push_back(RecordJson(set[index]));
  return json;
}

}  // namespace

Json DifferenceJson(const std::vector<SetRecord>& old_set, const std::vector<SetRecord>& new_set,
                    const Difference& difference) {
  Json json = Json::object();
  json["schema"] = kSchema;
  json["added"] = RecordsJson(new_set, difference.added);
  json["removed"] = RecordsJson(old_set, difference.removed);
  json["moved"] = Json::array();
  for (const Match& match : difference.moved) {
    json["moved"].push_back(PairJson(old_set, new_set, match));
  }
  json["changed"] = Json::array();
  for (const Change& change : difference.changed) {
    Json pair = PairJson(old_set, new_set, change.match);
    pair["fields"] = Json::array();
    for (const FieldChange& field : change.fields) pair["fields"].push_back(FieldJson(field));
    json["changed"].push_back(std::move(pair));
  }
  return json;
}

}  // namespace tarvek::inspect
