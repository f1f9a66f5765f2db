#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

#include "inspect/diff/diff.h"
#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using tarvek::inspect::Change;
using tarvek::inspect::Compare;
using tarvek::inspect::Difference;
using tarvek::inspect::Match;
using testing::ElementsAre;
using testing::IsEmpty;

Difference CompareSets(const std::vector<Bytes>& old_set, const std::vector<Bytes>& new_set) {
  const auto decoded = [](const std::vector<Bytes>& set) {
    std::vector<Record> records;
    for (const Bytes& bytes : set) records.push_back(tarvek::inspect::Decode(bytes));
    return records;
  };
  const auto pointers = [](const std::vector<Record>& records) {
    std::vector<const Record*> list;
    for (const Record& record : records) list.push_back(&record);
    return list;
  };
  const std::vector<Record> old_records = decoded(old_set);
  const std::vector<Record> new_records = decoded(new_set);
  return Compare(pointers(old_records), pointers(new_records));
}

Bytes Sensor(int number, char last = '1') {
  return With(FromHex(kCompact.hex), {{7, number}, {36, last}});
}

Bytes Oem(std::string_view maker, std::string_view text) {
  Bytes bytes = FromHex("00 00 51 C0 00");
  const Bytes id = FromHex(maker);
  bytes.insert(bytes.end(), id.begin(), id.end());
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes[4] = static_cast<unsigned char>(bytes.size() - 5);
  return bytes;
}

std::vector<Match> Changed(const Difference& difference) {
  std::vector<Match> matches;
  for (const Change& change : difference.changed) matches.push_back(change.match);
  return matches;
}

TEST(Compare, EmptySetsAreEqual) { EXPECT_TRUE(CompareSets({}, {}).IsEqual()); }

TEST(Compare, ASetEqualsItself) {
  std::vector<Bytes> set;
  for (const Sample* sample : Samples()) set.push_back(FromHex(sample->hex));
  const Difference difference = CompareSets(set, set);
  EXPECT_TRUE(difference.IsEqual());
  EXPECT_THAT(difference.moved, IsEmpty());
}

TEST(Compare, RecordIdsAreNoDifference) {
  EXPECT_TRUE(CompareSets({Sensor(1)}, {With(Sensor(1), {{0, 0x99}, {1, 0x98}})}).IsEqual());
}

TEST(Compare, AnEmptySetLacksEveryRecord) {
  EXPECT_THAT(CompareSets({}, {Sensor(1), Sensor(2)}).added, ElementsAre(0, 1));
  EXPECT_THAT(CompareSets({Sensor(1), Sensor(2)}, {}).removed, ElementsAre(0, 1));
}

TEST(Compare, OneRecordMoreMovesNoOther) {
  const Difference difference =
      CompareSets({Sensor(1), Sensor(2), Sensor(3)}, {Sensor(9), Sensor(1), Sensor(2), Sensor(3)});
  EXPECT_THAT(difference.added, ElementsAre(0));
  EXPECT_THAT(difference.moved, IsEmpty());
  EXPECT_FALSE(difference.IsEqual());
}

TEST(Compare, AnotherOrderAloneIsEqual) {
  const Difference difference =
      CompareSets({Sensor(1), Sensor(2), Sensor(3)}, {Sensor(3), Sensor(1), Sensor(2)});
  EXPECT_TRUE(difference.IsEqual());
  EXPECT_THAT(difference.moved, ElementsAre(Match{2, 0}));
}

TEST(Compare, ARecordMayBeChangedAndMoved) {
  const Difference difference =
      CompareSets({Sensor(1), Sensor(2), Sensor(3)}, {Sensor(3, 'x'), Sensor(1), Sensor(2)});
  EXPECT_THAT(difference.moved, ElementsAre(Match{2, 0}));
  EXPECT_THAT(Changed(difference), ElementsAre(Match{2, 0}));
  EXPECT_EQ(difference.changed[0].fields[0].text, "renamed from \"Fan 1\" to \"Fan x\"");
}

/// Whether records with these bytes changed are the same thing; the rest of them is.
struct IdentityRow {
  const Sample& sample;
  std::size_t offset;
  int value;
  bool same;
};

TEST(Compare, RecordsAreMatchedByWhatTheyAre) {
  const IdentityRow rows[] = {
      {kFull, 5, 0x22, false},  // owner
      {kFull, 6, 0x30, false},  // LUN
      {kFull, 6, 0x41, false},  // channel
      {kFull, 7, 0x08, false},  // number
      {kFull, 8, 0x08, true},   // entity
      {kFull, 37, 0x01, true},  // a threshold
      {kCompact, 7, 0x11, false},
      {kEventOnly, 7, 0x12, false},
      {kEventOnly, 10, 0x0D, true},
      {kAssociation, 5, 0x18, false},        // container
      {kAssociation, 6, 0x83, false},        // its instance
      {kAssociation, 6, 0x02, false},        // no longer logical
      {kAssociation, 8, 0x0B, true},         // contained
      {kDeviceAssociation, 7, 0x22, false},  // device
      {kDeviceAssociation, 8, 0x60, false},  // channel
      {kDeviceAssociation, 12, 0x0B, true},
      {kGenericLocator, 5, 0x22, false},  // access address
      {kGenericLocator, 6, 0xA3, false},  // slave address
      {kGenericLocator, 7, 0x5C, false},  // bus
      {kGenericLocator, 10, 0x08, true},
      {kFruLocator, 5, 0x22, false},
      {kFruLocator, 6, 0x06, false},  // FRU ID
      {kFruLocator, 12, 0x0B, true},
      {kControllerLocator, 5, 0x22, false},
      {kControllerLocator, 6, 0x06, false},  // channel
      {kControllerLocator, 8, 0x01, true},
      {kConfirmation, 5, 0x22, false},
      {kConfirmation, 8, 0x01, true},
      {kChannelInfo, 5, 0x01, true},
      {kOem, 8, 0x11, false},
      {kUnknown, 5, 0x11, false},
  };
  for (const IdentityRow& row : rows) {
    const Bytes bytes = FromHex(row.sample.hex);
    const Difference difference = CompareSets({bytes}, {With(bytes, {{row.offset, row.value}})});
    EXPECT_EQ(difference.changed.size(), row.same ? 1U : 0U) << row.sample.name << row.offset;
    EXPECT_EQ(difference.added.size(), row.same ? 0U : 1U) << row.sample.name << row.offset;
    EXPECT_EQ(difference.removed.size(), row.same ? 0U : 1U) << row.sample.name << row.offset;
  }
}

TEST(Compare, ASensorOfAnotherTypeIsAnotherRecord) {
  const Difference difference =
      CompareSets({FromHex(kCompact.hex)}, {With(FromHex(kCompact.hex), {{3, 0x03}})});
  EXPECT_THAT(difference.changed, IsEmpty());
  EXPECT_EQ(difference.added.size(), 1U);
}

TEST(Compare, TheMakersVersionAndScriptAreWhatTheyAre) {
  const Difference difference = CompareSets({Oem("77 00 00", "SDR Version 01.02"), Oem("77 00 00",
                                                                                       "\x16"
                                                                                       "BOARD")},
                                            {Oem("77 00 00",
                                                 "\x16"
                                                 "OTHER"),
                                             Oem("77 00 00", "SDR Version 01.03 beta")});
  EXPECT_THAT(Changed(difference), ElementsAre(Match{1, 0}, Match{0, 1}));
  EXPECT_EQ(difference.changed[1].fields[0].text,
            "version \"SDR Version 01.02\" → \"SDR Version 01.03 beta\"");
}

TEST(Compare, AnotherMakersTextIsContent) {
  const Difference difference = CompareSets({Oem("78 00 00", "S 1")}, {Oem("78 00 00", "S 2")});
  EXPECT_THAT(difference.changed, IsEmpty());
  EXPECT_THAT(difference.added, ElementsAre(0));
  EXPECT_THAT(difference.removed, ElementsAre(0));
}

TEST(Compare, OfDuplicatesTheEqualOnesAreMatchedFirst) {
  const Difference difference = CompareSets({Sensor(1, 'a'), Sensor(1, 'b'), Sensor(1, 'c')},
                                            {Sensor(1, 'c'), Sensor(1, 'x')});
  EXPECT_THAT(Changed(difference), ElementsAre(Match{0, 1}));
  EXPECT_THAT(difference.removed, ElementsAre(1));
  EXPECT_THAT(difference.moved, ElementsAre(testing::AnyOf(Match{0, 1}, Match{2, 0})));
}

TEST(Compare, EqualDuplicatesAreMatchedInOrder) {
  const Difference difference =
      CompareSets({Sensor(1), Sensor(1), Sensor(1)}, {Sensor(1), Sensor(1)});
  EXPECT_THAT(difference.removed, ElementsAre(2));
  EXPECT_THAT(difference.moved, IsEmpty());
  EXPECT_THAT(difference.changed, IsEmpty());
}

TEST(Compare, RecordsWithoutABodyAreTaken) {
  const std::vector<Bytes> set = {{}, {1}, {1, 2}, {1, 2, 3}, FromHex("00 00 51 01 00")};
  EXPECT_TRUE(CompareSets(set, set).IsEqual());
  EXPECT_FALSE(CompareSets(set, {}).IsEqual());
}

TEST(Compare, ManyOfOneKeyTakeNoTime) {
  constexpr int kMany = 50000;
  constexpr double kSecondsAtMost = 30;  // comparing each with each would take minutes
  std::vector<Bytes> old_set;
  for (int i = 0; i < kMany; ++i) {
    old_set.push_back(With(Sensor(1), {{32, i & 0xFF}, {33, i >> 8}}));
  }
  std::vector<Bytes> new_set(old_set.rbegin(), old_set.rend());
  constexpr std::size_t kChanged = 100;
  for (std::size_t i = 0; i < kChanged; ++i) new_set[i][36] = 'x';
  const auto start = std::chrono::steady_clock::now();
  const Difference difference = CompareSets(old_set, new_set);
  EXPECT_EQ(difference.changed.size(), kChanged);
  EXPECT_EQ(difference.moved.size(), old_set.size() - kChanged);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            kSecondsAtMost);
}

}  // namespace
}  // namespace tarvek_test
