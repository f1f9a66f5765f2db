// ID strings.
#include <algorithm>

#include "inspect/check/subject.h"
#include "inspect/decode/utf8.h"

namespace tarvek::inspect {

namespace {

constexpr std::size_t kMostNameBytes = 16;
constexpr int kReservedLength = 31;  // of any encoding
constexpr int kReservedAsciiLength = 1;
constexpr std::size_t kBitsPerByte = 8;

void CheckLength(const Name& name, std::size_t index, Findings* findings) {
  if (name.characters < name.declared_length) {
    findings->Add(RuleId::kNameCut, index,
                  "The ID string is to have " + std::to_string(name.declared_length) +
                      " characters in " + std::to_string(name.bytes_due) +
                      " bytes, and the record ends after " + std::to_string(name.characters) +
                      " of them; correct its length or that of the record.");
  }
  if (name.bytes_due > kMostNameBytes) {
    findings->Add(RuleId::kNameTooLong, index,
                  "The ID string takes " + std::to_string(name.bytes_due) +
                      " bytes, and the standard allows 16; shorten it.");
  }
  std::string reserved;
  if (name.declared_length == kReservedLength) {
    reserved = "a length of 31";
  } else if (name.encoding == NameEncoding::kAscii &&
             name.declared_length == kReservedAsciiLength) {
    reserved = "a length of 1 for 8-bit ASCII";
  } else if (name.reserved_bit) {
    reserved = "bit 5 of the type/length byte";
  }
  if (reserved.empty()) return;
  findings->Add(RuleId::kNameLengthReserved, index,
                "The standard reserves " + reserved + "; readers may take it for something else: " +
                    "give the ID string another length or encoding.");
}

bool IsControl(unsigned unit) {
  constexpr unsigned kFirstPrintable = 0x20;
  constexpr unsigned kDelete = 0x7F;
  constexpr unsigned kLastControl = 0x9F;
  return unit < kFirstPrintable || (unit >= kDelete && unit <= kLastControl);
}

std::string AsciiFault(std::span<const unsigned char> bytes) {
  const auto control = std::find_if(bytes.begin(), bytes.end(), IsControl);
  if (control == bytes.end()) return "";
  return "The ID string has the byte " + HexNumber(*control) +
         ", which is no printable character of 8-bit ASCII and Latin-1; replace it.";
}

std::string UnicodeFault(std::span<const unsigned char> bytes) {
  constexpr unsigned kNoCharacter = 0xFFFE;
  const auto unit = [&](std::size_t i) -> unsigned {
    return 2 * i + 1 < bytes.size()
               ? bytes[2 * i] | static_cast<unsigned>(bytes[2 * i + 1]) << kBitsPerByte
               : 0;
  };
  for (std::size_t i = 0; 2 * i + 1 < bytes.size(); ++i) {
    const bool pair = IsHighSurrogate(unit(i)) && IsLowSurrogate(unit(i + 1));
    const bool half = !pair && (IsHighSurrogate(unit(i)) || IsLowSurrogate(unit(i)));
    if (half || IsControl(unit(i)) || unit(i) >= kNoCharacter) {
      return "Character " + std::to_string(i + 1) + " of the ID string, the bytes " +
             HexNumber(bytes[2 * i]) + " " + HexNumber(bytes[2 * i + 1]) +
             ", is no printable Unicode character; replace it, low byte first.";
    }
    if (pair) ++i;
  }
  return "";
}

/// The bits of the last byte that belong to no character. BCD plus fills a byte from its high bits
/// down, 6-bit ASCII from its low bits up.
std::string LeftOverFault(const Name& name, std::span<const unsigned char> bytes) {
  const bool bcd = name.encoding == NameEncoding::kBcdPlus;
  const std::size_t bits = static_cast<std::size_t>(name.characters) * (bcd ? 4 : 6);
  const std::size_t used = bits % kBitsPerByte;
  if (used == 0 || bytes.empty()) return "";
  const unsigned last = bytes.back();
  const unsigned left_over = bcd ? last & (0xFFU >> used) : last >> used;
  if (left_over == 0) return "";
  return "The ID string's last character leaves bits of the byte " + HexNumber(bytes.back()) +
         " that are not 0; its length counts characters, not bytes: correct one or the other.";
}

std::string EncodingFault(const Record& record, const Name& name) {
  const auto bytes = std::span(record.bytes).subspan(name.offset, name.byte_count);
  switch (name.encoding) {
    case NameEncoding::kUnicode:
      return UnicodeFault(bytes);
    case NameEncoding::kAscii:
      return AsciiFault(bytes);
    case NameEncoding::kBcdPlus:
    case NameEncoding::kSixBit:
      break;
  }
  // Of a string that its record cuts, the last byte is not the last one.
  return name.characters == name.declared_length ? LeftOverFault(name, bytes) : "";
}

}  // namespace

void CheckNames(const Subject& subject, Findings* findings) {
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    const Record& record = subject.records[i];
    if (!record.name) continue;
    CheckLength(*record.name, i, findings);
    std::string fault = EncodingFault(record, *record.name);
    if (!fault.empty()) findings->Add(RuleId::kNameEncoding, i, std::move(fault));
  }
}

}  // namespace tarvek::inspect
