#include "inspect/diff/fields.h"

#include <algorithm>
#include <utility>

#include "driver/reporting/text_format.h"
#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"

namespace tarvek::inspect {

namespace {

std::string Hex(int value) {
  constexpr int kByteMask = 0xFF;
  constexpr int kByteBits = 8;
  std::string text(HexByte(static_cast<unsigned char>(value & kByteMask)).view());
  for (int rest = value >> kByteBits; rest > 0; rest >>= kByteBits) {
    text.insert(0, HexByte(static_cast<unsigned char>(rest & kByteMask)).view());
  }
  return text + "h";
}

std::string Named(std::string_view name, int value) {
  return name.empty() ? Hex(value) : std::string(name) + " (" + Hex(value) + ")";
}

std::string YesNo(bool yes) { return yes ? "yes" : "no"; }

std::string EntityText(const EntityId& entity) {
  return std::string(EntityName(entity.id)) + " " + std::to_string(entity.instance) +
         (entity.logical ? " (logical)" : "");
}

/// Collects the fields of one record.
class Collector {
 public:
  explicit Collector(const Record& record) : record_(record) {}

  std::vector<Field> Run() &&;

 private:
  void Add(std::string_view key, FieldValue value, std::string text, std::string_view told_by = {});
  void AddList(std::string_view key, FieldValue value, std::vector<std::string> items);
  void AddNumber(std::string_view key, const std::optional<int>& value);
  void AddHex(std::string_view key, const std::optional<int>& value);
  void AddFlag(std::string_view key, const std::optional<bool>& value);

  void Names();
  void Addresses();
  void Entity();
  void SensorType();
  void Units();
  void Factors();
  void AddReading(std::string_view key, const std::optional<Reading>& reading);
  void Readings();
  void Thresholds();
  void HysteresisField();
  void Events(std::string_view key, const std::optional<StateMask>& mask);
  void SharingFields();
  void Device();
  void Contained();

  const Record& record_;
  std::vector<Field> fields_;
};

void Collector::Add(std::string_view key, FieldValue value, std::string text,
                    std::string_view told_by) {
  fields_.push_back({key, std::move(value), std::move(text), {}, {}, told_by});
}

void Collector::AddList(std::string_view key, FieldValue value, std::vector<std::string> items) {
  fields_.push_back({key, std::move(value), {}, {}, std::move(items), {}});
}

void Collector::AddNumber(std::string_view key, const std::optional<int>& value) {
  if (value) Add(key, *value, std::to_string(*value));
}

void Collector::AddHex(std::string_view key, const std::optional<int>& value) {
  if (value) Add(key, *value, Hex(*value));
}

void Collector::AddFlag(std::string_view key, const std::optional<bool>& value) {
  if (value) Add(key, *value, YesNo(*value));
}

void Collector::Names() {
  if (!record_.name) return;
  Add("name", record_.name->text, "\"" + record_.name->text + "\"");
  const std::string encoding(EncodingName(record_.name->encoding));
  Add("name_encoding", encoding, encoding);
}

void Collector::Addresses() {
  AddHex("owner_id", record_.owner_id);
  AddHex("device_address", record_.device_address);
  AddHex("access_address", record_.access_address);
  AddNumber("owner_lun", record_.owner_lun);
  AddNumber("channel", record_.channel);
  AddHex("sensor_number", record_.sensor_number);
}

void Collector::Entity() {
  if (record_.entity_id) {
    const std::string name(EntityName(*record_.entity_id));
    Add("entity_id", *record_.entity_id, Named(name, *record_.entity_id));
    Add("entity_name", name, name, "entity_id");
  }
  AddNumber("entity_instance", record_.entity_instance);
  AddFlag("entity_logical", record_.entity_logical);
}

void Collector::SensorType() {
  if (record_.sensor_type) {
    const std::string name(SensorTypeName(*record_.sensor_type));
    Add("sensor_type", *record_.sensor_type, Named(name, *record_.sensor_type));
    Add("sensor_type_name", name, name, "sensor_type");
  }
  if (record_.event_type) {
    Add("event_type", *record_.event_type,
        Named(EventTypeName(*record_.event_type), *record_.event_type));
  }
  if (record_.direction) {
    Add("direction", *record_.direction, std::string(DirectionName(*record_.direction)));
  }
}

void Collector::Units() {
  if (!record_.unit) return;
  const Unit& unit = *record_.unit;
  if (const std::string text = unit.Text(); !text.empty()) Add("unit", text, text);
  const auto code = [this](std::string_view key, const std::optional<int>& value,
                           std::string_view name) {
    if (value) Add(key, *value, Named(name, *value), "unit");
  };
  code("base_unit", unit.base, UnitName(unit.base.value_or(0)));
  code("modifier_unit", unit.modifier, UnitName(unit.modifier.value_or(0)));
  code("rate_unit", unit.rate, RateName(unit.rate.value_or(0)));
}

void Collector::Factors() {
  if (!record_.conversion) return;
  const Conversion& to = *record_.conversion;
  if (to.analog_format) {
    const std::string format(AnalogFormatName(*to.analog_format));
    Add("analog_format", format, format);
  }
  if (to.linearization) {
    const std::string name(LinearizationName(*to.linearization));
    Add("linearization", *to.linearization, Named(name, *to.linearization));
    Add("linearization_name", name, name, "linearization");
  }
  AddNumber("m", to.m);
  AddNumber("b", to.b);
  AddNumber("r_exp", to.r_exp);
  AddNumber("b_exp", to.b_exp);
  AddNumber("tolerance", to.tolerance);
  AddNumber("accuracy", to.accuracy);
  AddNumber("accuracy_exp", to.accuracy_exp);
}

void Collector::AddReading(std::string_view key, const std::optional<Reading>& reading) {
  if (!reading) return;
  if (!reading->value) return Add(key, *reading, "raw " + Hex(reading->raw));
  Add(key, *reading, NumberText(*reading->value));
  if (!record_.unit) return;
  if (std::string unit = record_.unit->Text(); unit != UnitName(0)) {
    fields_.back().unit = std::move(unit);
  }
}

void Collector::Readings() {
  AddReading("nominal", record_.nominal);
  AddReading("normal_max", record_.normal_max);
  AddReading("normal_min", record_.normal_min);
  AddReading("sensor_max", record_.sensor_max);
  AddReading("sensor_min", record_.sensor_min);
}

void Collector::Thresholds() {
  if (!record_.thresholds) return;
  for (const Threshold& threshold : *record_.thresholds) {
    AddReading(ThresholdKey(threshold.kind), threshold.reading);
    fields_.back().value = threshold;
  }
}

void Collector::HysteresisField() {
  if (!record_.hysteresis) return;
  const Hysteresis& raw = *record_.hysteresis;
  Add("hysteresis", raw,
      "positive " + std::to_string(raw.positive) + ", negative " + std::to_string(raw.negative));
}

void Collector::Events(std::string_view key, const std::optional<StateMask>& mask) {
  if (!mask) return;
  std::vector<std::string> names;
  for (const int state : mask->Offsets()) {
    const std::string_view name =
        StateName(record_.event_type.value_or(0), record_.sensor_type.value_or(0), state);
    names.push_back(name.empty() ? "state " + std::to_string(state) : std::string(name));
  }
  AddList(key, mask->Offsets(), std::move(names));
}

void Collector::SharingFields() {
  if (!record_.sharing) return;
  const Sharing& sharing = *record_.sharing;
  AddNumber("share_count", sharing.share_count);
  if (sharing.id_modifier) {
    constexpr std::string_view kNames[] = {"numeric", "alpha", "reserved", "reserved"};
    Add("id_modifier", *sharing.id_modifier,
        Named(kNames[*sharing.id_modifier & 3], *sharing.id_modifier));
  }
  AddNumber("id_modifier_offset", sharing.id_modifier_offset);
  AddFlag("entity_instance_sharing", sharing.entity_instance_sharing);
}

void Collector::Device() {
  AddHex("oem", record_.oem);
  AddHex("manufacturer_id", record_.manufacturer_id);
  AddHex("fru_id", record_.fru_id);
  const int type = record_.device_type.value_or(0);
  if (record_.device_type) Add("device_type", type, Named(DeviceTypeName(type), type));
  if (record_.device_type_modifier) {
    const int modifier = *record_.device_type_modifier;
    Add("device_type_modifier", modifier, Named(DeviceModifierName(type, modifier), modifier));
  }
  if (!record_.device_capabilities) return;
  std::vector<std::string> names;
  for (const int bit : record_.device_capabilities->Offsets()) {
    names.emplace_back(DeviceCapabilityName(bit));
  }
  AddList("device_capabilities", names, names);
}

/// Entries of a range are its two ends.
std::vector<std::string> EntityItems(const std::vector<ContainedEntity>& entities) {
  std::vector<std::string> items;
  for (std::size_t i = 0; i < entities.size(); ++i) {
    items.push_back(EntityText(entities[i].entity));
    if (!entities[i].range || i + 1 == entities.size()) continue;
    items.back() += " to " + EntityText(entities[++i].entity);
  }
  return items;
}

void Collector::Contained() {
  if (!record_.contained_entities) return;
  std::vector<ContainedEntity> entities;
  for (const ContainedEntity& contained : *record_.contained_entities) {
    ContainedEntity& entity = entities.emplace_back();
    entity.entity = contained.entity;
    entity.range = contained.range;
  }
  std::vector<std::string> items = EntityItems(entities);
  AddList("contained_entities", std::move(entities), std::move(items));
}

std::vector<Field> Collector::Run() && {
  if (record_.bytes.size() > 2) {
    const std::string version = SdrVersionText(record_.sdr_version);
    Add("sdr_version", version, version);
  }
  Names();
  Addresses();
  Entity();
  SensorType();
  Units();
  Factors();
  Readings();
  Thresholds();
  HysteresisField();
  Events("assertion_events", record_.assertion_events);
  Events("deassertion_events", record_.deassertion_events);
  Events("reading_mask", record_.reading_mask);
  SharingFields();
  Device();
  Contained();
  if (record_.data) Add("data", CompactHex(*record_.data), HexText(*record_.data));
  return std::move(fields_);
}

}  // namespace

std::string CompactHex(std::span<const unsigned char> bytes) {
  std::string text = HexText(bytes);
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

std::vector<Field> FieldsOf(const Record& record) { return Collector(record).Run(); }

}  // namespace tarvek::inspect
