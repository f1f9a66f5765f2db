#include "random_set.h"

#include <array>

#include "inspect/decode/record.h"
#include "inspect/input/dump_reader.h"
#include "inspect/input/image_reader.h"
#include "inspect/input/load.h"
#include "inspect/input/snapshot.h"
#include "inspect/input/source_reader.h"

namespace tarvek::inspect::testing {
namespace {

constexpr std::size_t kHeader = 5;
constexpr std::size_t kLengthOffset = 4;

// Quotes, line ends, an end mark, comment marks, the byte of an empty name, bytes beyond ASCII.
constexpr std::string_view kNasty("'\"/#_( )C0\\\n\r\t\x1A\x1B\0\x7F\x80\xC0\xC3\xA9\xFF aZ", 27);

unsigned char AnyByte(Random* random) { return static_cast<unsigned char>((*random)()); }

unsigned char NastyByte(Random* random) {
  return static_cast<unsigned char>(kNasty[(*random)() % kNasty.size()]);
}

unsigned char ReadableByte(Random* random) {
  return static_cast<unsigned char>(' ' + (*random)() % ('~' - ' ' + 1));
}

}  // namespace

InputRecord PlainRecord(std::vector<unsigned char> bytes) {
  bytes[kLengthOffset] = static_cast<unsigned char>(bytes.size() - kHeader);
  InputRecord record;
  record.bytes = std::move(bytes);
  return record;
}

InputRecord RandomRecord(unsigned char type, std::size_t body, Random* random) {
  constexpr std::array kBytes{AnyByte, NastyByte, ReadableByte};
  std::vector<unsigned char> bytes{AnyByte(random), AnyByte(random), 0x51, type, 0};
  const auto front = kBytes[(*random)() % kBytes.size()];
  const auto back = kBytes[(*random)() % kBytes.size()];
  const std::size_t turn = (*random)() % (body + 1);
  for (std::size_t i = 0; i < body; ++i) bytes.push_back((i < turn ? front : back)(random));
  // Now and then an ID string that fits its record, or the byte that ends a record oddly.
  const std::optional<BodyLength> length = BodyLengthOf(type);
  const unsigned dice = (*random)() % 4;
  if (dice == 0 && length && length->has_name && body >= length->fixed) {
    const std::size_t characters = body - length->fixed;
    bytes[kHeader + length->fixed - 1] = static_cast<unsigned char>(0xC0 | (characters & 0x1F));
  }
  if (dice == 1 && body > 0) bytes.back() = 0xC0;
  return PlainRecord(std::move(bytes));
}

InputRecord NamedRecord(unsigned char type, const std::string& text) {
  const std::size_t fixed = BodyLengthOf(type)->fixed;
  std::vector<unsigned char> bytes(kHeader + fixed);
  bytes[2] = 0x51;
  bytes[3] = type;
  bytes.back() = static_cast<unsigned char>(0xC0 | text.size());
  bytes.insert(bytes.end(), text.begin(), text.end());
  return PlainRecord(std::move(bytes));
}

std::vector<std::vector<unsigned char>> Programmed(const RecordSet& set) {
  std::vector<std::vector<unsigned char>> programmed;
  for (const InputRecord& record : set.records) {
    if (record.selected) programmed.emplace_back(record.bytes.begin() + 2, record.bytes.end());
  }
  return programmed;
}

RecordSet ReadBack(const std::string& bytes) {
  const Snapshot input("file", bytes);
  RecordSet set;
  set.name = "file";
  set.format = TellFormat(bytes);
  switch (set.format) {
    case Format::kImage:
      ReadImage(input, &set);
      break;
    case Format::kRaw:
      ReadRawDump(input, &set);
      break;
    case Format::kHex:
      ReadHexDump(input, &set);
      break;
    case Format::kSource:
    case Format::kScript:
      ReadSource(input, nullptr, &set);
  }
  return set;
}

}  // namespace tarvek::inspect::testing
