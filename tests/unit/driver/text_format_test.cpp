#include "driver/text_format.h"

#include <gtest/gtest.h>

#include <array>

namespace tarvek_test {
namespace {

TEST(TextFormat, HexByteGivesTwoUpperCaseDigitsForEveryByte) {
  EXPECT_EQ(tarvek::HexByte(0x00), "00");
  EXPECT_EQ(tarvek::HexByte(0x0A), "0A");
  EXPECT_EQ(tarvek::HexByte(0xA0), "A0");
  EXPECT_EQ(tarvek::HexByte(0xFF), "FF");
  for (int byte = 0; byte <= 0xFF; ++byte) {
    const std::string text = tarvek::HexByte(static_cast<unsigned char>(byte));
    EXPECT_EQ(text.size(), 2U);
    EXPECT_EQ(std::stoi(text, nullptr, 16), byte);
    EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
  }
}

TEST(TextFormat, HexImagePutsABlankBehindEveryByte) {
  constexpr std::array<unsigned char, 3> kBytes{0x18, 0x01, 0xFE};
  EXPECT_EQ(tarvek::HexImage("Snd: ", kBytes), "Snd: 18 01 FE ");
  EXPECT_EQ(tarvek::HexImage("", kBytes), "18 01 FE ");
  EXPECT_EQ(tarvek::HexImage("Rec: ", {}), "Rec: ");
}

TEST(TextFormat, FormatIsAsLongAsItTakes) {
  EXPECT_EQ(tarvek::Format("%02x%02x", 0x01, 0xA3), "01a3");
  EXPECT_EQ(tarvek::Format("SDR%03d", 7), "SDR007");
  EXPECT_EQ(tarvek::Format("%s", ""), "");
  const std::string text(100000, 'x');
  EXPECT_EQ(tarvek::Format("<%s>", text.c_str()), "<" + text + ">");
}

}  // namespace
}  // namespace tarvek_test
