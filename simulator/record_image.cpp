// The backup image of a board as a set of records, in blocks one after the other:
// - header, 64 bytes: the file ID; at 20 and 28 whether the blocks below are there; 63 checksum
// - the BMC's identity, 32 bytes: the answer to Get Device ID; 28 and 29 the slot; 30 whether there
//   is an auxiliary revision; 31 checksum
// - event log control, 32 bytes, only if the header says so: at 20 the length of the log behind it
// - SDR control, 32 bytes: the answer to Get SDR Repository Info; at 20 the length of the records;
//   30 their checksum; 31 checksum
// - the records
//
// A checksum makes the sum of the bytes before it and its own 0 modulo 256.

#include <algorithm>
#include <array>
#include <numeric>

#include "simulator/record_set.h"

namespace bmcsim {
namespace {

constexpr std::size_t kHeaderBytes = 64;
constexpr std::size_t kRecordsFollow = 20;    // in the header
constexpr std::size_t kEventLogFollows = 28;  // in the header
constexpr std::size_t kBlockBytes = 32;
constexpr std::size_t kDataLength = 20;       // in both control blocks
constexpr std::size_t kRecordsChecksum = 30;  // in the SDR control block
constexpr std::size_t kAdditionTime = 6;      // in the SDR control block
constexpr std::size_t kEraseTime = 10;        // in the SDR control block

// In the identity block; its first bytes are the answer from the completion code on.
constexpr std::size_t kDeviceId = 1;
constexpr std::size_t kDeviceRevision = 2;
constexpr std::size_t kFirmwareRevision = 3;
constexpr std::size_t kIpmiVersion = 5;
constexpr std::size_t kDeviceSupport = 6;
constexpr std::size_t kManufacturerId = 7;
constexpr std::size_t kProductId = 10;
constexpr std::size_t kAuxiliaryRevision = 12;
constexpr std::size_t kSlot = 28;
constexpr std::size_t kSlotValid = 29;
constexpr std::size_t kHasAuxiliaryRevision = 30;

std::uint8_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<std::uint8_t>(bytes[offset]);
}

std::uint32_t Le32(std::string_view bytes, std::size_t offset) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i > 0; --i) number = number << 8 | ByteAt(bytes, offset + i - 1);
  return number;
}

std::uint8_t Sum(std::string_view bytes) {
  return static_cast<std::uint8_t>(std::accumulate(
      bytes.begin(), bytes.end(), 0U,
      [](unsigned sum, char byte) { return sum + static_cast<std::uint8_t>(byte); }));
}

template <std::size_t kSize>
void Copy(std::string_view block, std::size_t offset, std::array<std::uint8_t, kSize>& bytes) {
  for (std::size_t i = 0; i < kSize; ++i) bytes[i] = ByteAt(block, offset + i);
}

Identity IdentityOf(std::string_view block) {
  Identity identity;
  identity.device_id = ByteAt(block, kDeviceId);
  identity.device_revision = ByteAt(block, kDeviceRevision);
  Copy(block, kFirmwareRevision, identity.firmware_revision);
  identity.ipmi_version = ByteAt(block, kIpmiVersion);
  identity.device_support = ByteAt(block, kDeviceSupport);
  Copy(block, kManufacturerId, identity.manufacturer_id);
  identity.product_id =
      static_cast<std::uint16_t>(ByteAt(block, kProductId) | ByteAt(block, kProductId + 1) << 8);
  identity.has_auxiliary_revision = ByteAt(block, kHasAuxiliaryRevision) != 0 ? 1 : 0;
  Copy(block, kAuxiliaryRevision, identity.auxiliary_revision);
  identity.has_slot = ByteAt(block, kSlotValid) != 0 ? 1 : 0;
  identity.slot[0] = ByteAt(block, kSlot);
  return identity;
}

/// Takes an image's blocks one after the other.
class ImageReader {
 public:
  ImageReader(std::string_view image, std::string& error) : image_(image), error_(error) {}

  /// Takes the next bytes.
  ///
  /// @param what  names them, for the message when the image has not so many any more.
  bool Take(std::size_t count, const char* what, std::string_view& bytes) {
    if (count > image_.size() - next_)
      return Fail(image_.size(), "the image ends in " + Text(what));
    bytes = image_.substr(next_, count);
    next_ += count;
    return true;
  }

  /// Takes the next bytes, whose last one is their checksum.
  bool TakeSummed(std::size_t count, const char* what, std::string_view& bytes) {
    return Take(count, what, bytes) &&
           (Sum(bytes) == 0 || Fail(next_ - 1, "the checksum of " + Text(what) + " is wrong"));
  }

  bool Fail(std::size_t offset, const std::string& message) {
    error_ = "offset " + std::to_string(offset) + ": " + message;
    return false;
  }

  std::size_t next() const { return next_; }

 private:
  static std::string Text(const char* what) { return what; }

  std::string_view image_;
  std::string& error_;
  std::size_t next_ = 0;
};

bool ParseRecordArea(std::string_view image, ImageReader& reader, RecordSet& set,
                     std::string& error) {
  std::string_view control;
  if (!reader.TakeSummed(kBlockBytes, "the SDR control block", control)) return false;
  set.times = SetTimes{Le32(control, kAdditionTime), Le32(control, kEraseTime)};
  const std::size_t begin = reader.next();
  std::string_view records;
  if (!reader.Take(Le32(control, kDataLength), "the records", records)) return false;
  if (static_cast<std::uint8_t>(Sum(records) + ByteAt(control, kRecordsChecksum)) != 0) {
    return reader.Fail(begin - kBlockBytes + kRecordsChecksum,
                       "the checksum of the records is wrong");
  }
  return ParseRawRecords(image.substr(0, reader.next()), begin, set, error);
}

}  // namespace

bool ParseImageSet(std::string_view content, RecordSet& set, std::string& error) {
  ImageReader reader(content, error);
  std::string_view header;
  std::string_view identity;
  if (!reader.TakeSummed(kHeaderBytes, "the header", header) ||
      !reader.TakeSummed(kBlockBytes, "the BMC's identity", identity)) {
    return false;
  }
  set.identity = IdentityOf(identity);
  if (Le32(header, kEventLogFollows) != 0) {
    std::string_view control;
    std::string_view log;
    if (!reader.Take(kBlockBytes, "the event log's control block", control) ||
        !reader.Take(Le32(control, kDataLength), "the event log", log)) {
      return false;
    }
  }
  return Le32(header, kRecordsFollow) == 0 || ParseRecordArea(content, reader, set, error);
}

}  // namespace bmcsim
