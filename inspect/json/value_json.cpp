#include "inspect/json/value_json.h"

namespace tarvek::inspect {

Json ValueJson(const Reading& reading) {
  Json json = Json::object();
  Put(&json, "raw", reading.raw);
  if (reading.value) Put(&json, "value", *reading.value);
  return json;
}

Json ValueJson(const Threshold& threshold) {
  Json json = ValueJson(threshold.reading);
  Put(&json, "readable", threshold.readable);
  Put(&json, "settable", threshold.settable);
  return json;
}

Json ValueJson(const Hysteresis& hysteresis) {
  Json json = Json::object();
  Put(&json, "positive", hysteresis.positive);
  Put(&json, "negative", hysteresis.negative);
  return json;
}

Json ValueJson(const std::vector<ContainedEntity>& entities) {
  Json json = Json::array();
  for (const ContainedEntity& contained : entities) {
    Json entity = Json::object();
    Put(&entity, "entity_id", contained.entity.id);
    Put(&entity, "entity_instance", contained.entity.instance);
    if (contained.entity.logical) Put(&entity, "entity_logical", true);
    if (contained.range) Put(&entity, "range", true);
    json.push_back(std::move(entity));
  }
  return json;
}

}  // namespace tarvek::inspect
