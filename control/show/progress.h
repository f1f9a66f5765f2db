// Progress as it is shown: a bar on a terminal, a line a phase elsewhere, objects in JSON.
#pragma once

#include <memory>
#include <string>

#include "control/engine/session.h"

namespace tarvek::control {

/// @return the bar's line, without what moves the cursor: "programming  [#####.....]  47 %, 12 s
/// left".
std::string BarText(const Progress& progress);

/// @param json      an object a line; otherwise a bar when standard output is a terminal.
/// @param command   as in results.
/// @return a sink; what it still shows is ended when it goes.
std::unique_ptr<ProgressSink> MakeProgressSink(bool json, const std::string& command);

/// @return a sink that shows nothing.
std::unique_ptr<ProgressSink> MakeQuietSink();

}  // namespace tarvek::control
