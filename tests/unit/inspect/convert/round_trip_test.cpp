// What a conversion must never do: change a byte that is programmed.
#include <gtest/gtest.h>

#include <array>
#include <iterator>

#include "inspect/convert/dumps.h"
#include "inspect/convert/image.h"
#include "inspect/convert/source.h"
#include "random_set.h"

namespace tarvek::inspect::testing {
namespace {

constexpr std::size_t kSourceBody =
    59;  // bytes that a record in a source may have behind its header
constexpr std::size_t kImageBody = 64;
constexpr std::size_t kDumpBody = 255;

std::string Convert(const RecordSet& set, Format format) {
  switch (format) {
    case Format::kImage:
      return ConvertToImage(set, Which::kSelected);
    case Format::kRaw:
      return ConvertToRaw(set, Which::kSelected);
    case Format::kHex:
      return ConvertToHex(set, Which::kSelected);
    case Format::kSource:
    case Format::kScript:
      break;
  }
  return ConvertToSource(set);
}

/// A set with every type of record, each with a body of up to `most` bytes.
RecordSet RandomSet(std::size_t most, Random* random) {
  RecordSet set;
  set.name = "random";
  for (const unsigned char type : kRecordTypes) {
    set.records.push_back(RandomRecord(type, (*random)() % (most + 1), random));
  }
  return set;
}

class RoundTrip : public ::testing::TestWithParam<Format> {};

TEST_P(RoundTrip, KeepsWhatIsProgrammedOfRandomSets) {
  const Format format = GetParam();
  const bool source = format == Format::kSource;
  const bool image = format == Format::kImage;
  const std::size_t most = source ? kSourceBody : image ? kImageBody : kDumpBody;
  // Each image that the tool's reader takes stays open while the process lives.
  const unsigned rounds = image ? 60 : 400;
  for (unsigned seed = 1; seed <= rounds; ++seed) {
    Random random(seed);
    const RecordSet set = RandomSet(most, &random);
    const std::string bytes = Convert(set, format);
    const RecordSet back = ReadBack(bytes);
    ASSERT_EQ(back.format, format) << "seed " << seed;
    ASSERT_EQ(Programmed(back), Programmed(set)) << "seed " << seed;
    ASSERT_TRUE(back.remarks.empty()) << "seed " << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryForm, RoundTrip,
                         ::testing::Values(Format::kSource, Format::kImage, Format::kRaw,
                                           Format::kHex),
                         [](const auto& parameter) { return FormatName(parameter.param); });

TEST(RoundTripTest, AnyFormToAnyOtherAndBackKeepsWhatIsProgrammed) {
  constexpr std::array kForms{Format::kSource, Format::kImage, Format::kRaw, Format::kHex};
  Random random(7);
  for (const Format first : kForms) {
    for (const Format second : kForms) {
      const RecordSet set = RandomSet(kSourceBody, &random);
      const RecordSet there = ReadBack(Convert(set, first));
      const RecordSet back = ReadBack(Convert(ReadBack(Convert(there, second)), first));
      ASSERT_EQ(Programmed(back), Programmed(set)) << FormatName(first) << FormatName(second);
    }
  }
}

TEST(RoundTripTest, ConvertedTwiceIsTheSameToTheByte) {
  Random random(3);
  const RecordSet set = RandomSet(kSourceBody, &random);
  for (const Format form : {Format::kSource, Format::kImage, Format::kRaw, Format::kHex}) {
    const std::string once = Convert(set, form);
    RecordSet back = ReadBack(once);
    back.name = set.name;
    EXPECT_EQ(Convert(back, form), once) << FormatName(form);
  }
}

TEST(RoundTripTest, EveryBodyLengthSurvivesInASource) {
  Random random(11);
  RecordSet set;
  for (const unsigned char type : kRecordTypes) {
    for (std::size_t body = 0; body <= kSourceBody; ++body) {
      set.records.push_back(RandomRecord(type, body, &random));
    }
  }
  const RecordSet back = ReadBack(ConvertToSource(set));
  EXPECT_EQ(Programmed(back), Programmed(set));
  EXPECT_TRUE(back.remarks.empty());
}

TEST(RoundTripTest, EveryByteSurvivesAsANameOfOneCharacter) {
  RecordSet set;
  for (int byte = 0; byte < 256; ++byte) {
    set.records.push_back(NamedRecord(0x01, std::string(1, static_cast<char>(byte))));
  }
  const std::string source = ConvertToSource(set);
  const RecordSet back = ReadBack(source);
  EXPECT_EQ(Programmed(back), Programmed(set));
  EXPECT_TRUE(back.remarks.empty());
}

}  // namespace
}  // namespace tarvek::inspect::testing
