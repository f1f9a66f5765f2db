// What the tool's lock says about an update now.
#pragma once

#include "control/doctor/doctor.h"
#include "control/lock/run_lock.h"

namespace tarvek::control {

/// @param is_root  this process may do what root may.
Finding LockFinding(const LockReport& report, bool is_root);

}  // namespace tarvek::control
