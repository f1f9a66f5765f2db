// A set as other tools dump one: raw, or in hexadecimal.
#pragma once

#include <string>

#include "inspect/convert/conversion.h"

namespace tarvek::inspect {

/// The records one after the other, each its 5-byte header and its body. Record IDs are given anew,
/// from 0001h upwards as a repository gives them; 0000h and FFFFh, which name no record, never.
/// @return the bytes of the file.
/// @throws ConversionError  when no record is there, for nothing is no dump, or one is not whole.
std::string ConvertToRaw(const RecordSet& set, Which which);

/// One record a line, "00 00 51 01 …", with the record ID 0000h: as `show --raw` writes it.
/// @return the text of the file.
/// @throws ConversionError  as ConvertToRaw().
std::string ConvertToHex(const RecordSet& set, Which which);

/// The record ID that the record `index` (from 0) of a set is given.
unsigned RecordIdAt(std::size_t index);

}  // namespace tarvek::inspect
