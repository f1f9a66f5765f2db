// Work in a process apart.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "control/system/interrupts.h"

namespace tarvek::control {

enum class ApartEnd { kDone, kDied, kTimeOut, kInterrupted };

struct ApartResult {
  ApartEnd end = ApartEnd::kDied;
  std::string bytes;  // what the work told, as far as it came
};

/// Hands bytes on to who waits for the work.
using Teller = std::function<void(std::string_view bytes)>;

/// Does `work` in a copy of this process, and hands back what it tells. The copy is ended by KILL
/// when the time is over or an interrupt comes: only for work that may be dropped anywhere.
/// @param milliseconds  real time; -1: no end.
ApartResult DoApart(const std::function<void(const Teller&)>& work, const Interrupts* interrupts,
                    int milliseconds);

}  // namespace tarvek::control
