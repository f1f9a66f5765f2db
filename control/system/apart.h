// Work in a process apart.
#pragma once

#include <functional>
#include <string>

#include "control/system/interrupts.h"

namespace tarvek::control {

enum class ApartEnd { kDone, kDied, kTimeOut, kInterrupted };

struct ApartResult {
  ApartEnd end = ApartEnd::kDied;
  std::string bytes;  // what the work returned, when it is done
};

/// Does `work` in a copy of this process, and hands back what it returns. The copy is ended by KILL
/// when the time is over or an interrupt comes: only for work that may be dropped anywhere.
/// @param milliseconds  real time; -1: no end.
ApartResult DoApart(const std::function<std::string()>& work, const Interrupts* interrupts,
                    int milliseconds);

}  // namespace tarvek::control
