#include "inspect/convert/source_rows.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>

#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {
namespace {

// Where rows begin, by record type: offsets in the record, header included. An ID string has the
// last row.
constexpr std::array<std::size_t, 31> kFull{0,  5,  8,  10, 11, 12, 14, 16, 18, 20, 23,
                                            24, 26, 29, 30, 31, 32, 33, 34, 35, 36, 37,
                                            38, 39, 40, 41, 42, 43, 44, 46, 47};
constexpr std::array<std::size_t, 16> kCompact{0,  5,  8,  10, 11, 12, 14, 16,
                                               18, 20, 23, 25, 26, 27, 30, 31};
constexpr std::array<std::size_t, 8> kEventOnly{0, 5, 8, 10, 12, 14, 15, 16};
constexpr std::array<std::size_t, 7> kAssociation{0, 5, 7, 8, 10, 12, 14};
constexpr std::array<std::size_t, 9> kDeviceAssociation{0, 5, 7, 9, 10, 14, 18, 22, 26};
constexpr std::array<std::size_t, 7> kDeviceLocator{0, 5, 9, 10, 12, 14, 15};
constexpr std::array<std::size_t, 8> kControllerLocator{0, 5, 7, 8, 9, 12, 14, 15};
constexpr std::array<std::size_t, 7> kConfirmation{0, 5, 6, 10, 11, 14, 16};
constexpr std::array<std::size_t, 12> kChannelInfo{0, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::array<std::size_t, 3> kOem{0, 5, 8};
constexpr std::array<std::size_t, 2> kUnknown{0, 5};

constexpr std::size_t kMaxRowSize = 16;
constexpr std::size_t kMaxIdString = 22;     // characters of a quoted text
constexpr std::size_t kMaxOemIdString = 56;  // the same in an OEM record
constexpr std::size_t kShortestOemText = 4;  // fewer readable bytes are no text but chance

std::span<const std::size_t> RowStarts(const Record& record) {
  switch (static_cast<RecordType>(record.type)) {
    case RecordType::kFullSensor:
      return kFull;
    case RecordType::kCompactSensor:
      return kCompact;
    case RecordType::kEventOnly:
      return kEventOnly;
    case RecordType::kEntityAssociation:
      return kAssociation;
    case RecordType::kDeviceEntityAssociation:
      return kDeviceAssociation;
    case RecordType::kGenericDeviceLocator:
    case RecordType::kFruDeviceLocator:
      return kDeviceLocator;
    case RecordType::kControllerLocator:
      return kControllerLocator;
    case RecordType::kControllerConfirmation:
      return kConfirmation;
    case RecordType::kMessageChannelInfo:
      return kChannelInfo;
    case RecordType::kOem:
      return kOem;
  }
  return kUnknown;
}

/// What may stand between quotes in a file that is plain ASCII.
bool IsQuotable(unsigned char byte) { return byte >= ' ' && byte <= '~' && byte != '\''; }

std::size_t QuotableTail(const Record& record, std::size_t from) {
  std::size_t count = 0;
  while (record.used - count > from && IsQuotable(record.bytes[record.used - count - 1])) ++count;
  return count;
}

/// How many bytes at the end of the record are written as text.
std::size_t TextSize(const Record& record) {
  if (record.name) {
    const Name& name = *record.name;
    const bool to_the_end = name.offset + name.byte_count == record.used;
    const bool fits = name.byte_count <= kMaxIdString && name.encoding == NameEncoding::kAscii;
    const bool quotable = QuotableTail(record, name.offset) == name.byte_count;
    return to_the_end && fits && quotable ? name.byte_count : 0;
  }
  if (!record.Is(RecordType::kOem) || !record.data) return 0;
  const std::size_t count = QuotableTail(record, record.used - record.data->size());
  return count >= kShortestOemText && count <= kMaxOemIdString ? count : 0;
}

/// Adds the bytes from `begin` to `end`, which may be many.
void AddRows(std::size_t begin, std::size_t end, std::size_t text, std::vector<SourceRow>* rows) {
  const std::size_t data_end = end - text;
  while (data_end - begin > kMaxRowSize) {
    rows->push_back({begin, kMaxRowSize, 0});
    begin += kMaxRowSize;
  }
  rows->push_back({begin, end - begin, text});
}

}  // namespace

std::vector<SourceRow> RowsOf(const Record& record) {
  const std::span<const std::size_t> starts = RowStarts(record);
  const std::size_t text = TextSize(record);
  std::vector<SourceRow> rows;
  for (std::size_t i = 0; i < starts.size() && starts[i] < record.used; ++i) {
    const bool last = i + 1 == starts.size();
    const std::size_t end = last ? record.used : std::min(starts[i + 1], record.used);
    AddRows(starts[i], end, end == record.used ? text : 0, &rows);
  }
  return rows;
}

}  // namespace tarvek::inspect
