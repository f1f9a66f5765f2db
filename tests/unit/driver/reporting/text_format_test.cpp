#include "driver/reporting/text_format.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace tarvek_test {
namespace {

TEST(TextFormat, HexByteGivesTwoUpperCaseDigitsForEveryByte) {
  EXPECT_EQ(tarvek::HexByte(0x00), "00");
  EXPECT_EQ(tarvek::HexByte(0x0A), "0A");
  EXPECT_EQ(tarvek::HexByte(0xA0), "A0");
  EXPECT_EQ(tarvek::HexByte(0xFF), "FF");
  for (int byte = 0; byte <= 0xFF; ++byte) {
    const std::string text(tarvek::HexByte(static_cast<unsigned char>(byte)).view());
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

TEST(TextFormat, FormatFillsInWhatItIsGiven) {
  EXPECT_EQ(tarvek::Format("%02x%02x", 0x01, 0xA3), "01a3");
  EXPECT_EQ(tarvek::Format("SDR%03d", 7), "SDR007");
  EXPECT_EQ(tarvek::Format("%s", ""), "");
}

TEST(TextFormat, WhatDoesNotFitALineIsCut) {
  const std::string text(100000, 'x');
  EXPECT_EQ(tarvek::Format("<%s>", text.c_str()), "<" + std::string(1022, 'x'));
  const std::vector<unsigned char> bytes(1000, 0xAA);
  EXPECT_EQ(tarvek::HexImage("", bytes).view().size(), 1023U);
}

using ShortText = tarvek::FixedText<6>;

TEST(FixedText, HoldsOneByteLessThanItsSizeAndATerminator) {
  EXPECT_EQ(ShortText(), "");
  EXPECT_EQ(ShortText("12345"), "12345");
  EXPECT_EQ(ShortText("123456"), "12345");
  EXPECT_STREQ(ShortText("123456").c_str(), "12345");
  EXPECT_STREQ(ShortText().c_str(), "");
}

TEST(FixedText, AppendsAsMuchAsFits) {
  ShortText text("1");
  EXPECT_EQ(text.Append("23").Append('4'), "1234");
  EXPECT_EQ(text.Append("56"), "12345");
  EXPECT_EQ(text.Append('7').Append("8"), "12345");
  EXPECT_STREQ(text.data(), "12345");
}

TEST(FixedText, KeepsZeroBytes) {
  EXPECT_EQ(ShortText(std::string_view("1\0002", 3)).view(), std::string_view("1\0002", 3));
}

}  // namespace
}  // namespace tarvek_test
