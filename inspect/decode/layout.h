// Where the fields of a record stand: offsets from the start of the record, header included, which
// is the byte number of section 43 less one.
#pragma once

#include <cstddef>

namespace tarvek::inspect {

/// A few bits of one byte.
struct Bits {
  std::size_t offset;
  int shift = 0;
  unsigned mask = 0xFF;  // after the shift
};

namespace sensor {  // types 01h, 02h and 03h alike
inline constexpr std::size_t kOwnerId = 5;
inline constexpr Bits kOwnerLun{6, 0, 0x03};
inline constexpr Bits kReservedLun{6, 2, 0x03};  // type 03h: the FRU inventory device's owner LUN
inline constexpr Bits kChannel{6, 4, 0x0F};
inline constexpr std::size_t kNumber = 7;
inline constexpr std::size_t kEntityId = 8;
inline constexpr std::size_t kEntityInstance = 9;
}  // namespace sensor

namespace reading_sensor {  // types 01h and 02h alike
inline constexpr std::size_t kInitialization = 10;
inline constexpr std::size_t kCapabilities = 11;
inline constexpr std::size_t kSensorType = 12;
inline constexpr std::size_t kEventType = 13;
inline constexpr std::size_t kAssertionMask = 14;
inline constexpr std::size_t kDeassertionMask = 16;
inline constexpr std::size_t kReadingMask = 18;  // of threshold sensors: two masks of a byte
inline constexpr std::size_t kReadableMask = 18;
inline constexpr std::size_t kSettableMask = 19;
inline constexpr std::size_t kUnits1 = 20;
inline constexpr std::size_t kBaseUnit = 21;
inline constexpr std::size_t kModifierUnit = 22;
}  // namespace reading_sensor

namespace units1 {
inline constexpr Bits kAnalogFormat{reading_sensor::kUnits1, 6, 0x03};
inline constexpr Bits kRate{reading_sensor::kUnits1, 3, 0x07};
inline constexpr Bits kModifierUse{reading_sensor::kUnits1, 1, 0x03};
inline constexpr Bits kPercent{reading_sensor::kUnits1, 0, 0x01};
}  // namespace units1

namespace full {
inline constexpr Bits kLinearization{23, 0, 0x7F};
inline constexpr std::size_t kM = 24;  // bits 0 to 7; 8 and 9 in the next byte
inline constexpr Bits kMHigh{25, 6, 0x03};
inline constexpr Bits kTolerance{25, 0, 0x3F};
inline constexpr std::size_t kB = 26;
inline constexpr Bits kBHigh{27, 6, 0x03};
inline constexpr Bits kAccuracyLow{27, 0, 0x3F};  // bits 0 to 5; 6 to 9 in the next byte
inline constexpr Bits kAccuracyHigh{28, 4, 0x0F};
inline constexpr Bits kAccuracyExp{28, 2, 0x03};
inline constexpr Bits kDirection{28, 0, 0x03};
inline constexpr Bits kRExp{29, 4, 0x0F};
inline constexpr Bits kBExp{29, 0, 0x0F};
inline constexpr std::size_t kAnalogFlags = 30;
inline constexpr Bits kNominalGiven{30, 0, 0x01};
inline constexpr Bits kNormalMaxGiven{30, 1, 0x01};
inline constexpr Bits kNormalMinGiven{30, 2, 0x01};
inline constexpr std::size_t kNominal = 31;
inline constexpr std::size_t kNormalMax = 32;
inline constexpr std::size_t kNormalMin = 33;
inline constexpr std::size_t kSensorMax = 34;
inline constexpr std::size_t kSensorMin = 35;
inline constexpr std::size_t kUpperNonRecoverable = 36;  // the six thresholds, downwards
inline constexpr std::size_t kPositiveHysteresis = 42;
inline constexpr std::size_t kNegativeHysteresis = 43;
inline constexpr std::size_t kReserved = 44;  // two bytes
inline constexpr std::size_t kOem = 46;
inline constexpr std::size_t kName = 47;
}  // namespace full

namespace compact {
inline constexpr std::size_t kSharing = 23;
inline constexpr std::size_t kPositiveHysteresis = 25;
inline constexpr std::size_t kNegativeHysteresis = 26;
inline constexpr std::size_t kReserved = 27;  // three bytes
inline constexpr std::size_t kOem = 30;
inline constexpr std::size_t kName = 31;
}  // namespace compact

namespace event_only {
inline constexpr std::size_t kSensorType = 10;
inline constexpr std::size_t kEventType = 11;
inline constexpr std::size_t kSharing = 12;
inline constexpr std::size_t kReserved = 14;
inline constexpr std::size_t kOem = 15;
inline constexpr std::size_t kName = 16;
}  // namespace event_only

namespace association {  // type 08h
inline constexpr std::size_t kContainerId = 5;
inline constexpr std::size_t kContainerInstance = 6;
inline constexpr std::size_t kFlags = 7;
inline constexpr std::size_t kContained = 8;  // four entries: entity ID, instance
inline constexpr std::size_t kEntrySize = 2;
inline constexpr std::size_t kSize = 16;
}  // namespace association

namespace device_association {  // type 09h
inline constexpr std::size_t kContainerId = 5;
inline constexpr std::size_t kContainerInstance = 6;
inline constexpr std::size_t kDeviceAddress = 7;
inline constexpr Bits kChannel{8, 4, 0x0F};
inline constexpr std::size_t kFlags = 9;
inline constexpr std::size_t kContained = 10;  // four: address, channel, entity ID, instance
inline constexpr std::size_t kEntrySize = 4;
inline constexpr std::size_t kReserved = 26;  // six bytes
inline constexpr std::size_t kSize = 32;
}  // namespace device_association

namespace generic_locator {  // type 10h
inline constexpr std::size_t kAccessAddress = 5;
inline constexpr std::size_t kSlaveAddress = 6;
inline constexpr Bits kChannelHigh{6, 0, 0x01};
inline constexpr Bits kChannelLow{7, 5, 0x07};
inline constexpr Bits kAccessLun{7, 3, 0x03};
inline constexpr Bits kPrivateBus{7, 0, 0x07};
inline constexpr Bits kAddressSpan{8, 0, 0x07};
inline constexpr std::size_t kReserved = 9;
inline constexpr std::size_t kDeviceType = 10;
inline constexpr std::size_t kDeviceTypeModifier = 11;
inline constexpr std::size_t kEntityId = 12;
inline constexpr std::size_t kEntityInstance = 13;
inline constexpr std::size_t kOem = 14;
inline constexpr std::size_t kName = 15;
}  // namespace generic_locator

namespace fru_locator {  // type 11h
inline constexpr std::size_t kAccessAddress = 5;
inline constexpr std::size_t kFruId = 6;  // or the slave address
inline constexpr Bits kLogical{7, 7, 0x01};
inline constexpr Bits kAccessLun{7, 3, 0x03};
inline constexpr Bits kPrivateBus{7, 0, 0x07};
inline constexpr Bits kChannel{8, 4, 0x0F};
inline constexpr std::size_t kReserved = 9;
inline constexpr std::size_t kDeviceType = 10;
inline constexpr std::size_t kDeviceTypeModifier = 11;
inline constexpr std::size_t kEntityId = 12;
inline constexpr std::size_t kEntityInstance = 13;
inline constexpr std::size_t kOem = 14;
inline constexpr std::size_t kName = 15;
}  // namespace fru_locator

namespace controller_locator {  // type 12h
inline constexpr std::size_t kSlaveAddress = 5;
inline constexpr Bits kChannel{6, 0, 0x0F};
inline constexpr std::size_t kInitialization = 7;
inline constexpr std::size_t kCapabilities = 8;
inline constexpr std::size_t kReserved = 9;  // three bytes
inline constexpr std::size_t kEntityId = 12;
inline constexpr std::size_t kEntityInstance = 13;
inline constexpr std::size_t kOem = 14;
inline constexpr std::size_t kName = 15;
}  // namespace controller_locator

namespace confirmation {  // type 13h
inline constexpr std::size_t kSlaveAddress = 5;
inline constexpr std::size_t kDeviceId = 6;
inline constexpr Bits kDeviceRevision{7, 0, 0x0F};
inline constexpr Bits kChannel{7, 4, 0x0F};
inline constexpr Bits kMajorRevision{8, 0, 0x7F};
inline constexpr std::size_t kMinorRevision = 9;
inline constexpr std::size_t kIpmiVersion = 10;
inline constexpr std::size_t kManufacturer = 11;
inline constexpr std::size_t kProduct = 14;
inline constexpr std::size_t kGuid = 16;
inline constexpr std::size_t kSize = 32;
}  // namespace confirmation

namespace channel_info {                     // type 14h
inline constexpr std::size_t kChannels = 5;  // eight bytes
inline constexpr std::size_t kChannelCount = 8;
inline constexpr std::size_t kMessageInterrupt = 13;
inline constexpr std::size_t kEventInterrupt = 14;
inline constexpr std::size_t kReserved = 15;
inline constexpr std::size_t kSize = 16;
}  // namespace channel_info

namespace oem_record {  // type C0h
inline constexpr std::size_t kManufacturer = 5;
inline constexpr std::size_t kData = 8;
}  // namespace oem_record

inline constexpr unsigned kLogicalBit = 0x80;  // of an entity instance
inline constexpr unsigned kInstanceMask = 0x7F;
inline constexpr unsigned kRangeBit = 0x80;  // of an association's flags
inline constexpr std::size_t kContainedCount = 4;

}  // namespace tarvek::inspect
