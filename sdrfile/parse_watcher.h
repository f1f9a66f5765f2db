// Watching a source file being parsed.
#pragma once

#include "errors/catalogue.h"
#include "sdrfile/token.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek {

/// Sees what SDRFile::Parse() sees, in the order of the file: the seam for programs that show a
/// source file instead of programming it. The parse is the same with and without a watcher. What
/// the calls are given is valid while they last.
class ParseWatcher {
 public:
  virtual ~ParseWatcher() = default;

  /// A token was read, the empty one at the end of the file included.
  /// @param file    its held line is the token's, `lineNumber` its number.
  /// @param column  where the token begins: bytes from the start of the held line, from 0.
  virtual void OnToken(const TokenTbl& token, const FileRecord& file, int column) = 0;
  /// The token that was read last is passed over: it stands between records, or behind a C0.
  virtual void OnSkipped(const TokenTbl& token, bool behind_c0) = 0;
  /// The token that was read last is the `_SDR_TYPE` of a record.
  virtual void OnRecordBegin() = 0;
  /// The token that was read last names a tag of the record.
  virtual void OnTag(const char* name) = 0;
  /// The token that was read last is data that no bytes could be made of. Unless it is the
  /// record's last, the parse goes on: its bytes stay 0.
  virtual void OnLostData() = 0;
  /// A record is complete.
  virtual void OnRecord(const SDRecord& record, bool selected) = 0;
  /// The parse ends with a fault, at the token that was read last. When there are two calls, the
  /// first names the cause, and the second is what the tool tells instead.
  /// @param status  81 when the last line of the log tells which.
  virtual void OnFault(ESTATUS status) = 0;
};

}  // namespace tarvek
