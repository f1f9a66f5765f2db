// Sets of records as no author would write them.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "inspect/input/record_set.h"

namespace tarvek::inspect::testing {

using Random = std::mt19937;

/// The record types that section 43 defines, and some that it does not.
inline constexpr unsigned char kRecordTypes[] = {0x01, 0x02, 0x03, 0x08, 0x09, 0x10, 0x11,
                                                 0x12, 0x13, 0x14, 0xC0, 0x00, 0x7F, 0xFF};

/// A record of a type with a body of random bytes, or of bytes that a text file may stumble over.
InputRecord RandomRecord(unsigned char type, std::size_t body, Random* random);

/// A record of a type that has an ID string, and ends with one of `text` whose type/length byte is
/// of 8-bit ASCII.
InputRecord NamedRecord(unsigned char type, const std::string& text);

/// A record whose bytes are given; the header's length byte is set by them.
InputRecord PlainRecord(std::vector<unsigned char> bytes);

/// What is programmed of a set: every selected record without its ID.
std::vector<std::vector<unsigned char>> Programmed(const RecordSet& set);

/// The set that a file of these bytes holds, read by the reader of the form that is told from them.
RecordSet ReadBack(const std::string& bytes);

}  // namespace tarvek::inspect::testing
