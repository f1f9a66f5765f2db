#include "simulator/record_set.h"

#include <gmock/gmock.h>

#include <numeric>
#include <random>

#include "simulator/repository_text.h"
#include "simulator/sample_records.h"
#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::RecordSet;
using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr char kRecords[] =
    "01 00 51 C0 03 77 00 00 "
    "05 00 51 01 00 "
    "02 01 51 C0 05 77 00 00 53 31";
constexpr char kBareRecords[] = "51 C0 03 77 00 00\n51 01 00\n51 C0 05 77 00 00 53 31\n";

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// Makes the sum of bytes [first, at] zero by the one at `at`.
void Seal(Bytes& bytes, std::size_t first, std::size_t at) {
  bytes[at] = 0;
  const auto begin = bytes.begin();
  bytes[at] = static_cast<std::uint8_t>(
      -std::accumulate(begin + static_cast<long>(first), begin + static_cast<long>(at), 0));
}

void PutLe32(Bytes& bytes, std::size_t at, std::size_t number) {
  for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(number >> (8 * i));
}

// A backup image of these records, with an event log of so many bytes (0: without one).
Bytes Image(const Bytes& records, std::size_t log = 0) {
  Bytes image = FromHex("4B 4F 56 20 49 50 4D 49 04 02 09 00");
  image.resize(64);
  image[16] = 64;
  image[20] = 96;
  image[28] = log == 0 ? 0 : 96;
  Seal(image, 0, 63);
  const Bytes identity = FromHex("00 25 82 03 21 02 BF 77 00 00 EF BE 11 22 33 44");
  image.insert(image.end(), identity.begin(), identity.end());
  image.resize(96);
  image[64 + 28] = 0x0A;
  image[64 + 29] = 1;
  image[64 + 30] = 1;
  Seal(image, 64, 95);
  if (log > 0) {
    image.resize(96 + 32 + log, 0xEE);
    PutLe32(image, 96 + 20, log);
  }
  const std::size_t control = image.size();
  const Bytes info = FromHex("00 51 03 00 00 10 11 22 33 44 55 66 77 08 02");
  image.insert(image.end(), info.begin(), info.end());
  image.resize(control + 32);
  PutLe32(image, control + 20, records.size());
  image[control + 30] =
      static_cast<std::uint8_t>(-std::accumulate(records.begin(), records.end(), 0));
  Seal(image, control, control + 31);
  image.insert(image.end(), records.begin(), records.end());
  return image;
}

class RecordSetTest : public BmcFixture {
 protected:
  RecordSet Good(const std::string& content) {
    RecordSet set;
    std::string error;
    EXPECT_TRUE(bmcsim::ParseRecordSet(content, set, error)) << error;
    return set;
  }

  std::string Complaint(const std::string& content) {
    RecordSet set;
    std::string error;
    EXPECT_FALSE(bmcsim::ParseRecordSet(content, set, error));
    return error;
  }

  void Load(const std::string& content) {
    std::string error;
    ASSERT_TRUE(bmcsim::AddRecordSet(Good(content), *state_, error)) << error;
    EXPECT_EQ(bmcsim::CheckState(*state_), "");
  }

  // The served records' IDs, as the BMC gives them out.
  std::vector<int> Ids() {
    std::vector<int> ids;
    for (std::string next = "00 00"; next != "FF FF";) {
      const std::string answer = Ask("28 23 00 00 " + next + " 00 05");
      next = answer.substr(3, 5);
      ids.push_back(std::stoi(answer.substr(12, 2) + answer.substr(9, 2), nullptr, 16));
    }
    return ids;
  }
};

// Texts.

TEST_F(RecordSetTest, DumpedRepositoryGoesOutAndIn) {
  ASSERT_TRUE(bmcsim::AddSampleSet({40, "SDR Version 01.02", "BOARD"}, 0, *state_));
  Fill({RecordOf(0, 0), RecordOf(255, 0xFE)});
  const std::string text = Served();
  Reset(bmcsim::Identity());
  Load(text);
  EXPECT_EQ(Served(), text);
  EXPECT_EQ(Ids().back(), 44);
}

TEST_F(RecordSetTest, BlanksAndCommentsArePassedOver) {
  Load("# \xC3\xA4lter\n\n 51  01 01\taa \r\n51 01 00 # none");
  EXPECT_EQ(Served(), "51 01 01 AA\n51 01 00\n");
}

TEST_F(RecordSetTest, EmptyFileHasNoRecords) {
  EXPECT_TRUE(Good("").records.empty());
  EXPECT_TRUE(Good("# nothing\n\n").records.empty());
}

TEST_F(RecordSetTest, LinesMayHaveRecordIds) {
  Load("01 00 51 C0 03 77 00 00\n05 00 51 01 00\n02 01 51 C0 05 77 00 00 53 31\n");
  EXPECT_EQ(Served(), kBareRecords);
  EXPECT_THAT(Ids(), ElementsAre(0x0001, 0x0005, 0x0102));
}

TEST_F(RecordSetTest, LineThatCouldBeMeantBothWaysFollowsTheOthers) {
  // 84 bytes: with an ID its body length is 79 (fifth byte), without one 81 (third byte).
  std::string both = "07 00 51 02 4F";
  for (int i = 0; i < 79; ++i) both += " 11";
  EXPECT_EQ(Good(both).records.at(0).bytes.size(), 84U) << "in doubt without";
  EXPECT_EQ(Good(both + "\n05 00 51 01 00").records.at(0).id, 7);
  EXPECT_EQ(Good(both + "\n51 01 00").records.at(0).id, 0);
}

TEST_F(RecordSetTest, LinesThatAreNoRecordAreToldWithTheirNumber) {
  const std::string bare = "it is not a whole record (SDR version, type, body length, body)";
  const std::string whole =
      "it is not a whole record (record ID, SDR version, type, body length, body)";
  const std::pair<std::string, std::string> rows[] = {
      {"51 01 0", "line 1: it is not bytes in hex"},
      {"\n51 01 001", "line 2: it is not bytes in hex"},
      {"51 01 xx", "line 1: it is not bytes in hex"},
      {"no records", "line 1: it is not bytes in hex"},
      {"51 01 01", "line 1: " + bare},
      {"51 01 00\n\n51", "line 3: " + bare},
      {"51 01 00\n51 01 00 # one\n05 00 51 01 00", "line 3: " + bare},
      {"05 00 51 01 00\n05 00 51 01 01 # two\n", "line 2: " + whole},
      {"05 00 51 01 00\n06 00 51 01 00\n51 01 00", "line 3: " + whole},
  };
  for (const auto& [text, complaint] : rows) EXPECT_EQ(Complaint(text), complaint);
}

// Records back to back.

TEST_F(RecordSetTest, RawDumpIsRecordsBackToBack) {
  Load(Text(FromHex(kRecords)));
  EXPECT_EQ(Served(), kBareRecords);
  EXPECT_THAT(Ids(), ElementsAre(0x0001, 0x0005, 0x0102));
}

TEST_F(RecordSetTest, RawDumpThatEndsInARecordIsToldWithTheOffset) {
  const Bytes whole = FromHex(kRecords);
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const std::string cut = Text({whole.begin(), whole.begin() + static_cast<long>(size)});
    if (size == 8 || size == 13) {
      EXPECT_FALSE(Good(cut).records.empty());
      continue;
    }
    const std::string offset = size < 8 ? "0" : size < 13 ? "8" : "13";
    EXPECT_EQ(Complaint(cut),
              "offset " + offset +
                  ": it is not a whole record (record ID, SDR version, type, body length, body)");
  }
}

// Record IDs and room.

TEST_F(RecordSetTest, RecordIdsThatCannotBeAreReplaced) {
  Load(Text(FromHex("00 00 51 01 00 01 00 51 01 00 FF FF 51 01 00 09 00 51 01 00 09 00 51 01 00")));
  EXPECT_THAT(Ids(), ElementsAre(1, 2, 3, 9, 10));
  Spared(0);
  EXPECT_EQ(Add(RecordOf(0, 0)), "00 0B 00") << "the next one follows the highest";
}

TEST_F(RecordSetTest, StepBetweenRecordIdsHoldsForThoseThatTheBmcAssigns) {
  bmcsim::Identity identity;
  identity.record_id_step = 16;
  Reset(identity);
  Load("51 01 00\n51 01 00\n51 01 00");
  EXPECT_THAT(Ids(), ElementsAre(1, 17, 33));
}

TEST_F(RecordSetTest, RecordWithoutRoomIsTold) {
  bmcsim::Identity identity;
  identity.capacity = 20;
  Reset(identity);
  std::string error;
  EXPECT_FALSE(bmcsim::AddRecordSet(Good(Text(FromHex(kRecords))), *state_, error));
  EXPECT_EQ(error, "offset 13: there is no room for this record");
  Reset(identity);
  EXPECT_FALSE(bmcsim::AddRecordSet(Good(kBareRecords), *state_, error));
  EXPECT_EQ(error, "line 3: there is no room for this record");
}

// Backup images.

TEST_F(RecordSetTest, ImageHasTheBoardsRecordsIdentityAndTimes) {
  for (const std::size_t log : {0, 1, 1000}) {
    const RecordSet set = Good(Text(Image(FromHex(kRecords), log)));
    ASSERT_EQ(set.records.size(), 3U);
    EXPECT_EQ(set.records[2].id, 0x0102);
    EXPECT_EQ(ToHex(set.records[2].bytes), "51 C0 05 77 00 00 53 31");
    ASSERT_TRUE(set.identity);
    EXPECT_EQ(set.identity->device_id, 0x25);
    EXPECT_EQ(set.identity->device_revision, 0x82);
    EXPECT_THAT(set.identity->firmware_revision, ElementsAre(0x03, 0x21));
    EXPECT_EQ(set.identity->ipmi_version, 0x02);
    EXPECT_EQ(set.identity->device_support, 0xBF);
    EXPECT_THAT(set.identity->manufacturer_id, ElementsAre(0x77, 0x00, 0x00));
    EXPECT_EQ(set.identity->product_id, 0xBEEF);
    EXPECT_EQ(set.identity->has_auxiliary_revision, 1);
    EXPECT_THAT(set.identity->auxiliary_revision, ElementsAre(0x11, 0x22, 0x33, 0x44));
    EXPECT_EQ(set.identity->has_slot, 1);
    EXPECT_EQ(set.identity->slot[0], 0x0A);
    ASSERT_TRUE(set.times);
    EXPECT_EQ(set.times->addition, 0x44332211U);
    EXPECT_EQ(set.times->erase, 0x08776655U);
  }
  EXPECT_TRUE(Good(Text(Image({}))).records.empty());
}

TEST_F(RecordSetTest, ImageWithoutRecordsNeedsNoControlBlock) {
  Bytes image = Image({});
  image[20] = 0;
  Seal(image, 0, 63);
  image.resize(96);
  EXPECT_TRUE(Good(Text(image)).records.empty());
}

TEST_F(RecordSetTest, EveryByteOfAnImageIsUnderAChecksum) {
  const Bytes image = Image(FromHex(kRecords));
  for (std::size_t at = 8; at < image.size(); ++at) {
    Bytes wrong = image;
    wrong[at] ^= 0x80;
    const std::string complaint = Complaint(Text(wrong));
    if (at < 64) {
      EXPECT_EQ(complaint, "offset 63: the checksum of the header is wrong");
    } else if (at < 96) {
      EXPECT_EQ(complaint, "offset 95: the checksum of the BMC's identity is wrong");
    } else if (at < 128) {
      EXPECT_EQ(complaint, "offset 127: the checksum of the SDR control block is wrong");
    } else {
      EXPECT_EQ(complaint, "offset 126: the checksum of the records is wrong");
    }
  }
}

TEST_F(RecordSetTest, ImageThatIsCutIsToldWithWhereItEnds) {
  const Bytes image = Image(FromHex(kRecords), 10);
  for (std::size_t size = 8; size < image.size(); ++size) {
    const char* what = size < 64    ? "the header"
                       : size < 96  ? "the BMC's identity"
                       : size < 128 ? "the event log's control block"
                       : size < 138 ? "the event log"
                       : size < 170 ? "the SDR control block"
                                    : "the records";
    EXPECT_EQ(Complaint(Text({image.begin(), image.begin() + static_cast<long>(size)})),
              "offset " + std::to_string(size) + ": the image ends in " + what);
  }
}

TEST_F(RecordSetTest, ImageWhoseRecordsDoNotEndWithOneIsTold) {
  Bytes records = FromHex(kRecords);
  records.pop_back();
  EXPECT_EQ(Complaint(Text(Image(records))),
            "offset 141: it is not a whole record (record ID, SDR version, type, body length, "
            "body)");
}

TEST_F(RecordSetTest, LengthsThatLieDoNoHarm) {
  Bytes image = Image(FromHex(kRecords), 4);
  PutLe32(image, 96 + 20, 0xFFFFFFFF);
  EXPECT_THAT(Complaint(Text(image)), ::testing::EndsWith("the image ends in the event log"));
  image = Image(FromHex(kRecords));
  PutLe32(image, 96 + 20, 0xFFFFFFFF);
  Seal(image, 96, 127);
  EXPECT_THAT(Complaint(Text(image)), ::testing::EndsWith("the image ends in the records"));
}

TEST_F(RecordSetTest, WhateverAFileHoldsItIsReadOrRefused) {
  const std::string seeds[] = {Text(Image(FromHex(kRecords), 7)), Text(FromHex(kRecords)),
                               kBareRecords, "01 00 51 01 00\n02 00 51 01 00\n"};
  std::mt19937 random(20180101);  // NOLINT(cert-msc51-cpp): the same files every time
  for (int round = 0; round < 20000; ++round) {
    std::string content = seeds[random() % std::size(seeds)];
    for (unsigned changes = random() % 4; changes > 0 && !content.empty(); --changes) {
      content[random() % content.size()] = static_cast<char>(random());
    }
    if (random() % 3 == 0) content.resize(random() % (content.size() + 8));
    RecordSet set;
    std::string error;
    if (!bmcsim::ParseRecordSet(content, set, error)) {
      EXPECT_THAT(error, ::testing::AnyOf(StartsWith("line "), StartsWith("offset ")));
      continue;
    }
    Reset(set.identity.value_or(bmcsim::Identity()));
    EXPECT_TRUE(bmcsim::AddRecordSet(set, *state_, error)) << error;
    ASSERT_EQ(bmcsim::CheckState(*state_), "");
  }
}

}  // namespace
}  // namespace bmcsim_test
