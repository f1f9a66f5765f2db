#ifndef TARVEK_SIMULATOR_FAULT_WORDS_H_
#define TARVEK_SIMULATOR_FAULT_WORDS_H_

#include <cstdint>
#include <string_view>

#include "simulator/fault_plan.h"

namespace bmcsim {

// The words of a fault plan: its actions, and the names of requests, errnos and signals.

/// What stands behind an action's word.
enum class FaultShape : std::uint8_t {
  kNothing,
  kHexByte,
  kHexWord,
  kDecimal,
  kBytes,
  kPlacedBytes,
  kRecord,
  kErrno,
  kSeconds,
  kMaybeSeconds,
  kSignal,
  kClockStep,
};

struct FaultVerb {
  std::string_view name;
  Fault fault;
  FaultShape shape;
};

/// @return the action of this name, or null.
const FaultVerb* FindFaultVerb(std::string_view name);

/// @return the bytes, as a plan writes them, of the request with this name; an unknown name itself.
std::string_view FaultRequestPattern(std::string_view name);

/// @return the errno of this name, or 0.
std::uint32_t FaultErrno(std::string_view name);

/// @return the signal of this name (without SIG), or 0.
std::uint32_t FaultSignal(std::string_view name);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_FAULT_WORDS_H_
