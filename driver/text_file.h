// Opening the tool's text files. What stands under their names may be anything: none of it may
// hold the tool up.
#pragma once

#include <cstdio>
#include <string_view>

namespace tarvek {

/// Opens `path` for reading. A pipe without a writer does not hold the caller up: it opens and
/// turns out to be empty. Devices are refused: some of them never end.
/// @return the stream, the caller's to close; null when the file cannot be opened.
std::FILE* OpenInput(const char* path);

/// Whether an open descriptor is a character or block device, which no input may be.
bool IsDevice(int fd);

/// What an output file that is there already keeps.
enum class Keep { kNothing, kContent };

/// Opens `path` for writing, created if need be, from its start or at its end. A pipe without a
/// reader cannot be opened.
/// @return the stream, the caller's to close; null when the file cannot be opened.
std::FILE* OpenOutput(const char* path, Keep keep);

/// Writes `text` to the file at `path`, created if need be, in one go and without taking memory.
/// @return whether all of it was written.
bool WriteOutput(const char* path, Keep keep, std::string_view text);

}  // namespace tarvek
