// What a run came to: by what the BMC serves afterwards, not by the tool's last word.
#pragma once

#include <optional>

#include "control/engine/reading.h"
#include "control/engine/run_files.h"
#include "control/engine/session.h"

namespace tarvek::control {

/// What is known at the end of a run of the tool that may have written.
struct End {
  bool interrupted = false;            // INT or TERM came, or a signal ended the tool
  std::string code;                    // the tool's result code
  std::optional<NumberedError> error;  // from its log
  std::optional<RecordList> after;     // what the BMC serves; absent: it could not be read
  std::optional<std::string> version_after;
  std::string unread;  // why it could not
};

/// The result of a run by what was found. Pure.
Result Conclude(const Session& session, const Plan& plan, const End& end);

/// Reads the BMC once no program of the run writes any more, and concludes. Goes on whatever
/// interrupts come.
Result VerifyRun(const Session& session, const Run& run, const Plan& plan, bool interrupted);

}  // namespace tarvek::control
