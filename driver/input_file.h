// Opening the tool's text inputs.
#pragma once

#include <cstdio>

namespace tarvek {

/// Opens `path` for reading. A pipe without a writer does not hold the caller up: it opens and
/// turns out to be empty.
/// @return the stream, the caller's to close; null when the file cannot be opened.
std::FILE* OpenInput(const char* path);

}  // namespace tarvek
