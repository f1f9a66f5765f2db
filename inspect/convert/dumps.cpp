#include "inspect/convert/dumps.h"

#include "inspect/decode/explain.h"
#include "transport/ipmi_layout.h"

namespace tarvek::inspect {
namespace {

std::vector<NumberedRecord> SomeRecords(const RecordSet& set, Which which) {
  std::vector<NumberedRecord> records = WholeRecords(set, which);
  if (records.empty()) throw ConversionError("a dump of no records cannot be read back");
  return records;
}

}  // namespace

unsigned RecordIdAt(std::size_t index) {
  constexpr std::size_t kIds = 0xFFFE;
  return static_cast<unsigned>(index % kIds + 1);
}

std::string ConvertToRaw(const RecordSet& set, Which which) {
  std::string dump;
  std::size_t index = 0;
  for (const NumberedRecord& entry : SomeRecords(set, which)) {
    std::vector<unsigned char> bytes = entry.record->bytes;
    WriteWord(bytes.data(), RecordIdAt(index++));
    dump.append(bytes.begin(), bytes.end());
  }
  return dump;
}

std::string ConvertToHex(const RecordSet& set, Which which) {
  std::string dump;
  for (const NumberedRecord& entry : SomeRecords(set, which)) {
    std::vector<unsigned char> bytes = entry.record->bytes;
    WriteWord(bytes.data(), 0);
    dump += HexText(bytes) + "\n";
  }
  return dump;
}

}  // namespace tarvek::inspect
