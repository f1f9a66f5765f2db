// What a record is.
#pragma once

#include <string>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// @return a key that is the same for records that are the same thing; bytes, for comparing only.
std::string IdentityOf(const Record& record);

/// @return what `diff` compares of a record: its bytes without the record ID.
std::string ContentOf(const Record& record);

}  // namespace tarvek::inspect
