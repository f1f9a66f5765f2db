#include "inspect/decode/explain.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "inspect/decode/layout.h"
#include "inspect/decode/names.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {

namespace {

constexpr std::size_t kHeaderSize = kRecordHeaderSize;

std::string Hex(int value, int digits = 2) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr int kNibbleBits = 4;
  constexpr int kNibbleMask = 0x0F;
  std::string text;
  for (int i = digits - 1; i >= 0; --i) {
    text += kDigits[static_cast<std::size_t>((value >> (i * kNibbleBits)) & kNibbleMask)];
  }
  return text + 'h';
}

std::string Named(int value, std::string_view name) {
  std::string text = Hex(value);
  if (!name.empty()) text.append(" (").append(name).append(")");
  return text;
}

std::string_view Choose(int code, std::span<const std::string_view> names) {
  return names[std::min(static_cast<std::size_t>(code), names.size() - 1)];
}

/// "a, b, c"; "none" for nothing.
std::string Listed(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) {
    if (!text.empty()) text += ", ";
    text += item;
  }
  return text.empty() ? "none" : text;
}

/// The names of the bits that are set, lowest first.
std::string BitNames(int bits, std::span<const std::string_view> names) {
  std::vector<std::string> items;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if ((bits >> i & 1) != 0 && !names[i].empty()) items.emplace_back(names[i]);
  }
  return Listed(items);
}

std::string_view YesNo(bool yes) { return yes ? "yes" : "no"; }

/// Collects the fields of one record.
class Explainer {
 public:
  explicit Explainer(const Record& record) : record_(record) {}

  std::vector<LongField> Run() &&;

 private:
  int At(std::size_t offset) const { return record_.bytes[offset]; }
  int Part(Bits bits) const {
    return (At(bits.offset) >> bits.shift) & static_cast<int>(bits.mask);
  }
  bool Has(std::size_t offset, std::size_t count = 1) const {
    return offset + count <= record_.used;
  }

  void Add(std::string_view label, std::size_t offset, std::size_t count, std::string text,
           std::string_view key = {});
  void AddByte(std::string_view label, std::size_t offset, std::string_view key = {});
  void AddReserved(std::size_t offset, std::size_t count);
  void AddReservedBits(std::size_t offset, int mask);
  void AddRest();

  void Header();
  void Body();
  void Owner();
  void Entity(std::string_view id_label, std::string_view instance_label, std::size_t offset);
  void SensorTypes(std::size_t type_offset);
  void SensorBody();
  void Events(std::string_view label, std::size_t offset, const std::optional<StateMask>& mask,
              bool upper, std::string_view key);
  void ReadingMasks();
  void Units(bool analog);
  void Factors();
  std::string ReadingText(std::size_t offset) const;
  void Readings();
  void Sharing(std::size_t offset);
  void Hysteresis(std::size_t offset);
  void Oem(std::size_t offset);
  void IdString(std::size_t offset);
  void FullSensor();
  void CompactSensor();
  void EventOnly();
  void AssociationFlags(std::size_t offset);
  void Association();
  void DeviceAssociation();
  void BusAndLun(Bits lun, Bits bus);
  void DeviceType(std::size_t offset);
  void GenericLocator();
  void FruLocator();
  void ControllerLocator();
  void Confirmation();
  void ChannelInfo();
  void OemRecord();

  const Record& record_;
  std::vector<LongField> fields_;
};

void Explainer::Add(std::string_view label, std::size_t offset, std::size_t count, std::string text,
                    std::string_view key) {
  fields_.push_back({.label = label,
                     .text = std::move(text),
                     .offset = offset,
                     .count = count,
                     .key = key,
                     .explained = true});
}

void Explainer::AddByte(std::string_view label, std::size_t offset, std::string_view key) {
  if (Has(offset)) Add(label, offset, 1, Hex(At(offset)), key);
}

void Explainer::AddReserved(std::size_t offset, std::size_t count) {
  if (!Has(offset)) return;
  const std::size_t there = std::min(count, record_.used - offset);
  Add("Reserved", offset, there, HexText(std::span(record_.bytes).subspan(offset, there)));
  fields_.back().explained = false;
}

/// Reserved bits are worth a line only where they are set.
void Explainer::AddReservedBits(std::size_t offset, int mask) {
  if (!Has(offset) || (At(offset) & mask) == 0) return;
  Add("Reserved bits", offset, 1, Hex(At(offset) & mask));
  fields_.back().explained = false;
}

/// Bytes that no field covers: cut fields, and what stands behind the record's last one.
void Explainer::AddRest() {
  std::vector<bool> covered(record_.bytes.size(), false);
  for (const LongField& field : fields_) {
    for (std::size_t i = 0; i < field.count; ++i) covered[field.offset + i] = true;
  }
  for (std::size_t begin = 0; begin < covered.size(); ++begin) {
    if (covered[begin]) continue;
    std::size_t end = begin;
    while (end < covered.size() && !covered[end]) ++end;
    Add("Unexplained", begin, end - begin,
        HexText(std::span(record_.bytes).subspan(begin, end - begin)));
    fields_.back().explained = false;
    begin = end;
  }
  std::stable_sort(fields_.begin(), fields_.end(),
                   [](const LongField& a, const LongField& b) { return a.offset < b.offset; });
}

std::vector<LongField> Explainer::Run() && {
  constexpr std::size_t kMostFields = 96;
  fields_.reserve(kMostFields);
  Header();
  if (record_.bytes.size() >= kHeaderSize) Body();
  AddRest();
  return std::move(fields_);
}

void Explainer::Header() {
  constexpr int kIdDigits = 4;
  if (Has(0, 2)) Add("Record ID", 0, 2, Hex(record_.record_id, kIdDigits), "record_id");
  if (Has(2)) {
    Add("SDR Version", 2, 1, Named(record_.sdr_version, SdrVersionText(record_.sdr_version)),
        "sdr_version");
  }
  if (Has(3)) Add("Record Type", 3, 1, Named(record_.type, TypeName(record_.type)), "type");
  if (Has(4)) Add("Record Length", 4, 1, std::to_string(record_.body_length), "length");
}

void Explainer::Body() {
  switch (static_cast<RecordType>(record_.type)) {
    case RecordType::kFullSensor:
      return FullSensor();
    case RecordType::kCompactSensor:
      return CompactSensor();
    case RecordType::kEventOnly:
      return EventOnly();
    case RecordType::kEntityAssociation:
      return Association();
    case RecordType::kDeviceEntityAssociation:
      return DeviceAssociation();
    case RecordType::kGenericDeviceLocator:
      return GenericLocator();
    case RecordType::kFruDeviceLocator:
      return FruLocator();
    case RecordType::kControllerLocator:
      return ControllerLocator();
    case RecordType::kControllerConfirmation:
      return Confirmation();
    case RecordType::kMessageChannelInfo:
      return ChannelInfo();
    case RecordType::kOem:
      return OemRecord();
  }
}

void Explainer::Owner() {
  if (Has(sensor::kOwnerId)) {
    const bool software = (At(sensor::kOwnerId) & 1) != 0;
    Add("Sensor Owner ID", sensor::kOwnerId, 1,
        Named(At(sensor::kOwnerId), software ? "system software" : "IPMB slave address"),
        "owner_id");
  }
  if (Has(sensor::kOwnerLun.offset)) {
    const std::size_t offset = sensor::kOwnerLun.offset;
    Add("Channel Number", offset, 1, std::to_string(Part(sensor::kChannel)), "channel");
    if (record_.Is(RecordType::kEventOnly)) {
      Add("FRU Inventory Device Owner LUN", offset, 1, std::to_string(Part(sensor::kReservedLun)));
    } else {
      AddReservedBits(offset, 0x0C);
    }
    Add("Sensor Owner LUN", offset, 1, std::to_string(Part(sensor::kOwnerLun)), "owner_lun");
  }
  AddByte("Sensor Number", sensor::kNumber, "sensor_number");
  Entity("Entity ID", "Entity Instance", sensor::kEntityId);
}

void Explainer::Entity(std::string_view id_label, std::string_view instance_label,
                       std::size_t offset) {
  if (Has(offset)) {
    Add(id_label, offset, 1, Named(At(offset), EntityName(At(offset))), "entity_id");
  }
  if (!Has(offset + 1)) return;
  constexpr int kFirstRelative = 0x60;
  const int byte = At(offset + 1);
  const int instance = byte & static_cast<int>(kInstanceMask);
  std::string text = std::to_string(instance);
  text += (byte & static_cast<int>(kLogicalBit)) != 0 ? ", logical container" : ", physical";
  if (instance >= kFirstRelative) text += ", device-relative";
  Add(instance_label, offset + 1, 1, std::move(text), "entity_instance");
}

void Explainer::SensorTypes(std::size_t type_offset) {
  if (Has(type_offset)) {
    Add("Sensor Type", type_offset, 1, Named(At(type_offset), SensorTypeName(At(type_offset))),
        "sensor_type");
  }
  if (!Has(type_offset + 1)) return;
  constexpr int kTypeMask = 0x7F;
  const int event_type = At(type_offset + 1) & kTypeMask;
  Add("Event / Reading Type Code", type_offset + 1, 1, Named(event_type, EventTypeName(event_type)),
      "event_type");
  AddReservedBits(type_offset + 1, kTypeMask + 1);
}

void Explainer::SensorBody() {
  Owner();
  if (Has(reading_sensor::kInitialization)) {
    constexpr std::string_view kBits[] = {"sensor scanning enabled", "event generation enabled",
                                          "init sensor type",        "init hysteresis",
                                          "init thresholds",         "init events",
                                          "init scanning",           "settable sensor"};
    Add("Sensor Initialization", reading_sensor::kInitialization, 1,
        BitNames(At(reading_sensor::kInitialization), kBits));
  }
  if (record_.capabilities) {
    constexpr std::string_view kHysteresis[] = {"none", "readable", "readable and settable",
                                                "fixed"};
    constexpr std::string_view kEventControl[] = {"per threshold or state", "entire sensor only",
                                                  "global disable only", "no events from sensor"};
    const SensorCapabilities& can = *record_.capabilities;
    const auto add = [this](std::string_view label, std::string_view text) {
      Add(label, reading_sensor::kCapabilities, 1, std::string(text));
    };
    add("Ignore Sensor", YesNo(can.ignore_if_entity_absent));
    add("Sensor Auto Re-arm Support", YesNo(can.auto_rearm));
    add("Sensor Hysteresis Support", Choose(can.hysteresis_access, kHysteresis));
    add("Sensor Threshold Access Support", Choose(can.threshold_access, kHysteresis));
    add("Sensor Event Message Control Support", Choose(can.event_control, kEventControl));
  }
  SensorTypes(reading_sensor::kSensorType);
  const bool threshold = record_.IsThreshold();
  Events(threshold ? "Assertion Event Mask / Lower Threshold Reading Mask" : "Assertion Event Mask",
         reading_sensor::kAssertionMask, record_.assertion_events, false, "assertion_events");
  Events(threshold ? "Deassertion Event Mask / Upper Threshold Reading Mask"
                   : "Deassertion Event Mask",
         reading_sensor::kDeassertionMask, record_.deassertion_events, true, "deassertion_events");
  ReadingMasks();
}

/// States by name; of threshold sensors also the comparisons that a reading returns.
void Explainer::Events(std::string_view label, std::size_t offset,
                       const std::optional<StateMask>& mask, bool upper, std::string_view key) {
  if (!mask) return;
  std::vector<std::string> items;
  for (const int state : mask->Offsets()) {
    const std::string_view name =
        StateName(record_.event_type.value_or(0), record_.sensor_type.value_or(0), state);
    items.push_back(name.empty() ? "state " + std::to_string(state) : std::string(name));
  }
  Add(label, offset, 2, Listed(items), key);
  constexpr int kTopBit = 0x80;
  AddReservedBits(offset + 1, kTopBit);
  if (!record_.IsThreshold()) return;
  constexpr std::string_view kComparisons[] = {"Non-critical", "Critical", "Non-recoverable"};
  constexpr int kFirstComparison = 4;
  Add(upper ? "Upper Threshold Comparisons Returned" : "Lower Threshold Comparisons Returned",
      offset + 1, 1, BitNames((At(offset + 1) >> kFirstComparison) & 0x07, kComparisons));
}

void Explainer::ReadingMasks() {
  Events("Discrete Reading Mask", reading_sensor::kReadingMask, record_.reading_mask, false,
         "reading_mask");
  const auto thresholds = [this](std::string_view label, std::size_t offset,
                                 const std::optional<StateMask>& mask) {
    if (!mask) return;
    std::vector<std::string> items;
    for (const int bit : mask->Offsets()) {
      items.emplace_back(ThresholdName(static_cast<ThresholdKind>(bit)));
    }
    Add(label, offset, 1, Listed(items), "thresholds");
    constexpr int kReservedMask = 0xC0;
    AddReservedBits(offset, kReservedMask);
  };
  thresholds("Readable Threshold Mask", reading_sensor::kReadableMask, record_.readable_thresholds);
  thresholds("Settable Threshold Mask", reading_sensor::kSettableMask, record_.settable_thresholds);
}

void Explainer::Units(bool analog) {
  if (!Has(reading_sensor::kUnits1)) return;
  constexpr std::string_view kModifierUses[] = {"none", "basic unit / modifier unit",
                                                "basic unit * modifier unit", "reserved"};
  const std::size_t offset = reading_sensor::kUnits1;
  if (analog) {
    Add("Analog Data Format", offset, 1,
        std::string(AnalogFormatName(static_cast<AnalogFormat>(Part(units1::kAnalogFormat)))),
        "analog_format");
  } else {
    // Compact sensors have no analog readings; the standard has 11b written there.
    constexpr int kFormatMask = 0xC0;
    if (Part(units1::kAnalogFormat) != static_cast<int>(AnalogFormat::kNone)) {
      AddReservedBits(offset, kFormatMask);
    }
  }
  const int rate = Part(units1::kRate);
  Add("Rate Unit", offset, 1, rate == 0 ? "none" : std::string(RateName(rate)), "rate_unit");
  Add("Modifier Unit Use", offset, 1,
      std::string(Choose(Part(units1::kModifierUse), kModifierUses)), "unit");
  Add("Percentage", offset, 1, std::string(YesNo(Part(units1::kPercent) != 0)), "unit");
  if (Has(reading_sensor::kBaseUnit)) {
    const int base = At(reading_sensor::kBaseUnit);
    Add("Base Unit", reading_sensor::kBaseUnit, 1, Named(base, UnitName(base)), "base_unit");
  }
  if (Has(reading_sensor::kModifierUnit)) {
    const int modifier = At(reading_sensor::kModifierUnit);
    Add("Modifier Unit", reading_sensor::kModifierUnit, 1, Named(modifier, UnitName(modifier)),
        "modifier_unit");
  }
}

void Explainer::Factors() {
  if (!record_.conversion) return;
  const Conversion& to = *record_.conversion;
  const auto number = [this](std::string_view label, std::size_t offset, std::size_t count,
                             const std::optional<int>& value, std::string_view key) {
    if (value) Add(label, offset, count, std::to_string(*value), key);
  };
  if (to.linearization) {
    Add("Linearization", full::kLinearization.offset, 1,
        Named(*to.linearization, LinearizationName(*to.linearization)), "linearization");
    constexpr int kTopBit = 0x80;
    AddReservedBits(full::kLinearization.offset, kTopBit);
  }
  number("M", full::kM, 2, to.m, "m");
  if (to.tolerance) {
    Add("Tolerance", full::kTolerance.offset, 1,
        "+/- " + std::to_string(*to.tolerance) + " half raw counts", "tolerance");
  }
  number("B", full::kB, 2, to.b, "b");
  if (to.accuracy) {
    Add("Accuracy", full::kAccuracyLow.offset, 2,
        std::to_string(*to.accuracy) + " hundredths of a percent", "accuracy");
  }
  number("Accuracy exp", full::kAccuracyExp.offset, 1, to.accuracy_exp, "accuracy_exp");
  if (record_.direction) {
    Add("Sensor Direction", full::kDirection.offset, 1,
        std::string(DirectionName(*record_.direction)), "direction");
  }
  number("R exponent", full::kRExp.offset, 1, to.r_exp, "r_exp");
  number("B exponent", full::kBExp.offset, 1, to.b_exp, "b_exp");
}

/// "5Fh (95 degrees C)".
std::string Explainer::ReadingText(std::size_t offset) const {
  const int raw = At(offset);
  const std::optional<double> value =
      record_.conversion ? record_.conversion->ToReal(raw) : std::nullopt;
  if (!value) return Hex(raw);
  std::string real = NumberText(*value);
  if (record_.unit && record_.unit->Text() != UnitName(0)) real += ' ' + record_.unit->Text();
  return Named(raw, real);
}

void Explainer::Readings() {
  if (Has(full::kAnalogFlags)) {
    constexpr std::string_view kFlags[] = {"nominal reading specified", "normal max specified",
                                           "normal min specified"};
    Add("Analog Characteristic Flags", full::kAnalogFlags, 1,
        BitNames(At(full::kAnalogFlags), kFlags));
    constexpr int kReservedMask = 0xF8;
    AddReservedBits(full::kAnalogFlags, kReservedMask);
  }
  constexpr std::pair<std::string_view, std::string_view> kReadings[] = {
      {"Nominal Reading", "nominal"},
      {"Normal Maximum", "normal_max"},
      {"Normal Minimum", "normal_min"},
      {"Sensor Maximum Reading", "sensor_max"},
      {"Sensor Minimum Reading", "sensor_min"},
      {"Upper Non-recoverable Threshold", "thresholds"},
      {"Upper Critical Threshold", "thresholds"},
      {"Upper Non-critical Threshold", "thresholds"},
      {"Lower Non-recoverable Threshold", "thresholds"},
      {"Lower Critical Threshold", "thresholds"},
      {"Lower Non-critical Threshold", "thresholds"},
  };
  constexpr std::size_t kUpper = 5;         // index of the first threshold
  constexpr int kLastThresholdOffset = 41;  // of the one that the lowest bit stands for
  for (std::size_t i = 0; i < std::size(kReadings); ++i) {
    const std::size_t offset = full::kNominal + i;
    if (!Has(offset)) return;
    std::string text = ReadingText(offset);
    const bool flagged = offset <= full::kNormalMin;
    if (flagged && (At(full::kAnalogFlags) >> i & 1) == 0) text += ", unspecified";
    if (i >= kUpper) {
      const int bit = kLastThresholdOffset - static_cast<int>(offset);
      const bool readable = record_.readable_thresholds && record_.readable_thresholds->Has(bit);
      const bool settable = record_.settable_thresholds && record_.settable_thresholds->Has(bit);
      text += readable && settable ? ", readable and settable"
              : readable           ? ", readable"
              : settable           ? ", settable"
                                   : ", unused";
    }
    Add(kReadings[i].first, offset, 1, std::move(text), kReadings[i].second);
  }
}

void Explainer::Sharing(std::size_t offset) {
  if (!record_.sharing) return;
  const inspect::Sharing& sharing = *record_.sharing;
  constexpr std::string_view kModifiers[] = {"numeric", "alpha", "reserved", "reserved"};
  Add("Sensor Direction", offset, 1, std::string(DirectionName(record_.direction.value_or(0))),
      "direction");
  Add("ID String Instance Modifier Type", offset, 1,
      std::string(Choose(sharing.id_modifier.value_or(0), kModifiers)), "id_modifier");
  Add("Share Count", offset, 1, std::to_string(sharing.share_count.value_or(0)), "share_count");
  if (!sharing.id_modifier_offset || !sharing.entity_instance_sharing) return;
  Add("Entity Instance Sharing", offset + 1, 1,
      *sharing.entity_instance_sharing ? "increments for each shared record"
                                       : "same for all shared records",
      "entity_instance_sharing");
  Add("ID String Instance Modifier Offset", offset + 1, 1,
      std::to_string(*sharing.id_modifier_offset), "id_modifier_offset");
}

void Explainer::Hysteresis(std::size_t offset) {
  if (Has(offset)) {
    Add("Positive-going Threshold Hysteresis value", offset, 1, std::to_string(At(offset)),
        "hysteresis");
  }
  if (Has(offset + 1)) {
    Add("Negative-going Threshold Hysteresis value", offset + 1, 1, std::to_string(At(offset + 1)),
        "hysteresis");
  }
}

void Explainer::Oem(std::size_t offset) { AddByte("OEM", offset, "oem"); }

void Explainer::IdString(std::size_t offset) {
  if (!record_.name) return;
  const Name& name = *record_.name;
  const bool device = !record_.IsSensor();
  std::string code(EncodingName(name.encoding));
  code.append(", ").append(std::to_string(name.declared_length)).append(" characters");
  if (name.characters < name.declared_length) {
    code.append(", of which ").append(std::to_string(name.characters)).append(" are there");
  }
  Add(device ? "Device ID String Type/Length" : "ID String Type/Length Code", offset, 1,
      std::move(code), "name_encoding");
  constexpr int kReservedBit = 0x20;
  AddReservedBits(offset, kReservedBit);
  if (name.byte_count > 0) {
    Add(device ? "Device ID String" : "ID String Bytes", name.offset, name.byte_count, name.text,
        "name");
  }
}

void Explainer::FullSensor() {
  SensorBody();
  Units(true);
  Factors();
  Readings();
  Hysteresis(full::kPositiveHysteresis);
  AddReserved(full::kReserved, 2);
  Oem(full::kOem);
  IdString(full::kName);
}

void Explainer::CompactSensor() {
  SensorBody();
  Units(false);
  Sharing(compact::kSharing);
  Hysteresis(compact::kPositiveHysteresis);
  AddReserved(compact::kReserved, compact::kOem - compact::kReserved);
  Oem(compact::kOem);
  IdString(compact::kName);
}

void Explainer::EventOnly() {
  Owner();
  SensorTypes(event_only::kSensorType);
  Sharing(event_only::kSharing);
  AddReserved(event_only::kReserved, 1);
  Oem(event_only::kOem);
  IdString(event_only::kName);
}

void Explainer::AssociationFlags(std::size_t offset) {
  if (!Has(offset)) return;
  const int flags = At(offset);
  Add("Contained Entities", offset, 1,
      (flags & static_cast<int>(kRangeBit)) != 0 ? "ranges" : "list", "contained_entities");
  constexpr int kLinked = 0x40;
  constexpr int kPresence = 0x20;
  constexpr int kReservedMask = 0x1F;
  Add("Record Link", offset, 1, (flags & kLinked) != 0 ? "linked records exist" : "none");
  Add("Presence Sensor always accessible", offset, 1, std::string(YesNo((flags & kPresence) != 0)));
  AddReservedBits(offset, kReservedMask);
}

namespace entry_labels {
constexpr std::string_view kId[] = {
    "Contained Entity 1 / Range 1 first entity", "Contained Entity 2 / Range 1 last entity",
    "Contained Entity 3 / Range 2 first entity", "Contained Entity 4 / Range 2 last entity"};
constexpr std::string_view kInstance[] = {
    "Contained Entity 1 / Range 1 first instance", "Contained Entity 2 / Range 1 last instance",
    "Contained Entity 3 / Range 2 first instance", "Contained Entity 4 / Range 2 last instance"};
constexpr std::string_view kAddress[] = {
    "Contained Entity 1 Device Address", "Contained Entity 2 Device Address",
    "Contained Entity 3 Device Address", "Contained Entity 4 Device Address"};
constexpr std::string_view kChannel[] = {
    "Contained Entity 1 Device Channel", "Contained Entity 2 Device Channel",
    "Contained Entity 3 Device Channel", "Contained Entity 4 Device Channel"};
}  // namespace entry_labels

void Explainer::Association() {
  Entity("Container Entity ID", "Container Entity Instance", association::kContainerId);
  AssociationFlags(association::kFlags);
  for (std::size_t i = 0; i < kContainedCount; ++i) {
    Entity(entry_labels::kId[i], entry_labels::kInstance[i],
           association::kContained + association::kEntrySize * i);
  }
}

void Explainer::DeviceAssociation() {
  constexpr int kChannelShift = 4;
  constexpr int kReservedMask = 0x0F;
  const auto channel = [this](std::string_view label, std::size_t offset, std::string_view key) {
    if (!Has(offset)) return;
    Add(label, offset, 1, std::to_string(At(offset) >> kChannelShift), key);
    AddReservedBits(offset, kReservedMask);
  };
  Entity("Container Entity ID", "Container Entity Instance", device_association::kContainerId);
  AddByte("Container Entity Device Address", device_association::kDeviceAddress, "device_address");
  channel("Container Entity Device Channel", device_association::kChannel.offset, "channel");
  AssociationFlags(device_association::kFlags);
  for (std::size_t i = 0; i < kContainedCount; ++i) {
    const std::size_t offset = device_association::kContained + device_association::kEntrySize * i;
    AddByte(entry_labels::kAddress[i], offset);
    channel(entry_labels::kChannel[i], offset + 1, {});
    Entity(entry_labels::kId[i], entry_labels::kInstance[i], offset + 2);
  }
  AddReserved(device_association::kReserved,
              device_association::kSize - device_association::kReserved);
}

void Explainer::BusAndLun(Bits lun, Bits bus) {
  if (!Has(lun.offset)) return;
  Add("Access LUN", lun.offset, 1, std::to_string(Part(lun)));
  Add("Private Bus ID", bus.offset, 1, std::to_string(Part(bus)));
}

void Explainer::DeviceType(std::size_t offset) {
  if (Has(offset)) {
    Add("Device Type", offset, 1, Named(At(offset), DeviceTypeName(At(offset))), "device_type");
  }
  if (Has(offset + 1)) {
    Add("Device Type Modifier", offset + 1, 1,
        Named(At(offset + 1), DeviceModifierName(At(offset), At(offset + 1))),
        "device_type_modifier");
  }
}

void Explainer::GenericLocator() {
  namespace at = generic_locator;
  constexpr int kSpanReserved = 0xF8;
  AddByte("Device Access Address", at::kAccessAddress, "access_address");
  AddByte("Device Slave Address", at::kSlaveAddress, "device_address");
  if (record_.channel) {
    Add("Channel Number", at::kChannelHigh.offset, 2, std::to_string(*record_.channel), "channel");
  }
  BusAndLun(at::kAccessLun, at::kPrivateBus);
  if (Has(at::kAddressSpan.offset)) {
    Add("Address Span", at::kAddressSpan.offset, 1, std::to_string(Part(at::kAddressSpan)));
    AddReservedBits(at::kAddressSpan.offset, kSpanReserved);
  }
  AddReserved(at::kReserved, 1);
  DeviceType(at::kDeviceType);
  Entity("Entity ID", "Entity Instance", at::kEntityId);
  Oem(at::kOem);
  IdString(at::kName);
}

void Explainer::FruLocator() {
  namespace at = fru_locator;
  constexpr int kReservedMask = 0x60;
  constexpr int kChannelReserved = 0x0F;
  AddByte("Device Access Address", at::kAccessAddress, "device_address");
  if (record_.fru_id) AddByte("FRU Device ID", at::kFruId, "fru_id");
  if (record_.slave_address) AddByte("Device Slave Address", at::kFruId);
  if (Has(at::kLogical.offset)) {
    Add("Logical FRU Device", at::kLogical.offset, 1, std::string(YesNo(Part(at::kLogical) != 0)));
    AddReservedBits(at::kLogical.offset, kReservedMask);
  }
  BusAndLun(at::kAccessLun, at::kPrivateBus);
  if (record_.channel) {
    Add("Channel Number", at::kChannel.offset, 1, std::to_string(*record_.channel), "channel");
    AddReservedBits(at::kChannel.offset, kChannelReserved);
  }
  AddReserved(at::kReserved, 1);
  DeviceType(at::kDeviceType);
  Entity("FRU Entity ID", "FRU Entity Instance", at::kEntityId);
  Oem(at::kOem);
  IdString(at::kName);
}

void Explainer::ControllerLocator() {
  namespace at = controller_locator;
  constexpr int kChannelReserved = 0xF0;
  AddByte("Device Slave Address", at::kSlaveAddress, "device_address");
  if (record_.channel) {
    Add("Channel Number", at::kChannel.offset, 1, std::to_string(*record_.channel), "channel");
    AddReservedBits(at::kChannel.offset, kChannelReserved);
  }
  if (Has(at::kInitialization)) {
    constexpr std::string_view kPower[] = {"static controller",
                                           "ACPI device power state notification required",
                                           "ACPI system power state notification required"};
    constexpr std::string_view kGlobal[] = {"log Initialization Agent errors accessing it",
                                            "controller logs Initialization Agent errors"};
    constexpr std::string_view kEvents[] = {"enable event message generation",
                                            "disable event message generation",
                                            "do not initialize controller", "reserved"};
    constexpr int kPowerShift = 5;
    constexpr int kGlobalShift = 2;
    constexpr int kReservedMask = 0x10;
    const int byte = At(at::kInitialization);
    Add("Power State Notification", at::kInitialization, 1, BitNames(byte >> kPowerShift, kPower));
    AddReservedBits(at::kInitialization, kReservedMask);
    Add("Global Initialization", at::kInitialization, 1,
        BitNames((byte >> kGlobalShift) & 0x03, kGlobal));
    Add("Event Message Generation", at::kInitialization, 1,
        std::string(Choose(byte & 0x03, kEvents)));
  }
  if (record_.device_capabilities) {
    std::vector<std::string> items;
    for (const int bit : record_.device_capabilities->Offsets()) {
      items.emplace_back(DeviceCapabilityName(bit));
    }
    Add("Device Capabilities", at::kCapabilities, 1, Listed(items), "device_capabilities");
  }
  AddReserved(at::kReserved, at::kEntityId - at::kReserved);
  Entity("Entity ID", "Entity Instance", at::kEntityId);
  Oem(at::kOem);
  IdString(at::kName);
}

void Explainer::Confirmation() {
  namespace at = confirmation;
  constexpr int kTopBit = 0x80;
  constexpr int kManufacturerDigits = 6;
  constexpr int kProductDigits = 4;
  constexpr std::size_t kGuidSize = 16;
  AddByte("Device Slave Address", at::kSlaveAddress, "device_address");
  AddByte("Device ID", at::kDeviceId);
  if (record_.channel) {
    Add("Channel Number", at::kChannel.offset, 1, std::to_string(*record_.channel), "channel");
    Add("Device Revision", at::kDeviceRevision.offset, 1,
        std::to_string(Part(at::kDeviceRevision)));
  }
  if (Has(at::kMajorRevision.offset)) {
    Add("Firmware Revision 1", at::kMajorRevision.offset, 1,
        std::to_string(Part(at::kMajorRevision)));
    AddReservedBits(at::kMajorRevision.offset, kTopBit);
  }
  AddByte("Firmware Revision 2", at::kMinorRevision);
  if (Has(at::kIpmiVersion)) {
    Add("IPMI Version", at::kIpmiVersion, 1,
        Named(At(at::kIpmiVersion), SdrVersionText(At(at::kIpmiVersion))));
  }
  if (record_.manufacturer_id) {
    Add("Manufacturer ID", at::kManufacturer, 3, Hex(*record_.manufacturer_id, kManufacturerDigits),
        "manufacturer_id");
  }
  if (record_.product_id) {
    Add("Product ID", at::kProduct, 2, Hex(*record_.product_id, kProductDigits));
  }
  if (Has(at::kGuid, kGuidSize)) {
    Add("Device GUID", at::kGuid, kGuidSize,
        HexText(std::span(record_.bytes).subspan(at::kGuid, kGuidSize)));
  }
}

void Explainer::ChannelInfo() {
  namespace at = channel_info;
  constexpr std::string_view kLabels[at::kChannelCount] = {
      "Message Channel 0", "Message Channel 1", "Message Channel 2", "Message Channel 3",
      "Message Channel 4", "Message Channel 5", "Message Channel 6", "Message Channel 7"};
  constexpr int kTransmit = 0x80;
  constexpr int kLunShift = 4;
  constexpr int kLunMask = 0x07;
  constexpr int kProtocolMask = 0x0F;
  for (std::size_t i = 0; i < at::kChannelCount && Has(at::kChannels + i); ++i) {
    const int byte = At(at::kChannels + i);
    std::string text =
        "protocol " + Named(byte & kProtocolMask, ChannelProtocolName(byte & kProtocolMask));
    text += ", receive LUN " + std::to_string((byte >> kLunShift) & kLunMask);
    text += (byte & kTransmit) != 0 ? ", transmit supported" : ", no transmit";
    Add(kLabels[i], at::kChannels + i, 1, std::move(text));
  }
  AddByte("Messaging Interrupt Type", at::kMessageInterrupt);
  AddByte("Event Message Buffer Interrupt Type", at::kEventInterrupt);
  AddReserved(at::kReserved, 1);
}

void Explainer::OemRecord() {
  constexpr int kManufacturerDigits = 6;
  if (record_.manufacturer_id) {
    Add("Manufacturer ID", oem_record::kManufacturer, 3,
        Hex(*record_.manufacturer_id, kManufacturerDigits), "manufacturer_id");
  }
  if (!record_.data || record_.data->empty()) return;
  Add("OEM Data", oem_record::kData, record_.data->size(), HexText(*record_.data), "data");
}

}  // namespace

std::vector<LongField> Explain(const Record& record) { return Explainer(record).Run(); }

std::string HexText(std::span<const unsigned char> bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr unsigned kNibbleBits = 4;
  constexpr unsigned kNibbleMask = 0x0F;
  std::string text;
  for (const unsigned char byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> kNibbleBits];
    text += kDigits[byte & kNibbleMask];
  }
  return text;
}

std::string NumberText(double value) {
  // Written out where people would; the other form is for what has too many zeros.
  constexpr double kSmallest = 1e-4;
  constexpr double kLargest = 1e15;
  constexpr std::size_t kLongestNumber = 32;
  if (value == 0) return "0";  // also for "-0", which says nothing
  const double size = std::fabs(value);
  const auto format = size >= kSmallest && size < kLargest ? std::chars_format::fixed
                                                           : std::chars_format::scientific;
  std::array<char, kLongestNumber> text{};
  const auto written = std::to_chars(text.data(), text.data() + text.size(), value, format);
  return {text.data(), written.ptr};
}

}  // namespace tarvek::inspect
