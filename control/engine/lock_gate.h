// The way to the tool's single-run lock: what stands in it, and whether it may be removed.
#pragma once

#include "control/engine/session.h"

namespace tarvek::control {

/// Sees to it that the tool's lock is free. One that only a reader holds is waited for, 10 seconds;
/// one that the tool left behind in a directory of the store, where it was killed, is removed; any
/// other that nobody holds only when the session says so.
/// @throws Stop  when it is not free: busy.
void WaitForFreeLock(const Session& session);

}  // namespace tarvek::control
