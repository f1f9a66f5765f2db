// Opening the tool's text files. What stands under their names may be anything: none of it may
// hold the tool up, or lead it where a stranger wants it.
#pragma once

#include <cstdio>
#include <string_view>

#include "driver/reporting/text_format.h"

namespace tarvek {

/// Opens `path` for reading. A pipe without a writer does not hold the caller up: it opens and
/// turns out to be empty. Devices are refused: some of them never end.
/// @return the stream, the caller's to close; null when the file cannot be opened.
std::FILE* OpenInput(const char* path);

/// Whether an open descriptor is a character or block device that no input may be. The null device
/// is not one of them: it is an empty file to every reader.
bool IsDevice(int fd);

/// open() for a file of the tool's own, whatever it is. A symbolic link is followed only if this
/// user, root or the owner of the directory that it stands in has made it: the rule that the
/// kernel has for sticky directories, here for all. So nobody who may merely write to the
/// directory chooses which file of root's is written or read. Each link of a chain is judged, and
/// the link that was judged is the very one that is followed, whatever happens to its name.
///
/// @param flags  without O_NOFOLLOW and O_PATH.
/// @param mode   of a file that is created.
/// @return the descriptor, or -1 with `errno` set: ELOOP for a link that is not followed.
int OpenTrusted(const char* path, int flags, unsigned mode);

/// Opens a file that a run of the tool has written, to read it: links are followed as by
/// OpenTrusted(), and what is opened is a regular file with no second name, which somebody may
/// have given to any file at all, or the null device.
/// @return the descriptor, or -1.
int OpenOwnInput(const char* path);

/// The directory that a path's last name stands in; "." for a name alone.
PathText DirectoryOf(std::string_view path);

}  // namespace tarvek
