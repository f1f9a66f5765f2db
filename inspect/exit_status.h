// The exit statuses, which scripts rely on.
#pragma once

namespace tarvek::inspect {

inline constexpr int kExitGood = 0;
inline constexpr int kExitFound = 1;  // findings, or differences
inline constexpr int kExitWrongUse = 2;
inline constexpr int kExitFailed = 3;  // an input is wrong, or an output cannot be written

}  // namespace tarvek::inspect
