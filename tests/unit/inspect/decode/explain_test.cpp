#include "inspect/decode/explain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using namespace tarvek::inspect;

const LongField* Find(const std::vector<LongField>& fields, std::string_view label) {
  for (const LongField& field : fields) {
    if (field.label == label) return &field;
  }
  return nullptr;
}

struct FieldRow {
  const Sample& sample;
  std::string_view label;
  std::string_view text;
  std::size_t offset;
  std::size_t count;
};

const FieldRow kFieldRows[] = {
    {kFull, "Record ID", "1234h", 0, 2},
    {kFull, "SDR Version", "51h (1.5)", 2, 1},
    {kFull, "Record Type", "01h (Full Sensor Record)", 3, 1},
    {kFull, "Record Length", "49", 4, 1},
    {kFull, "Sensor Owner ID", "20h (IPMB slave address)", 5, 1},
    {kFull, "Channel Number", "3", 6, 1},
    {kFull, "Sensor Owner LUN", "1", 6, 1},
    {kFull, "Sensor Number", "07h", 7, 1},
    {kFull, "Entity ID", "03h (Processor)", 8, 1},
    {kFull, "Entity Instance", "1, logical container", 9, 1},
    {kFull, "Sensor Initialization",
     "sensor scanning enabled, event generation enabled, init sensor type, init hysteresis, init "
     "thresholds, init events, init scanning",
     10, 1},
    {kFull, "Ignore Sensor", "no", 11, 1},
    {kFull, "Sensor Auto Re-arm Support", "yes", 11, 1},
    {kFull, "Sensor Hysteresis Support", "readable and settable", 11, 1},
    {kFull, "Sensor Threshold Access Support", "readable and settable", 11, 1},
    {kFull, "Sensor Event Message Control Support", "per threshold or state", 11, 1},
    {kFull, "Sensor Type", "01h (Temperature)", 12, 1},
    {kFull, "Event / Reading Type Code", "01h (Threshold)", 13, 1},
    {kFull, "Assertion Event Mask / Lower Threshold Reading Mask",
     "Upper Non-critical - going high, Upper Critical - going high, Upper Non-recoverable - going "
     "high",
     14, 2},
    {kFull, "Lower Threshold Comparisons Returned", "Non-critical, Critical, Non-recoverable", 15,
     1},
    {kFull, "Upper Threshold Comparisons Returned", "Non-critical, Critical", 17, 1},
    {kFull, "Readable Threshold Mask", "Lower Critical, Upper Non-critical, Upper Non-recoverable",
     18, 1},
    {kFull, "Settable Threshold Mask", "Lower Non-critical, Lower Non-recoverable, Upper Critical",
     19, 1},
    {kFull, "Analog Data Format", "twos complement", 20, 1},
    {kFull, "Rate Unit", "none", 20, 1},
    {kFull, "Modifier Unit Use", "none", 20, 1},
    {kFull, "Percentage", "no", 20, 1},
    {kFull, "Base Unit", "01h (degrees C)", 21, 1},
    {kFull, "Modifier Unit", "00h (unspecified)", 22, 1},
    {kFull, "Linearization", "00h (linear)", 23, 1},
    {kFull, "M", "-236", 24, 2},
    {kFull, "Tolerance", "+/- 5 half raw counts", 25, 1},
    {kFull, "B", "502", 26, 2},
    {kFull, "Accuracy", "321 hundredths of a percent", 27, 2},
    {kFull, "Accuracy exp", "2", 28, 1},
    {kFull, "Sensor Direction", "output", 28, 1},
    {kFull, "R exponent", "-2", 29, 1},
    {kFull, "B exponent", "1", 29, 1},
    {kFull, "Analog Characteristic Flags",
     "nominal reading specified, normal max specified, normal min specified", 30, 1},
    {kFull, "Nominal Reading", "28h (-44.2 degrees C)", 31, 1},
    {kFull, "Sensor Minimum Reading", "80h (352.28 degrees C)", 35, 1},
    {kFull, "Upper Non-recoverable Threshold", "69h (-197.6 degrees C), readable", 36, 1},
    {kFull, "Lower Non-critical Threshold", "0Fh (14.8 degrees C), settable", 41, 1},
    {kFull, "Positive-going Threshold Hysteresis value", "2", 42, 1},
    {kFull, "Negative-going Threshold Hysteresis value", "3", 43, 1},
    {kFull, "Reserved", "00 00", 44, 2},
    {kFull, "OEM", "5Ch", 46, 1},
    {kFull, "ID String Type/Length Code", "ascii, 6 characters", 47, 1},
    {kFull, "ID String Bytes", "CPU T1", 48, 6},
    {kFullDiscrete, "Assertion Event Mask", "IERR, Processor Presence detected, Processor disabled",
     14, 2},
    {kFullDiscrete, "Discrete Reading Mask", "IERR, Thermal Trip, Processor Presence detected", 18,
     2},
    {kFullDiscrete, "Analog Data Format", "none", 20, 1},
    {kFullDiscrete, "Nominal Reading", "01h, unspecified", 31, 1},
    {kFullDiscrete, "Analog Characteristic Flags", "none", 30, 1},
    {kFullDiscrete, "Lower Critical Threshold", "0Ah, unused", 40, 1},
    {kCompact, "Assertion Event Mask", "State Deasserted, State Asserted", 14, 2},
    {kCompact, "Reserved bits", "80h", 15, 1},
    {kCompact, "Rate Unit", "per second", 20, 1},
    {kCompact, "Share Count", "3", 23, 1},
    {kCompact, "ID String Instance Modifier Type", "reserved", 23, 1},
    {kCompact, "Sensor Direction", "input", 23, 1},
    {kCompact, "Entity Instance Sharing", "increments for each shared record", 24, 1},
    {kCompact, "ID String Instance Modifier Offset", "10", 24, 1},
    {kCompact, "Reserved", "00 00 00", 27, 3},
    {kCompact, "ID String Bytes", "Fan 1", 32, 5},
    {kEventOnly, "Sensor Owner ID", "41h (system software)", 5, 1},
    {kEventOnly, "FRU Inventory Device Owner LUN", "0", 6, 1},
    {kEventOnly, "Entity Instance", "97, logical container, device-relative", 9, 1},
    {kEventOnly, "Entity Instance Sharing", "same for all shared records", 13, 1},
    {kEventOnly, "ID String Instance Modifier Type", "alpha", 12, 1},
    {kAssociation, "Container Entity ID", "17h (System Chassis)", 5, 1},
    {kAssociation, "Contained Entities", "list", 7, 1},
    {kAssociation, "Record Link", "none", 7, 1},
    {kAssociation, "Presence Sensor always accessible", "yes", 7, 1},
    {kAssociation, "Contained Entity 2 / Range 1 last instance", "2, logical container", 11, 1},
    {kDeviceAssociation, "Contained Entities", "ranges", 9, 1},
    {kDeviceAssociation, "Record Link", "linked records exist", 9, 1},
    {kDeviceAssociation, "Container Entity Device Address", "20h", 7, 1},
    {kDeviceAssociation, "Container Entity Device Channel", "7", 8, 1},
    {kDeviceAssociation, "Contained Entity 3 Device Address", "24h", 18, 1},
    {kDeviceAssociation, "Contained Entity 3 Device Channel", "3", 19, 1},
    {kDeviceAssociation, "Contained Entity 3 / Range 2 first entity", "1Dh (Fan / Cooling Device)",
     20, 1},
    {kDeviceAssociation, "Reserved", "00 00 00 00 00 00", 26, 6},
    {kGenericLocator, "Device Access Address", "20h", 5, 1},
    {kGenericLocator, "Device Slave Address", "A1h", 6, 1},
    {kGenericLocator, "Channel Number", "10", 6, 2},
    {kGenericLocator, "Access LUN", "3", 7, 1},
    {kGenericLocator, "Private Bus ID", "5", 7, 1},
    {kGenericLocator, "Address Span", "3", 8, 1},
    {kGenericLocator, "Device Type", "09h (EEPROM, 24C02)", 10, 1},
    {kGenericLocator, "Device Type Modifier", "02h (IPMI FRU Inventory)", 11, 1},
    {kGenericLocator, "Device ID String", "DIMM1", 16, 5},
    {kFruLocator, "FRU Device ID", "05h", 6, 1},
    {kFruLocator, "Logical FRU Device", "yes", 7, 1},
    {kFruLocator, "FRU Entity ID", "0Ah (Power Supply)", 12, 1},
    {kControllerLocator, "Power State Notification",
     "static controller, ACPI device power state notification required, ACPI system power state "
     "notification required",
     7, 1},
    {kControllerLocator, "Global Initialization", "controller logs Initialization Agent errors", 7,
     1},
    {kControllerLocator, "Event Message Generation", "disable event message generation", 7, 1},
    {kControllerLocator, "Device Capabilities",
     "Sensor Device, SDR Repository Device, SEL Device, FRU Inventory Device, IPMB Event "
     "Receiver, IPMB Event Generator, Chassis Device",
     8, 1},
    {kConfirmation, "Device ID", "01h", 6, 1},
    {kConfirmation, "Device Revision", "2", 7, 1},
    {kConfirmation, "Firmware Revision 1", "5", 8, 1},
    {kConfirmation, "Reserved bits", "80h", 8, 1},
    {kConfirmation, "Firmware Revision 2", "46h", 9, 1},
    {kConfirmation, "IPMI Version", "02h (2.0)", 10, 1},
    {kConfirmation, "Manufacturer ID", "020177h", 11, 3},
    {kConfirmation, "Product ID", "01A3h", 14, 2},
    {kConfirmation, "Device GUID", "00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF", 16, 16},
    {kChannelInfo, "Message Channel 0",
     "protocol 01h (IPMB-1.0), receive LUN 0, transmit supported", 5, 1},
    {kChannelInfo, "Message Channel 4", "protocol 06h (SMIC), receive LUN 2, no transmit", 9, 1},
    {kChannelInfo, "Message Channel 7", "protocol 0Ch (OEM), receive LUN 1, transmit supported", 12,
     1},
    {kChannelInfo, "Messaging Interrupt Type", "01h", 13, 1},
    {kChannelInfo, "Event Message Buffer Interrupt Type", "02h", 14, 1},
    {kOem, "Manufacturer ID", "020177h", 5, 3},
    {kOem, "OEM Data", "10 20 30 40", 8, 4},
    {kUnknown, "Record Type", "42h (Unknown Record)", 3, 1},
    {kUnknown, "Unexplained", "01 02 03", 5, 3},
};

TEST(ExplainTest, EveryFieldIsInWordsBesideItsBytes) {
  for (const FieldRow& row : kFieldRows) {
    const std::vector<LongField> fields = Explain(DecodeHex(row.sample.hex));
    const LongField* const field = Find(fields, row.label);
    ASSERT_NE(field, nullptr) << row.sample.name << ": " << row.label;
    EXPECT_EQ(field->text, row.text) << row.sample.name << ": " << row.label;
    EXPECT_EQ(field->offset, row.offset) << row.sample.name << ": " << row.label;
    EXPECT_EQ(field->count, row.count) << row.sample.name << ": " << row.label;
  }
}

TEST(ExplainTest, WhatIsReservedLeftOverOrUnknownIsNotExplained) {
  for (const Sample* sample : Samples()) {
    for (const LongField& field : Explain(DecodeHex(sample->hex))) {
      const bool unexplained = field.label == "Reserved" || field.label == "Reserved bits" ||
                               field.label == "Unexplained";
      EXPECT_EQ(field.explained, !unexplained) << sample->name << ": " << field.label;
    }
  }
}

void ExpectCovered(const Record& record) {
  std::vector<bool> covered(record.bytes.size(), false);
  std::size_t last = 0;
  for (const LongField& field : Explain(record)) {
    EXPECT_GT(field.count, 0U) << field.label;
    ASSERT_LE(field.offset + field.count, record.bytes.size()) << field.label;
    EXPECT_GE(field.offset, last) << field.label;
    last = field.offset;
    for (std::size_t i = 0; i < field.count; ++i) covered[field.offset + i] = true;
  }
  EXPECT_TRUE(std::all_of(covered.begin(), covered.end(), [](bool c) { return c; }))
      << ToHex(record.bytes);
}

TEST(ExplainTest, EveryByteOfEveryCutIsInAField) {
  for (const Sample* sample : Samples()) {
    const Bytes whole = FromHex(sample->hex);
    for (std::size_t size = 0; size <= whole.size(); ++size)
      ExpectCovered(Decode(CutTo(whole, size)));
  }
}

TEST(ExplainTest, EveryByteOfEveryTypeIsInAFieldWhateverItsValue) {
  for (int type = 0; type <= 0xFF; ++type) {
    for (const int fill : {0x00, 0x55, 0xAA, 0xFF}) {
      Bytes bytes(69, static_cast<unsigned char>(fill));
      bytes[3] = static_cast<unsigned char>(type);
      bytes[4] = 60;  // four bytes are left over
      ExpectCovered(Decode(bytes));
    }
  }
}

TEST(ExplainTest, BytesBehindTheNameAreLeftOver) {
  Bytes bytes = FromHex(kFull.hex);
  bytes[47] = 0xC4;
  const std::vector<LongField> fields = Explain(Decode(bytes));
  EXPECT_EQ(Find(fields, "ID String Bytes")->text, "CPU ");
  EXPECT_EQ(Find(fields, "Unexplained")->text, "54 31");
}

TEST(ExplainTest, ANameThatIsCutSaysSo) {
  const std::vector<LongField> fields = Explain(Decode(CutTo(FromHex(kFull.hex), 50)));
  EXPECT_EQ(Find(fields, "ID String Type/Length Code")->text,
            "ascii, 6 characters, of which 2 are there");
}

TEST(ExplainTest, AStateWithoutANameIsItsNumber) {
  const Record record = Decode(With(FromHex(kFullDiscrete.hex), {{14, 0x00}, {15, 0x40}}));
  EXPECT_EQ(Find(Explain(record), "Assertion Event Mask")->text, "state 14");
}

TEST(ExplainTest, AnEmptyMaskIsNone) {
  const Record record = Decode(With(FromHex(kCompact.hex), {{14, 0}, {15, 0}}));
  EXPECT_EQ(Find(Explain(record), "Assertion Event Mask")->text, "none");
}

TEST(ExplainTest, ACompactSensorsAnalogFormatIsSilentWhereItIsWrittenAsDue) {
  const auto reserved = [](int units) {
    const Bytes bytes = With(FromHex(kCompact.hex), {{15, 0x00}, {20, units}});
    const std::vector<LongField> fields = Explain(Decode(bytes));
    const LongField* const field = Find(fields, "Reserved bits");
    return field == nullptr ? std::string() : field->text;
  };
  EXPECT_EQ(reserved(0xC0), "");
  EXPECT_EQ(reserved(0x00), "");
  EXPECT_EQ(reserved(0x40), "40h");
  EXPECT_EQ(reserved(0x80), "80h");
}

TEST(ExplainTest, AFruDeviceThatIsNotLogicalShowsItsAddress) {
  const std::vector<LongField> fields =
      Explain(Decode(With(FromHex(kFruLocator.hex), {{7, 0x1B}})));
  EXPECT_EQ(Find(fields, "FRU Device ID"), nullptr);
  EXPECT_EQ(Find(fields, "Device Slave Address")->text, "05h");
  EXPECT_EQ(Find(fields, "Logical FRU Device")->text, "no");
}

TEST(ExplainTest, AThresholdThatIsReadableAndSettableSaysBoth) {
  const Record record = Decode(With(FromHex(kFull.hex), {{18, 0x3F}, {19, 0x3F}}));
  EXPECT_EQ(Find(Explain(record), "Upper Critical Threshold")->text,
            "64h (-185.8 degrees C), readable and settable");
}

TEST(ExplainTest, HexText) {
  EXPECT_EQ(HexText({}), "");
  EXPECT_EQ(HexText(FromHex("00 7F FF")), "00 7F FF");
}

struct NumberRow {
  double value;
  std::string_view text;
};
constexpr NumberRow kNumberRows[] = {
    {0, "0"},
    {-0.0, "0"},
    {95, "95"},
    {-95, "-95"},
    {3.3, "3.3"},
    {0.1, "0.1"},
    {100000, "100000"},
    {999999999999999, "999999999999999"},
    {1e15, "1e+15"},
    {-5.12e16, "-5.12e+16"},
    {0.0001, "0.0001"},
    {0.00005, "5e-05"},
    {1e-24, "1e-24"},
    {2550000000, "2550000000"},
    {1.0 / 3, "0.3333333333333333"},
    {2.0 / 3, "0.6666666666666666"},
    {1.7976931348623157e308, "1.7976931348623157e+308"},
    {5e-324, "5e-324"},
    {9007199254740992, "9.007199254740992e+15"},
};

TEST(ExplainTest, NumbersAreTheShortestThatReadBack) {
  for (const NumberRow& row : kNumberRows) {
    EXPECT_EQ(NumberText(row.value), row.text);
    EXPECT_EQ(std::strtod(NumberText(row.value).c_str(), nullptr), row.value);
  }
}

}  // namespace
}  // namespace tarvek_test
