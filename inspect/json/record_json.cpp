#include "inspect/json/record_json.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"
#include "inspect/json/value_json.h"

namespace tarvek::inspect {

namespace {

constexpr int kSchema = 1;

template <typename T>
void PutIf(Json* object, std::string_view key, const std::optional<T>& value) {
  if (value) Put(object, key, *value);
}

/// An object with room for as many keys as a record may have.
Json RecordObject() {
  constexpr std::size_t kMostKeys = 64;
  Json json = Json::object();
  json.get_ref<Json::object_t&>().reserve(kMostKeys);
  return json;
}

std::string Hex(std::span<const unsigned char> bytes) {
  std::string text = HexText(bytes);
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

void PutReading(Json* object, std::string_view key, const std::optional<Reading>& reading) {
  if (reading) Put(object, key, ValueJson(*reading));
}

void PutOffsets(Json* object, std::string_view key, const std::optional<StateMask>& mask) {
  if (mask) Put(object, key, mask->Offsets());
}

void PutName(Json* object, const Record& record) {
  if (!record.name) return;
  Put(object, "name", record.name->text);
  Put(object, "name_encoding", EncodingName(record.name->encoding));
}

void PutAddress(Json* object, const Record& record) {
  PutIf(object, "owner_id", record.owner_id);
  PutIf(object, "device_address", record.device_address);
  PutIf(object, "access_address", record.access_address);
  PutIf(object, "owner_lun", record.owner_lun);
  PutIf(object, "channel", record.channel);
  PutIf(object, "sensor_number", record.sensor_number);
}

void PutEntity(Json* object, const Record& record) {
  if (record.entity_id) {
    Put(object, "entity_id", *record.entity_id);
    Put(object, "entity_name", EntityName(*record.entity_id));
  }
  PutIf(object, "entity_instance", record.entity_instance);
  PutIf(object, "entity_logical", record.entity_logical);
}

void PutSensorType(Json* object, const Record& record) {
  if (record.sensor_type) {
    Put(object, "sensor_type", *record.sensor_type);
    Put(object, "sensor_type_name", SensorTypeName(*record.sensor_type));
  }
  PutIf(object, "event_type", record.event_type);
  PutIf(object, "direction", record.direction);
}

void PutUnit(Json* object, const Record& record) {
  if (!record.unit) return;
  if (const std::string text = record.unit->Text(); !text.empty()) Put(object, "unit", text);
  PutIf(object, "base_unit", record.unit->base);
  PutIf(object, "modifier_unit", record.unit->modifier);
  PutIf(object, "rate_unit", record.unit->rate);
}

void PutConversion(Json* object, const Record& record) {
  if (!record.conversion) return;
  const Conversion& to = *record.conversion;
  if (to.analog_format) Put(object, "analog_format", AnalogFormatName(*to.analog_format));
  if (to.linearization) {
    Put(object, "linearization", *to.linearization);
    Put(object, "linearization_name", LinearizationName(*to.linearization));
  }
  PutIf(object, "m", to.m);
  PutIf(object, "b", to.b);
  PutIf(object, "r_exp", to.r_exp);
  PutIf(object, "b_exp", to.b_exp);
  PutIf(object, "tolerance", to.tolerance);
  PutIf(object, "accuracy", to.accuracy);
  PutIf(object, "accuracy_exp", to.accuracy_exp);
}

void PutReadings(Json* object, const Record& record) {
  PutReading(object, "nominal", record.nominal);
  PutReading(object, "normal_max", record.normal_max);
  PutReading(object, "normal_min", record.normal_min);
  PutReading(object, "sensor_max", record.sensor_max);
  PutReading(object, "sensor_min", record.sensor_min);
}

void PutThresholds(Json* object, const Record& record) {
  if (!record.thresholds) return;
  Json thresholds = Json::object();
  for (const Threshold& threshold : *record.thresholds) {
    Put(&thresholds, ThresholdKey(threshold.kind), ValueJson(threshold));
  }
  Put(object, "thresholds", std::move(thresholds));
}

void PutHysteresis(Json* object, const Record& record) {
  if (record.hysteresis) Put(object, "hysteresis", ValueJson(*record.hysteresis));
}

void PutSharing(Json* object, const Record& record) {
  if (!record.sharing) return;
  PutIf(object, "share_count", record.sharing->share_count);
  PutIf(object, "id_modifier", record.sharing->id_modifier);
  PutIf(object, "id_modifier_offset", record.sharing->id_modifier_offset);
  PutIf(object, "entity_instance_sharing", record.sharing->entity_instance_sharing);
}

void PutDevice(Json* object, const Record& record) {
  PutIf(object, "oem", record.oem);
  PutIf(object, "manufacturer_id", record.manufacturer_id);
  PutIf(object, "fru_id", record.fru_id);
  PutIf(object, "device_type", record.device_type);
  PutIf(object, "device_type_modifier", record.device_type_modifier);
  if (!record.device_capabilities) return;
  Json names = Json::array();
  for (const int bit : record.device_capabilities->Offsets()) {
    names.push_back(DeviceCapabilityName(bit));
  }
  Put(object, "device_capabilities", std::move(names));
}

void PutContained(Json* object, const Record& record) {
  if (!record.contained_entities) return;
  Put(object, "contained_entities", ValueJson(*record.contained_entities));
}

void PutFields(Json* object, const Record& record) {
  PutName(object, record);
  PutAddress(object, record);
  PutEntity(object, record);
  PutSensorType(object, record);
  PutUnit(object, record);
  PutConversion(object, record);
  PutReadings(object, record);
  PutThresholds(object, record);
  PutHysteresis(object, record);
  PutOffsets(object, "assertion_events", record.assertion_events);
  PutOffsets(object, "deassertion_events", record.deassertion_events);
  PutOffsets(object, "reading_mask", record.reading_mask);
  PutSharing(object, record);
  PutDevice(object, record);
  PutContained(object, record);
  if (record.data) Put(object, "data", Hex(*record.data));
}

Json FileJson(const ScriptFile& file) {
  Json json = Json::object();
  Put(&json, "name", file.name);
  Put(&json, "pass", file.pass);
  Put(&json, "compare", file.compare);
  Put(&json, "records", file.records);
  return json;
}

Json FindingObject(const FindingJson& finding) {
  Json json = Json::object();
  Put(&json, "rule", finding.rule);
  Put(&json, "severity", finding.severity);
  PutIf(&json, "record", finding.record);
  PutIf(&json, "name", finding.name);
  Put(&json, "place", finding.place);
  Put(&json, "message", finding.message);
  return json;
}

Json Versioned() {
  Json json = Json::object();
  Put(&json, "schema", kSchema);
  return json;
}

}  // namespace

Json RecordJson(const SetRecord& record) {
  const Record& decoded = *record.record;
  Json json = RecordObject();
  Put(&json, "number", record.number);
  Put(&json, "record_id", decoded.record_id);
  Put(&json, "sdr_version", SdrVersionText(decoded.sdr_version));
  Put(&json, "type", decoded.type);
  Put(&json, "type_name", TypeName(decoded.type));
  Put(&json, "length", decoded.bytes.size());
  Put(&json, "bytes", Hex(decoded.bytes));
  if (record.source) {
    Put(&json, "tags", record.source->tags);
    Put(&json, "selected", record.source->selected);
    Put(&json, "line", record.source->line);
  }
  PutFields(&json, decoded);
  return json;
}

Json FieldsJson(const Record& record) {
  Json json = RecordObject();
  PutFields(&json, record);
  return json;
}

Json SetJson(const SetInfo& info) {
  Json json = Versioned();
  Put(&json, "format", info.format);
  PutIf(&json, "version", info.version);
  PutIf(&json, "script", info.script);
  if (!info.files) return json;
  Json files = Json::array();
  for (const ScriptFile& file : *info.files) files.push_back(FileJson(file));
  Put(&json, "files", std::move(files));
  return json;
}

Json CheckJson(const std::vector<FindingJson>& findings) {
  Json list = Json::array();
  for (const FindingJson& finding : findings) list.push_back(FindingObject(finding));
  Json json = Versioned();
  Put(&json, "findings", std::move(list));
  return json;
}

std::string SetJsonWriter::Begin(const SetInfo& info) {
  constexpr std::string_view kEnd = "\n}";
  std::string text = JsonText(SetJson(info));
  text.resize(text.size() - kEnd.size());
  any_ = false;
  return text + ",\n  \"records\": [";
}

std::string SetJsonWriter::Next(const SetRecord& record) {
  std::string text = any_ ? ",\n    " : "\n    ";
  any_ = true;
  return text + JsonText(RecordJson(record), 2);
}

std::string SetJsonWriter::End() const { return any_ ? "\n  ]\n}\n" : "]\n}\n"; }

}  // namespace tarvek::inspect
