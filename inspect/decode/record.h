// A sensor data record's bytes as the fields of IPMI 2.0, section 43.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarvek::inspect {

using Bytes = std::vector<unsigned char>;

/// The record types of section 43; any other value is a type that it does not define.
enum class RecordType : unsigned char {
  kFullSensor = 0x01,
  kCompactSensor = 0x02,
  kEventOnly = 0x03,
  kEntityAssociation = 0x08,
  kDeviceEntityAssociation = 0x09,
  kGenericDeviceLocator = 0x10,
  kFruDeviceLocator = 0x11,
  kControllerLocator = 0x12,
  kControllerConfirmation = 0x13,
  kMessageChannelInfo = 0x14,
  kOem = 0xC0,
};

/// How the characters of a name are stored (43.15, type/length byte, bits 7 and 6).
enum class NameEncoding : unsigned char { kUnicode, kBcdPlus, kSixBit, kAscii };

/// A record's ID string.
struct Name {
  std::string text;  // UTF-8, always valid; NULs are kept
  NameEncoding encoding = NameEncoding::kAscii;
  int declared_length = 0;     // in characters, as the type/length byte says
  int characters = 0;          // that are there: fewer where the string is longer than its record
  std::size_t offset = 0;      // in the record, of the first byte behind the type/length byte
  std::size_t byte_count = 0;  // that the string takes of the record
  std::size_t bytes_due = 0;   // that a string of the declared length takes
  bool reserved_bit = false;   // bit 5 of the type/length byte, ignored otherwise
};

/// The first byte of an ID string is its type/length byte.
/// @param bytes   what there is of the record from the type/length byte on.
/// @param offset  where in the record that is.
/// @return absent when `bytes` is empty.
std::optional<Name> DecodeName(std::span<const unsigned char> bytes, std::size_t offset);

/// A part of the machine (43.14).
struct EntityId {
  int id = 0;
  int instance = 0;      // 0 to 127; from 60h on relative to the device that owns the record
  bool logical = false;  // a container that is no part, such as a group of processors

  bool operator==(const EntityId&) const = default;
};

/// An entity that an association lists, or one end of a range of them.
struct ContainedEntity {
  EntityId entity;
  bool range = false;                 // the first or the last one of a range
  std::optional<int> device_address;  // type 09h: of the device that the instance is relative to
  std::optional<int> channel;
  std::size_t offset = 0;  // in the record, of the entity ID

  bool operator==(const ContainedEntity&) const = default;
};

/// What a sensor's readings are measured in (43.17). Codes as they stand in the record.
struct Unit {
  std::optional<int> rate;          // 0 none, 1 per microsecond … 6 per day
  std::optional<int> modifier_use;  // 0 none, 1 base / modifier, 2 base * modifier
  std::optional<bool> percent;
  std::optional<int> base;
  std::optional<int> modifier;

  /// The unit for people: "degrees C", "%", "Volts * Amps", "error per hour"; "unspecified" where
  /// the record names none; empty unless all of the bytes are there.
  std::string Text() const;
};

enum class AnalogFormat : unsigned char { kUnsigned, kOnesComplement, kTwosComplement, kNone };

/// How a full sensor's raw readings become real ones (36.3). Members are absent where the record
/// ends before them.
struct Conversion {
  std::optional<AnalogFormat> analog_format;
  std::optional<int> linearization;  // 0 to 11 are functions, 70h to 7Fh non-linear
  std::optional<int> m;              // -512 to 511
  std::optional<int> tolerance;      // in half raw counts, 0 to 63
  std::optional<int> b;              // -512 to 511
  std::optional<int> accuracy;       // in 1/100 percent times ten to the `accuracy_exp`, 0 to 1023
  std::optional<int> accuracy_exp;   // 0 to 3
  std::optional<int> r_exp;          // -8 to 7
  std::optional<int> b_exp;          // -8 to 7

  /// The number that a raw byte stands for by the analog format; absent when it is "none".
  std::optional<int> Signed(int raw) const;

  /// The real reading that belongs to `raw` (0 to 255), the double nearest to what the factors
  /// give. Absent where there is none: no analog format, a non-linear sensor, a member missing, or
  /// no finite result.
  std::optional<double> ToReal(int raw) const;

  bool operator==(const Conversion&) const = default;
};

/// A reading that a record holds, raw and, where the sensor's factors give one, real.
struct Reading {
  int raw = 0;
  std::optional<double> value;

  bool operator==(const Reading&) const = default;
};

/// The order of the bits in the masks of section 43.
enum class ThresholdKind : unsigned char {
  kLowerNonCritical,
  kLowerCritical,
  kLowerNonRecoverable,
  kUpperNonCritical,
  kUpperCritical,
  kUpperNonRecoverable,
};
inline constexpr int kThresholdCount = 6;

/// A threshold of a full sensor that its masks call readable or settable.
struct Threshold {
  ThresholdKind kind = ThresholdKind::kLowerNonCritical;
  Reading reading;
  bool readable = false;
  bool settable = false;

  bool operator==(const Threshold&) const = default;
};

/// A set of state offsets.
struct StateMask {
  std::uint16_t bits = 0;

  bool Has(int offset) const { return ((bits >> offset) & 1U) != 0; }
  /// The offsets in it, ascending.
  std::vector<int> Offsets() const;

  bool operator==(const StateMask&) const = default;
};

/// In raw counts.
struct Hysteresis {
  int positive = 0;
  int negative = 0;

  bool operator==(const Hysteresis&) const = default;
};

/// How one compact or event-only record stands for several sensors (43.2).
struct Sharing {
  std::optional<int> share_count;               // 0 to 15
  std::optional<int> id_modifier;               // 0 numeric, 1 alphabetic
  std::optional<int> id_modifier_offset;        // 0 to 127
  std::optional<bool> entity_instance_sharing;  // each sensor's instance is one more
};

/// What a sensor's capabilities byte says (43.1, byte 12), codes as they stand.
struct SensorCapabilities {
  bool ignore_if_entity_absent = false;
  bool auto_rearm = false;
  int hysteresis_access = 0;  // 0 none, 1 readable, 2 readable and settable, 3 fixed
  int threshold_access = 0;   // 0 none, 1 readable, 2 readable and settable, 3 fixed
  int event_control = 0;      // 0 per state, 1 entire sensor, 2 global disable only, 3 no events
};

/// A record's fields. What the type does not have, or what the bytes that are there do not reach,
/// is absent. Numbers are codes as they stand in the record unless said otherwise.
struct Record {
  Bytes bytes;           // all that was handed in, header included
  std::size_t used = 0;  // bytes of it that belong to the record by its length byte
  int record_id = 0;     // the header's; 0 where it is not there
  int sdr_version = 0;   // 51h is 1.5
  int type = 0;          // compare by Is()
  int body_length = 0;   // as the length byte says

  std::optional<Name> name;
  std::optional<int> owner_id;
  std::optional<int> device_address;  // the byte; 10h: slave address, 11h: access address
  std::optional<int> access_address;  // type 10h
  std::optional<int> owner_lun;       // 0 to 3
  std::optional<int> access_lun;      // types 10h and 11h
  std::optional<int> private_bus;     // types 10h and 11h
  std::optional<int> channel;         // 0 to 15
  std::optional<int> sensor_number;
  std::optional<int> entity_id;  // types 08h and 09h: the container's
  std::optional<int> entity_instance;
  std::optional<bool> entity_logical;
  std::optional<int> sensor_initialization;  // the byte
  std::optional<SensorCapabilities> capabilities;
  std::optional<int> sensor_type;
  std::optional<int> event_type;  // without its reserved bit 7
  std::optional<int> direction;   // 0 unspecified, 1 input, 2 output
  std::optional<Unit> unit;
  std::optional<Conversion> conversion;  // full sensors
  std::optional<Reading> nominal;        // absent where the record says unspecified
  std::optional<Reading> normal_max;
  std::optional<Reading> normal_min;
  std::optional<Reading> sensor_max;
  std::optional<Reading> sensor_min;
  std::optional<std::vector<Threshold>> thresholds;  // full threshold sensors; by kind, ascending
  std::optional<Hysteresis> hysteresis;
  std::optional<StateMask> assertion_events;     // threshold sensors: offsets 0 to 11
  std::optional<StateMask> deassertion_events;   // the same
  std::optional<StateMask> reading_mask;         // discrete sensors
  std::optional<StateMask> readable_thresholds;  // threshold sensors: by ThresholdKind
  std::optional<StateMask> settable_thresholds;  // threshold sensors: by ThresholdKind
  std::optional<Sharing> sharing;
  std::optional<int> oem;
  std::optional<int> manufacturer_id;  // 24 bits
  std::optional<int> product_id;       // type 13h
  std::optional<int> fru_id;           // type 11h, of a logical FRU device
  std::optional<int> slave_address;    // type 11h, of a FRU device that is not logical
  std::optional<int> device_type;
  std::optional<int> device_type_modifier;
  std::optional<StateMask> device_capabilities;  // type 12h: by bit
  std::optional<std::vector<ContainedEntity>> contained_entities;
  std::optional<Bytes> data;  // C0h: what follows the manufacturer; unknown types: the body

  bool Is(RecordType wanted) const { return type == static_cast<int>(wanted); }
  /// Types 01h, 02h and 03h.
  bool IsSensor() const;
  /// A sensor with event/reading type 01h.
  bool IsThreshold() const { return IsSensor() && event_type == 1; }
  /// The entity, once ID and instance are both there.
  std::optional<EntityId> Entity() const;
  /// The threshold of that kind, or nullptr where the record has none.
  const Threshold* FindThreshold(ThresholdKind kind) const;
  /// The name's text; empty where there is none.
  std::string_view NameText() const { return name ? std::string_view(name->text) : ""; }
};

/// Takes a record apart.
///
/// @param bytes  the record, header first; any number of bytes with any content. What stands
///               behind the body that the length byte announces is kept in `Record::bytes` only.
Record Decode(std::span<const unsigned char> bytes);

/// How long the body of a type is.
struct BodyLength {
  std::size_t fixed = 0;  // bytes of it; of a type with an ID string up to its type/length byte
  bool has_name = false;  // the ID string's characters follow
};

/// Absent for OEM and unknown types, whose bodies may have any length.
std::optional<BodyLength> BodyLengthOf(int type);

/// The SDR version text of the maker's version record: "SDR Version 01.03"; valid UTF-8. Absent
/// when `record` is none.
std::optional<std::string> VersionText(const Record& record);

/// The name, without extension, in the maker's record that names the configuration script of the
/// set; valid UTF-8. Absent when `record` is none.
std::optional<std::string> ScriptName(const Record& record);

}  // namespace tarvek::inspect
