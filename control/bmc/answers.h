// The requests that are sent to a BMC, and what its answers to them hold.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "control/bmc/bmc.h"

namespace tarvek::control {

using Image = std::span<const unsigned char>;

/// A request that changes nothing.
struct ReadingRequest {
  const char* name;
  Image image;                 // NetFn/LUN, command, data
  int capacity;                // of the answer, behind its two header bytes
  std::array<int, 2> lengths;  // of a good answer, header bytes included
};

extern const ReadingRequest kAskDeviceId;
extern const ReadingRequest kAskRepositoryInfo;
extern const ReadingRequest kAskFirstRecord;
extern const ReadingRequest kAskSlotInformation;

/// @return "Get SDR (0Ah/23h)".
std::string RequestName(const char* name, unsigned char netfn_lun, unsigned char command);

/// @return what is wrong with an answer, for people: "Get SDR was refused with completion code CB";
///   empty for a good one.
std::string Complaint(const ReadingRequest& request, Image answer);

/// @return an answer's completion code; -1 for an answer that is none to this request, or holds
/// none.
int CompletionCode(const ReadingRequest& request, Image answer);

/// @param answer  one without a complaint.
DeviceId DeviceIdOf(Image answer);
RepositoryInfo RepositoryInfoOf(Image answer);

}  // namespace tarvek::control
