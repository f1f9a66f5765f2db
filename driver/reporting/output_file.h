// Writing the tool's text files: each report in one go, in place, and without taking memory.
#pragma once

#include <cstdint>
#include <string_view>

namespace tarvek {

/// What an output file that is there already keeps.
enum class Keep : std::uint8_t { kNothing, kContent };

/// How the writing of an output went.
enum class Written : std::uint8_t {
  kWhole,
  kNotOpened,  ///< it could be neither opened nor created; nothing has changed
  kLost,       ///< it was opened, and could not be written or closed
};

/// The longest text that replaces another, in bytes.
inline constexpr std::size_t kLongestOutput = 65536;

/// Writes `text` to the file at `path`, created if need be. Links are judged as by OpenTrusted(),
/// and a pipe without a reader cannot be opened.
///
/// A regular file whose content is replaced stays the same file, and one who reads it meanwhile
/// finds the old text whole or the new text whole, white space behind either; only after a write
/// has failed an empty file. A file that is not there appears with its text in it. Of a text that
/// could not be written nothing stays, and nothing of the text before it: a caller must not take
/// an earlier report for the one that is missing.
///
/// To that end the file first grows with line feeds to the length of the new text; a single
/// write() lays the new text over the old one, and line feeds over what that has more; and then
/// the file is cut. A file that could not be written so is emptied and tried once more.
///
/// A single write() leaves undecided:
/// - What a read() sees that is under way in the same instant: most file systems do not order the
///   two, and it may find the beginning of one text and the end of the other. Nor does anybody
///   order several read() calls. Who must be sure reads once more until two readings agree.
/// - What is seen between a write that the system breaks off in its middle, which disks do not do
///   where the file has its place already, and the cut that follows at once.
/// - What a crash of the machine leaves, or a close() that fails: nothing is forced to the disk.
/// - Two writers at a time: they are kept apart by who has the lock, or not at all.
/// Where there is no /proc, or the file system has no files without a name (O_TMPFILE), a file that
/// is created is empty for a moment; so is one that is created through a link, and one of more
/// than kLongestOutput bytes that is replaced, of which the tool writes none.
///
/// @param text  at most kLongestOutput bytes where content is replaced.
Written WriteOutput(const char* path, Keep keep, std::string_view text);

}  // namespace tarvek
