// How the bytes of a record are laid out in a source file.
#pragma once

#include <cstddef>
#include <vector>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// Bytes that stand on a line of their own, from `offset` (in the record) on.
struct SourceRow {
  std::size_t offset = 0;
  std::size_t size = 0;
  std::size_t text = 0;  // bytes at its end that the grammar takes as quoted text; mostly 0
};

/// All bytes of `record`, in rows of what belongs together by section 43, each reading of a full
/// sensor in a row of its own.
std::vector<SourceRow> RowsOf(const Record& record);

}  // namespace tarvek::inspect
