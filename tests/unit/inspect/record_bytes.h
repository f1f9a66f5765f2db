// Records to take apart, byte by byte.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "inspect/decode/record.h"

namespace tarvek_test {

using tarvek::inspect::Bytes;
using tarvek::inspect::Record;

/// The bytes that `hex` writes; blanks are passed over.
Bytes FromHex(std::string_view hex);

/// "412C": the other way round.
std::string ToHex(const Bytes& bytes);

/// `bytes` with some of them changed.
Bytes With(Bytes bytes, std::initializer_list<std::pair<std::size_t, int>> changes);

/// The first `size` bytes, with the length byte that belongs to them.
Bytes CutTo(Bytes bytes, std::size_t size);

/// A record of the type, complete, every field other than zero.
struct Sample {
  const char* name;
  int type;
  std::string_view hex;
};
extern const Sample kFull;          // a temperature with all six thresholds
extern const Sample kFullDiscrete;  // with type 6Fh
extern const Sample kCompact;       // discrete
extern const Sample kEventOnly;
extern const Sample kAssociation;        // a list
extern const Sample kDeviceAssociation;  // ranges
extern const Sample kGenericLocator;
extern const Sample kFruLocator;  // logical
extern const Sample kControllerLocator;
extern const Sample kConfirmation;
extern const Sample kChannelInfo;
extern const Sample kOem;
extern const Sample kUnknown;
/// All of them.
std::initializer_list<const Sample*> Samples();

Record DecodeHex(std::string_view hex);

}  // namespace tarvek_test
