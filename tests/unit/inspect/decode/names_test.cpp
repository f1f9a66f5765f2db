#include "inspect/decode/names.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace tarvek_test {
namespace {

using namespace tarvek::inspect;

struct Row {
  int code;
  std::string_view name;
};

constexpr Row kTypeRows[] = {
    {0x01, "Full Sensor Record"},
    {0x02, "Compact Sensor Record"},
    {0x03, "Event-Only Record"},
    {0x08, "Entity Association Record"},
    {0x09, "Device-relative Entity Association Record"},
    {0x10, "Generic Device Locator Record"},
    {0x11, "FRU Device Locator Record"},
    {0x12, "Management Controller Device Locator Record"},
    {0x13, "Management Controller Confirmation Record"},
    {0x14, "BMC Message Channel Info Record"},
    {0xC0, "OEM Record"},
    {0x00, "Unknown Record"},
    {0x0A, "Unknown Record"},
    {0xFF, "Unknown Record"},
};
TEST(NamesTest, RecordTypes) {
  for (const Row& row : kTypeRows) {
    EXPECT_EQ(TypeName(row.code), row.name);
    EXPECT_FALSE(TypeShortName(row.code).empty());
  }
  EXPECT_EQ(TypeShortName(0x01), "Full");
  EXPECT_EQ(TypeShortName(0x55), "Unknown");
}

TEST(NamesTest, SdrVersionsAreNibblesLowOneFirst) {
  EXPECT_EQ(SdrVersionText(0x51), "1.5");
  EXPECT_EQ(SdrVersionText(0x02), "2.0");
  EXPECT_EQ(SdrVersionText(0xAF), "F.A");
}

TEST(NamesTest, Encodings) {
  EXPECT_EQ(EncodingName(NameEncoding::kUnicode), "unicode");
  EXPECT_EQ(EncodingName(NameEncoding::kBcdPlus), "bcdplus");
  EXPECT_EQ(EncodingName(NameEncoding::kSixBit), "6bit");
  EXPECT_EQ(EncodingName(NameEncoding::kAscii), "ascii");
}

TEST(NamesTest, AnalogFormats) {
  EXPECT_EQ(AnalogFormatName(AnalogFormat::kUnsigned), "unsigned");
  EXPECT_EQ(AnalogFormatName(AnalogFormat::kOnesComplement), "ones complement");
  EXPECT_EQ(AnalogFormatName(AnalogFormat::kTwosComplement), "twos complement");
  EXPECT_EQ(AnalogFormatName(AnalogFormat::kNone), "none");
}

constexpr Row kSensorTypeRows[] = {
    {0x00, "Reserved"},
    {0x01, "Temperature"},
    {0x02, "Voltage"},
    {0x04, "Fan"},
    {0x0B, "Other Units-based Sensor"},
    {0x0F, "System Firmware Progress"},
    {0x12, "System Event"},
    {0x19, "Chip Set"},
    {0x1F, "Base OS Boot / Installation Status"},
    {0x23, "Watchdog 2"},
    {0x25, "Entity Presence"},
    {0x2C, "FRU State"},
    {0x2D, "Reserved"},
    {0xBF, "Reserved"},
    {0xC0, "OEM"},
    {0xFF, "OEM"},
    {-1, "Reserved"},
    {0x100, "Reserved"},
};
TEST(NamesTest, SensorTypes) {
  for (const Row& row : kSensorTypeRows) {
    EXPECT_EQ(SensorTypeName(row.code), row.name) << row.code;
    EXPECT_EQ(IsKnownSensorType(row.code), row.name != "Reserved") << row.code;
  }
}

constexpr Row kEventTypeRows[] = {
    {0x00, "Unspecified"},
    {0x01, "Threshold"},
    {0x03, "Digital State"},
    {0x0B, "Redundancy"},
    {0x0C, "ACPI Device Power State"},
    {0x0D, "Reserved"},
    {0x6E, "Reserved"},
    {0x6F, "Sensor-specific"},
    {0x70, "OEM"},
    {0x7F, "OEM"},
    {0x80, "Reserved"},
    {-1, "Reserved"},
};
TEST(NamesTest, EventTypes) {
  for (const Row& row : kEventTypeRows) {
    EXPECT_EQ(EventTypeName(row.code), row.name) << row.code;
    EXPECT_EQ(IsKnownEventType(row.code), row.name != "Reserved") << row.code;
  }
}

struct StateRow {
  int event_type, sensor_type, offset;
  std::string_view name;
};
constexpr StateRow kStateRows[] = {
    {0x01, 0x01, 0, "Lower Non-critical - going low"},
    {0x01, 0x01, 3, "Lower Critical - going high"},
    {0x01, 0x01, 11, "Upper Non-recoverable - going high"},
    {0x01, 0x01, 12, ""},
    {0x02, 0x01, 2, "Transition to Busy"},
    {0x03, 0x04, 1, "State Asserted"},
    {0x04, 0x04, 0, "Predictive Failure deasserted"},
    {0x05, 0x04, 1, "Limit Exceeded"},
    {0x06, 0x04, 1, "Performance Lags"},
    {0x07, 0x04, 8, "Informational"},
    {0x08, 0x04, 1, "Device Inserted / Device Present"},
    {0x09, 0x04, 0, "Device Disabled"},
    {0x0A, 0x04, 8, "Install Error"},
    {0x0B, 0x04, 7, "Redundancy Degraded from Non-redundant"},
    {0x0C, 0x04, 3, "D3 Power State"},
    {0x0D, 0x04, 0, ""},
    {0x00, 0x04, 0, ""},
    {0x6F, 0x05, 0, "General Chassis Intrusion"},
    {0x6F, 0x06, 5, "Out-of-band Access Password Violation"},
    {0x6F, 0x07, 7, "Processor Presence detected"},
    {0x6F, 0x07, 12, "Correctable Machine Check Error"},
    {0x6F, 0x07, 13, ""},
    {0x6F, 0x08, 7, "Power Supply Inactive"},
    {0x6F, 0x09, 5, "Soft Power Control Failure"},
    {0x6F, 0x0C, 10, "Critical Overtemperature"},
    {0x6F, 0x0D, 8, "Rebuild/Remap Aborted"},
    {0x6F, 0x0F, 2, "System Firmware Progress"},
    {0x6F, 0x10, 4, "SEL Full"},
    {0x6F, 0x12, 5, "Timestamp Clock Synch"},
    {0x6F, 0x13, 11, "Bus Degraded"},
    {0x6F, 0x14, 4, "FRU service request button"},
    {0x6F, 0x1D, 7, "System Restart"},
    {0x6F, 0x1E, 3, "Invalid boot sector"},
    {0x6F, 0x1F, 10, "Base OS/Hypervisor Installation failed"},
    {0x6F, 0x20, 5, "Agent Not Responding"},
    {0x6F, 0x21, 9, "Slot holds spare device"},
    {0x6F, 0x22, 14, "Unknown"},
    {0x6F, 0x23, 3, "Power Cycle"},
    {0x6F, 0x23, 4, ""},
    {0x6F, 0x23, 8, "Timer interrupt"},
    {0x6F, 0x24, 0, "Platform generated page"},
    {0x6F, 0x25, 2, "Entity Disabled"},
    {0x6F, 0x27, 0, "LAN Heartbeat Lost"},
    {0x6F, 0x28, 5, "FRU failure"},
    {0x6F, 0x29, 2, "Battery presence detected"},
    {0x6F, 0x2A, 1, "Session Deactivated"},
    {0x6F, 0x2B, 7, "Software or F/W Change detected with associated Entity was successful"},
    {0x6F, 0x2C, 7, "FRU Communication Lost"},
    {0x6F, 0x2C, 8, ""},
    {0x6F, 0x2D, 0, ""},
    {0x6F, 0xC0, 0, ""},
    {0x6F, 0x01, 0, ""},
    {0x70, 0x07, 0, ""},
    {-1, 0x07, 0, ""},
    {0x6F, -1, 0, ""},
    {0x6F, 0x07, -1, ""},
};
TEST(NamesTest, States) {
  for (const StateRow& row : kStateRows) {
    EXPECT_EQ(StateName(row.event_type, row.sensor_type, row.offset), row.name)
        << row.event_type << " " << row.sensor_type << " " << row.offset;
  }
}

constexpr Row kEntityRows[] = {
    {0x00, "Unspecified"},
    {0x03, "Processor"},
    {0x07, "System Board"},
    {0x0A, "Power Supply"},
    {0x17, "System Chassis"},
    {0x1D, "Fan / Cooling Device"},
    {0x20, "Memory Device"},
    {0x2E, "Management Controller Firmware"},
    {0x35, "Real Time Clock"},
    {0x36, "Reserved"},
    {0x37, "Air Inlet"},
    {0x38, "Reserved"},
    {0x3F, "Reserved"},
    {0x40, "Air Inlet"},
    {0x42, "Baseboard"},
    {0x43, "Reserved"},
    {0x8F, "Reserved"},
    {0x90, "Chassis-specific"},
    {0xAF, "Chassis-specific"},
    {0xB0, "Board-Set specific"},
    {0xCF, "Board-Set specific"},
    {0xD0, "OEM System Integrator defined"},
    {0xFF, "OEM System Integrator defined"},
    {0x100, "Reserved"},
    {-1, "Reserved"},
};
TEST(NamesTest, Entities) {
  for (const Row& row : kEntityRows) {
    EXPECT_EQ(EntityName(row.code), row.name) << row.code;
    EXPECT_EQ(IsKnownEntity(row.code), row.name != "Reserved") << row.code;
  }
}

constexpr Row kUnitRows[] = {
    {0, "unspecified"}, {1, "degrees C"},
    {4, "Volts"},       {5, "Amps"},
    {6, "Watts"},       {18, "RPM"},
    {22, "second"},     {38, "fluid ounce"},
    {58, "PPM"},        {59, "reserved"},
    {60, "Decibels"},   {65, "color temp deg K"},
    {70, "byte"},       {82, "overrun / overflow"},
    {92, "grams"},      {93, "reserved"},
    {255, "reserved"},  {-1, "reserved"},
};
TEST(NamesTest, Units) {
  for (const Row& row : kUnitRows) EXPECT_EQ(UnitName(row.code), row.name) << row.code;
}

struct UnitRow {
  Unit unit;
  std::string_view text;
};
const UnitRow kUnitTextRows[] = {
    {{.rate = 0, .modifier_use = 0, .percent = false, .base = 1, .modifier = 0}, "degrees C"},
    {{.rate = 0, .modifier_use = 0, .percent = false, .base = 0, .modifier = 0}, "unspecified"},
    {{.rate = 0, .modifier_use = 0, .percent = true, .base = 0, .modifier = 0}, "%"},
    {{.rate = 0, .modifier_use = 0, .percent = true, .base = 6, .modifier = 0}, "% Watts"},
    {{.rate = 0, .modifier_use = 1, .percent = false, .base = 17, .modifier = 23}, "CFM/minute"},
    {{.rate = 0, .modifier_use = 2, .percent = false, .base = 6, .modifier = 24}, "Watts * hour"},
    {{.rate = 0, .modifier_use = 3, .percent = false, .base = 6, .modifier = 24}, "Watts"},
    {{.rate = 0, .modifier_use = 0, .percent = false, .base = 6, .modifier = 24}, "Watts"},
    {{.rate = 3, .modifier_use = 0, .percent = false, .base = 88, .modifier = 0},
     "error per second"},
    {{.rate = 1, .modifier_use = 2, .percent = true, .base = 4, .modifier = 5},
     "% Volts * Amps per microsecond"},
    {{.rate = 7, .modifier_use = 0, .percent = false, .base = 4, .modifier = 0},
     "Volts per reserved unit"},
    {{.rate = 5, .modifier_use = 1, .percent = false, .base = 0, .modifier = 4},
     "unspecified/Volts per hour"},
    {{.rate = 0, .modifier_use = 1, .percent = true, .base = 0, .modifier = 23}, "%/minute"},
    {{.rate = 0, .modifier_use = 0, .percent = false, .base = 200, .modifier = 0}, "reserved"},
    {{.rate = 0, .modifier_use = 0, .percent = false, .base = 4, .modifier = std::nullopt}, ""},
    {{}, ""},
};
TEST(NamesTest, AUnitIsOneTextOfItsParts) {
  for (const UnitRow& row : kUnitTextRows) EXPECT_EQ(row.unit.Text(), row.text);
}

constexpr Row kLinearizationRows[] = {
    {0, "linear"},      {1, "ln"},          {2, "log10"},         {3, "log2"},
    {4, "e"},           {5, "exp10"},       {6, "exp2"},          {7, "1/x"},
    {8, "sqr(x)"},      {9, "cube(x)"},     {10, "sqrt(x)"},      {11, "cube-1(x)"},
    {12, "reserved"},   {0x6F, "reserved"}, {0x70, "non-linear"}, {0x7F, "non-linear"},
    {0x80, "reserved"},
};
TEST(NamesTest, Linearizations) {
  for (const Row& row : kLinearizationRows) {
    EXPECT_EQ(LinearizationName(row.code), row.name) << row.code;
  }
}

TEST(NamesTest, RatesAndDirections) {
  EXPECT_EQ(RateName(0), "");
  EXPECT_EQ(RateName(6), "per day");
  EXPECT_EQ(RateName(8), "");
  EXPECT_EQ(DirectionName(0), "unspecified");
  EXPECT_EQ(DirectionName(1), "input");
  EXPECT_EQ(DirectionName(2), "output");
  EXPECT_EQ(DirectionName(3), "reserved");
}

constexpr Row kDeviceRows[] = {
    {0x00, "Reserved"},
    {0x02, "DS1624 temperature sensor / EEPROM"},
    {0x05, "'Heceta' ASIC"},
    {0x06, "Reserved"},
    {0x08, "EEPROM, 24C01"},
    {0x0F, "EEPROM, 24C64"},
    {0x10, "FRU Inventory Device behind management controller"},
    {0x11, "Reserved"},
    {0x14, "PCF 8570 256 byte RAM"},
    {0x24, "Maxim 1617 Temperature Sensor"},
    {0x25, "Reserved"},
    {0xBE, "Reserved"},
    {0xBF, "Other, unspecified device"},
    {0xC0, "OEM"},
    {0xFF, "OEM"},
};
TEST(NamesTest, Devices) {
  for (const Row& row : kDeviceRows) EXPECT_EQ(DeviceTypeName(row.code), row.name) << row.code;
}

TEST(NamesTest, DeviceModifiersDependOnTheDevice) {
  EXPECT_EQ(DeviceModifierName(0x05, 2), "LM80");
  EXPECT_EQ(DeviceModifierName(0x05, 6), "");
  EXPECT_EQ(DeviceModifierName(0x07, 1), "");
  EXPECT_EQ(DeviceModifierName(0x08, 1), "DIMM Memory ID");
  EXPECT_EQ(DeviceModifierName(0x0F, 2), "IPMI FRU Inventory");
  EXPECT_EQ(DeviceModifierName(0x0F, 4), "");
  EXPECT_EQ(DeviceModifierName(0x10, 0), "IPMI FRU Inventory");
  EXPECT_EQ(DeviceModifierName(0x10, 3), "System Processor Cartridge FRU / PIROM");
  EXPECT_EQ(DeviceModifierName(0x10, 0xFF), "unspecified");
  EXPECT_EQ(DeviceModifierName(0x11, 0), "");
}

TEST(NamesTest, DeviceCapabilitiesByBit) {
  EXPECT_EQ(DeviceCapabilityName(0), "Sensor Device");
  EXPECT_EQ(DeviceCapabilityName(1), "SDR Repository Device");
  EXPECT_EQ(DeviceCapabilityName(2), "SEL Device");
  EXPECT_EQ(DeviceCapabilityName(3), "FRU Inventory Device");
  EXPECT_EQ(DeviceCapabilityName(4), "IPMB Event Receiver");
  EXPECT_EQ(DeviceCapabilityName(5), "IPMB Event Generator");
  EXPECT_EQ(DeviceCapabilityName(6), "Bridge");
  EXPECT_EQ(DeviceCapabilityName(7), "Chassis Device");
  EXPECT_EQ(DeviceCapabilityName(8), "");
}

TEST(NamesTest, Thresholds) {
  EXPECT_EQ(ThresholdKey(ThresholdKind::kLowerNonCritical), "lower_non_critical");
  EXPECT_EQ(ThresholdKey(ThresholdKind::kLowerCritical), "lower_critical");
  EXPECT_EQ(ThresholdKey(ThresholdKind::kLowerNonRecoverable), "lower_non_recoverable");
  EXPECT_EQ(ThresholdKey(ThresholdKind::kUpperNonCritical), "upper_non_critical");
  EXPECT_EQ(ThresholdKey(ThresholdKind::kUpperCritical), "upper_critical");
  EXPECT_EQ(ThresholdKey(ThresholdKind::kUpperNonRecoverable), "upper_non_recoverable");
  EXPECT_EQ(ThresholdName(ThresholdKind::kUpperCritical), "Upper Critical");
}

TEST(NamesTest, ChannelProtocols) {
  EXPECT_EQ(ChannelProtocolName(1), "IPMB-1.0");
  EXPECT_EQ(ChannelProtocolName(5), "KCS");
  EXPECT_EQ(ChannelProtocolName(9), "TMode");
  EXPECT_EQ(ChannelProtocolName(0), "reserved");
  EXPECT_EQ(ChannelProtocolName(0x0B), "reserved");
  EXPECT_EQ(ChannelProtocolName(0x0C), "OEM");
  EXPECT_EQ(ChannelProtocolName(0x0F), "OEM");
}

}  // namespace
}  // namespace tarvek_test
