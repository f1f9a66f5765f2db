// Standard output as the operator sees it: every write appears at once.
#pragma once

#include <string_view>

namespace tarvek {

/// Writes `text` to standard output and flushes it, so that progress counters show
/// through a pipe too and an end by signal loses nothing. Write errors are not reported:
/// a closed console must not end an update.
void ConsoleWrite(std::string_view text);

/// ConsoleWrite(), and a line feed unless `text` ends with one.
void ConsoleWriteLine(std::string_view text);

/// Shows the running record number on one line of the console: " ----- > #N" and a
/// carriage return. Does nothing unless the run echoes to the console (`g_display_flg`).
void ConsoleCounter(int n);

/// Ends the line that ConsoleCounter() kept rewriting, under the same condition.
void ConsoleCounterEnd();

}  // namespace tarvek
