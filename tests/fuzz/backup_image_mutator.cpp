// Mutations of backup images that know which blocks there are and how long they are said to be.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "sdrfile/utilities/sdr_record.h"
#include "tests/fuzz/mutation.h"
#include "transport/image_layout.h"
#include "transport/ipmi_layout.h"

namespace tarvek_fuzz {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kOptionBits = 3;
constexpr std::size_t kGrowth = 16;  // bytes that a block which may grow may gain
constexpr std::size_t kMaxNewLog = 64;
constexpr std::array<std::uint32_t, 14> kLengths{
    0, 1, 4, 5, 69, 16384, 16385, 32767, 32768, 65535, 65536, 65541, 98304, 0xFFFFFFFF};
constexpr std::array<unsigned char, 9> kBodyLengths{0, 1, 4, 63, 64, 65, 250, 251, 255};
constexpr std::array<std::string_view, 3> kOemTexts{"SDR Ver.01.02",
                                                    "\x16"
                                                    "BOARD",
                                                    "S"};

/// The blocks of an input.
struct Image {
  unsigned char options = 0;
  Bytes header;
  Bytes identity;
  bool has_log = false;
  Bytes log_control;
  Bytes log;
  Bytes control;
  std::vector<Bytes> records;  // the last one may be cut
};

/// Takes up to `n` bytes from the front.
Bytes Take(std::span<const std::uint8_t>* bytes, std::size_t n) {
  const auto front = bytes->first(std::min(n, bytes->size()));
  *bytes = bytes->subspan(front.size());
  return {front.begin(), front.end()};
}

std::size_t RecordSize(std::span<const std::uint8_t> bytes) {
  const std::size_t body =
      bytes.size() > std::size_t{kRecordBodyLengthOffset} ? bytes[kRecordBodyLengthOffset] : 0;
  return kRecordHeaderSize + body;
}

Image Take(std::span<const std::uint8_t> bytes) {
  Image image;
  image.options = Take(&bytes, 1)[0];
  image.header = Take(&bytes, kImageFileHeaderSize);
  image.identity = Take(&bytes, kIdentityBlockSize);
  image.header.resize(kImageFileHeaderSize);
  image.identity.resize(kIdentityBlockSize);
  image.has_log = tarvek::ReadLong(&image.header[kImageEventLogPosition]) != 0;
  if (image.has_log) {
    image.log_control = Take(&bytes, kEventLogControlSize);
    image.log_control.resize(kEventLogControlSize);
    image.log = Take(&bytes, tarvek::ReadLong(&image.log_control[kEventLogLength]));
  }
  image.control = Take(&bytes, kSdrControlSize);
  image.control.resize(kSdrControlSize);
  while (!bytes.empty()) image.records.push_back(Take(&bytes, RecordSize(bytes)));
  return image;
}

Bytes Join(const Image& image) {
  Bytes bytes{image.options};
  const auto append = [&bytes](const Bytes& block) {
    bytes.insert(bytes.end(), block.begin(), block.end());
  };
  append(image.header);
  append(image.identity);
  if (image.has_log) {
    append(image.log_control);
    append(image.log);
  }
  append(image.control);
  for (const Bytes& record : image.records) append(record);
  return bytes;
}

/// Lets the control blocks tell the lengths that there are.
void CorrectLengths(Image* image) {
  if (image->has_log) {
    tarvek::WriteLong(&image->log_control[kEventLogLength],
                      static_cast<std::uint32_t>(image->log.size()));
  }
  std::size_t area = 0;
  for (const Bytes& record : image->records) area += record.size();
  tarvek::WriteLong(&image->control[kControlAreaLength], static_cast<std::uint32_t>(area));
}

void ToggleLog(Image* image, Dice* dice) {
  image->has_log = !image->has_log;
  tarvek::WriteLong(&image->header[kImageEventLogPosition],
                    image->has_log ? kImageFileHeaderSize + kIdentityBlockSize : 0);
  image->log_control.resize(kEventLogControlSize);
  image->log.resize(dice->Below(kMaxNewLog));
}

/// One of the maker's records with a text.
Bytes OemRecord(Dice* dice) {
  const std::string_view text = dice->Pick(kOemTexts);
  Bytes record{1, 0, 0x51, kOemRecordType,
               static_cast<unsigned char>(kMakerId.size() + text.size())};
  record.insert(record.end(), kMakerId.begin(), kMakerId.end());
  record.insert(record.end(), text.begin(), text.end());
  return record;
}

void MutateRecord(Image* image, Dice* dice) {
  auto& records = image->records;
  const auto any = [&] {
    return records.begin() + static_cast<std::ptrdiff_t>(dice->Below(records.size()));
  };
  if (records.empty() || dice->OneIn(8)) {
    records.insert(any(), OemRecord(dice));
    return;
  }
  Bytes& record = *any();
  switch (dice->Below(5)) {
    case 0:
      records.erase(any());
      return;
    case 1:
      records.insert(any(), Bytes(record));
      return;
    case 2:
      return std::swap(record, *any());
    case 3:
      record.resize(kRecordHeaderSize);
      record[kRecordBodyLengthOffset] = dice->Pick(kBodyLengths);
      if (!dice->OneIn(4)) record.resize(RecordSize(record), 'r');
      return;
    default:
      return MutateBytes(record, kGrowth);
  }
}

void Mutate(Image* image, Dice* dice) {
  switch (dice->Below(8)) {
    case 0:
      image->options =
          static_cast<unsigned char>(image->options ^ (1U << dice->Below(kOptionBits)));
      return;
    case 1:
      return ToggleLog(image, dice);
    case 2:
      return MutateBytes(image->header, 0);
    case 3:
      return MutateBytes(image->identity, 0);
    case 4:
      return MutateBytes(image->control, 0);
    default:
      return MutateRecord(image, dice);
  }
}

/// Lets a block lie about its length.
void Lie(Image* image, Dice* dice) {
  const bool of_log = image->has_log && dice->OneIn(2);
  unsigned char* const length =
      of_log ? &image->log_control[kEventLogLength] : &image->control[kControlAreaLength];
  tarvek::WriteLong(length, dice->Pick(kLengths));
}

/// Gives blocks of a fixed size, which libFuzzer may have cut, their size again.
void RestoreSizes(Image* image) {
  image->header.resize(kImageFileHeaderSize);
  image->identity.resize(kIdentityBlockSize);
  image->control.resize(kSdrControlSize);
  image->has_log = tarvek::ReadLong(&image->header[kImageEventLogPosition]) != 0;
  image->log_control.resize(kEventLogControlSize);
}

}  // namespace

/// Mutates blocks and records, or, each third time, any bytes.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned seed) {
  Dice dice(seed);
  if (size == 0 || dice.OneIn(3)) return LLVMFuzzerMutate(data, size, max_size);
  Image image = Take({data, size});
  for (std::size_t n = 1 + dice.Below(3); n > 0; --n) {
    Mutate(&image, &dice);
    RestoreSizes(&image);
  }
  CorrectLengths(&image);
  if (dice.OneIn(6)) Lie(&image, &dice);
  const Bytes mutated = Join(image);
  if (mutated.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
  std::copy(mutated.begin(), mutated.end(), data);
  return mutated.size();
}

}  // namespace tarvek_fuzz
