// Small operations on files, strings and hex digits that all input readers share.
#pragma once

#include <cstdio>

#include "errors/prg_error.h"
#include "sdrfile/utilities/file_record.h"
#include "sdrfile/utilities/tag_table.h"

inline std::FILE* gTempFile = nullptr;  // scratch output of the loaders, mostly the null device

class LibFunct : public PrgError {
 public:
  /// Waits `ms` milliseconds.
  /// @return what usleep() returned.
  int SleepMs(unsigned short ms) const;

  /// Writes a progress line to the history log and, without a line feed, to `gTempFile`.
  /// @return 0, or 73 (reported) when `gTempFile` cannot be written.
  int WriteLn(const char* text) const;

  /// Tests whether a tag is set. Letter case is ignored; a "#" in `name` matches any digit of a
  /// list entry (deliberately not the other way round). At most 32 characters are compared.
  /// @param list  the tags that are set; null: none.
  /// @return 1 when `name` matches an entry, else 0.
  int CheckTable(const TagTbl* list, const char* name) const;

  /// Opens a text input and puts the cursor before its first line. In mode "rb" (case ignored)
  /// the whole file is first scanned for foreign characters and long lines.
  /// @param mode  a mode of fopen().
  /// @return 0; 66 when the file cannot be opened (not reported); 81 when it is empty and `mode`
  ///   is not "w" (not reported) or when the scan failed (70 or 72 reported). With 81 the stream
  ///   is open and the caller's to close.
  int OpenFile(const char* path, FileRecord* fr, const char* mode) const;

  /// Empties a string that holds a byte which may not be printed: below 0x20, or 0x80 and above.
  /// @param s  changed in place; nothing behind its terminator or its first such byte is read.
  /// @return `s`.
  char* ValidString(char* s) const;

  /// @return the value of a hexadecimal digit of either case, 16 for any other character.
  int AsciiDigitToNibble(char c) const;

  /// Converts hex text into exactly `n` bytes, high byte first, with leading zero bytes.
  /// @param out  receives `n` bytes.
  /// @return 0, or 3 when `n` is 0, the text is empty or longer than 2 * `n` digits (nothing is
  ///   written then), or a digit is invalid (the bytes before it were written).
  int StringToBytes(const char* hex, unsigned char* out, unsigned int n) const;

  /// Dumps a record to `gTempFile`: the title, the buffer as a string, and its first 64 bytes as
  /// four rows of hex and characters. The string is made safe to print in place: a record with an
  /// unprintable byte before its first zero byte loses its first byte, deliberately.
  /// @param buf    at least 64 bytes; without an unprintable byte it holds a zero byte, which may
  ///   stand behind the 64th.
  /// @param title  terminated; made safe to print in place.
  /// @return 0.
  int HexDumpBufferToASCIIFile(unsigned char* buf, char* title) const;
};

inline LibFunct fruLib;  // for callers outside the class chain
