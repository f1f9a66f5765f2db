// A terminal's colours.
#pragma once

#include <string>
#include <string_view>

namespace tarvek::inspect {

enum class Paint { kPlain, kTitle, kFaint, kGood, kWarning, kBad, kNote };

/// @param color  false: `text` as it is.
/// @return `text` in that look, and behind it the terminal's own again.
std::string Painted(std::string_view text, Paint paint, bool color);

}  // namespace tarvek::inspect
