#include "inspect/decode/record.h"

#include <algorithm>
#include <utility>

#include "inspect/decode/layout.h"
#include "inspect/decode/utf8.h"
#include "sdrfile/utilities/sdr_record.h"
#include "transport/ipmi_layout.h"

namespace tarvek::inspect {

namespace {

using Span = std::span<const unsigned char>;

constexpr std::size_t kHeaderSize = kRecordHeaderSize;
constexpr std::size_t kVersionOffset = 2;
constexpr int kByteBits = 8;
constexpr unsigned kEventTypeMask = 0x7F;
constexpr unsigned kThresholdEventMask = 0x0FFF;  // bits 12 to 14 tell of comparisons
constexpr unsigned kDiscreteEventMask = 0x7FFF;
constexpr unsigned kThresholdMask = 0x3F;

/// `value` as a two's complement number of `bits` bits.
constexpr int SignExtend(int value, int bits) {
  const int sign = 1 << (bits - 1);
  return (value ^ sign) - sign;
}

/// Fills a record field by field. Every read is checked against the bytes that there are.
class Decoder {
 public:
  explicit Decoder(Span bytes) { record_.bytes.assign(bytes.begin(), bytes.end()); }

  Record Run() &&;

 private:
  std::optional<int> Byte(std::size_t offset) const;
  std::optional<int> Field(Bits bits) const;
  std::optional<bool> Flag(Bits bits) const;
  std::optional<StateMask> Mask(std::size_t offset, unsigned mask) const;
  std::optional<int> Number(std::size_t offset, std::size_t count) const;
  std::optional<int> Ten(std::size_t low, Bits high) const;
  std::optional<int> Exponent(Bits bits) const;

  void Header();
  void Body();
  void Owner();
  void Entity(std::size_t id_offset, std::size_t instance_offset);
  void SensorBody();
  void Units();
  void Factors();
  std::optional<Reading> ReadingAt(std::size_t offset) const;
  std::optional<Reading> ReadingIf(Bits given, std::size_t offset) const;
  void Thresholds();
  void HysteresisAt(std::size_t positive, std::size_t negative);
  void SharingAt(std::size_t offset);
  void FullSensor();
  void CompactSensor();
  void EventOnly();
  void Contained(std::size_t flags, std::size_t first, std::size_t entry_size);
  void Association();
  void DeviceAssociation();
  void GenericLocator();
  void FruLocator();
  void ControllerLocator();
  void Confirmation();
  void Oem();
  void NameAt(std::size_t offset);
  void DataFrom(std::size_t offset);

  Record record_;
};

std::optional<int> Decoder::Byte(std::size_t offset) const {
  if (offset >= record_.used) return std::nullopt;
  return record_.bytes[offset];
}

std::optional<int> Decoder::Field(Bits bits) const {
  const std::optional<int> byte = Byte(bits.offset);
  if (!byte) return std::nullopt;
  return (*byte >> bits.shift) & static_cast<int>(bits.mask);
}

std::optional<bool> Decoder::Flag(Bits bits) const {
  const std::optional<int> field = Field(bits);
  if (!field) return std::nullopt;
  return *field != 0;
}

/// `count` bytes, low byte first.
std::optional<int> Decoder::Number(std::size_t offset, std::size_t count) const {
  if (offset + count > record_.used) return std::nullopt;
  int number = 0;
  for (std::size_t i = count; i > 0; --i) {
    number = number << kByteBits | record_.bytes[offset + i - 1];
  }
  return number;
}

std::optional<StateMask> Decoder::Mask(std::size_t offset, unsigned mask) const {
  const std::optional<int> word = Number(offset, 2);
  if (!word) return std::nullopt;
  return StateMask{static_cast<std::uint16_t>(static_cast<unsigned>(*word) & mask)};
}

/// A ten-bit two's complement number.
std::optional<int> Decoder::Ten(std::size_t low, Bits high) const {
  constexpr int kTenBits = 10;
  const std::optional<int> low_bits = Byte(low);
  const std::optional<int> high_bits = Field(high);
  if (!low_bits || !high_bits) return std::nullopt;
  return SignExtend(*high_bits << kByteBits | *low_bits, kTenBits);
}

std::optional<int> Decoder::Exponent(Bits bits) const {
  constexpr int kExponentBits = 4;
  const std::optional<int> field = Field(bits);
  if (!field) return std::nullopt;
  return SignExtend(*field, kExponentBits);
}

Record Decoder::Run() && {
  Header();
  Body();
  return std::move(record_);
}

void Decoder::Header() {
  const Bytes& bytes = record_.bytes;
  record_.used = bytes.size();
  if (bytes.size() >= kVersionOffset) record_.record_id = bytes[0] | bytes[1] << kByteBits;
  if (bytes.size() > kVersionOffset) record_.sdr_version = bytes[kVersionOffset];
  if (bytes.size() > kRecordTypeOffset) record_.type = bytes[kRecordTypeOffset];
  if (bytes.size() < kHeaderSize) return;
  record_.body_length = bytes[kRecordBodyLengthOffset];
  record_.used =
      std::min(bytes.size(), kHeaderSize + static_cast<std::size_t>(record_.body_length));
}

void Decoder::Body() {
  if (record_.bytes.size() < kHeaderSize) return;
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
      return;  // its fields are for people alone
    case RecordType::kOem:
      return Oem();
  }
  DataFrom(kHeaderSize);
}

void Decoder::Owner() {
  record_.owner_id = Byte(sensor::kOwnerId);
  record_.owner_lun = Field(sensor::kOwnerLun);
  record_.channel = Field(sensor::kChannel);
  record_.sensor_number = Byte(sensor::kNumber);
  Entity(sensor::kEntityId, sensor::kEntityInstance);
}

void Decoder::Entity(std::size_t id_offset, std::size_t instance_offset) {
  record_.entity_id = Byte(id_offset);
  record_.entity_instance = Field({instance_offset, 0, kInstanceMask});
  record_.entity_logical = Flag({instance_offset, 0, kLogicalBit});
}

/// What full and compact sensors share.
void Decoder::SensorBody() {
  Owner();
  record_.sensor_initialization = Byte(reading_sensor::kInitialization);
  if (Byte(reading_sensor::kCapabilities)) {
    const auto field = [this](int shift, unsigned mask) {
      return *Field({reading_sensor::kCapabilities, shift, mask});
    };
    record_.capabilities = SensorCapabilities{.ignore_if_entity_absent = field(7, 0x01) != 0,
                                              .auto_rearm = field(6, 0x01) != 0,
                                              .hysteresis_access = field(4, 0x03),
                                              .threshold_access = field(2, 0x03),
                                              .event_control = field(0, 0x03)};
  }
  record_.sensor_type = Byte(reading_sensor::kSensorType);
  record_.event_type = Field({reading_sensor::kEventType, 0, kEventTypeMask});
  const unsigned events = record_.IsThreshold() ? kThresholdEventMask : kDiscreteEventMask;
  record_.assertion_events = Mask(reading_sensor::kAssertionMask, events);
  record_.deassertion_events = Mask(reading_sensor::kDeassertionMask, events);
  if (record_.IsThreshold()) {
    const auto threshold_mask = [this](std::size_t offset) -> std::optional<StateMask> {
      const std::optional<int> bits = Field({offset, 0, kThresholdMask});
      if (!bits) return std::nullopt;
      return StateMask{static_cast<std::uint16_t>(*bits)};
    };
    record_.readable_thresholds = threshold_mask(reading_sensor::kReadableMask);
    record_.settable_thresholds = threshold_mask(reading_sensor::kSettableMask);
  } else {
    record_.reading_mask = Mask(reading_sensor::kReadingMask, kDiscreteEventMask);
  }
  Units();
}

void Decoder::Units() {
  if (!Byte(reading_sensor::kUnits1)) return;
  record_.unit = Unit{.rate = Field(units1::kRate),
                      .modifier_use = Field(units1::kModifierUse),
                      .percent = Flag(units1::kPercent),
                      .base = Byte(reading_sensor::kBaseUnit),
                      .modifier = Byte(reading_sensor::kModifierUnit)};
}

void Decoder::Factors() {
  const std::optional<int> format = Field(units1::kAnalogFormat);
  if (!format) return;
  Conversion& to = record_.conversion.emplace();
  to.analog_format = static_cast<AnalogFormat>(*format);
  to.linearization = Field(full::kLinearization);
  to.m = Ten(full::kM, full::kMHigh);
  to.tolerance = Field(full::kTolerance);
  to.b = Ten(full::kB, full::kBHigh);
  const std::optional<int> low = Field(full::kAccuracyLow);
  const std::optional<int> high = Field(full::kAccuracyHigh);
  constexpr int kAccuracyLowBits = 6;
  if (low && high) to.accuracy = *high << kAccuracyLowBits | *low;
  to.accuracy_exp = Field(full::kAccuracyExp);
  to.r_exp = Exponent(full::kRExp);
  to.b_exp = Exponent(full::kBExp);
}

std::optional<Reading> Decoder::ReadingAt(std::size_t offset) const {
  const std::optional<int> raw = Byte(offset);
  if (!raw) return std::nullopt;
  return Reading{*raw, record_.conversion ? record_.conversion->ToReal(*raw) : std::nullopt};
}

std::optional<Reading> Decoder::ReadingIf(Bits given, std::size_t offset) const {
  if (!Flag(given).value_or(false)) return std::nullopt;
  return ReadingAt(offset);
}

void Decoder::Thresholds() {
  if (!record_.readable_thresholds || !record_.settable_thresholds) return;
  if (!Byte(full::kUpperNonRecoverable)) return;
  // The bytes stand from the highest threshold to the lowest of each half, the halves upper first.
  constexpr std::size_t kOffsets[kThresholdCount] = {41, 40, 39, 38, 37, 36};
  std::vector<Threshold>& thresholds = record_.thresholds.emplace();
  thresholds.reserve(kThresholdCount);
  for (int i = 0; i < kThresholdCount; ++i) {
    const bool readable = record_.readable_thresholds->Has(i);
    const bool settable = record_.settable_thresholds->Has(i);
    const std::optional<Reading> reading = ReadingAt(kOffsets[i]);
    if ((!readable && !settable) || !reading) continue;
    thresholds.push_back({static_cast<ThresholdKind>(i), *reading, readable, settable});
  }
}

void Decoder::HysteresisAt(std::size_t positive, std::size_t negative) {
  const std::optional<int> up = Byte(positive);
  const std::optional<int> down = Byte(negative);
  if (up && down) record_.hysteresis = Hysteresis{*up, *down};
}

/// Record sharing, direction and ID string modifier, two bytes.
void Decoder::SharingAt(std::size_t offset) {
  record_.direction = Field({offset, 6, 0x03});
  if (!Byte(offset)) return;
  record_.sharing = Sharing{.share_count = Field({offset, 0, 0x0F}),
                            .id_modifier = Field({offset, 4, 0x03}),
                            .id_modifier_offset = Field({offset + 1, 0, 0x7F}),
                            .entity_instance_sharing = Flag({offset + 1, 7, 0x01})};
}

void Decoder::FullSensor() {
  SensorBody();
  Factors();
  record_.direction = Field(full::kDirection);
  record_.nominal = ReadingIf(full::kNominalGiven, full::kNominal);
  record_.normal_max = ReadingIf(full::kNormalMaxGiven, full::kNormalMax);
  record_.normal_min = ReadingIf(full::kNormalMinGiven, full::kNormalMin);
  record_.sensor_max = ReadingAt(full::kSensorMax);
  record_.sensor_min = ReadingAt(full::kSensorMin);
  Thresholds();
  HysteresisAt(full::kPositiveHysteresis, full::kNegativeHysteresis);
  record_.oem = Byte(full::kOem);
  NameAt(full::kName);
}

void Decoder::CompactSensor() {
  SensorBody();
  SharingAt(compact::kSharing);
  HysteresisAt(compact::kPositiveHysteresis, compact::kNegativeHysteresis);
  record_.oem = Byte(compact::kOem);
  NameAt(compact::kName);
}

void Decoder::EventOnly() {
  Owner();
  record_.sensor_type = Byte(event_only::kSensorType);
  record_.event_type = Field({event_only::kEventType, 0, kEventTypeMask});
  SharingAt(event_only::kSharing);
  record_.oem = Byte(event_only::kOem);
  NameAt(event_only::kName);
}

/// Four entries, each ending with entity ID and instance, before them the address and the channel
/// of a device where an entry has room. Those with entity ID 00h are unused.
void Decoder::Contained(std::size_t flags, std::size_t first, std::size_t entry_size) {
  const std::optional<bool> range = Flag({flags, 0, kRangeBit});
  if (!range || !Byte(first)) return;
  record_.contained_entities.emplace();
  const bool device = entry_size == device_association::kEntrySize;
  for (std::size_t i = 0; i < kContainedCount; ++i) {
    const std::size_t entry = first + entry_size * i;
    const std::size_t id = entry + entry_size - 2;
    if (!Byte(id + 1) || *Byte(id) == 0) continue;
    record_.contained_entities->push_back(
        {.entity = {.id = *Byte(id),
                    .instance = *Field({id + 1, 0, kInstanceMask}),
                    .logical = *Flag({id + 1, 0, kLogicalBit})},
         .range = *range,
         .device_address = device ? Byte(entry) : std::nullopt,
         .channel = device ? Field({entry + 1, 4, 0x0F}) : std::nullopt,
         .offset = id});
  }
}

void Decoder::Association() {
  Entity(association::kContainerId, association::kContainerInstance);
  Contained(association::kFlags, association::kContained, association::kEntrySize);
}

void Decoder::DeviceAssociation() {
  Entity(device_association::kContainerId, device_association::kContainerInstance);
  record_.device_address = Byte(device_association::kDeviceAddress);
  record_.channel = Field(device_association::kChannel);
  Contained(device_association::kFlags, device_association::kContained,
            device_association::kEntrySize);
}

void Decoder::GenericLocator() {
  namespace at = generic_locator;
  constexpr int kChannelLowBits = 3;
  record_.access_address = Byte(at::kAccessAddress);
  record_.device_address = Byte(at::kSlaveAddress);
  const std::optional<int> high = Field(at::kChannelHigh);
  const std::optional<int> low = Field(at::kChannelLow);
  if (high && low) record_.channel = *high << kChannelLowBits | *low;
  record_.access_lun = Field(at::kAccessLun);
  record_.private_bus = Field(at::kPrivateBus);
  record_.device_type = Byte(at::kDeviceType);
  record_.device_type_modifier = Byte(at::kDeviceTypeModifier);
  Entity(at::kEntityId, at::kEntityInstance);
  record_.oem = Byte(at::kOem);
  NameAt(at::kName);
}

void Decoder::FruLocator() {
  namespace at = fru_locator;
  record_.device_address = Byte(at::kAccessAddress);
  const std::optional<bool> logical = Flag(at::kLogical);
  if (logical) (*logical ? record_.fru_id : record_.slave_address) = Byte(at::kFruId);
  record_.access_lun = Field(at::kAccessLun);
  record_.private_bus = Field(at::kPrivateBus);
  record_.channel = Field(at::kChannel);
  record_.device_type = Byte(at::kDeviceType);
  record_.device_type_modifier = Byte(at::kDeviceTypeModifier);
  Entity(at::kEntityId, at::kEntityInstance);
  record_.oem = Byte(at::kOem);
  NameAt(at::kName);
}

void Decoder::ControllerLocator() {
  namespace at = controller_locator;
  record_.device_address = Byte(at::kSlaveAddress);
  record_.channel = Field(at::kChannel);
  if (const std::optional<int> bits = Byte(at::kCapabilities)) {
    record_.device_capabilities = StateMask{static_cast<std::uint16_t>(*bits)};
  }
  Entity(at::kEntityId, at::kEntityInstance);
  record_.oem = Byte(at::kOem);
  NameAt(at::kName);
}

void Decoder::Confirmation() {
  constexpr std::size_t kManufacturerBytes = 3;
  record_.device_address = Byte(confirmation::kSlaveAddress);
  record_.channel = Field(confirmation::kChannel);
  record_.manufacturer_id = Number(confirmation::kManufacturer, kManufacturerBytes);
  record_.product_id = Number(confirmation::kProduct, 2);
}

void Decoder::Oem() {
  constexpr std::size_t kManufacturerBytes = 3;
  record_.manufacturer_id = Number(oem_record::kManufacturer, kManufacturerBytes);
  if (record_.manufacturer_id) DataFrom(oem_record::kData);
}

void Decoder::NameAt(std::size_t offset) {
  if (offset >= record_.used) return;
  const Span record(record_.bytes.data(), record_.used);
  record_.name = DecodeName(record.subspan(offset), offset);
}

void Decoder::DataFrom(std::size_t offset) {
  const auto begin = record_.bytes.begin();
  record_.data.emplace(begin + static_cast<std::ptrdiff_t>(offset),
                       begin + static_cast<std::ptrdiff_t>(record_.used));
}

/// The text behind `offset` in a record of the maker, up to a NUL.
std::string MakerText(const Record& record, std::size_t offset) {
  const auto begin = record.bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  const auto end = record.bytes.begin() + static_cast<std::ptrdiff_t>(record.used);
  return Latin1ToUtf8({begin, std::find(begin, end, '\0')});
}

bool IsMakerRecord(const Record& record, unsigned char kind) {
  return record.Is(RecordType::kOem) && record.used > kOemKindOffset &&
         std::equal(kMakerId.begin(), kMakerId.end(),
                    record.bytes.begin() + kOemManufacturerOffset) &&
         record.bytes[kOemKindOffset] == kind;
}

}  // namespace

std::vector<int> StateMask::Offsets() const {
  std::vector<int> offsets;
  for (int i = 0; i < 2 * kByteBits; ++i) {
    if (Has(i)) offsets.push_back(i);
  }
  return offsets;
}

bool Record::IsSensor() const {
  return Is(RecordType::kFullSensor) || Is(RecordType::kCompactSensor) ||
         Is(RecordType::kEventOnly);
}

std::optional<EntityId> Record::Entity() const {
  if (!entity_id || !entity_instance || !entity_logical) return std::nullopt;
  return EntityId{*entity_id, *entity_instance, *entity_logical};
}

const Threshold* Record::FindThreshold(ThresholdKind kind) const {
  if (!thresholds) return nullptr;
  const auto found = std::find_if(thresholds->begin(), thresholds->end(),
                                  [kind](const Threshold& t) { return t.kind == kind; });
  return found == thresholds->end() ? nullptr : &*found;
}

Record Decode(std::span<const unsigned char> bytes) { return Decoder(bytes).Run(); }

std::optional<BodyLength> BodyLengthOf(int type) {
  switch (static_cast<RecordType>(type)) {
    case RecordType::kFullSensor:
      return BodyLength{full::kName + 1 - kHeaderSize, true};
    case RecordType::kCompactSensor:
      return BodyLength{compact::kName + 1 - kHeaderSize, true};
    case RecordType::kEventOnly:
      return BodyLength{event_only::kName + 1 - kHeaderSize, true};
    case RecordType::kGenericDeviceLocator:
      return BodyLength{generic_locator::kName + 1 - kHeaderSize, true};
    case RecordType::kFruDeviceLocator:
      return BodyLength{fru_locator::kName + 1 - kHeaderSize, true};
    case RecordType::kControllerLocator:
      return BodyLength{controller_locator::kName + 1 - kHeaderSize, true};
    case RecordType::kEntityAssociation:
      return BodyLength{association::kSize - kHeaderSize, false};
    case RecordType::kDeviceEntityAssociation:
      return BodyLength{device_association::kSize - kHeaderSize, false};
    case RecordType::kControllerConfirmation:
      return BodyLength{confirmation::kSize - kHeaderSize, false};
    case RecordType::kMessageChannelInfo:
      return BodyLength{channel_info::kSize - kHeaderSize, false};
    case RecordType::kOem:
      break;
  }
  return std::nullopt;
}

std::optional<std::string> VersionText(const Record& record) {
  if (!IsMakerRecord(record, kOemVersionRecord)) return std::nullopt;
  return MakerText(record, kOemKindOffset);
}

std::optional<std::string> ScriptName(const Record& record) {
  if (!IsMakerRecord(record, kOemScriptNameRecord)) return std::nullopt;
  return MakerText(record, kOemKindOffset + 1);
}

}  // namespace tarvek::inspect
