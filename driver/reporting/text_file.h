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

/// Whether an open descriptor is a character or block device that no input may be. The null device
/// is not one of them: it is an empty file to every reader.
bool IsDevice(int fd);

/// What an output file that is there already keeps.
enum class Keep { kNothing, kContent };

/// open() for a file that is to be written, of any kind. A symbolic link is followed only if this
/// user, root or the owner of the directory that it stands in has made it: the rule that the
/// kernel has for sticky directories, here for all. So nobody who may merely write to the
/// directory chooses which file of root's is overwritten.
/// @param flags  without O_NOFOLLOW.
/// @return the descriptor, or -1 with `errno` set: ELOOP for a link that is not followed.
int OpenForWriting(const char* path, int flags, unsigned mode);

/// Opens `path` for writing, created if need be, from its start or at its end. A pipe without a
/// reader cannot be opened.
/// @return the stream, the caller's to close; null when the file cannot be opened.
std::FILE* OpenOutput(const char* path, Keep keep);

/// Writes `text` to the file at `path`, created if need be, in one go and without taking memory.
/// What is replaced is never empty in between.
/// @return whether all of it was written.
bool WriteOutput(const char* path, Keep keep, std::string_view text);

}  // namespace tarvek
