// What tarvekctl itself asks a BMC: only requests that change nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "control/system/interrupts.h"

namespace tarvek::control {

/// The manufacturer ID of the maker whose BMCs have the spared mode.
inline constexpr unsigned kMakersNumber = 119;

/// The answer to Get Device ID (IPMI 2.0, 20.1).
struct DeviceId {
  unsigned product = 0;
  unsigned manufacturer = 0;  // 20 bits; kMakersNumber is the tool's
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
  std::string detail;                  // of a failure, for people: the request, the code
  std::string driver;                  // "openipmi", "maker", or empty
  std::optional<DeviceId> device;      // answered
  std::optional<RepositoryInfo> info;  // answered
};

/// How long a BMC may take for all that is asked of it at once, in milliseconds of real time. The
/// kernel's drivers give up on it after 55 seconds.
inline constexpr int kBmcLimit = 70000;

/// Asks Get Device ID and, when that was answered, Get SDR Repository Info, each in a process
/// apart: a driver that hangs, and whatever the transport keeps, does not touch this one.
/// @param interrupts  ends the waiting; null: nothing does.
/// @param limit       milliseconds.
BmcReport AskBmc(const Interrupts* interrupts, int limit = kBmcLimit);

/// A request, and whether the BMC knows it.
struct Probe {
  std::string request;  // its name, for people: "Get SDR (0Ah/23h)"
  bool tried = false;   // it was sent
  bool known = false;   // it was carried out, or refused for another reason than being unknown; one
                        // that was not sent: the BMC says of itself that it has it
  bool denied = false;  // it was not sent, and the BMC says of itself that it has it not
  int completion_code = -1;  // -1: not answered
  std::string detail;        // what was wrong with the answer, or why it was not sent
};

/// Asks the requests that updates and backups use, as far as asking changes nothing; always the
/// same ones in the same order. Not sent are
/// - Reserve SDR Repository: it cancels the reservations of others. The BMC tells in the answer to
///   Get SDR Repository Info whether it has it.
/// - SparedSDR, and the requests inside the spared mode: they change the BMC's state, or nobody
///   knows whether they do.
/// - Get slot information, but to a BMC that a backup would ask it: one of the maker's with
/// IPMI 1.5
///   or 2.0. On others' BMCs it may mean anything.
/// Get SDR is asked for the first record's header without a reservation (IPMI 2.0, 33.12).
/// @param limit  milliseconds, for all of them.
std::vector<Probe> ProbeCommands(const Interrupts* interrupts, int limit = kBmcLimit);

/// Whether a hardware list names a product, as the tool reads it: some line holds the four digits
/// anywhere, in whatever case. A line of more than 255 characters is taken as several; behind a
/// zero byte nothing of a line is read.
bool ListNames(std::string_view list, const DeviceId& device);

}  // namespace tarvek::control
