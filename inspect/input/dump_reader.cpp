#include "inspect/input/dump_reader.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <utility>

#include "inspect/input/input_error.h"
#include "sdrfile/utilities/lib_funct.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kHeader = kRecordHeaderSize;
constexpr std::size_t kIdSize = 2;
constexpr unsigned kNibbleBits = 4;
constexpr int kNibbles = 16;

[[noreturn]] void Fail(Place place, const std::string& message, std::string_view line = {}) {
  InputError error(std::move(place), message);
  error.line = line;
  throw InputError(std::move(error));
}

std::string Bytes(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

/// A line of a hexadecimal dump.
struct HexLine {
  Place place;
  std::string_view text;  // as it stands there
  std::vector<unsigned char> bytes;
};

/// Turns the digits of a line into bytes: blanks may stand between bytes, not within one.
std::vector<unsigned char> ReadDigits(const Place& place, std::string_view line,
                                      std::string_view digits) {
  std::vector<unsigned char> bytes;
  int high = kNibbles;  // of a byte that is begun
  for (std::size_t i = 0; i <= digits.size(); ++i) {
    const char c = i < digits.size() ? digits[i] : ' ';
    const int nibble = fruLib.AsciiDigitToNibble(c);
    const bool blank = std::isspace(static_cast<unsigned char>(c)) != 0;
    if (blank && high == kNibbles) continue;
    if (nibble == kNibbles) {
      Place at = place;
      at.column = static_cast<int>(i + 1);
      Fail(at,
           blank ? "half a byte: expected a second hexadecimal digit"
                 : "expected a hexadecimal digit",
           line);
    }
    if (high == kNibbles) {
      high = nibble;
    } else {
      bytes.push_back(static_cast<unsigned char>((high << kNibbleBits) | nibble));
      high = kNibbles;
    }
  }
  return bytes;
}

std::vector<HexLine> ReadLines(const Snapshot& input) {
  std::vector<HexLine> lines;
  std::string_view left = input.bytes();
  for (int number = 1; !left.empty(); ++number) {
    std::string_view text = left.substr(0, left.find('\n'));
    left.remove_prefix(std::min(text.size() + 1, left.size()));
    if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
    const std::string_view digits = text.substr(0, std::min(text.find('#'), text.find("//")));
    HexLine line{{input.name(), number, 1, {}}, text, {}};
    const std::size_t first = digits.find_first_not_of(" \t");
    if (first == std::string_view::npos) continue;
    line.place.column = static_cast<int>(first + 1);
    line.bytes = ReadDigits(line.place, text, digits);
    lines.push_back(std::move(line));
  }
  return lines;
}

/// Whether a line is one whole record, behind `id_size` bytes of record ID.
bool IsRecord(const HexLine& line, std::size_t id_size) {
  const std::size_t header = kHeader - kIdSize + id_size;
  return line.bytes.size() >= header && line.bytes.size() == header + line.bytes[header - 1];
}

[[noreturn]] void FailAtLine(const HexLine& line, std::size_t id_size) {
  const std::size_t header = kHeader - kIdSize + id_size;
  const std::string form =
      id_size == 0 ? " (read without a record ID)" : " (read with a record ID)";
  const std::string has = ", the line has " + Bytes(line.bytes.size()) + form;
  if (line.bytes.size() < header) {
    Fail(line.place, "no record: a header alone has " + Bytes(header) + has, line.text);
  }
  Fail(line.place,
       "no whole record: its length byte asks for " + Bytes(header + line.bytes[header - 1]) + has,
       line.text);
}

}  // namespace

void ReadRawDump(const Snapshot& input, RecordSet* set) {
  const std::string_view all = input.bytes();
  for (std::size_t offset = 0; offset < all.size();) {
    const std::string_view left = all.substr(offset);
    Place place;
    place.file = input.name();
    place.offset = offset;
    if (left.size() < kHeader) {
      Fail(place,
           "no whole record: " + Bytes(left.size()) + " are left, a header has " + Bytes(kHeader));
    }
    const std::size_t size = kHeader + static_cast<unsigned char>(left[kRecordBodyLengthOffset]);
    if (left.size() < size) {
      Fail(place, "no whole record: its length byte asks for " + Bytes(size) + ", " +
                      Bytes(left.size()) + " are left");
    }
    InputRecord record;
    record.bytes.assign(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(size));
    record.place = place;
    set->records.push_back(std::move(record));
    offset += size;
  }
}

void ReadHexDump(const Snapshot& input, RecordSet* set) {
  std::vector<HexLine> lines = ReadLines(input);
  const auto count = [&](std::size_t id_size) {
    return std::count_if(lines.begin(), lines.end(),
                         [&](const HexLine& line) { return IsRecord(line, id_size); });
  };
  const std::size_t id_size = count(kIdSize) >= count(0) ? kIdSize : 0;
  for (HexLine& line : lines) {
    if (!IsRecord(line, id_size)) FailAtLine(line, id_size);
    InputRecord record;
    record.bytes.assign(kIdSize - id_size, 0);
    record.bytes.insert(record.bytes.end(), line.bytes.begin(), line.bytes.end());
    record.place = std::move(line.place);
    set->records.push_back(std::move(record));
  }
}

}  // namespace tarvek::inspect
