#include "control/bmc/answers.h"

#include <algorithm>

#include "driver/reporting/text_format.h"
#include "transport/ipmi_layout.h"

namespace tarvek::control {
namespace {

constexpr std::array<unsigned char, 2> kDeviceIdRequest{kAppRequest, kGetDeviceId};
constexpr std::array<unsigned char, 2> kInfoRequest{kStorageRequest, kGetSdrRepositoryInfo};
constexpr int kHeaderRead = 5;  // bytes of a record's header
// Reservation 0, record 0: the first, offset 0.
constexpr std::array<unsigned char, kGetSdrRequestLength> kFirstRecordRequest{
    kStorageRequest, kGetSdr, 0, 0, 0, 0, 0, kHeaderRead};
constexpr std::array<unsigned char, 2> kSlotRequest{kOemRequest, kOemGetSlotInformation};

// Get Device ID, answer:
//   [3] device ID  [4] device revision in bits 3..0  [5] firmware major in bits 6..0  [6] minor,
//   BCD [7] IPMI version  [8] support  [9..11] manufacturer ID  [12..13] product ID  [14..17]
constexpr std::size_t kDeviceIdAt = 3;
constexpr std::size_t kDeviceRevisionAt = 4;
constexpr std::size_t kFirmwareMajorAt = 5;
constexpr std::size_t kFirmwareMinorAt = 6;
constexpr std::size_t kIpmiVersionAt = 7;
constexpr std::size_t kManufacturerAt = 9;
constexpr unsigned kDeviceRevisionMask = 0x0F;
constexpr unsigned kFirmwareMajorMask = 0x7F;
constexpr unsigned kManufacturerHighMask = 0x0F;
constexpr unsigned kManufacturerHighShift = 16;

// Get SDR Repository Info, answer:
//   [3] SDR version  [4..5] records  [6..7] free space  [8..11] addition  [12..15] erase
//   [16] operation support
constexpr std::size_t kSdrVersionAt = 3;
constexpr std::size_t kRecordsAt = 4;
constexpr std::size_t kFreeBytesAt = 6;
constexpr std::size_t kAddedAt = 8;
constexpr std::size_t kErasedAt = 12;
constexpr std::size_t kOperationsAt = 16;

bool IsAnswerTo(const ReadingRequest& request, Image answer) {
  return answer.size() > kCompletionCodeOffset &&
         answer[kNetFnLunOffset] == request.image[kNetFnLunOffset] + kResponseBit &&
         answer[kCommandOffset] == request.image[kCommandOffset];
}

}  // namespace

const ReadingRequest kAskDeviceId{"Get Device ID",
                                  kDeviceIdRequest,
                                  kReadinessCapacity,
                                  {kDeviceIdLength, kDeviceIdLengthWithAux}};
const ReadingRequest kAskRepositoryInfo{"Get SDR Repository Info",
                                        kInfoRequest,
                                        kStandardCapacity,
                                        {kRepositoryInfoLength, kRepositoryInfoLength}};
const ReadingRequest kAskFirstRecord{
    "Get SDR",
    kFirstRecordRequest,
    kStandardCapacity,
    {kGetSdrOverhead + kHeaderRead, kGetSdrOverhead + kHeaderRead}};
const ReadingRequest kAskSlotInformation{"Get slot information",
                                         kSlotRequest,
                                         kStandardCapacity,
                                         {kSlotInformationLength, kSlotInformationLength}};

std::string RequestName(const char* name, unsigned char netfn_lun, unsigned char command) {
  return Format("%s (%02Xh/%02Xh)", name, static_cast<unsigned>(netfn_lun >> kNetFnShift),
                static_cast<unsigned>(command))
      .c_str();
}

std::string Complaint(const ReadingRequest& request, Image answer) {
  const std::string name = request.name;
  const auto size = static_cast<int>(answer.size());
  if (size <= kCompletionCodeOffset) {
    return name + " was answered with " + std::to_string(size) +
           " bytes, without a completion code";
  }
  if (!IsAnswerTo(request, answer)) {
    return name + Format(" was answered as if it were another request: %02X %02X",
                         static_cast<unsigned>(answer[kNetFnLunOffset]),
                         static_cast<unsigned>(answer[kCommandOffset]))
                      .c_str();
  }
  if (answer[kCompletionCodeOffset] != kCompletionOk) {
    return name + " was refused with completion code " +
           HexByte(answer[kCompletionCodeOffset]).c_str();
  }
  const auto& [one, other] = request.lengths;
  if (size == one || size == other) return {};
  return name + " was answered with " + std::to_string(size) + " bytes instead of " +
         std::to_string(one) + (one == other ? "" : " or " + std::to_string(other));
}

int CompletionCode(const ReadingRequest& request, Image answer) {
  return IsAnswerTo(request, answer) ? answer[kCompletionCodeOffset] : -1;
}

DeviceId DeviceIdOf(Image answer) {
  DeviceId device;
  device.device_id = answer[kDeviceIdAt];
  device.device_revision = answer[kDeviceRevisionAt] & kDeviceRevisionMask;
  device.firmware_major = answer[kFirmwareMajorAt] & kFirmwareMajorMask;
  device.firmware_minor = answer[kFirmwareMinorAt];
  device.ipmi_version = answer[kIpmiVersionAt];
  device.manufacturer =
      ReadWord(&answer[kManufacturerAt]) | (answer[kManufacturerAt + 2] & kManufacturerHighMask)
                                               << kManufacturerHighShift;
  device.product = ReadWord(&answer[kProductIdLowOffset]);
  return device;
}

RepositoryInfo RepositoryInfoOf(Image answer) {
  return {answer[kSdrVersionAt],           ReadWord(&answer[kRecordsAt]),
          ReadWord(&answer[kFreeBytesAt]), ReadLong(&answer[kAddedAt]),
          ReadLong(&answer[kErasedAt]),    answer[kOperationsAt]};
}

}  // namespace tarvek::control
