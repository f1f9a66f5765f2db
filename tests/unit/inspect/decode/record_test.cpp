#include "inspect/decode/record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using namespace tarvek::inspect;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

// The header.

TEST(RecordTest, TheHeaderIsReadAsFarAsItIsThere) {
  const Bytes bytes = FromHex("34 12 51 01 09");
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const Record record = Decode(std::span(bytes).first(size));
    EXPECT_EQ(record.bytes.size(), size);
    EXPECT_EQ(record.used, size);
    EXPECT_EQ(record.record_id, size >= 2 ? 0x1234 : 0) << size;
    EXPECT_EQ(record.sdr_version, size >= 3 ? 0x51 : 0) << size;
    EXPECT_EQ(record.type, size >= 4 ? 1 : 0) << size;
    EXPECT_EQ(record.body_length, size >= 5 ? 9 : 0) << size;
    EXPECT_FALSE(record.owner_id.has_value());
    EXPECT_FALSE(record.data.has_value());
  }
}

TEST(RecordTest, TheLengthByteBoundsTheBody) {
  const Record longer = DecodeHex("00 00 51 42 02 01 02 03 04");
  EXPECT_EQ(longer.used, 7U);
  EXPECT_EQ(longer.bytes.size(), 9U);
  EXPECT_THAT(longer.data, Optional(ElementsAre(1, 2)));
  const Record shorter = DecodeHex("00 00 51 42 0A 01 02 03");
  EXPECT_EQ(shorter.used, 8U);
  EXPECT_THAT(shorter.data, Optional(ElementsAre(1, 2, 3)));
}

TEST(RecordTest, KnowsItsTypes) {
  for (const Sample* sample : Samples()) {
    const Record record = DecodeHex(sample->hex);
    EXPECT_EQ(record.type, sample->type) << sample->name;
    EXPECT_TRUE(record.Is(static_cast<RecordType>(sample->type))) << sample->name;
    EXPECT_EQ(record.IsSensor(), sample->type <= 3) << sample->name;
    EXPECT_EQ(record.IsThreshold(), sample == &kFull) << sample->name;
    EXPECT_EQ(record.used, record.bytes.size()) << sample->name;
    EXPECT_EQ(5U + static_cast<unsigned>(record.body_length), record.used) << sample->name;
  }
}

// Every type, every field.

TEST(RecordTest, FullSensor) {
  const Record record = DecodeHex(kFull.hex);
  EXPECT_EQ(record.record_id, 0x1234);
  EXPECT_EQ(record.sdr_version, 0x51);
  EXPECT_THAT(record.owner_id, Optional(0x20));
  EXPECT_THAT(record.owner_lun, Optional(1));
  EXPECT_THAT(record.channel, Optional(3));
  EXPECT_THAT(record.sensor_number, Optional(7));
  EXPECT_THAT(record.Entity(), Optional(EntityId{3, 1, true}));
  EXPECT_THAT(record.sensor_initialization, Optional(0x7F));
  ASSERT_TRUE(record.capabilities.has_value());
  EXPECT_FALSE(record.capabilities->ignore_if_entity_absent);
  EXPECT_TRUE(record.capabilities->auto_rearm);
  EXPECT_EQ(record.capabilities->hysteresis_access, 2);
  EXPECT_EQ(record.capabilities->threshold_access, 2);
  EXPECT_EQ(record.capabilities->event_control, 0);
  EXPECT_THAT(record.sensor_type, Optional(1));
  EXPECT_THAT(record.event_type, Optional(1));
  EXPECT_THAT(record.assertion_events->Offsets(), ElementsAre(7, 9, 11));
  EXPECT_THAT(record.deassertion_events->Offsets(), ElementsAre(3, 4, 5, 11));
  EXPECT_FALSE(record.reading_mask.has_value());
  EXPECT_THAT(record.readable_thresholds->Offsets(), ElementsAre(1, 3, 5));
  EXPECT_THAT(record.settable_thresholds->Offsets(), ElementsAre(0, 2, 4));
  EXPECT_EQ(record.unit->Text(), "degrees C");
  const Conversion factors{.analog_format = AnalogFormat::kTwosComplement,
                           .linearization = 0,
                           .m = -236,
                           .tolerance = 5,
                           .b = 502,
                           .accuracy = 321,
                           .accuracy_exp = 2,
                           .r_exp = -2,
                           .b_exp = 1};
  EXPECT_THAT(record.conversion, Optional(factors));
  EXPECT_THAT(record.direction, Optional(2));
  EXPECT_THAT(record.nominal, Optional(Reading{0x28, -44.2}));
  EXPECT_THAT(record.normal_max, Optional(Reading{0x50, -138.6}));
  EXPECT_THAT(record.normal_min, Optional(Reading{0x0A, 26.6}));
  EXPECT_THAT(record.sensor_max, Optional(Reading{0x7F, -249.52}));
  EXPECT_THAT(record.sensor_min, Optional(Reading{0x80, 352.28}));
  EXPECT_THAT(record.thresholds,
              Optional(ElementsAre(
                  Threshold{ThresholdKind::kLowerNonCritical, {0x0F, 14.8}, false, true},
                  Threshold{ThresholdKind::kLowerCritical, {0x0A, 26.6}, true, false},
                  Threshold{ThresholdKind::kLowerNonRecoverable, {0x05, 38.4}, false, true},
                  Threshold{ThresholdKind::kUpperNonCritical, {0x5F, -174}, true, false},
                  Threshold{ThresholdKind::kUpperCritical, {0x64, -185.8}, false, true},
                  Threshold{ThresholdKind::kUpperNonRecoverable, {0x69, -197.6}, true, false})));
  EXPECT_THAT(record.hysteresis, Optional(Hysteresis{2, 3}));
  EXPECT_THAT(record.oem, Optional(0x5C));
  EXPECT_EQ(record.NameText(), "CPU T1");
  EXPECT_FALSE(record.sharing.has_value());
}

TEST(RecordTest, FullDiscreteSensor) {
  const Record record = DecodeHex(kFullDiscrete.hex);
  EXPECT_THAT(record.event_type, Optional(0x6F));
  EXPECT_THAT(record.assertion_events->Offsets(), ElementsAre(0, 7, 8));
  EXPECT_THAT(record.deassertion_events->Offsets(), ElementsAre(1, 7, 9));
  EXPECT_THAT(record.reading_mask->Offsets(), ElementsAre(0, 1, 7));
  EXPECT_FALSE(record.thresholds.has_value());
  EXPECT_FALSE(record.readable_thresholds.has_value());
  EXPECT_FALSE(record.settable_thresholds.has_value());
  EXPECT_FALSE(record.nominal.has_value());
  EXPECT_FALSE(record.normal_max.has_value());
  EXPECT_FALSE(record.normal_min.has_value());
  EXPECT_THAT(record.sensor_max, Optional(Reading{4, std::nullopt}));
  EXPECT_THAT(record.sensor_min, Optional(Reading{5, std::nullopt}));
  EXPECT_THAT(record.hysteresis, Optional(Hysteresis{12, 13}));
  EXPECT_THAT(record.oem, Optional(0x0E));
  EXPECT_EQ(record.NameText(), "Proc");
}

TEST(RecordTest, CompactSensor) {
  const Record record = DecodeHex(kCompact.hex);
  EXPECT_THAT(record.owner_id, Optional(0x22));
  EXPECT_THAT(record.owner_lun, Optional(2));
  EXPECT_THAT(record.channel, Optional(5));
  EXPECT_THAT(record.sensor_number, Optional(0x10));
  EXPECT_THAT(record.Entity(), Optional(EntityId{0x1D, 5, false}));
  EXPECT_THAT(record.sensor_type, Optional(4));
  EXPECT_THAT(record.event_type, Optional(3));
  EXPECT_THAT(record.assertion_events->Offsets(), ElementsAre(0, 1));
  EXPECT_THAT(record.deassertion_events->Offsets(), ElementsAre(0));
  EXPECT_THAT(record.reading_mask->Offsets(), ElementsAre(1));
  EXPECT_THAT(record.unit->rate, Optional(3));
  EXPECT_THAT(record.unit->base, Optional(18));
  EXPECT_THAT(record.unit->modifier, Optional(22));
  EXPECT_EQ(record.unit->Text(), "RPM per second");
  EXPECT_THAT(record.direction, Optional(1));
  EXPECT_THAT(record.sharing->share_count, Optional(3));
  EXPECT_THAT(record.sharing->id_modifier, Optional(2));
  EXPECT_THAT(record.sharing->id_modifier_offset, Optional(10));
  EXPECT_THAT(record.sharing->entity_instance_sharing, Optional(true));
  EXPECT_THAT(record.hysteresis, Optional(Hysteresis{4, 5}));
  EXPECT_THAT(record.oem, Optional(0x77));
  EXPECT_EQ(record.NameText(), "Fan 1");
  EXPECT_FALSE(record.conversion.has_value());
  EXPECT_FALSE(record.thresholds.has_value());
  EXPECT_FALSE(record.nominal.has_value());
}

TEST(RecordTest, ACompactThresholdSensorHasMasksAndNoThresholds) {
  const Record record = Decode(With(FromHex(kCompact.hex), {{13, 1}, {18, 0xFF}, {19, 0xC1}}));
  EXPECT_TRUE(record.IsThreshold());
  EXPECT_FALSE(record.reading_mask.has_value());
  EXPECT_FALSE(record.thresholds.has_value());
  EXPECT_THAT(record.readable_thresholds->Offsets(), ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_THAT(record.settable_thresholds->Offsets(), ElementsAre(0));
}

TEST(RecordTest, EventOnly) {
  const Record record = DecodeHex(kEventOnly.hex);
  EXPECT_THAT(record.owner_id, Optional(0x41));
  EXPECT_THAT(record.owner_lun, Optional(3));
  EXPECT_THAT(record.channel, Optional(7));
  EXPECT_THAT(record.sensor_number, Optional(0x11));
  EXPECT_THAT(record.Entity(), Optional(EntityId{0x20, 0x61, true}));
  EXPECT_THAT(record.sensor_type, Optional(0x0C));
  EXPECT_THAT(record.event_type, Optional(0x6F));
  EXPECT_THAT(record.direction, Optional(2));
  EXPECT_THAT(record.sharing->share_count, Optional(2));
  EXPECT_THAT(record.sharing->id_modifier, Optional(1));
  EXPECT_THAT(record.sharing->id_modifier_offset, Optional(5));
  EXPECT_THAT(record.sharing->entity_instance_sharing, Optional(false));
  EXPECT_THAT(record.oem, Optional(0x66));
  EXPECT_EQ(record.NameText(), "Post M1");
  EXPECT_FALSE(record.unit.has_value());
  EXPECT_FALSE(record.assertion_events.has_value());
  EXPECT_FALSE(record.reading_mask.has_value());
  EXPECT_FALSE(record.hysteresis.has_value());
  EXPECT_FALSE(record.capabilities.has_value());
}

ContainedEntity Listed(EntityId entity, std::size_t offset) {
  return {entity, false, std::nullopt, std::nullopt, offset};
}

TEST(RecordTest, EntityAssociation) {
  const Record record = DecodeHex(kAssociation.hex);
  EXPECT_THAT(record.Entity(), Optional(EntityId{0x17, 2, true}));
  EXPECT_THAT(record.contained_entities,
              Optional(ElementsAre(Listed({0x0A, 1, false}, 8), Listed({0x0A, 2, true}, 10),
                                   Listed({0x1D, 3, false}, 12))));
  EXPECT_FALSE(record.device_address.has_value());
  EXPECT_FALSE(record.name.has_value());
}

TEST(RecordTest, AnAssociationOfRangesMarksTheirEnds) {
  const Record record = Decode(With(FromHex(kAssociation.hex), {{7, 0x80}}));
  ASSERT_EQ(record.contained_entities->size(), 3U);
  for (const ContainedEntity& entity : *record.contained_entities) EXPECT_TRUE(entity.range);
}

TEST(RecordTest, AnAssociationOfNothingIsAnEmptyList) {
  const Record record = DecodeHex("05 00 51 08 0B 17 01 00 00 01 00 02 00 03 00 04");
  EXPECT_THAT(record.contained_entities, Optional(IsEmpty()));
}

TEST(RecordTest, DeviceRelativeEntityAssociation) {
  const Record record = DecodeHex(kDeviceAssociation.hex);
  EXPECT_THAT(record.Entity(), Optional(EntityId{0x17, 0x61, false}));
  EXPECT_THAT(record.device_address, Optional(0x20));
  EXPECT_THAT(record.channel, Optional(7));
  EXPECT_THAT(record.contained_entities,
              Optional(ElementsAre(ContainedEntity{{0x0A, 0x61, false}, true, 0x22, 1, 12},
                                   ContainedEntity{{0x0A, 0x64, false}, true, 0x22, 1, 16},
                                   ContainedEntity{{0x1D, 1, false}, true, 0x24, 3, 20},
                                   ContainedEntity{{0x1D, 4, false}, true, 0x24, 3, 24})));
}

TEST(RecordTest, GenericDeviceLocator) {
  const Record record = DecodeHex(kGenericLocator.hex);
  EXPECT_THAT(record.access_address, Optional(0x20));
  EXPECT_THAT(record.device_address, Optional(0xA1));
  EXPECT_THAT(record.channel, Optional(10));
  EXPECT_THAT(record.access_lun, Optional(3));
  EXPECT_THAT(record.private_bus, Optional(5));
  EXPECT_THAT(record.device_type, Optional(9));
  EXPECT_THAT(record.device_type_modifier, Optional(2));
  EXPECT_THAT(record.Entity(), Optional(EntityId{8, 4, true}));
  EXPECT_THAT(record.oem, Optional(0x55));
  EXPECT_EQ(record.NameText(), "DIMM1");
  EXPECT_FALSE(record.owner_id.has_value());
}

TEST(RecordTest, FruDeviceLocator) {
  const Record record = DecodeHex(kFruLocator.hex);
  EXPECT_THAT(record.device_address, Optional(0x20));
  EXPECT_FALSE(record.access_address.has_value());
  EXPECT_THAT(record.fru_id, Optional(5));
  EXPECT_FALSE(record.slave_address.has_value());
  EXPECT_THAT(record.access_lun, Optional(3));
  EXPECT_THAT(record.private_bus, Optional(3));
  EXPECT_THAT(record.channel, Optional(6));
  EXPECT_THAT(record.device_type, Optional(0x10));
  EXPECT_THAT(record.device_type_modifier, Optional(2));
  EXPECT_THAT(record.Entity(), Optional(EntityId{0x0A, 3, false}));
  EXPECT_THAT(record.oem, Optional(0x44));
  EXPECT_EQ(record.NameText(), "PSU3");
}

TEST(RecordTest, AFruDeviceThatIsNotLogicalHasASlaveAddress) {
  const Record record = Decode(With(FromHex(kFruLocator.hex), {{6, 0xA4}, {7, 0x1B}}));
  EXPECT_FALSE(record.fru_id.has_value());
  EXPECT_THAT(record.slave_address, Optional(0xA4));
}

TEST(RecordTest, ManagementControllerDeviceLocator) {
  const Record record = DecodeHex(kControllerLocator.hex);
  EXPECT_THAT(record.device_address, Optional(0x20));
  EXPECT_THAT(record.channel, Optional(7));
  EXPECT_THAT(record.device_capabilities->Offsets(), ElementsAre(0, 1, 2, 3, 4, 5, 7));
  EXPECT_THAT(record.Entity(), Optional(EntityId{7, 1, false}));
  EXPECT_THAT(record.oem, Optional(0x33));
  EXPECT_EQ(record.NameText(), "BMC");
}

TEST(RecordTest, ManagementControllerConfirmation) {
  const Record record = DecodeHex(kConfirmation.hex);
  EXPECT_THAT(record.device_address, Optional(0x20));
  EXPECT_THAT(record.channel, Optional(7));
  EXPECT_THAT(record.manufacturer_id, Optional(0x020177));
  EXPECT_THAT(record.product_id, Optional(0x01A3));
  EXPECT_FALSE(record.data.has_value());
}

TEST(RecordTest, MessageChannelInfoHasNoFieldOfItsOwn) {
  const Record record = DecodeHex(kChannelInfo.hex);
  EXPECT_FALSE(record.channel.has_value());
  EXPECT_FALSE(record.data.has_value());
}

TEST(RecordTest, Oem) {
  const Record record = DecodeHex(kOem.hex);
  EXPECT_THAT(record.manufacturer_id, Optional(0x020177));
  EXPECT_THAT(record.data, Optional(ElementsAre(0x10, 0x20, 0x30, 0x40)));
  const Record bare = DecodeHex("0C 00 51 C0 03 FF FF FF");
  EXPECT_THAT(bare.manufacturer_id, Optional(0xFFFFFF));
  EXPECT_THAT(bare.data, Optional(IsEmpty()));
  const Record cut = DecodeHex("0C 00 51 C0 02 FF FF");
  EXPECT_FALSE(cut.manufacturer_id.has_value());
  EXPECT_FALSE(cut.data.has_value());
}

TEST(RecordTest, AnUnknownTypeHasItsBodyAsData) {
  for (const int type : {0x00, 0x04, 0x07, 0x0A, 0x0F, 0x15, 0xBF, 0xC1, 0xFF}) {
    const Record record = Decode(With(FromHex(kUnknown.hex), {{3, type}}));
    EXPECT_THAT(record.data, Optional(ElementsAre(1, 2, 3))) << type;
  }
  EXPECT_THAT(DecodeHex("00 00 51 42 00").data, Optional(IsEmpty()));
}

// Boundary values.

struct TenBitRow {
  int low, high, value;
};
constexpr TenBitRow kTenBitRows[] = {{0x00, 0x00, 0},    {0x01, 0x00, 1},   {0xFF, 0x00, 255},
                                     {0x00, 0x40, 256},  {0xFF, 0x40, 511}, {0x00, 0x80, -512},
                                     {0x01, 0x80, -511}, {0xFF, 0xC0, -1},  {0x00, 0xC0, -256},
                                     {0xFF, 0x3F, 255},  {0xFF, 0x7F, 511}};

TEST(RecordTest, MAndBAreTenBitsSigned) {
  for (const TenBitRow& row : kTenBitRows) {
    const Record record = Decode(
        With(FromHex(kFull.hex), {{24, row.low}, {25, row.high}, {26, row.low}, {27, row.high}}));
    EXPECT_THAT(record.conversion->m, Optional(row.value));
    EXPECT_THAT(record.conversion->b, Optional(row.value));
    EXPECT_THAT(record.conversion->tolerance, Optional(row.high & 0x3F));
  }
}

TEST(RecordTest, ExponentsAreFourBitsSigned) {
  for (int byte = 0; byte <= 0xFF; ++byte) {
    const Record record = Decode(With(FromHex(kFull.hex), {{29, byte}}));
    const int r = byte >> 4;
    const int b = byte & 15;
    EXPECT_THAT(record.conversion->r_exp, Optional(r > 7 ? r - 16 : r));
    EXPECT_THAT(record.conversion->b_exp, Optional(b > 7 ? b - 16 : b));
  }
}

struct AccuracyRow {
  int low, high, accuracy, exponent, direction;
};
constexpr AccuracyRow kAccuracyRows[] = {
    {0x00, 0x00, 0, 0, 0},   {0x3F, 0x00, 63, 0, 0},  {0xFF, 0xF0, 1023, 0, 0},
    {0x00, 0x10, 64, 0, 0},  {0x00, 0x0C, 0, 3, 0},   {0xC0, 0x03, 0, 0, 3},
    {0x01, 0xF7, 961, 1, 3}, {0x3F, 0x8A, 575, 2, 2},
};

TEST(RecordTest, AccuracyIsTenBitsUnsigned) {
  for (const AccuracyRow& row : kAccuracyRows) {
    const Record record = Decode(With(FromHex(kFull.hex), {{27, row.low}, {28, row.high}}));
    EXPECT_THAT(record.conversion->accuracy, Optional(row.accuracy));
    EXPECT_THAT(record.conversion->accuracy_exp, Optional(row.exponent));
    EXPECT_THAT(record.direction, Optional(row.direction));
  }
}

TEST(RecordTest, AnalogFlagsSayWhichReadingsAreSpecified) {
  for (int flags = 0; flags <= 0xFF; ++flags) {
    const Record record = Decode(With(FromHex(kFull.hex), {{30, flags}}));
    EXPECT_EQ(record.nominal.has_value(), (flags & 1) != 0);
    EXPECT_EQ(record.normal_max.has_value(), (flags & 2) != 0);
    EXPECT_EQ(record.normal_min.has_value(), (flags & 4) != 0);
    EXPECT_TRUE(record.sensor_max.has_value());
    EXPECT_TRUE(record.sensor_min.has_value());
  }
}

TEST(RecordTest, EachMaskBitIsOneThresholdWithItsOwnByte) {
  constexpr int kOffsets[] = {41, 40, 39, 38, 37, 36};
  for (int kind = 0; kind < kThresholdCount; ++kind) {
    const auto wanted = static_cast<ThresholdKind>(kind);
    for (const bool settable : {false, true}) {
      const Record record = Decode(With(
          FromHex(kFull.hex), {{18, settable ? 0 : 1 << kind}, {19, settable ? 1 << kind : 0}}));
      ASSERT_EQ(record.thresholds->size(), 1U) << kind;
      const Threshold* const threshold = record.FindThreshold(wanted);
      ASSERT_NE(threshold, nullptr) << kind;
      EXPECT_EQ(threshold->reading.raw, record.bytes[static_cast<std::size_t>(kOffsets[kind])]);
      EXPECT_EQ(threshold->readable, !settable);
      EXPECT_EQ(threshold->settable, settable);
    }
  }
}

TEST(RecordTest, ReservedMaskBitsAreNoThresholds) {
  const Record record = Decode(With(FromHex(kFull.hex), {{18, 0xC0}, {19, 0xC0}}));
  EXPECT_THAT(record.thresholds, Optional(IsEmpty()));
  EXPECT_EQ(record.FindThreshold(ThresholdKind::kLowerCritical), nullptr);
  EXPECT_EQ(DecodeHex(kCompact.hex).FindThreshold(ThresholdKind::kLowerCritical), nullptr);
}

TEST(RecordTest, ComparisonBitsAreNoEventsOfAThresholdSensor) {
  const auto events = [](int event_type) {
    return Decode(With(FromHex(kFull.hex),
                       {{13, event_type}, {14, 0xFF}, {15, 0xFF}, {16, 0xFF}, {17, 0xFF}}));
  };
  EXPECT_EQ(events(0x01).assertion_events->bits, 0x0FFF);
  EXPECT_EQ(events(0x01).deassertion_events->bits, 0x0FFF);
  EXPECT_EQ(events(0x6F).assertion_events->bits, 0x7FFF);
  EXPECT_EQ(events(0x6F).deassertion_events->bits, 0x7FFF);
}

TEST(RecordTest, TheEventTypesReservedBitIsIgnored) {
  const Record record = Decode(With(FromHex(kFull.hex), {{13, 0x81}}));
  EXPECT_THAT(record.event_type, Optional(1));
  EXPECT_TRUE(record.IsThreshold());
}

TEST(RecordTest, TheLinearizationsReservedBitIsIgnored) {
  const Record record = Decode(With(FromHex(kFull.hex), {{23, 0x8B}}));
  EXPECT_THAT(record.conversion->linearization, Optional(11));
}

TEST(RecordTest, EveryCapabilityByteIsItsFields) {
  for (int byte = 0; byte <= 0xFF; ++byte) {
    const Record record = Decode(With(FromHex(kCompact.hex), {{11, byte}}));
    const SensorCapabilities can = *record.capabilities;
    EXPECT_EQ(can.ignore_if_entity_absent << 7 | can.auto_rearm << 6 | can.hysteresis_access << 4 |
                  can.threshold_access << 2 | can.event_control,
              byte);
  }
}

TEST(RecordTest, EveryUnitByteIsItsFields) {
  for (int byte = 0; byte <= 0xFF; ++byte) {
    const Record record = Decode(With(FromHex(kFull.hex), {{20, byte}}));
    EXPECT_EQ(static_cast<int>(*record.conversion->analog_format) << 6 | *record.unit->rate << 3 |
                  *record.unit->modifier_use << 1 | static_cast<int>(*record.unit->percent),
              byte);
  }
}

// Short records.

struct CutRow {
  const char* field;
  std::size_t needs;  // bytes of the record from which on the field is there
  bool (*has)(const Record&);
};

void ExpectFieldsFrom(const Sample& sample, std::span<const CutRow> rows) {
  const Bytes whole = FromHex(sample.hex);
  for (std::size_t size = 5; size <= whole.size(); ++size) {
    const Record record = Decode(CutTo(whole, size));
    for (const CutRow& row : rows) {
      EXPECT_EQ(row.has(record), size >= row.needs) << row.field << " at " << size;
    }
  }
}

const CutRow kFullCuts[] = {
    {"owner_id", 6, [](const Record& r) { return r.owner_id.has_value(); }},
    {"owner_lun", 7, [](const Record& r) { return r.owner_lun.has_value(); }},
    {"channel", 7, [](const Record& r) { return r.channel.has_value(); }},
    {"sensor_number", 8, [](const Record& r) { return r.sensor_number.has_value(); }},
    {"entity_id", 9, [](const Record& r) { return r.entity_id.has_value(); }},
    {"entity_instance", 10, [](const Record& r) { return r.entity_instance.has_value(); }},
    {"entity", 10, [](const Record& r) { return r.Entity().has_value(); }},
    {"initialization", 11, [](const Record& r) { return r.sensor_initialization.has_value(); }},
    {"capabilities", 12, [](const Record& r) { return r.capabilities.has_value(); }},
    {"sensor_type", 13, [](const Record& r) { return r.sensor_type.has_value(); }},
    {"event_type", 14, [](const Record& r) { return r.event_type.has_value(); }},
    {"assertion_events", 16, [](const Record& r) { return r.assertion_events.has_value(); }},
    {"deassertion_events", 18, [](const Record& r) { return r.deassertion_events.has_value(); }},
    {"readable", 19, [](const Record& r) { return r.readable_thresholds.has_value(); }},
    {"settable", 20, [](const Record& r) { return r.settable_thresholds.has_value(); }},
    {"rate", 21, [](const Record& r) { return r.unit && r.unit->rate; }},
    {"analog_format", 21,
     [](const Record& r) { return r.conversion && r.conversion->analog_format; }},
    {"base", 22, [](const Record& r) { return r.unit && r.unit->base; }},
    {"modifier", 23, [](const Record& r) { return r.unit && r.unit->modifier; }},
    {"unit text", 23, [](const Record& r) { return r.unit && !r.unit->Text().empty(); }},
    {"linearization", 24,
     [](const Record& r) { return r.conversion && r.conversion->linearization; }},
    {"m", 26, [](const Record& r) { return r.conversion && r.conversion->m; }},
    {"tolerance", 26, [](const Record& r) { return r.conversion && r.conversion->tolerance; }},
    {"b", 28, [](const Record& r) { return r.conversion && r.conversion->b; }},
    {"accuracy", 29, [](const Record& r) { return r.conversion && r.conversion->accuracy; }},
    {"accuracy_exp", 29,
     [](const Record& r) { return r.conversion && r.conversion->accuracy_exp; }},
    {"direction", 29, [](const Record& r) { return r.direction.has_value(); }},
    {"r_exp", 30, [](const Record& r) { return r.conversion && r.conversion->r_exp; }},
    {"b_exp", 30, [](const Record& r) { return r.conversion && r.conversion->b_exp; }},
    {"nominal", 32, [](const Record& r) { return r.nominal.has_value(); }},
    {"normal_max", 33, [](const Record& r) { return r.normal_max.has_value(); }},
    {"normal_min", 34, [](const Record& r) { return r.normal_min.has_value(); }},
    {"sensor_max", 35, [](const Record& r) { return r.sensor_max.has_value(); }},
    {"sensor_min", 36, [](const Record& r) { return r.sensor_min.has_value(); }},
    {"thresholds", 37, [](const Record& r) { return r.thresholds.has_value(); }},
    {"upper_non_recoverable", 37,
     [](const Record& r) {
       return r.FindThreshold(ThresholdKind::kUpperNonRecoverable) != nullptr;
     }},
    {"lower_non_critical", 42,
     [](const Record& r) { return r.FindThreshold(ThresholdKind::kLowerNonCritical) != nullptr; }},
    {"hysteresis", 44, [](const Record& r) { return r.hysteresis.has_value(); }},
    {"oem", 47, [](const Record& r) { return r.oem.has_value(); }},
    {"name", 48, [](const Record& r) { return r.name.has_value(); }},
};
TEST(RecordTest, AFullSensorHasTheFieldsWhoseBytesAreThere) { ExpectFieldsFrom(kFull, kFullCuts); }

const CutRow kCompactCuts[] = {
    {"reading_mask", 20, [](const Record& r) { return r.reading_mask.has_value(); }},
    {"direction", 24, [](const Record& r) { return r.direction.has_value(); }},
    {"share_count", 24, [](const Record& r) { return r.sharing && r.sharing->share_count; }},
    {"id_modifier", 24, [](const Record& r) { return r.sharing && r.sharing->id_modifier; }},
    {"id_modifier_offset", 25,
     [](const Record& r) { return r.sharing && r.sharing->id_modifier_offset; }},
    {"entity_instance_sharing", 25,
     [](const Record& r) { return r.sharing && r.sharing->entity_instance_sharing; }},
    {"hysteresis", 27, [](const Record& r) { return r.hysteresis.has_value(); }},
    {"oem", 31, [](const Record& r) { return r.oem.has_value(); }},
    {"name", 32, [](const Record& r) { return r.name.has_value(); }},
};
TEST(RecordTest, ACompactSensorHasTheFieldsWhoseBytesAreThere) {
  ExpectFieldsFrom(kCompact, kCompactCuts);
}

const CutRow kEventOnlyCuts[] = {
    {"sensor_type", 11, [](const Record& r) { return r.sensor_type.has_value(); }},
    {"event_type", 12, [](const Record& r) { return r.event_type.has_value(); }},
    {"share_count", 13, [](const Record& r) { return r.sharing && r.sharing->share_count; }},
    {"offset", 14, [](const Record& r) { return r.sharing && r.sharing->id_modifier_offset; }},
    {"oem", 16, [](const Record& r) { return r.oem.has_value(); }},
    {"name", 17, [](const Record& r) { return r.name.has_value(); }},
};
TEST(RecordTest, AnEventOnlySensorHasTheFieldsWhoseBytesAreThere) {
  ExpectFieldsFrom(kEventOnly, kEventOnlyCuts);
}

const CutRow kAssociationCuts[] = {
    {"container", 7, [](const Record& r) { return r.Entity().has_value(); }},
    {"contained", 9, [](const Record& r) { return r.contained_entities.has_value(); }},
    {"first", 10,
     [](const Record& r) { return r.contained_entities && !r.contained_entities->empty(); }},
    {"third", 14,
     [](const Record& r) { return r.contained_entities && r.contained_entities->size() == 3; }},
};
TEST(RecordTest, AnAssociationHasTheEntitiesWhoseBytesAreThere) {
  ExpectFieldsFrom(kAssociation, kAssociationCuts);
}

const CutRow kDeviceAssociationCuts[] = {
    {"device_address", 8, [](const Record& r) { return r.device_address.has_value(); }},
    {"channel", 9, [](const Record& r) { return r.channel.has_value(); }},
    {"contained", 11, [](const Record& r) { return r.contained_entities.has_value(); }},
    {"first", 14,
     [](const Record& r) { return r.contained_entities && !r.contained_entities->empty(); }},
    {"fourth", 26,
     [](const Record& r) { return r.contained_entities && r.contained_entities->size() == 4; }},
};
TEST(RecordTest, ADeviceAssociationHasTheEntitiesWhoseBytesAreThere) {
  ExpectFieldsFrom(kDeviceAssociation, kDeviceAssociationCuts);
}

const CutRow kGenericCuts[] = {
    {"access_address", 6, [](const Record& r) { return r.access_address.has_value(); }},
    {"device_address", 7, [](const Record& r) { return r.device_address.has_value(); }},
    {"channel", 8, [](const Record& r) { return r.channel.has_value(); }},
    {"access_lun", 8, [](const Record& r) { return r.access_lun.has_value(); }},
    {"device_type", 11, [](const Record& r) { return r.device_type.has_value(); }},
    {"modifier", 12, [](const Record& r) { return r.device_type_modifier.has_value(); }},
    {"entity_id", 13, [](const Record& r) { return r.entity_id.has_value(); }},
    {"entity", 14, [](const Record& r) { return r.Entity().has_value(); }},
    {"oem", 15, [](const Record& r) { return r.oem.has_value(); }},
    {"name", 16, [](const Record& r) { return r.name.has_value(); }},
};
TEST(RecordTest, AGenericLocatorHasTheFieldsWhoseBytesAreThere) {
  ExpectFieldsFrom(kGenericLocator, kGenericCuts);
}

const CutRow kFruCuts[] = {
    {"device_address", 6, [](const Record& r) { return r.device_address.has_value(); }},
    {"fru_id", 8, [](const Record& r) { return r.fru_id.has_value(); }},
    {"channel", 9, [](const Record& r) { return r.channel.has_value(); }},
    {"device_type", 11, [](const Record& r) { return r.device_type.has_value(); }},
    {"entity", 14, [](const Record& r) { return r.Entity().has_value(); }},
    {"oem", 15, [](const Record& r) { return r.oem.has_value(); }},
    {"name", 16, [](const Record& r) { return r.name.has_value(); }},
};
TEST(RecordTest, AFruLocatorHasTheFieldsWhoseBytesAreThere) {
  ExpectFieldsFrom(kFruLocator, kFruCuts);
}

const CutRow kControllerCuts[] = {
    {"device_address", 6, [](const Record& r) { return r.device_address.has_value(); }},
    {"channel", 7, [](const Record& r) { return r.channel.has_value(); }},
    {"capabilities", 9, [](const Record& r) { return r.device_capabilities.has_value(); }},
    {"entity", 14, [](const Record& r) { return r.Entity().has_value(); }},
    {"oem", 15, [](const Record& r) { return r.oem.has_value(); }},
    {"name", 16, [](const Record& r) { return r.name.has_value(); }},
};
TEST(RecordTest, AControllerLocatorHasTheFieldsWhoseBytesAreThere) {
  ExpectFieldsFrom(kControllerLocator, kControllerCuts);
}

const CutRow kConfirmationCuts[] = {
    {"device_address", 6, [](const Record& r) { return r.device_address.has_value(); }},
    {"channel", 8, [](const Record& r) { return r.channel.has_value(); }},
    {"manufacturer_id", 14, [](const Record& r) { return r.manufacturer_id.has_value(); }},
    {"product_id", 16, [](const Record& r) { return r.product_id.has_value(); }},
};
TEST(RecordTest, AConfirmationHasTheFieldsWhoseBytesAreThere) {
  ExpectFieldsFrom(kConfirmation, kConfirmationCuts);
}

TEST(RecordTest, ANameStopsAtTheRecordsEndWhateverStandsBehindIt) {
  Bytes bytes = FromHex(kFull.hex);
  bytes[4] = static_cast<unsigned char>(bytes[4] - 2);
  EXPECT_EQ(Decode(bytes).NameText(), "CPU ");
}

// Lengths.

struct LengthRow {
  int type;
  std::size_t fixed;
  bool has_name;
};
constexpr LengthRow kLengthRows[] = {
    {0x01, 43, true}, {0x02, 27, true}, {0x03, 12, true}, {0x08, 11, false}, {0x09, 27, false},
    {0x10, 11, true}, {0x11, 11, true}, {0x12, 11, true}, {0x13, 27, false}, {0x14, 11, false}};

TEST(RecordTest, BodyLengthsOfTheTypes) {
  for (const LengthRow& row : kLengthRows) {
    const std::optional<BodyLength> length = BodyLengthOf(row.type);
    ASSERT_TRUE(length.has_value()) << row.type;
    EXPECT_EQ(length->fixed, row.fixed) << row.type;
    EXPECT_EQ(length->has_name, row.has_name) << row.type;
  }
  for (const int type : {0x00, 0x0A, 0xC0, 0xFF}) EXPECT_FALSE(BodyLengthOf(type).has_value());
}

TEST(RecordTest, TheSamplesAreAsLongAsTheirTypes) {
  for (const Sample* sample : Samples()) {
    const std::optional<BodyLength> length = BodyLengthOf(sample->type);
    if (!length) continue;
    const Record record = DecodeHex(sample->hex);
    const std::size_t name = record.name ? record.name->bytes_due : 0;
    EXPECT_EQ(static_cast<std::size_t>(record.body_length), length->fixed + name) << sample->name;
  }
}

// The maker's records.

std::string MakerRecord(const std::string& body) {
  return "00 00 51 C0 " + ToHex({static_cast<unsigned char>(FromHex(body).size())}) + " " + body;
}

TEST(RecordTest, TheVersionTextBeginsWithItsMark) {
  EXPECT_THAT(VersionText(DecodeHex(MakerRecord("77 00 00 53 44 52 20 31"))),
              Optional(std::string("SDR 1")));
  EXPECT_THAT(VersionText(DecodeHex(MakerRecord("77 00 00 53 44 00 52"))),
              Optional(std::string("SD")));
  EXPECT_THAT(VersionText(DecodeHex(MakerRecord("77 00 00 53 E9"))),
              Optional(std::string("S\u00E9")));
  EXPECT_EQ(VersionText(DecodeHex(MakerRecord("77 00 00 16 44"))), std::nullopt);
  EXPECT_EQ(VersionText(DecodeHex(MakerRecord("77 00 01 53 44"))), std::nullopt);
  EXPECT_EQ(VersionText(DecodeHex(MakerRecord("77 00 00"))), std::nullopt);
  EXPECT_EQ(VersionText(DecodeHex("00 00 51 C1 05 77 00 00 53 44")), std::nullopt);
}

TEST(RecordTest, TheScriptsNameFollowsItsMark) {
  EXPECT_THAT(ScriptName(DecodeHex(MakerRecord("77 00 00 16 45 58"))), Optional(std::string("EX")));
  EXPECT_THAT(ScriptName(DecodeHex(MakerRecord("77 00 00 16"))), Optional(std::string()));
  EXPECT_EQ(ScriptName(DecodeHex(MakerRecord("77 00 00 53 45"))), std::nullopt);
}

TEST(RecordTest, AMakersTextEndsWithTheRecord) {
  Bytes bytes = FromHex("00 00 51 C0 06 77 00 00 53 44 52 20 31");
  EXPECT_THAT(VersionText(Decode(bytes)), Optional(std::string("SDR")));
}

}  // namespace
}  // namespace tarvek_test
