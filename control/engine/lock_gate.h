// The way to the tool's single-run lock: what stands in it, and whether it may be removed.
#pragma once

#include "control/engine/session.h"
#include "control/system/files.h"

namespace tarvek::control {

/// Sees to it that the tool's lock is free. One that only a reader holds is waited for, 10 seconds;
/// one that the tool left behind in a directory of the store, where it was killed, is removed; any
/// other that nobody holds only when the session says so.
/// @throws Stop  when it is not free: busy.
void WaitForFreeLock(const Session& session);

/// Removes what programs that were killed left behind long ago, unless a lock is there: what they
/// left may tell whose it is.
void SweepWhenFree(const Session& session);

/// Says of a directory of the tool that this program saw a signal end it there: a lock that was
/// made while it ran, and that nobody holds, is its own.
void NoteKilled(const Directory& work);

}  // namespace tarvek::control
