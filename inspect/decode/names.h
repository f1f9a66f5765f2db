// The names that the standard gives to its codes. Every function takes any number.
#pragma once

#include <string>
#include <string_view>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// "Full Sensor Record", as section 43 titles it; "OEM Record"; "Unknown Record" for a type that it
/// does not define.
std::string_view TypeName(int type);

/// A word or two for a table: "Full", "Compact", "Event-only", "Entity Assoc", "OEM", "Unknown" …
std::string_view TypeShortName(int type);

/// "1.5" for 51h: the version nibbles, low one first.
std::string SdrVersionText(int sdr_version);

/// "ascii", "6bit", "bcdplus", "unicode".
std::string_view EncodingName(NameEncoding encoding);

/// "unsigned", "ones complement", "twos complement", "none".
std::string_view AnalogFormatName(AnalogFormat format);

/// Table 42-3: "Temperature", "Voltage" …; "OEM" from C0h on; "Reserved" where it has no entry.
std::string_view SensorTypeName(int sensor_type);
bool IsKnownSensorType(int sensor_type);

/// Tables 42-1 and 42-2: "Threshold", "Digital Discrete" …; "Reserved" where they have no entry.
std::string_view EventTypeName(int event_type);
bool IsKnownEventType(int event_type);

/// The state that `offset` stands for: by table 42-2 for the generic types, by table 42-3 for type
/// 6Fh; empty where they name none.
std::string_view StateName(int event_type, int sensor_type, int offset);

/// Table 43-13: "Processor", "Fan / Cooling Device" …; ranges by their name; "Reserved" otherwise.
std::string_view EntityName(int entity_id);
bool IsKnownEntity(int entity_id);

/// Table 43-15: "degrees C", "Volts" …; "unspecified" for 0; "reserved" where it has no entry.
std::string_view UnitName(int unit);

/// "per second" …; empty for none.
std::string_view RateName(int rate);

/// Table 43-1: "linear", "ln", … "cube-1(x)"; "non-linear" for 70h to 7Fh; "reserved" otherwise.
std::string_view LinearizationName(int linearization);

/// "input", "output", "unspecified", "reserved".
std::string_view DirectionName(int direction);

/// Table 43-12: "DIMM Memory ID" …; "OEM" and "Reserved" where it says so.
std::string_view DeviceTypeName(int device_type);

/// Table 43-12's device type modifier; empty where it gives none.
std::string_view DeviceModifierName(int device_type, int modifier);

/// Of bit 0 to 7 of a management controller's capabilities: "Sensor Device" …
std::string_view DeviceCapabilityName(int bit);

/// "lower_non_critical" …: the key of the threshold wherever one is named.
std::string_view ThresholdKey(ThresholdKind kind);

/// "Lower Non-critical" …, as section 43 writes it.
std::string_view ThresholdName(ThresholdKind kind);

/// What carries a channel's messages (table 6-2): "IPMB", "System Interface" …
std::string_view ChannelProtocolName(int protocol);

}  // namespace tarvek::inspect
