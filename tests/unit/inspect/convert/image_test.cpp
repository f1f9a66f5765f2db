#include "inspect/convert/image.h"

#include <gtest/gtest.h>

#include <numeric>

#include "random_set.h"

namespace tarvek::inspect::testing {
namespace {

constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kBlockSize = 32;

std::string Hex(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

std::string Zeros(std::size_t count) { return std::string(2 * count, '0'); }

/// The sum of a block, which its checksum brings to 0.
int Sum(const std::string& bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), 0,
                         [](int sum, char c) { return sum + static_cast<unsigned char>(c); }) &
         0xFF;
}

RecordSet OneRecord() {
  RecordSet set;
  set.records.push_back(PlainRecord({0x99, 0x99, 0x51, 0xC0, 0, 0x77, 0x00, 0x00, 'S'}));
  return set;
}

std::string MessageOf(const RecordSet& set) {
  try {
    ConvertToImage(set, Which::kAll);
  } catch (const ConversionError& error) {
    return std::to_string(error.record) + ": " + error.what();
  }
  return "nothing was thrown";
}

TEST(ImageTest, IsByteForByteWhatABackupWouldLeave) {
  const std::string header =
      "4B4F562049504D49"
      "04020900"
      "00000000"
      "40000000"
      "60000000" +
      Zeros(39) + "12";
  const std::string identity = Zeros(kBlockSize);
  const std::string control =
      "00"
      "51"
      "0100"
      "FFFF"
      "FFFFFFFF"
      "FFFFFFFF"
      "0000"
      "20000000"
      "09000000" +
      Zeros(6) +
      "20"
      "6F";
  const std::string area =
      "0100"
      "51C004"
      "77000053";
  EXPECT_EQ(Hex(ConvertToImage(OneRecord(), Which::kAll)), header + identity + control + area);
}

TEST(ImageTest, ItsBlocksSumUpToZero) {
  Random random(5);
  RecordSet set;
  for (int i = 0; i < 300; ++i) set.records.push_back(RandomRecord(0x01, 64, &random));
  const std::string image = ConvertToImage(set, Which::kAll);
  EXPECT_EQ(Sum(image.substr(0, kHeaderSize)), 0);
  EXPECT_EQ(Sum(image.substr(kHeaderSize, kBlockSize)), 0);
  const std::string control = image.substr(kHeaderSize + kBlockSize, kBlockSize);
  EXPECT_EQ(Sum(control), 0);
  EXPECT_EQ(Hex(control.substr(2, 2)), "2C01");
  EXPECT_EQ(Sum(image.substr(kHeaderSize + 2 * kBlockSize) + control[30]), 0);
}

TEST(ImageTest, TakesTheIdentityOfAnotherImageAndSealsIt) {
  std::vector<unsigned char> identity(kBlockSize);
  std::iota(identity.begin(), identity.end(), static_cast<unsigned char>(1));
  const std::string image = ConvertToImage(OneRecord(), Which::kAll, {.identity = identity});
  const std::string block = image.substr(kHeaderSize, kBlockSize);
  EXPECT_EQ(block.substr(0, 31), std::string(identity.begin(), identity.end() - 1));
  EXPECT_EQ(Sum(block), 0);
  EXPECT_EQ(ReadBack(image).identity, std::vector<unsigned char>(block.begin(), block.end()));
}

TEST(ImageTest, TellsTheTimeThatItIsGiven) {
  const std::string image =
      ConvertToImage(OneRecord(), Which::kAll, {.identity = {}, .creation_time = 0x12345678});
  EXPECT_EQ(Hex(image.substr(12, 4)), "78563412");
  EXPECT_EQ(Sum(image.substr(0, kHeaderSize)), 0);
}

TEST(ImageTest, OfNoRecordsCanBeReadBack) {
  const RecordSet back = ReadBack(ConvertToImage({}, Which::kAll));
  EXPECT_EQ(back.format, Format::kImage);
  EXPECT_TRUE(back.records.empty());
}

TEST(ImageTest, ABodyOf64BytesIsTheLongest) {
  Random random(1);
  RecordSet set = OneRecord();
  set.records.push_back(RandomRecord(0xC0, 64, &random));
  EXPECT_EQ(Programmed(ReadBack(ConvertToImage(set, Which::kAll))), Programmed(set));
  set.records.push_back(RandomRecord(0xC0, 65, &random));
  EXPECT_EQ(MessageOf(set),
            "3: record 3 has a body of 65 bytes, an image holds bodies of at most 64");
}

TEST(ImageTest, HoldsExactly32767BytesOfRecords) {
  Random random(1);
  RecordSet set;
  for (int i = 0; i < 474; ++i) set.records.push_back(RandomRecord(0xC0, 64, &random));
  set.records.push_back(RandomRecord(0xC0, 32767 - 474 * 69 - 5, &random));
  EXPECT_EQ(Programmed(ReadBack(ConvertToImage(set, Which::kAll))), Programmed(set));
  set.records.pop_back();
  set.records.push_back(RandomRecord(0xC0, 32768 - 474 * 69 - 5, &random));
  EXPECT_EQ(MessageOf(set),
            "475: record 475 does not fit any more: an image holds 32767 bytes of records");
}

TEST(ImageTest, HoldsWhatTheToolWouldProgram) {
  RecordSet set = OneRecord();
  set.records.push_back(set.records[0]);
  set.records[0].selected = false;
  set.records[1].tags = {"CPU2"};
  EXPECT_EQ(ReadBack(ConvertToImage(set, Which::kSelected)).records.size(), 1U);
  EXPECT_EQ(ReadBack(ConvertToImage(set, Which::kAll)).records.size(), 2U);
}

}  // namespace
}  // namespace tarvek::inspect::testing
