// What the log says of each numbered error, as callers know it.
#pragma once

#include <string>
#include <string_view>

namespace blackbox {

/// How the log's line begins, behind "Error, ", for a result code like "SDR029".
/// @return the text up to where it differs from run to run; empty when the code is no error's.
std::string_view ErrorText(const std::string& code);

}  // namespace blackbox
