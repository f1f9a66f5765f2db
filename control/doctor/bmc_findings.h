// What the BMC's answers say about updates.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "control/bmc/bmc.h"
#include "control/doctor/doctor.h"
#include "control/system/small_file.h"

namespace tarvek::control {

/// @param report  not of an interrupted asking.
Finding BmcFinding(const BmcReport& report);

Finding ManufacturerFinding(const DeviceId& device);

/// @param path  of the hardware list.
/// @param list  what was read from it.
Finding BoardsFinding(const std::string& path, const SmallFile& list, const DeviceId& device);

/// @param probes  as ProbeCommands() gives them.
Finding RequestsFinding(const std::vector<Probe>& probes);

}  // namespace tarvek::control
