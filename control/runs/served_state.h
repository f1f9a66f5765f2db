// What the BMC served when it was last read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "control/contract/result.h"
#include "control/system/files.h"

namespace tarvek::control {

struct ServedState {
  std::string product;  // "01a3"
  std::string driver;
  unsigned records = 0;
  std::uint32_t added = 0;  // time stamps of the repository, seconds since 1970
  std::uint32_t erased = 0;
  std::optional<std::string> version;  // five characters
  std::optional<std::string> script;
  std::string digest;                     // of the records
  std::optional<std::string> programmed;  // the digest of what the last good run left
  long read = 0;                          // when, seconds since 1970

  /// Whether the BMC serves something else than the last good run left; absent when there was none.
  std::optional<bool> Drift() const;
};

/// @return what is known; absent when nothing is, or what is there is not to be understood.
std::optional<ServedState> ReadServedState(const Directory& state);
void SaveServedState(const Directory& state, const ServedState& served);

}  // namespace tarvek::control
