// An open text input and the place in it.
#pragma once

#include <cstdio>

inline constexpr int kLineBufferSize = 256;  // bytes of a held line, the terminator included

/// The cursor over a text input, shared by the readers of SDR files and scripts. The destructor
/// leaves the stream open: whoever has finished with the file calls Close().
struct FileRecord {
  std::FILE* fp = nullptr;
  char line[kLineBufferSize] = {};  // the current line; empty when none is held
  char* pos = nullptr;              // next character of `line` to scan; null when none
  int lineNumber = 0;               // lines read so far

  FileRecord() = default;
  FileRecord(const FileRecord&) = delete;
  FileRecord& operator=(const FileRecord&) = delete;
  ~FileRecord() {
    fp = nullptr;
    pos = nullptr;
  }

  /// Closes the stream if it is open.
  void Close() {
    if (fp != nullptr) std::fclose(fp);
    fp = nullptr;
  }

  /// Forgets the rest of the held line, so that scanning goes on with a fresh one.
  void DropLine() {
    line[0] = '\0';
    pos = nullptr;
  }
};
