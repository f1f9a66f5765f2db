#include <gtest/gtest.h>

#include "control/bmc/bmc.h"

namespace tarvek::control {
namespace {

TEST(HardwareList, NamesAProductAsTheToolReadsIt) {
  using namespace std::string_literals;
  const auto line_of = [](std::size_t before) { return std::string(before, 'x') + "01a3\n"; };
  struct Case {
    std::string list;
    bool named;
  };
  const Case cases[] = {
      {"01a3\n", true},
      {"01A3", true},
      {"# boards\r\nxx01A3yy # the one\n", true},
      {"0101a3a3\n", true},
      {"01 a3\n", false},
      {"01\na3\n", false},
      {"1a3\n", false},
      {"a301\n", false},
      {"", false},
      {"\n\n", false},
      {line_of(250), true},
      {line_of(251), true},   // the 255 characters are the line without its line feed
      {line_of(252), false},  // cut inside
      {line_of(254), false},
      {line_of(255), true},  // whole in the next piece
      {"x\0 01a3\n"s, false},
      {"x\0 \n01a3\n"s, true},
      {std::string(255, 'x') + "\n" + "01a3", true},
      {std::string(251, 'x') + "01a\n" + "3", false},
  };
  DeviceId device;
  device.product = 0x01A3;
  for (const Case& c : cases) EXPECT_EQ(ListNames(c.list, device), c.named) << c.list;
}

TEST(HardwareList, AProductHasFourDigits) {
  DeviceId device;
  EXPECT_EQ(device.ProductText(), "0000");
  device.product = 0xFEDC;
  EXPECT_EQ(device.ProductText(), "fedc");
  EXPECT_TRUE(ListNames("FeDc", device));
}

}  // namespace
}  // namespace tarvek::control
