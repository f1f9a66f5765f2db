// A set as an SDR source file.
#pragma once

#include <string>

#include "inspect/convert/conversion.h"

namespace tarvek::inspect {

struct SourceOptions {
  /// What `_LF_NAME` shall say: the name of the file that is written, without its directory. What
  /// the tag cannot hold is replaced or cut; empty: the tool's own default, BMCSDR.SDR.
  std::string file_name;
};

/// A file of format 1.5 that a person can edit: above each record its number, name and kind; below,
/// its fields in rows with what they mean; ID strings as quoted text where the grammar allows it.
/// All records are in it, with their tags. Record IDs are 0000h, for the BMC gives its own.
///
/// Format 1.5 is the one for every set: under it alone the tool reads records back header first,
/// so that those of less than 16 bytes can be verified too.
/// @return the text of the file, plain ASCII except for what stands in tags, in lines of at most
///   254 bytes.
/// @throws ConversionError  for a record that is not whole, or has more than the 64 bytes that the
///   grammar takes, or a tag that cannot be quoted.
std::string ConvertToSource(const RecordSet& set, const SourceOptions& options = {});

}  // namespace tarvek::inspect
