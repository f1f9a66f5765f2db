#include "control/bmc/answers.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarvek::control {
namespace {

using Bytes = std::vector<unsigned char>;

const Bytes kDeviceAnswer{0x1C, 0x01, 0x00, 0x20, 0x81, 0x82, 0x10, 0x51, 0x9F,
                          0x77, 0x00, 0xF0, 0xA3, 0x01, 0x01, 0x02, 0x03, 0x04};

/// The answer with other bytes from its beginning on, cut or padded to a size.
Bytes Changed(Bytes answer, const Bytes& begin, std::size_t size) {
  std::copy(begin.begin(), begin.end(), answer.begin());
  answer.resize(size);
  return answer;
}

TEST(Answer, IsGoodWithTheRightHeaderCodeAndLengthAlone) {
  struct Case {
    const ReadingRequest* request;
    Bytes answer;
    std::string complaint;
    int code;
  };
  const Bytes device = kDeviceAnswer;
  const Case cases[] = {
      {&kAskDeviceId, device, "", 0},
      {&kAskDeviceId, Changed(device, {}, 14), "", 0},
      {&kAskDeviceId, Changed(device, {}, 16),
       "Get Device ID was answered with 16 bytes instead of 14 or 18", 0},
      {&kAskDeviceId, Changed(device, {}, 13),
       "Get Device ID was answered with 13 bytes instead of 14 or 18", 0},
      {&kAskDeviceId, Changed(device, {}, 128),
       "Get Device ID was answered with 128 bytes instead of 14 or 18", 0},
      {&kAskDeviceId, Changed(device, {}, 3),
       "Get Device ID was answered with 3 bytes instead of 14 or 18", 0},
      {&kAskDeviceId, Changed(device, {}, 2),
       "Get Device ID was answered with 2 bytes, without a completion code", -1},
      {&kAskDeviceId, {}, "Get Device ID was answered with 0 bytes, without a completion code", -1},
      {&kAskDeviceId, Changed(device, {0x1C, 0x01, 0xC1}, 3),
       "Get Device ID was refused with completion code C1", 0xC1},
      {&kAskDeviceId, Changed(device, {0x1C, 0x01, 0xFF}, 18),
       "Get Device ID was refused with completion code FF", 0xFF},
      {&kAskDeviceId, Changed(device, {0x18, 0x01}, 18),
       "Get Device ID was answered as if it were another request: 18 01", -1},
      {&kAskDeviceId, Changed(device, {0x1D, 0x01}, 18),
       "Get Device ID was answered as if it were another request: 1D 01", -1},
      {&kAskDeviceId, Changed(device, {0x1C, 0x02, 0xC1}, 18),
       "Get Device ID was answered as if it were another request: 1C 02", -1},
      {&kAskRepositoryInfo, Changed(device, {0x2C, 0x20}, 17), "", 0},
      {&kAskRepositoryInfo, Changed(device, {0x2C, 0x20}, 18),
       "Get SDR Repository Info was answered with 18 bytes instead of 17", 0},
      {&kAskFirstRecord, Changed(device, {0x2C, 0x23}, 10), "", 0},
      {&kAskFirstRecord, Changed(device, {0x2C, 0x23, 0xCB}, 3),
       "Get SDR was refused with completion code CB", 0xCB},
      {&kAskSlotInformation, Changed(device, {0xFC, 0xE0}, 6), "", 0},
      {&kAskSlotInformation, Changed(device, {0xFC, 0xE0}, 7),
       "Get slot information was answered with 7 bytes instead of 6", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Complaint(*c.request, c.answer), c.complaint);
    EXPECT_EQ(CompletionCode(*c.request, c.answer), c.code) << c.complaint;
  }
}

TEST(Answer, OfGetDeviceId) {
  const DeviceId device = DeviceIdOf(kDeviceAnswer);
  EXPECT_EQ(device.device_id, 0x20U);
  EXPECT_EQ(device.device_revision, 1U);
  EXPECT_EQ(device.firmware_major, 2U);
  EXPECT_EQ(device.firmware_minor, 0x10U);
  EXPECT_EQ(device.ipmi_version, 0x51U);
  EXPECT_EQ(device.manufacturer, kMakersNumber);
  EXPECT_EQ(device.product, 0x01A3U);
  EXPECT_EQ(DeviceIdOf(Changed(kDeviceAnswer, {}, 14)).product, 0x01A3U);
}

TEST(Answer, OfGetSdrRepositoryInfo) {
  const Bytes answer{0x2C, 0x20, 0x00, 0x51, 0x02, 0x01, 0xFE, 0xFF, 0x04,
                     0x03, 0x02, 0x81, 0x08, 0x07, 0x06, 0x05, 0x22};
  const RepositoryInfo expected{0x51, 0x0102, 0xFFFE, 0x81020304, 0x05060708, 0x22};
  EXPECT_EQ(RepositoryInfoOf(answer), expected);
}

TEST(Request, IsNamedByNetFnAndCommand) {
  EXPECT_EQ(RequestName("Get SDR", 0x28, 0x23), "Get SDR (0Ah/23h)");
  EXPECT_EQ(RequestName("SparedSDR", 0xF8, 0x10), "SparedSDR (3Eh/10h)");
}

}  // namespace
}  // namespace tarvek::control
