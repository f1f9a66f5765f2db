// A set as a backup image.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "inspect/convert/conversion.h"

namespace tarvek::inspect {

struct ImageOptions {
  /// The identity block of the BMC that the image is for, 32 bytes, of which the last is the
  /// checksum and is computed anew; empty: all zero.
  std::span<const unsigned char> identity;
  /// What the header says of the time of its making, in seconds since the epoch. Nothing reads it;
  /// 0 by default, so that the same set always gives the same bytes.
  std::uint32_t creation_time = 0;
};

/// The image that a backup of a repository with these records would leave. Record IDs are given
/// anew, from 0001h upwards. Of the repository's state only the number of records is known: free
/// space and times stand as "unspecified". Tags have no place in an image: what is written is
/// programmed.
/// @return the bytes of the file.
/// @throws ConversionError  for a record that is not whole or has a body of more than 64 bytes, and
///   for the one with which the records have more than 32,767 bytes.
std::string ConvertToImage(const RecordSet& set, Which which, const ImageOptions& options = {});

}  // namespace tarvek::inspect
