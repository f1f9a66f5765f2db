// Whether an update has something to do.
#pragma once

#include <optional>
#include <string>

#include "control/engine/records.h"

namespace tarvek::control {

/// What is weighed.
struct Facts {
  std::optional<std::string> input_version;   // reduced
  std::optional<std::string> served_version;  // reduced
  bool served_known = true;                   // what the BMC serves could be read
  bool empty = false;                         // it serves nothing
  bool identical = false;                     // it serves INPUT already
  bool force = false;
  bool reprogram = false;
};

enum class Verdict {
  kGo,         // there is something to do
  kIdentical,  // INPUT is in service already, and nothing asks for writing it again
  kSame,       // the same version is in service
  kNewer,      // a newer version is in service
  kNoVersion,  // INPUT has none, and is not forced
};

/// A normal update moves strictly forward; a forced one writes unless nothing would change, and
/// with `reprogram` even then.
Verdict Decide(const Facts& facts);

}  // namespace tarvek::control
