#include "control/engine/records.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace tarvek::control {
namespace {

using namespace std::string_literals;

inspect::InputRecord Record(std::vector<unsigned char> bytes, bool selected = true) {
  inspect::InputRecord record;
  record.bytes = std::move(bytes);
  record.selected = selected;
  return record;
}

TEST(RecordsOf, LeavesTheRecordIdAndWhatIsNotSelectedOut) {
  inspect::RecordSet set;
  set.records = {Record({1, 0, 0x51, 0xC0}), Record({2, 0, 0x51}, false), Record({3}),
                 Record({4, 0}), Record({0xFF, 0xFF, 0})};
  EXPECT_EQ(RecordsOf(set.records), (RecordList{"\x51\xC0", "", "\0"s}));
}

TEST(ToLines, AndBackGiveTheSame) {
  std::string every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  for (const RecordList& records :
       {RecordList{}, RecordList{""}, RecordList{"", ""}, RecordList{every, "x", every + every}}) {
    EXPECT_EQ(FromLines(ToLines(records)), records);
  }
  EXPECT_EQ(ToLines({"\x01\xAB", "Z"}), "01AB\n5A\n");
}

TEST(FromLines, RefusesWhatIsNoSuchText) {
  for (const char* const text : {"0", "01", "0\n", "01\n2", "0g\n", "ab\n", "01 02\n", "01\n\n0"}) {
    EXPECT_THROW(FromLines(text), std::runtime_error) << text;
  }
  EXPECT_THROW(FromLines("\0\n"s), std::runtime_error);
}

TEST(DigestOf, TellsSetsApart) {
  const std::vector<RecordList> sets{
      {},           {""},          {"", ""},        {"a"},        {"b"},           {"a", "b"},
      {"b", "a"},   {"ab"},        {"ab", ""},      {"", "ab"},   {"a\0"s},        {"\0a"s},
      {"12345678"}, {"123456789"}, {"12345678\0"s}, {"12345679"}, {"1234", "5678"}};
  std::set<std::string> digests;
  for (const RecordList& set : sets) {
    const std::string digest = DigestOf(set);
    EXPECT_EQ(digest.size(), 16U);
    EXPECT_EQ(digest.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_TRUE(digests.insert(digest).second) << ToLines(set);
    EXPECT_EQ(DigestOf(set), digest);
  }
}

TEST(DigestOf, ChangesWithEachBit) {
  const std::string bytes(37, '\x55');
  std::set<std::string> digests{DigestOf({bytes})};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string changed = bytes;
      changed[i] = static_cast<char>(static_cast<unsigned char>(changed[i]) ^ 1U << bit);
      EXPECT_TRUE(digests.insert(DigestOf({changed})).second) << i << ' ' << bit;
    }
  }
}

TEST(ReducedVersion, IsTheFiveCharactersBehindTheTwelfth) {
  const std::pair<const char*, const char*> rows[] = {{"", ""},
                                                      {"01.02", "01.02"},
                                                      {"SDR Version ", "SDR Version "},
                                                      {"SDR Version 1", "1"},
                                                      {"SDR Version 1.02", "1.02"},
                                                      {"SDR Version 01.02", "01.02"},
                                                      {"SDR Version 01.02b", "01.02"},
                                                      {"SDR Version 01.02 and more", "01.02"}};
  for (const auto& [version, reduced] : rows) EXPECT_EQ(ReducedVersion(version), reduced);
}

TEST(RequestsFor, GrowsByPiecesOfSixteenBytes) {
  const auto requests = [](std::size_t bytes) {
    return RequestsFor({std::string(bytes - 2, 'x')}, {});
  };
  const std::size_t none = RequestsFor({}, {});
  // A reservation and the pieces to write; a reservation, the header and the pieces to read.
  EXPECT_EQ(requests(5) - none, 1U + 1U + 2U);
  EXPECT_EQ(requests(6) - none, 1U + 1U + 3U);
  EXPECT_EQ(requests(16) - none, 1U + 1U + 3U);
  EXPECT_EQ(requests(17) - none, 1U + 2U + 3U);
  EXPECT_EQ(requests(21) - none, 1U + 2U + 3U);
  EXPECT_EQ(requests(22) - none, 1U + 2U + 4U);
  EXPECT_EQ(requests(64) - none, 1U + 4U + 6U);
  EXPECT_EQ(RequestsFor({}, {std::string(62, 'x')}) - none, 6U);
}

}  // namespace
}  // namespace tarvek::control
