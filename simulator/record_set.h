#ifndef TARVEK_SIMULATOR_RECORD_SET_H_
#define TARVEK_SIMULATOR_RECORD_SET_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/bmc_state.h"

namespace bmcsim {

/// A record from a file.
struct FileRecord {
  std::string place;                ///< where it stands in the file, for people
  std::uint16_t id = kFirstRecord;  ///< its record ID; kFirstRecord: it has none
  std::vector<std::uint8_t> bytes;  ///< SDR version, record type, body length, body
};

/// What a board was like when its BMC answered Get SDR Repository Info, seconds since the epoch.
struct SetTimes {
  std::uint32_t addition = 0;
  std::uint32_t erase = 0;
};

/// The records of a board, and what else the file tells of it.
struct RecordSet {
  std::vector<FileRecord> records;
  std::optional<Identity> identity;  ///< of the board's BMC
  std::optional<SetTimes> times;
};

/// Reads a file of records. Its content tells which of three it is:
///
/// - a backup image: it begins with "KOV IPMI". Its checksums must be right.
/// - a text, which has no control characters but those that part words and lines: a record a line,
///   each byte as two hex digits, with or without its record ID, the same in all lines; where both
///   could be meant, without. Empty lines and what follows '#' are passed over.
/// - anything else is records back to back, each with its five-byte header.
///
/// @param content  any bytes whatever.
/// @param set      receives the records in the file's order.
/// @param error    receives what is wrong and where, for people, when the result is false.
bool ParseRecordSet(std::string_view content, RecordSet& set, std::string& error);

/// Reads a backup image; see ParseRecordSet.
bool ParseImageSet(std::string_view content, RecordSet& set, std::string& error);

/// Reads records back to back from `begin` to the content's end.
bool ParseRawRecords(std::string_view content, std::size_t begin, RecordSet& set,
                     std::string& error);

/// Appends the records to the served store. They keep their record IDs; one that has none, or one
/// that is taken or means something else, gets the next that is free.
///
/// @param error  receives which record does not fit the capacity when the result is false.
bool AddRecordSet(const RecordSet& set, BmcState& state, std::string& error);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_RECORD_SET_H_
