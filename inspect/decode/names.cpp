#include "inspect/decode/names.h"

#include <array>
#include <span>

namespace tarvek::inspect {

namespace {

using Table = std::span<const std::string_view>;

constexpr std::string_view kReserved = "Reserved";
constexpr std::string_view kOem = "OEM";
constexpr int kSensorSpecific = 0x6F;
constexpr int kFirstOemEventType = 0x70;
constexpr int kLastEventType = 0x7F;
constexpr int kFirstOemSensorType = 0xC0;
constexpr int kLastByte = 0xFF;

/// Entry `index` of a table; empty past its end.
std::string_view At(Table table, int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= table.size()) return {};
  return table[static_cast<std::size_t>(index)];
}

std::string_view At(Table table, int index, std::string_view otherwise) {
  const std::string_view entry = At(table, index);
  return entry.empty() ? otherwise : entry;
}

struct TypeNames {
  RecordType type;
  std::string_view name;
  std::string_view short_name;
};

constexpr TypeNames kTypes[] = {
    {RecordType::kFullSensor, "Full Sensor Record", "Full"},
    {RecordType::kCompactSensor, "Compact Sensor Record", "Compact"},
    {RecordType::kEventOnly, "Event-Only Record", "Event-Only"},
    {RecordType::kEntityAssociation, "Entity Association Record", "Entity Assoc"},
    {RecordType::kDeviceEntityAssociation, "Device-relative Entity Association Record",
     "Dev-Rel Assoc"},
    {RecordType::kGenericDeviceLocator, "Generic Device Locator Record", "Device"},
    {RecordType::kFruDeviceLocator, "FRU Device Locator Record", "FRU"},
    {RecordType::kControllerLocator, "Management Controller Device Locator Record", "MC"},
    {RecordType::kControllerConfirmation, "Management Controller Confirmation Record",
     "MC Confirm"},
    {RecordType::kMessageChannelInfo, "BMC Message Channel Info Record", "BMC Channel"},
    {RecordType::kOem, "OEM Record", "OEM"},
};

constexpr std::string_view kSensorTypes[] = {
    kReserved,
    "Temperature",
    "Voltage",
    "Current",
    "Fan",
    "Physical Security",
    "Platform Security Violation Attempt",
    "Processor",
    "Power Supply",
    "Power Unit",
    "Cooling Device",
    "Other Units-based Sensor",
    "Memory",
    "Drive Slot",
    "POST Memory Resize",
    "System Firmware Progress",
    "Event Logging Disabled",
    "Watchdog 1",
    "System Event",
    "Critical Interrupt",
    "Button / Switch",
    "Module / Board",
    "Microcontroller / Coprocessor",
    "Add-in Card",
    "Chassis",
    "Chip Set",
    "Other FRU",
    "Cable / Interconnect",
    "Terminator",
    "System Boot / Restart Initiated",
    "Boot Error",
    "Base OS Boot / Installation Status",
    "OS Stop / Shutdown",
    "Slot / Connector",
    "System ACPI Power State",
    "Watchdog 2",
    "Platform Alert",
    "Entity Presence",
    "Monitor ASIC / IC",
    "LAN",
    "Management Subsystem Health",
    "Battery",
    "Session Audit",
    "Version Change",
    "FRU State",
};

constexpr std::string_view kEventTypes[] = {
    "Unspecified",
    "Threshold",
    "Usage State",
    "Digital State",
    "Predictive Failure",
    "Limit",
    "Performance",
    "Severity",
    "Device Presence",
    "Device Enabled",
    "Availability",
    "Redundancy",
    "ACPI Device Power State",
};

// Table 42-2, by event/reading type.
constexpr std::string_view kThresholdStates[] = {
    "Lower Non-critical - going low",    "Lower Non-critical - going high",
    "Lower Critical - going low",        "Lower Critical - going high",
    "Lower Non-recoverable - going low", "Lower Non-recoverable - going high",
    "Upper Non-critical - going low",    "Upper Non-critical - going high",
    "Upper Critical - going low",        "Upper Critical - going high",
    "Upper Non-recoverable - going low", "Upper Non-recoverable - going high",
};
constexpr std::string_view kUsageStates[] = {"Transition to Idle", "Transition to Active",
                                             "Transition to Busy"};
constexpr std::string_view kDigitalStates[] = {"State Deasserted", "State Asserted"};
constexpr std::string_view kPredictiveStates[] = {"Predictive Failure deasserted",
                                                  "Predictive Failure asserted"};
constexpr std::string_view kLimitStates[] = {"Limit Not Exceeded", "Limit Exceeded"};
constexpr std::string_view kPerformanceStates[] = {"Performance Met", "Performance Lags"};
constexpr std::string_view kSeverityStates[] = {
    "Transition to OK",
    "Transition to Non-Critical from OK",
    "Transition to Critical from less severe",
    "Transition to Non-recoverable from less severe",
    "Transition to Non-Critical from more severe",
    "Transition to Critical from Non-recoverable",
    "Transition to Non-recoverable",
    "Monitor",
    "Informational",
};
constexpr std::string_view kPresenceStates[] = {"Device Removed / Device Absent",
                                                "Device Inserted / Device Present"};
constexpr std::string_view kEnabledStates[] = {"Device Disabled", "Device Enabled"};
constexpr std::string_view kAvailabilityStates[] = {
    "Transition to Running",  "Transition to In Test",    "Transition to Power Off",
    "Transition to On Line",  "Transition to Off Line",   "Transition to Off Duty",
    "Transition to Degraded", "Transition to Power Save", "Install Error",
};
constexpr std::string_view kRedundancyStates[] = {
    "Fully Redundant",
    "Redundancy Lost",
    "Redundancy Degraded",
    "Non-redundant: Sufficient Resources from Redundant",
    "Non-redundant: Sufficient Resources from Insufficient Resources",
    "Non-redundant: Insufficient Resources",
    "Redundancy Degraded from Fully Redundant",
    "Redundancy Degraded from Non-redundant",
};
constexpr std::string_view kAcpiDeviceStates[] = {"D0 Power State", "D1 Power State",
                                                  "D2 Power State", "D3 Power State"};

constexpr Table kGenericStates[] = {
    {},
    kThresholdStates,
    kUsageStates,
    kDigitalStates,
    kPredictiveStates,
    kLimitStates,
    kPerformanceStates,
    kSeverityStates,
    kPresenceStates,
    kEnabledStates,
    kAvailabilityStates,
    kRedundancyStates,
    kAcpiDeviceStates,
};

// Table 42-3, by sensor type.
constexpr std::string_view kPhysicalSecurity[] = {
    "General Chassis Intrusion", "Drive Bay intrusion", "I/O Card area intrusion",
    "Processor area intrusion",  "LAN Leash Lost",      "Unauthorized dock",
    "FAN area intrusion",
};
constexpr std::string_view kPlatformSecurity[] = {
    "Secure Mode Violation attempt",
    "Pre-boot Password Violation - user password",
    "Pre-boot Password Violation attempt - setup password",
    "Pre-boot Password Violation - network boot password",
    "Other pre-boot Password Violation",
    "Out-of-band Access Password Violation",
};
constexpr std::string_view kProcessor[] = {
    "IERR",
    "Thermal Trip",
    "FRB1/BIST failure",
    "FRB2/Hang in POST failure",
    "FRB3/Processor Startup/Initialization failure",
    "Configuration Error",
    "SM BIOS 'Uncorrectable CPU-complex Error'",
    "Processor Presence detected",
    "Processor disabled",
    "Terminator Presence Detected",
    "Processor Automatically Throttled",
    "Machine Check Exception",
    "Correctable Machine Check Error",
};
constexpr std::string_view kPowerSupply[] = {
    "Presence detected",
    "Power Supply Failure detected",
    "Predictive Failure",
    "Power Supply input lost (AC/DC)",
    "Power Supply input lost or out-of-range",
    "Power Supply input out-of-range, but present",
    "Configuration error",
    "Power Supply Inactive",
};
constexpr std::string_view kPowerUnit[] = {
    "Power Off / Power Down",
    "Power Cycle",
    "240VA Power Down",
    "Interlock Power Down",
    "AC lost / Power input lost",
    "Soft Power Control Failure",
    "Power Unit Failure detected",
    "Predictive Failure",
};
constexpr std::string_view kMemory[] = {
    "Correctable ECC",
    "Uncorrectable ECC",
    "Parity",
    "Memory Scrub Failed (stuck bit)",
    "Memory Device Disabled",
    "Correctable ECC / other correctable memory error logging limit reached",
    "Presence detected",
    "Configuration error",
    "Spare",
    "Memory Automatically Throttled",
    "Critical Overtemperature",
};
constexpr std::string_view kDriveSlot[] = {
    "Drive Presence",
    "Drive Fault",
    "Predictive Failure",
    "Hot Spare",
    "Consistency Check / Parity Check in progress",
    "In Critical Array",
    "In Failed Array",
    "Rebuild/Remap in progress",
    "Rebuild/Remap Aborted",
};
constexpr std::string_view kFirmwareProgress[] = {
    "System Firmware Error (POST Error)", "System Firmware Hang", "System Firmware Progress"};
constexpr std::string_view kLoggingDisabled[] = {
    "Correctable Memory Error Logging Disabled",
    "Event 'Type' Logging Disabled",
    "Log Area Reset/Cleared",
    "All Event Logging Disabled",
    "SEL Full",
    "SEL Almost Full",
    "Correctable Machine Check Error Logging Disabled",
};
constexpr std::string_view kWatchdog1[] = {
    "BIOS Watchdog Reset",
    "OS Watchdog Reset",
    "OS Watchdog Shut Down",
    "OS Watchdog Power Down",
    "OS Watchdog Power Cycle",
    "OS Watchdog NMI / Diagnostic Interrupt",
    "OS Watchdog Expired, status only",
    "OS Watchdog pre-timeout Interrupt, non-NMI",
};
constexpr std::string_view kSystemEvent[] = {
    "System Reconfigured",
    "OEM System Boot Event",
    "Undetermined system hardware failure",
    "Entry added to Auxiliary Log",
    "PEF Action",
    "Timestamp Clock Synch",
};
constexpr std::string_view kCriticalInterrupt[] = {
    "Front Panel NMI / Diagnostic Interrupt",
    "Bus Timeout",
    "I/O channel check NMI",
    "Software NMI",
    "PCI PERR",
    "PCI SERR",
    "EISA Fail Safe Timeout",
    "Bus Correctable Error",
    "Bus Uncorrectable Error",
    "Fatal NMI",
    "Bus Fatal Error",
    "Bus Degraded",
};
constexpr std::string_view kButton[] = {"Power Button pressed", "Sleep Button pressed",
                                        "Reset Button pressed", "FRU latch open",
                                        "FRU service request button"};
constexpr std::string_view kChipSet[] = {"Soft Power Control Failure", "Thermal Trip"};
constexpr std::string_view kCable[] = {"Cable/Interconnect is connected",
                                       "Configuration Error - Incorrect cable connected / "
                                       "Incorrect interconnection"};
constexpr std::string_view kBootInitiated[] = {
    "Initiated by power up",
    "Initiated by hard reset",
    "Initiated by warm reset",
    "User requested PXE boot",
    "Automatic boot to diagnostic",
    "OS / run-time software initiated hard reset",
    "OS / run-time software initiated warm reset",
    "System Restart",
};
constexpr std::string_view kBootError[] = {
    "No bootable media",
    "Non-bootable diskette left in drive",
    "PXE Server not found",
    "Invalid boot sector",
    "Timeout waiting for user selection of boot source",
};
constexpr std::string_view kOsBoot[] = {
    "A: boot completed",
    "C: boot completed",
    "PXE boot completed",
    "Diagnostic boot completed",
    "CD-ROM boot completed",
    "ROM boot completed",
    "Boot completed - boot device not specified",
    "Base OS/Hypervisor Installation started",
    "Base OS/Hypervisor Installation completed",
    "Base OS/Hypervisor Installation aborted",
    "Base OS/Hypervisor Installation failed",
};
constexpr std::string_view kOsStop[] = {
    "Critical stop during OS load / initialization",
    "Run-time Critical Stop",
    "OS Graceful Stop",
    "OS Graceful Shutdown",
    "Soft Shutdown initiated by PEF",
    "Agent Not Responding",
};
constexpr std::string_view kSlot[] = {
    "Fault Status asserted",
    "Identify Status asserted",
    "Slot / Connector Device installed/attached",
    "Slot / Connector Ready for Device Installation",
    "Slot/Connector Ready for Device Removal",
    "Slot Power is Off",
    "Slot / Connector Device Removal Request",
    "Interlock asserted",
    "Slot is Disabled",
    "Slot holds spare device",
};
constexpr std::string_view kAcpiSystem[] = {
    "S0 / G0 'working'",
    "S1 'sleeping with system h/w & processor context maintained'",
    "S2 'sleeping, processor context lost'",
    "S3 'sleeping, processor & h/w context lost, memory retained'",
    "S4 'non-volatile sleep / suspend-to disk'",
    "S5 / G2 'soft-off'",
    "S4 / S5 soft-off, particular S4 / S5 state cannot be determined",
    "G3 / Mechanical Off",
    "Sleeping in an S1, S2, or S3 states",
    "G1 sleeping",
    "S5 entered by override",
    "Legacy ON state",
    "Legacy OFF state",
    "Unspecified",
    "Unknown",
};
constexpr std::string_view kWatchdog2[] = {
    "Timer expired, status only",
    "Hard Reset",
    "Power Down",
    "Power Cycle",
    "",
    "",
    "",
    "",
    "Timer interrupt",
};
constexpr std::string_view kPlatformAlert[] = {
    "Platform generated page", "Platform generated LAN alert", "Platform Event Trap generated",
    "Platform generated SNMP trap, OEM format"};
constexpr std::string_view kEntityPresence[] = {"Entity Present", "Entity Absent",
                                                "Entity Disabled"};
constexpr std::string_view kLan[] = {"LAN Heartbeat Lost", "LAN Heartbeat"};
constexpr std::string_view kSubsystemHealth[] = {
    "Sensor access degraded or unavailable",
    "Controller access degraded or unavailable",
    "Management controller off-line",
    "Management controller unavailable",
    "Sensor failure",
    "FRU failure",
};
constexpr std::string_view kBattery[] = {"Battery low (predictive failure)", "Battery failed",
                                         "Battery presence detected"};
constexpr std::string_view kSessionAudit[] = {"Session Activated", "Session Deactivated",
                                              "Invalid Username or Password",
                                              "Invalid password disable"};
constexpr std::string_view kVersionChange[] = {
    "Hardware change detected with associated Entity",
    "Firmware or software change detected with associated Entity",
    "Hardware incompatibility detected with associated Entity",
    "Firmware or software incompatibility detected with associated Entity",
    "Entity is of an invalid or unsupported hardware version",
    "Entity contains an invalid or unsupported firmware or software version",
    "Hardware Change detected with associated Entity was successful",
    "Software or F/W Change detected with associated Entity was successful",
};
constexpr std::string_view kFruState[] = {
    "FRU Not Installed",
    "FRU Inactive",
    "FRU Activation Requested",
    "FRU Activation In Progress",
    "FRU Active",
    "FRU Deactivation Requested",
    "FRU Deactivation In Progress",
    "FRU Communication Lost",
};

constexpr Table kSpecificStates[] = {
    {},                 // 00h
    {},                 // Temperature
    {},                 // Voltage
    {},                 // Current
    {},                 // Fan
    kPhysicalSecurity,  // 05h
    kPlatformSecurity,
    kProcessor,
    kPowerSupply,
    kPowerUnit,
    {},  // Cooling Device
    {},  // Other Units-based Sensor
    kMemory,
    kDriveSlot,
    {},                 // POST Memory Resize
    kFirmwareProgress,  // 0Fh
    kLoggingDisabled,
    kWatchdog1,
    kSystemEvent,
    kCriticalInterrupt,
    kButton,
    {},  // Module / Board
    {},  // Microcontroller / Coprocessor
    {},  // Add-in Card
    {},  // Chassis
    kChipSet,
    {},  // Other FRU
    kCable,
    {},  // Terminator
    kBootInitiated,
    kBootError,
    kOsBoot,  // 1Fh
    kOsStop,
    kSlot,
    kAcpiSystem,
    kWatchdog2,
    kPlatformAlert,
    kEntityPresence,
    {},  // Monitor ASIC / IC
    kLan,
    kSubsystemHealth,
    kBattery,
    kSessionAudit,
    kVersionChange,
    kFruState,  // 2Ch
};

constexpr std::string_view kEntities[] = {
    "Unspecified",
    "Other",
    "Unknown",
    "Processor",
    "Disk or Disk Bay",
    "Peripheral Bay",
    "System Management Module",
    "System Board",
    "Memory Module",
    "Processor Module",
    "Power Supply",
    "Add-in Card",
    "Front Panel Board",
    "Back Panel Board",
    "Power System Board",
    "Drive Backplane",
    "System Internal Expansion Board",
    "Other System Board",
    "Processor Board",
    "Power Unit / Power Domain",
    "Power Module / DC-to-DC Converter",
    "Power Management / Power Distribution Board",
    "Chassis Back Panel Board",
    "System Chassis",
    "Sub-chassis",
    "Other Chassis Board",
    "Disk Drive Bay",
    "Peripheral Bay",
    "Device Bay",
    "Fan / Cooling Device",
    "Cooling Unit / Cooling Domain",
    "Cable / Interconnect",
    "Memory Device",
    "System Management Software",
    "System Firmware",
    "Operating System",
    "System Bus",
    "Group",
    "Remote Management Communication Device",
    "External Environment",
    "Battery",
    "Processing Blade",
    "Connectivity Switch",
    "Processor / Memory Module",
    "I/O Module",
    "Processor / I/O Module",
    "Management Controller Firmware",
    "IPMI Channel",
    "PCI Bus",
    "PCI Express Bus",
    "SCSI Bus",
    "SATA / SAS Bus",
    "Processor / Front-side Bus",
    "Real Time Clock",
    "",
    "Air Inlet",
};
// Those that the DCMI standard reserved in the same table.
constexpr int kFirstDcmiEntity = 0x40;
constexpr std::string_view kDcmiEntities[] = {"Air Inlet", "Processor", "Baseboard"};

struct Range {
  int first;
  int last;
  std::string_view name;
};
constexpr Range kEntityRanges[] = {
    {0x90, 0xAF, "Chassis-specific"},
    {0xB0, 0xCF, "Board-Set specific"},
    {0xD0, kLastByte, "OEM System Integrator defined"},
};

constexpr std::string_view kUnits[] = {
    "unspecified",
    "degrees C",
    "degrees F",
    "degrees K",
    "Volts",
    "Amps",
    "Watts",
    "Joules",
    "Coulombs",
    "VA",
    "Nits",
    "lumen",
    "lux",
    "Candela",
    "kPa",
    "PSI",
    "Newton",
    "CFM",
    "RPM",
    "Hz",
    "microsecond",
    "millisecond",
    "second",
    "minute",
    "hour",
    "day",
    "week",
    "mil",
    "inches",
    "feet",
    "cu in",
    "cu feet",
    "mm",
    "cm",
    "m",
    "cu cm",
    "cu m",
    "liters",
    "fluid ounce",
    "radians",
    "steradians",
    "revolutions",
    "cycles",
    "gravities",
    "ounce",
    "pound",
    "ft-lb",
    "oz-in",
    "gauss",
    "gilberts",
    "henry",
    "millihenry",
    "farad",
    "microfarad",
    "ohms",
    "siemens",
    "mole",
    "becquerel",
    "PPM",
    "",
    "Decibels",
    "DbA",
    "DbC",
    "gray",
    "sievert",
    "color temp deg K",
    "bit",
    "kilobit",
    "megabit",
    "gigabit",
    "byte",
    "kilobyte",
    "megabyte",
    "gigabyte",
    "word",
    "dword",
    "qword",
    "line",
    "hit",
    "miss",
    "retry",
    "reset",
    "overrun / overflow",
    "underrun",
    "collision",
    "packets",
    "messages",
    "characters",
    "error",
    "correctable error",
    "uncorrectable error",
    "fatal error",
    "grams",
};

constexpr std::string_view kRates[] = {"",           "per microsecond",  "per millisecond",
                                       "per second", "per minute",       "per hour",
                                       "per day",    "per reserved unit"};

constexpr std::string_view kLinearizations[] = {"linear", "ln",      "log10",   "log2",
                                                "e",      "exp10",   "exp2",    "1/x",
                                                "sqr(x)", "cube(x)", "sqrt(x)", "cube-1(x)"};
constexpr int kFirstNonLinear = 0x70;

constexpr std::string_view kDirections[] = {"unspecified", "input", "output", "reserved"};

constexpr std::string_view kDeviceTypes[] = {
    "",
    "",
    "DS1624 temperature sensor / EEPROM",
    "DS1621 temperature sensor",
    "LM75 Temperature Sensor",
    "'Heceta' ASIC",
    "",
    "",
    "EEPROM, 24C01",
    "EEPROM, 24C02",
    "EEPROM, 24C04",
    "EEPROM, 24C08",
    "EEPROM, 24C16",
    "EEPROM, 24C17",
    "EEPROM, 24C32",
    "EEPROM, 24C64",
    "FRU Inventory Device behind management controller",
    "",
    "",
    "",
    "PCF 8570 256 byte RAM",
    "PCF 8573 clock/calendar",
    "PCF 8574A 'I/O port'",
    "PCF 8583 clock/calendar",
    "PCF 8593 clock/calendar",
    "Clock calendar, type not specified",
    "PCF 8591 A/D, D/A Converter",
    "I/O port, specific device not specified",
    "A/D Converter, specific device not specified",
    "D/A Converter, specific device not specified",
    "A/D, D/A Converter, specific device not specified",
    "LCD controller / Driver, specific device not specified",
    "Core Logic (Chip set) Device, specific device not specified",
    "LMC6874 Intelligent Battery controller",
    "Intelligent Battery controller, specific device not specified",
    "Combo Management ASIC, specific device not specified",
    "Maxim 1617 Temperature Sensor",
};
constexpr int kOtherDevice = 0xBF;
constexpr int kFirstOemDevice = 0xC0;

constexpr int kHecetaAsic = 0x05;
constexpr std::string_view kHecetaModifiers[] = {"Heceta 1", "Heceta 2", "LM80",
                                                 "Heceta 3", "Heceta 4", "Heceta 5"};
constexpr int kFirstEeprom = 0x08;
constexpr int kLastEeprom = 0x0F;
constexpr std::string_view kEepromModifiers[] = {"unspecified", "DIMM Memory ID",
                                                 "IPMI FRU Inventory",
                                                 "System Processor Cartridge FRU / PIROM"};
constexpr int kFruInventoryDevice = 0x10;
constexpr std::string_view kFruModifiers[] = {"IPMI FRU Inventory", "DIMM Memory ID",
                                              "IPMI FRU Inventory",
                                              "System Processor Cartridge FRU / PIROM"};
constexpr int kUnspecifiedFru = 0xFF;

constexpr std::string_view kCapabilities[] = {
    "Sensor Device",       "SDR Repository Device", "SEL Device", "FRU Inventory Device",
    "IPMB Event Receiver", "IPMB Event Generator",  "Bridge",     "Chassis Device"};

constexpr std::string_view kThresholdKeys[kThresholdCount] = {
    "lower_non_critical", "lower_critical", "lower_non_recoverable",
    "upper_non_critical", "upper_critical", "upper_non_recoverable"};
constexpr std::string_view kThresholdNames[kThresholdCount] = {
    "Lower Non-critical", "Lower Critical", "Lower Non-recoverable",
    "Upper Non-critical", "Upper Critical", "Upper Non-recoverable"};

constexpr std::string_view kProtocols[] = {"",    "IPMB-1.0", "ICMB-1.0", "",      "IPMI-SMBus",
                                           "KCS", "SMIC",     "BT-10",    "BT-15", "TMode"};
constexpr int kFirstOemProtocol = 0x0C;
constexpr int kLastProtocol = 0x0F;

const TypeNames* FindType(int type) {
  for (const TypeNames& names : kTypes) {
    if (static_cast<int>(names.type) == type) return &names;
  }
  return nullptr;
}

char HexDigit(int nibble) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  return kDigits[static_cast<std::size_t>(nibble)];
}

}  // namespace

std::string_view TypeName(int type) {
  const TypeNames* const names = FindType(type);
  return names == nullptr ? "Unknown Record" : names->name;
}

std::string_view TypeShortName(int type) {
  const TypeNames* const names = FindType(type);
  return names == nullptr ? "Unknown" : names->short_name;
}

std::string SdrVersionText(int sdr_version) {
  constexpr int kNibbleBits = 4;
  constexpr int kNibbleMask = 0x0F;
  return {HexDigit(sdr_version & kNibbleMask), '.',
          HexDigit((sdr_version >> kNibbleBits) & kNibbleMask)};
}

std::string_view EncodingName(NameEncoding encoding) {
  constexpr std::string_view kNames[] = {"unicode", "bcdplus", "6bit", "ascii"};
  return At(kNames, static_cast<int>(encoding));
}

std::string_view AnalogFormatName(AnalogFormat format) {
  constexpr std::string_view kNames[] = {"unsigned", "ones complement", "twos complement", "none"};
  return At(kNames, static_cast<int>(format));
}

std::string_view SensorTypeName(int sensor_type) {
  if (sensor_type >= kFirstOemSensorType && sensor_type <= kLastByte) return kOem;
  return At(kSensorTypes, sensor_type, kReserved);
}

bool IsKnownSensorType(int sensor_type) { return SensorTypeName(sensor_type) != kReserved; }

std::string_view EventTypeName(int event_type) {
  if (event_type == kSensorSpecific) return "Sensor-specific";
  if (event_type >= kFirstOemEventType && event_type <= kLastEventType) return kOem;
  return At(kEventTypes, event_type, kReserved);
}

bool IsKnownEventType(int event_type) { return EventTypeName(event_type) != kReserved; }

std::string_view StateName(int event_type, int sensor_type, int offset) {
  const bool specific = event_type == kSensorSpecific;
  const std::span<const Table> tables =
      specific ? std::span<const Table>(kSpecificStates) : std::span<const Table>(kGenericStates);
  const int row = specific ? sensor_type : event_type;
  if (row < 0 || static_cast<std::size_t>(row) >= tables.size()) return {};
  return At(tables[static_cast<std::size_t>(row)], offset);
}

std::string_view EntityName(int entity_id) {
  for (const Range& range : kEntityRanges) {
    if (entity_id >= range.first && entity_id <= range.last) return range.name;
  }
  if (entity_id >= kFirstDcmiEntity) {
    return At(kDcmiEntities, entity_id - kFirstDcmiEntity, kReserved);
  }
  return At(kEntities, entity_id, kReserved);
}

bool IsKnownEntity(int entity_id) { return EntityName(entity_id) != kReserved; }

std::string_view UnitName(int unit) { return At(kUnits, unit, "reserved"); }

std::string_view RateName(int rate) { return At(kRates, rate); }

std::string_view LinearizationName(int linearization) {
  if (linearization >= kFirstNonLinear && linearization <= kLastEventType) return "non-linear";
  return At(kLinearizations, linearization, "reserved");
}

std::string_view DirectionName(int direction) { return At(kDirections, direction); }

std::string_view DeviceTypeName(int device_type) {
  if (device_type == kOtherDevice) return "Other, unspecified device";
  if (device_type >= kFirstOemDevice && device_type <= kLastByte) return kOem;
  return At(kDeviceTypes, device_type, kReserved);
}

std::string_view DeviceModifierName(int device_type, int modifier) {
  if (device_type == kHecetaAsic) return At(kHecetaModifiers, modifier);
  if (device_type >= kFirstEeprom && device_type <= kLastEeprom) {
    return At(kEepromModifiers, modifier);
  }
  if (device_type != kFruInventoryDevice) return {};
  return modifier == kUnspecifiedFru ? "unspecified" : At(kFruModifiers, modifier);
}

std::string_view DeviceCapabilityName(int bit) { return At(kCapabilities, bit); }

std::string_view ThresholdKey(ThresholdKind kind) {
  return At(kThresholdKeys, static_cast<int>(kind));
}

std::string_view ThresholdName(ThresholdKind kind) {
  return At(kThresholdNames, static_cast<int>(kind));
}

std::string_view ChannelProtocolName(int protocol) {
  if (protocol >= kFirstOemProtocol && protocol <= kLastProtocol) return kOem;
  return At(kProtocols, protocol, "reserved");
}

std::string Unit::Text() const {
  if (!rate || !modifier_use || !percent || !base || !modifier) return {};
  constexpr int kDivided = 1;
  constexpr int kMultiplied = 2;
  std::string text;
  if (*percent) text = "%";
  if (*base != 0 || !*percent) {
    if (!text.empty()) text += ' ';
    text += UnitName(*base);
  }
  if (*modifier_use == kDivided) text.append("/").append(UnitName(*modifier));
  if (*modifier_use == kMultiplied) text.append(" * ").append(UnitName(*modifier));
  if (*rate != 0) text.append(" ").append(RateName(*rate));
  return text;
}

}  // namespace tarvek::inspect
