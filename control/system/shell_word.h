// Commands for people to type.
#pragma once

#include <string>

namespace tarvek::control {

/// @return a text as a word of a shell's command, quoted if need be; not escaped for a terminal.
std::string ShellWord(const std::string& text);

}  // namespace tarvek::control
