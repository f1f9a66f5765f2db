// How the page looks.
#pragma once

#include <string_view>

namespace tarvek::inspect {

/// The style sheet: light and dark, wide and narrow, screen and paper.
extern const std::string_view kReportStyle;

}  // namespace tarvek::inspect
