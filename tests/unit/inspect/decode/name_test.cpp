#include <gtest/gtest.h>

#include <string>

#include "inspect/decode/record.h"
#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using tarvek::inspect::DecodeName;
using tarvek::inspect::Name;
using tarvek::inspect::NameEncoding;
using namespace std::string_literals;

struct NameRow {
  const char* what;
  const char* hex;  // from the type/length byte on
  NameEncoding encoding;
  std::string text;
  int characters;
  std::size_t byte_count;
};

const NameRow kNameRows[] = {
    // 8-bit ASCII and Latin-1
    {"ascii", "C3 42 4D 43", NameEncoding::kAscii, "BMC", 3, 3},
    {"ascii, empty", "C0", NameEncoding::kAscii, "", 0, 0},
    {"ascii, more bytes than characters", "C2 41 42 43", NameEncoding::kAscii, "AB", 2, 2},
    {"ascii, longer than the record", "C5 41 42", NameEncoding::kAscii, "AB", 2, 2},
    {"ascii, nothing there", "C5", NameEncoding::kAscii, "", 0, 0},
    {"ascii, NULs", "C3 41 00 00", NameEncoding::kAscii, "A\0\0"s, 3, 3},
    {"ascii, controls", "C2 1B 7F", NameEncoding::kAscii, "\x1B\x7F", 2, 2},
    {"latin-1", "C4 80 A0 E9 FF", NameEncoding::kAscii, "\u0080\u00A0\u00E9\u00FF", 4, 4},
    {"ascii, bit 5 set", "E2 41 42", NameEncoding::kAscii, "AB", 2, 2},
    {"ascii, 16 characters", "D0 30 31 32 33 34 35 36 37 38 39 41 42 43 44 45 46",
     NameEncoding::kAscii, "0123456789ABCDEF", 16, 16},
    {"ascii, length 31", "DF 41 42", NameEncoding::kAscii, "AB", 2, 2},
    // 6-bit packed, the standard's example: "IPMI" is 29 DC A6
    {"6bit", "84 29 DC A6", NameEncoding::kSixBit, "IPMI", 4, 3},
    {"6bit, one character", "81 29", NameEncoding::kSixBit, "I", 1, 1},
    {"6bit, two characters", "82 29 0C", NameEncoding::kSixBit, "IP", 2, 2},
    {"6bit, three characters", "83 29 DC 02", NameEncoding::kSixBit, "IPM", 3, 3},
    {"6bit, the next character's bits are passed over", "81 E9", NameEncoding::kSixBit, "I", 1, 1},
    {"6bit, five characters", "85 29 DC A6 3F", NameEncoding::kSixBit, "IPMI_", 5, 4},
    {"6bit, all zeros are blanks", "84 00 00 00", NameEncoding::kSixBit, "    ", 4, 3},
    {"6bit, all ones are underlines", "84 FF FF FF", NameEncoding::kSixBit, "____", 4, 3},
    {"6bit, cut after two bytes", "84 29 DC", NameEncoding::kSixBit, "IP", 2, 2},
    {"6bit, cut after one byte", "84 29", NameEncoding::kSixBit, "I", 1, 1},
    {"6bit, nothing there", "84", NameEncoding::kSixBit, "", 0, 0},
    {"6bit, bit 5 set", "A4 29 DC A6", NameEncoding::kSixBit, "IPMI", 4, 3},
    // BCD plus, the high nibble first
    {"bcdplus", "48 01 23 45 67", NameEncoding::kBcdPlus, "01234567", 8, 4},
    {"bcdplus, the others", "48 89 AB CD EF", NameEncoding::kBcdPlus, "89 -.:,_", 8, 4},
    {"bcdplus, odd", "43 12 34", NameEncoding::kBcdPlus, "123", 3, 2},
    {"bcdplus, cut", "45 12 34", NameEncoding::kBcdPlus, "1234", 4, 2},
    {"bcdplus, nothing there", "45", NameEncoding::kBcdPlus, "", 0, 0},
    // Unicode, least significant byte first
    {"unicode", "03 41 00 E9 00 AC 20", NameEncoding::kUnicode, "A\u00E9\u20AC", 3, 6},
    {"unicode, NUL", "02 00 00 41 00", NameEncoding::kUnicode, "\0A"s, 2, 4},
    {"unicode, odd byte left over", "03 41 00 42", NameEncoding::kUnicode, "A", 1, 2},
    {"unicode, nothing there", "03", NameEncoding::kUnicode, "", 0, 0},
    {"unicode, a pair", "02 3D D8 00 DE", NameEncoding::kUnicode, "\U0001F600", 2, 4},
    {"unicode, high surrogate alone", "02 3D D8 41 00", NameEncoding::kUnicode, "\uFFFDA", 2, 4},
    {"unicode, low surrogate alone", "02 00 DE 41 00", NameEncoding::kUnicode, "\uFFFDA", 2, 4},
    {"unicode, high surrogate last", "01 3D D8 00 DE", NameEncoding::kUnicode, "\uFFFD", 1, 2},
    {"unicode, FFFFh", "01 FF FF", NameEncoding::kUnicode, "\uFFFF", 1, 2},
};

TEST(NameTest, EveryEncodingGivesTheCharactersThatAreThere) {
  for (const NameRow& row : kNameRows) {
    const Bytes bytes = FromHex(row.hex);
    const std::optional<Name> name = DecodeName(bytes, 47);
    ASSERT_TRUE(name.has_value()) << row.what;
    EXPECT_EQ(name->text, row.text) << row.what;
    EXPECT_EQ(name->encoding, row.encoding) << row.what;
    EXPECT_EQ(name->characters, row.characters) << row.what;
    EXPECT_EQ(name->byte_count, row.byte_count) << row.what;
    EXPECT_EQ(name->declared_length, bytes[0] & 0x1F) << row.what;
    EXPECT_EQ(name->reserved_bit, (bytes[0] & 0x20) != 0) << row.what;
    EXPECT_EQ(name->offset, 48U) << row.what;
  }
}

struct DueRow {
  int type_length;
  std::size_t bytes;
};
constexpr DueRow kDueRows[] = {{0xC0, 0}, {0xD0, 16}, {0xDF, 31}, {0x80, 0},  {0x81, 1},
                               {0x83, 3}, {0x84, 3},  {0x85, 4},  {0x9F, 24}, {0x41, 1},
                               {0x42, 1}, {0x5F, 16}, {0x01, 2},  {0x1F, 62}};

TEST(NameTest, BytesDueFollowFromTheDeclaredLength) {
  for (const DueRow& row : kDueRows) {
    const Bytes bytes = {static_cast<unsigned char>(row.type_length)};
    EXPECT_EQ(DecodeName(bytes, 0)->bytes_due, row.bytes) << row.type_length;
  }
}

TEST(NameTest, WithoutTypeLengthByteThereIsNoName) { EXPECT_FALSE(DecodeName({}, 47).has_value()); }

/// Every length of every encoding over every number of bytes: no more is claimed than is there.
TEST(NameTest, NoNameTakesMoreThanIsThere) {
  for (int code = 0; code <= 0xFF; ++code) {
    for (std::size_t count = 0; count <= 64; ++count) {
      Bytes bytes(count + 1, 0x41);
      bytes[0] = static_cast<unsigned char>(code);
      const Name name = *DecodeName(bytes, 0);
      ASSERT_LE(name.byte_count, count) << code;
      ASSERT_LE(name.characters, name.declared_length) << code;
      ASSERT_EQ(name.characters == name.declared_length, name.bytes_due <= count) << code;
    }
  }
}

}  // namespace
}  // namespace tarvek_test
