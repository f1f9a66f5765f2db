#include "inspect/convert/conversion.h"

#include "inspect/decode/record.h"
#include "inspect/text/escape.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {
namespace {

/// "record 7 ("CPU 1 Temp")"
std::string Described(const RecordSet& set, std::size_t number) {
  const std::string text = "record " + std::to_string(number);
  const Record record = Decode(set.records[number - 1].bytes);
  const std::string_view name = record.NameText();
  return name.empty() ? text : text + " (\"" + Escaped(name) + "\")";
}

std::size_t SizeByLengthByte(const InputRecord& record) {
  return kRecordHeaderSize + std::size_t{record.bytes[kRecordBodyLengthOffset]};
}

void RequireWhole(const RecordSet& set, const NumberedRecord& entry) {
  const std::size_t size = entry.record->bytes.size();
  if (size < kRecordHeaderSize) {
    throw ConversionError(set, entry.number, "has no whole header");
  }
  if (size == SizeByLengthByte(*entry.record)) return;
  throw ConversionError(set, entry.number,
                        "has " + std::to_string(size) + " bytes, but its length byte asks for " +
                            std::to_string(SizeByLengthByte(*entry.record)));
}

}  // namespace

ConversionError::ConversionError(const RecordSet& set, std::size_t number, const std::string& why)
    : std::runtime_error(Described(set, number) + " " + why), record(number) {}

std::vector<NumberedRecord> WholeRecords(const RecordSet& set, Which which) {
  std::vector<NumberedRecord> records;
  for (std::size_t i = 0; i < set.records.size(); ++i) {
    const NumberedRecord entry{i + 1, &set.records[i]};
    if (which == Which::kSelected && !entry.record->selected) continue;
    RequireWhole(set, entry);
    records.push_back(entry);
  }
  return records;
}

}  // namespace tarvek::inspect
