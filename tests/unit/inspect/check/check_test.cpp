#include "inspect/check/check.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "inspect/input/load.h"
#include "tests/unit/inspect/check/test_set.h"

namespace tarvek::inspect {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Texts(const std::vector<Finding>& findings) {
  std::vector<std::string> texts;
  for (const Finding& finding : findings) {
    texts.push_back(std::string(finding.rule) + " " +
                    (finding.record ? std::to_string(*finding.record) : "-") + ": " +
                    finding.message);
  }
  return texts;
}

TEST(Check, ASetThatIsInOrderHasNoFinding) { EXPECT_THAT(Texts(TestSet().Check()), IsEmpty()); }

TEST(Check, TheExamplesHaveNoFinding) {
  for (const char* name : {"BOARD.SDR", "OLDBOARD.SDR", "EXAMPLE.CFG"}) {
    const RecordSet set = Load(std::string(EXAMPLES_DIRECTORY) + "/" + name, {});
    std::vector<Record> records;
    for (const InputRecord& record : set.records) records.push_back(Decode(record.bytes));
    EXPECT_GT(records.size(), 4U);
    EXPECT_THAT(Texts(Check(set, records, {})), IsEmpty()) << name;
  }
}

TEST(Check, AFindingSaysWhatWhereAndHowBad) {
  TestSet broken;
  broken.Full().bytes[7] = 0xFF;
  const std::vector<Finding> findings = broken.Check();
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].rule, "sensor-number-reserved");
  EXPECT_EQ(findings[0].severity, Severity::kError);
  EXPECT_EQ(findings[0].record, 3);
  EXPECT_EQ(findings[0].name, "CPU Temp");
  EXPECT_EQ(ToText(findings[0].place), "SET:12:1");
  EXPECT_EQ(findings[0].message,
            "The sensor number is FFh, which the standard reserves; give it another number.");
}

TEST(Check, AFindingAboutTheSetHasNoRecord) {
  TestSet broken;
  broken.set.records.erase(broken.set.records.begin());
  const std::vector<Finding> findings = broken.Check();
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].record, std::nullopt);
  EXPECT_EQ(findings[0].name, std::nullopt);
  EXPECT_EQ(ToText(findings[0].place), "SET");
}

TEST(Check, ARecordWithoutANameHasNoneInItsFinding) {
  TestSet broken;
  broken.Version().bytes = VersionRecord("SDR Version 1.2");
  const std::vector<Finding> findings = broken.Check();
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].name, std::nullopt);
}

TEST(Check, FindingsComeByRecordThenByRuleAndThoseOfTheSetLast) {
  TestSet broken;
  broken.set.records.erase(broken.set.records.begin());
  broken.Add(CompactSensor(0xFF, "Fan"));
  broken.set.records[1].bytes[7] = 0xFF;
  broken.set.records[1].bytes[12] = 0xB0;
  std::vector<std::string> order;
  for (const Finding& finding : broken.Check()) {
    order.push_back(std::string(finding.rule) + " " + std::to_string(finding.record.value_or(0)));
  }
  EXPECT_THAT(order, ElementsAre("sensor-number-reserved 2", "unknown-sensor-type 2",
                                 "sensor-number-reserved 4", "duplicate-sensor 4",
                                 "duplicate-name 4", "no-version 0"));
}

TEST(Check, AnEmptySetLacksAVersionAlone) {
  TestSet empty;
  empty.set.records.clear();
  const std::vector<Finding> findings = empty.Check();
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].rule, "no-version");
}

TEST(Check, RecordsOfAnyBytesAreTaken) {
  std::mt19937 random(1);  // the same bytes in every run
  for (int round = 0; round < 2000; ++round) {
    TestSet set;
    set.set.format = Format::kScript;
    for (int i = 0; i < 8; ++i) {
      constexpr unsigned char kTypes[] = {0x01, 0x02, 0x03, 0x08, 0x09, 0x10,
                                          0x11, 0x12, 0x13, 0x14, 0xC0, 0x77};
      Bytes bytes(random() % 70);
      for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
      if (bytes.size() > 3) bytes[3] = kTypes[random() % std::size(kTypes)];
      if (bytes.size() > 4 && round % 2 == 0)
        bytes[4] = static_cast<unsigned char>(bytes.size() - 5);
      InputRecord& record = set.Add(bytes);
      if (random() % 2 == 0) record.tags = {std::string(1, static_cast<char>(random()))};
      record.selected = random() % 2 == 0;
    }
    set.set.remarks.push_back({Remark::Kind::kSkippedWord, {}, "\xFF\x1B", random() % 20});
    for (const Finding& finding : set.Check()) {
      EXPECT_FALSE(finding.message.empty());
      EXPECT_TRUE(!finding.record || (*finding.record >= 1 && *finding.record <= 12));
    }
  }
}

/// Time for a set of so many records, made by `make` of the number.
template <typename Make>
double SecondsFor(int count, Make make) {
  TestSet set;
  for (int i = 0; i < count; ++i) make(i, &set);
  std::vector<Record> records;
  for (const InputRecord& record : set.set.records) records.push_back(Decode(record.bytes));
  const auto start = std::chrono::steady_clock::now();
  const std::vector<Finding> findings = Check(set.set, records, {});
  EXPECT_FALSE(findings.empty());
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A quadratic rule would take minutes.
constexpr int kMany = 20000;
constexpr double kSecondsAtMost = 30;

TEST(Check, ManyDuplicatesTakeNoTime) {
  EXPECT_LT(SecondsFor(kMany, [](int, TestSet* set) { set->Add(CompactSensor(9, "Same")); }),
            kSecondsAtMost);
}

TEST(Check, ManyAlternativesTakeNoTime) {
  EXPECT_LT(SecondsFor(kMany,
                       [](int i, TestSet* set) {
                         set->set.format = Format::kScript;
                         set->AddUnselected(CompactSensor(9, "Same"), {"T" + std::to_string(i)});
                       }),
            kSecondsAtMost);
}

TEST(Check, AWholeWebOfAssociationsTakesNoTime) {
  EXPECT_LT(SecondsFor(kMany,
                       [](int i, TestSet* set) {
                         set->Add(Association(i % 0x40, i % 0x60, 0x80,
                                              {0x20, 0x00, 0x20, 0x5F, 0x21, 0x00, 0x21, 0x5F}));
                       }),
            kSecondsAtMost);
}

TEST(Check, ALongChainOfAssociationsIsFollowedToItsEnd) {
  TestSet chain;
  // 20h.0 contains 20h.1, and so on through the instances of the IDs from 20h on.
  for (int i = 0; i < 0x1000; ++i) {
    const int next = i + 1;
    chain.Add(Association(
        0x20 + i / 0x60, i % 0x60, 0,
        {static_cast<unsigned char>(0x20 + next / 0x60), static_cast<unsigned char>(next % 0x60)}));
  }
  const auto is_loop = [](const Finding& finding) { return finding.rule == "association-loop"; };
  const std::vector<Finding> without = chain.Check();
  EXPECT_EQ(std::count_if(without.begin(), without.end(), is_loop), 0);
  chain.Add(Association(0x20 + 0x1000 / 0x60, 0x1000 % 0x60, 0, {0x20, 0x00}));
  const std::vector<Finding> with = chain.Check();
  EXPECT_EQ(std::count_if(with.begin(), with.end(), is_loop), 0x1001);
}

}  // namespace
}  // namespace tarvek::inspect
