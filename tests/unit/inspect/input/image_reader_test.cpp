#include "inspect/input/image_reader.h"

#include <gtest/gtest.h>

#include <numeric>

#include "inspect/input/input_error.h"
#include "inspect/input/load.h"
#include "tests/unit/inspect/input/scratch.h"

namespace tarvek::inspect {
namespace {

using std::string_literals::operator""s;

char Checksum(std::string_view bytes) {
  const unsigned sum = std::accumulate(bytes.begin(), bytes.end(), 0U, [](unsigned so_far, char c) {
    return so_far + static_cast<unsigned char>(c);
  });
  return static_cast<char>(0x100U - sum % 0x100U);
}

std::string Image(const std::string& area) {
  std::string header = "KOV IPMI\4\2\t"s;
  header.resize(63);
  header[16] = 64;
  header[20] = 96;
  header += Checksum(header);
  std::string identity(32, '\0');
  identity[12] = 0x42;
  std::string control(30, '\0');
  control[16] = 32;
  control[20] = static_cast<char>(area.size() % 256);
  control[21] = static_cast<char>(area.size() / 256);
  control += Checksum(area);
  control += Checksum(control);
  return header + identity + control + area;
}

const std::string kRecord = "\1\0\x51\xC0\2\xAA\xBB"s;

std::string Complaint(const std::string& bytes) {
  try {
    RecordSet set;
    ReadImage(Snapshot("a.bak", bytes), &set);
  } catch (const InputError& error) {
    return ToText(error.place) + ": " + error.what();
  }
  return "";
}

TEST(ImageReader, TakesTheRecordsAndTheIdentityBlock) {
  RecordSet set;
  ReadImage(Snapshot("a.bak", Image(kRecord + kRecord)), &set);
  ASSERT_EQ(set.records.size(), 2U);
  EXPECT_EQ(set.records[1].bytes, (std::vector<unsigned char>{1, 0, 0x51, 0xC0, 2, 0xAA, 0xBB}));
  EXPECT_EQ(ToText(set.records[1].place), "a.bak: offset 135");
  ASSERT_EQ(set.identity.size(), 32U);
  EXPECT_EQ(set.identity[12], 0x42);
  EXPECT_TRUE(set.reads_whole_pieces);
  EXPECT_FALSE(set.from_source);
}

TEST(ImageReader, TakesAnImageWithoutRecords) {
  RecordSet set;
  ReadImage(Snapshot("a.bak", Image("")), &set);
  EXPECT_TRUE(set.records.empty());
}

TEST(ImageReader, NamesThePlaceOfEachWrongChecksum) {
  std::string image = Image(kRecord);
  image[40] = 1;
  EXPECT_EQ(Complaint(image), "a.bak: offset 63: the header's checksum is wrong");
  image = Image(kRecord);
  image[100] = 1;
  EXPECT_EQ(Complaint(image), "a.bak: offset 127: the checksum of the SDR control block is wrong");
  image = Image(kRecord);
  image.back() = '\0';
  EXPECT_EQ(Complaint(image), "a.bak: offset 126: the checksum of the records is wrong");
}

TEST(ImageReader, RefusesAnImageThatEndsTooEarly) {
  const std::string image = Image(kRecord);
  for (const std::size_t size : {9U, 64U, 95U, 97U, 128U, 134U}) {
    EXPECT_EQ(Complaint(image.substr(0, size)),
              "a.bak: offset " + std::to_string(size) + ": the image ends too early");
  }
}

TEST(ImageReader, RefusesMoreRecordsThanTheToolReads) {
  EXPECT_EQ(Complaint(Image(std::string(32768, '\0'))),
            "a.bak: offset 116: more than 32767 bytes of records, which the tool does not read");
}

TEST(ImageReader, RefusesARecordThatTheToolDoesNotProgram) {
  EXPECT_EQ(Complaint(Image(kRecord + "\1\0\x51\xC0\x41"s + std::string(65, 'x'))),
            "a.bak: offset 135: record 2 has a body of more than 64 bytes, which the tool does not "
            "program");
  EXPECT_EQ(Complaint(Image(kRecord + "\1\0\x51"s)),
            "a.bak: offset 135: record 2 runs past the record area");
  EXPECT_EQ(Complaint(Image("\1\0\x51\xC0\2\xAA"s)),
            "a.bak: offset 128: record 1 runs past the record area");
}

TEST(ImageReader, ForgetsTheImageBefore) {
  RecordSet first;
  ReadImage(Snapshot("a.bak", Image(kRecord)), &first);
  RecordSet second;
  ReadImage(Snapshot("b.bak", Image("")), &second);
  EXPECT_TRUE(second.records.empty());
}

TEST(ImageReader, FindsTheVersion) {
  const Scratch scratch;
  const std::string record = "\1\0\x51\xC0\x14\x77\0\0SDR Version 01.03"s;
  const std::string path = scratch.File("a", Image(record));
  EXPECT_EQ(Load(path, {}).version, "SDR Version 01.03");
}

}  // namespace
}  // namespace tarvek::inspect
