#include "inspect/input/programmable.h"

#include <string>

#include "inspect/input/input_error.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {

void RequireProgrammable(const RecordSet& set, bool all) {
  if (!set.from_source) return;
  for (std::size_t i = 0; i < set.records.size(); ++i) {
    const InputRecord& record = set.records[i];
    if ((!record.selected && !all) || record.bytes[kRecordBodyLengthOffset] <= kMaxRecordBody) {
      continue;
    }
    throw InputError(record.place, "record " + std::to_string(i + 1) + " has a length byte of " +
                                       std::to_string(record.bytes[kRecordBodyLengthOffset]) +
                                       ", and the tool sends no body of more than 64 bytes");
  }
}

}  // namespace tarvek::inspect
