// What tarvekctl itself asks a BMC: only requests that change nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/system/interrupts.h"

namespace tarvek::control {

/// The answer to Get Device ID (IPMI 2.0, 20.1).
struct DeviceId {
  unsigned product = 0;
  unsigned manufacturer = 0;  // 20 bits
  unsigned device_id = 0;
  unsigned device_revision = 0;
  unsigned firmware_major = 0;  // without the bit "update mode"
  unsigned firmware_minor = 0;  // BCD
  unsigned ipmi_version = 0;    // as it stands: 51h is 1.5

  /// "01a3", as the hardware list has it.
  std::string ProductText() const;
};

/// The answer to Get SDR Repository Info (IPMI 2.0, 33.9).
struct RepositoryInfo {
  unsigned sdr_version = 0;
  unsigned records = 0;
  unsigned free_bytes = 0;
  std::uint32_t added = 0;   // most recent addition, seconds since 1970
  std::uint32_t erased = 0;  // most recent erase
  unsigned operations = 0;   // operation support

  bool operator==(const RepositoryInfo&) const = default;
};

/// How asking came out.
enum class BmcFailure {
  kNone,
  kNoDriver,     // no driver's node could be opened
  kDriver,       // the driver failed
  kAnswer,       // the BMC refused, or answered wrongly
  kSilent,       // nothing came within the time
  kInterrupted,  // INT or TERM has come meanwhile
};

struct BmcReport {
  BmcFailure failure = BmcFailure::kNone;
  std::string detail;              // of a failure, for people: the request, the code; not escaped
  std::string driver;              // "openipmi", "maker", or empty
  std::optional<DeviceId> device;  // answered
  std::optional<RepositoryInfo> info;  // answered
};

/// Asks Get Device ID and, when that was answered, Get SDR Repository Info, in a process apart: a
/// driver that hangs, and whatever the transport keeps, does not touch this one.
/// @param interrupts  ends the waiting; null: nothing does.
BmcReport AskBmc(const Interrupts* interrupts);

/// Whether the BMC knows a request.
struct Probe {
  std::string request;  // its name, for people: "Get SDR (0Ah/23h)"
  bool known = false;
  int completion_code = 0;  // -1: not answered
  std::string detail;
};

/// Asks the requests that an update uses, as far as asking changes nothing.
std::vector<Probe> ProbeCommands(const Interrupts* interrupts);

/// Whether a hardware list names a product, as the tool reads it: some line of at most 255
/// characters holds the four digits anywhere, in whatever case.
bool ListNames(std::string_view list, const DeviceId& device);

}  // namespace tarvek::control
