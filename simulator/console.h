#ifndef TARVEK_SIMULATOR_CONSOLE_H_
#define TARVEK_SIMULATOR_CONSOLE_H_

#include <cstddef>
#include <string>

namespace bmcsim {

/// Exit status of the launcher for a mistake in its own use, or for what it could not do.
inline constexpr int kOwnError = 2;

/// Sees to it that descriptors 0, 1 and 2 are open, so that no file of ours becomes one of them and
/// takes what is printed. One that was closed refuses to be read or written, as before, and is
/// closed again for the program that this one becomes.
void OccupyStandardDescriptors();

/// Tells on standard error what went wrong.
///
/// @return kOwnError.
int Fail(const std::string& message);

/// Writes a text to standard output.
///
/// @return 0, or kOwnError when it could not be written whole, which is told.
int Print(const std::string& text);

/// Reads a file whole.
///
/// @param most   the most bytes that it may have; no more are read, however large it is.
/// @param error  receives why, for people, when the result is false.
bool ReadText(const std::string& path, std::size_t most, std::string& text, std::string& error);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_CONSOLE_H_
