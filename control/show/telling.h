// What a command says at its end.
#pragma once

#include <string_view>

#include "control/system/interrupts.h"

namespace tarvek::control {

/// Writes text to a descriptor, and waits for who reads it; an interrupt ends only that waiting. A
/// reader that is gone ends it quietly.
/// @param fd          stays the caller's; may block.
/// @param interrupts  those that Count() has counted end nothing.
/// @return 0, also when not all was written because of an interrupt or a reader that is gone; or
/// the error (an errno) that ended it.
int Tell(int fd, std::string_view text, const Interrupts& interrupts);

}  // namespace tarvek::control
