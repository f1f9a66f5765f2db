#include "inspect/convert/image.h"

#include <algorithm>
#include <array>
#include <climits>
#include <string_view>

#include "inspect/convert/dumps.h"
#include "repository/backup_image.h"
#include "sdrfile/utilities/sdr_record.h"
#include "transport/checksum.h"
#include "transport/image_layout.h"
#include "transport/ipmi_layout.h"

namespace tarvek::inspect {
namespace {

constexpr std::string_view kFileId = "KOV IPMI";
constexpr unsigned char kImageType = 9;
constexpr std::size_t kLargestArea = SHRT_MAX;  // bytes; what the tool's reader takes
constexpr unsigned char kSdrVersion = 0x51;
constexpr unsigned kUnspecifiedSpace = 0xFFFF;
constexpr std::uint32_t kUnspecifiedTime = 0xFFFFFFFF;
constexpr int kControlSdrVersion = 1;
constexpr int kControlFreeSpace = 4;

template <std::size_t N>
using Block = std::array<unsigned char, N>;

/// A block's checksum is its last byte.
template <std::size_t N>
void Seal(Block<N>* block) {
  block->back() = calc_sum(block->data(), N - 1);
}

template <typename Container>
void Append(const Container& bytes, std::string* image) {
  image->append(bytes.begin(), bytes.end());
}

Block<kImageFileHeaderSize> Header(std::uint32_t creation_time) {
  Block<kImageFileHeaderSize> header{};
  std::copy(kFileId.begin(), kFileId.end(), header.begin());
  header[kImageMajorOffset] = ipm_major;
  header[kImageMinorOffset] = ipm_minor;
  header[kImageTypeOffset] = kImageType;
  WriteLong(&header[kImageCreationTime], creation_time);
  WriteLong(&header[kImageIdentityPosition], kImageFileHeaderSize);
  WriteLong(&header[kImageSdrPosition], kImageFileHeaderSize + kIdentityBlockSize);
  Seal(&header);
  return header;
}

Block<kIdentityBlockSize> Identity(std::span<const unsigned char> given) {
  Block<kIdentityBlockSize> identity{};
  std::copy_n(given.begin(), std::min<std::size_t>(given.size(), kChecksummedBytes),
              identity.begin());
  Seal(&identity);
  return identity;
}

/// The answer to Get SDR Repository Info, and what the file needs beside it.
Block<kSdrControlSize> Control(std::size_t records, const std::vector<unsigned char>& area) {
  Block<kSdrControlSize> control{};
  control[kControlSdrVersion] = kSdrVersion;
  WriteWord(&control[kControlRecordCount], static_cast<unsigned>(records));
  WriteWord(&control[kControlFreeSpace], kUnspecifiedSpace);
  WriteLong(&control[kControlAdditionTime], kUnspecifiedTime);
  WriteLong(&control[kControlEraseTime], kUnspecifiedTime);
  WriteLong(&control[kControlBlockLength], kSdrControlSize);
  WriteLong(&control[kControlAreaLength], static_cast<std::uint32_t>(area.size()));
  control[kControlAreaChecksum] = calc_sum(area.data(), area.size());
  Seal(&control);
  return control;
}

/// The records back to back.
std::vector<unsigned char> Area(const RecordSet& set, const std::vector<NumberedRecord>& records) {
  std::vector<unsigned char> area;
  std::size_t index = 0;
  for (const NumberedRecord& entry : records) {
    const std::vector<unsigned char>& bytes = entry.record->bytes;
    if (bytes.size() > kMaxRecordSize) {
      throw ConversionError(set, entry.number,
                            "has a body of " + std::to_string(bytes.size() - kRecordHeaderSize) +
                                " bytes, an image holds bodies of at most 64");
    }
    if (area.size() + bytes.size() > kLargestArea) {
      throw ConversionError(set, entry.number,
                            "does not fit any more: an image holds 32767 bytes of records");
    }
    const auto start = static_cast<std::ptrdiff_t>(area.size());
    area.insert(area.end(), bytes.begin(), bytes.end());
    WriteWord(&*(area.begin() + start), RecordIdAt(index++));
  }
  return area;
}

}  // namespace

std::string ConvertToImage(const RecordSet& set, Which which, const ImageOptions& options) {
  const std::vector<NumberedRecord> records = WholeRecords(set, which);
  const std::vector<unsigned char> area = Area(set, records);
  std::string image;
  Append(Header(options.creation_time), &image);
  Append(Identity(options.identity), &image);
  Append(Control(records.size(), area), &image);
  Append(area, &image);
  return image;
}

}  // namespace tarvek::inspect
