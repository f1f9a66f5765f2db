#include <gmock/gmock.h>

#include <random>

#include "inspect/diff/diff.h"
#include "inspect/diff/identity.h"
#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using tarvek::inspect::ChangedFields;
using tarvek::inspect::Decode;
using tarvek::inspect::FieldChange;
using testing::ElementsAre;
using testing::IsEmpty;

using Changes = std::initializer_list<std::pair<std::size_t, int>>;

std::vector<FieldChange> ChangesOf(const Sample& sample, Changes changes) {
  const Bytes bytes = FromHex(sample.hex);
  return ChangedFields(Decode(bytes), Decode(With(bytes, changes)));
}

/// What people are told.
std::vector<std::string> Texts(const std::vector<FieldChange>& changes) {
  std::vector<std::string> texts;
  for (const FieldChange& change : changes) {
    if (change.for_people) texts.push_back(change.text);
  }
  return texts;
}

std::vector<std::string> Keys(const std::vector<FieldChange>& changes) {
  std::vector<std::string> keys;
  for (const FieldChange& change : changes) keys.emplace_back(change.key);
  return keys;
}

Bytes Text(std::string_view hex, std::string_view text) {
  Bytes bytes = FromHex(hex);
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes[4] = static_cast<unsigned char>(bytes.size() - 5);
  return bytes;
}

TEST(ChangedFields, EqualRecordsHaveNone) {
  for (const Sample* sample : Samples()) {
    EXPECT_THAT(Texts(ChangesOf(*sample, {})), IsEmpty()) << sample->name;
  }
}

TEST(ChangedFields, RecordIdsAreNoDifference) {
  EXPECT_THAT(Keys(ChangesOf(kFull, {{0, 0x77}, {1, 0x66}})), IsEmpty());
}

/// A change of some bytes of a sample, and what people are told of it.
struct Row {
  const char* what;
  const Sample& sample;
  Changes changes;
  std::vector<std::string> texts;
};

void ExpectTexts(std::initializer_list<Row> rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(Texts(ChangesOf(row.sample, row.changes)), row.texts) << row.what;
  }
}

TEST(ChangedFields, CodesAreToldByTheirNames) {
  ExpectTexts({
      {"version", kFull, {{2, 0x02}}, {"sdr_version 1.5 → 2.0"}},
      {"entity", kFull, {{8, 0x07}}, {"entity_id Processor (03h) → System Board (07h)"}},
      {"instance", kFull, {{9, 0x02}}, {"entity_instance 1 → 2", "entity_logical yes → no"}},
      {"sensor type", kFull, {{12, 0x02}}, {"sensor_type Temperature (01h) → Voltage (02h)"}},
      {"linearization", kFullDiscrete, {{23, 0x07}}, {"linearization linear (00h) → 1/x (07h)"}},
      {"direction", kCompact, {{23, 0xA3}}, {"direction input → output"}},
      {"share count", kCompact, {{23, 0x64}}, {"share_count 3 → 4"}},
      {"device type",
       kGenericLocator,
       {{10, 0x08}},
       {"device_type EEPROM, 24C02 (09h) → EEPROM, 24C01 (08h)"}},
      {"oem", kCompact, {{30, 0x78}}, {"oem 77h → 78h"}},
  });
}

TEST(ChangedFields, ReadingsAreToldInRealUnits) {
  // M is 1 and B 0 from here on.
  const Bytes plain = With(FromHex(kFull.hex), {{24, 1}, {25, 0}, {26, 0}, {27, 0}, {29, 0}});
  const auto texts = [&plain](Changes changes) {
    return Texts(ChangedFields(Decode(plain), Decode(With(plain, changes))));
  };
  EXPECT_THAT(texts({{37, 90}}), ElementsAre("upper_critical 100 → 90 degrees C"));
  EXPECT_THAT(texts({{31, 0xFF}}), ElementsAre("nominal 40 → -1 degrees C"));
  EXPECT_THAT(texts({{30, 0x06}}), ElementsAre("nominal 40 degrees C → none"));
  EXPECT_THAT(texts({{19, 0x05}, {37, 90}}), ElementsAre("upper_critical 100 degrees C → none"))
      << "a threshold that the masks leave out is none";
  EXPECT_THAT(texts({{18, 0x3A}}),
              ElementsAre("upper_critical 100 (raw 64h, settable) → 100 (raw 64h, readable, "
                          "settable) degrees C"));
  EXPECT_THAT(texts({{24, 2}}), testing::Contains("upper_critical 100 → 200 degrees C"))
      << "the same raw value is another real one";
}

TEST(ChangedFields, AChangeOfRawValuesThatIsNoneOfRealOnesTellsTheRawOnes) {
  const Bytes constant = With(FromHex(kFull.hex), {{24, 0}, {25, 0}, {26, 7}, {27, 0}, {29, 0}});
  EXPECT_THAT(Texts(ChangedFields(Decode(constant), Decode(With(constant, {{31, 0x29}})))),
              ElementsAre("nominal 7 (raw 28h) → 7 (raw 29h) degrees C"));
}

TEST(ChangedFields, TheValueOfAThresholdThatTheMasksLeaveOutIsData) {
  const Bytes unused = With(FromHex(kFullDiscrete.hex), {{13, 0x01}, {18, 0}, {19, 0}});
  EXPECT_THAT(Texts(ChangedFields(Decode(unused), Decode(With(unused, {{37, 0x5A}})))),
              ElementsAre("data: Upper Critical Threshold 07h, unused → 5Ah, unused"));
}

TEST(ChangedFields, ReadingsWithoutRealValuesAreToldRaw) {
  ExpectTexts({{"non-linear", kFullDiscrete, {{34, 0x09}}, {"sensor_max raw 04h → raw 09h"}}});
}

TEST(ChangedFields, ListsAreToldByWhatGoesAndWhatComes) {
  ExpectTexts({
      {"one more", kFull, {{15, 0x7B}}, {"assertion_events: now Upper Critical - going low"}},
      {"one less",
       kFull,
       {{14, 0x00}},
       {"assertion_events: no longer Upper Non-critical - going high"}},
      {"both",
       kFullDiscrete,
       {{18, 0x81}, {19, 0x01}},
       {"reading_mask: no longer Thermal Trip; now Processor disabled"}},
      {"contained entities",
       kAssociation,
       {{12, 0x1E}},
       {"contained_entities: no longer Fan / Cooling Device 3; now Cooling Unit / Cooling Domain "
        "3"}},
      {"a range",
       kDeviceAssociation,
       {{17, 0x65}},
       {"contained_entities: no longer Power Supply 97 to Power Supply 100; now Power Supply 97 to "
        "Power Supply 101"}},
  });
}

TEST(ChangedFields, AListInAnotherOrderIsToldWhole) {
  ExpectTexts(
      {{"two change places",
        kAssociation,
        {{8, 0x1D}, {9, 0x03}, {12, 0x0A}, {13, 0x01}},
        {"contained_entities Power Supply 1, Power Supply 2 (logical), Fan / Cooling Device "
         "3 → Fan / Cooling Device 3, Power Supply 2 (logical), Power Supply 1"}}});
}

TEST(ChangedFields, AnotherNameIsARenaming) {
  ExpectTexts({{"one letter", kCompact, {{36, '2'}}, {"renamed from \"Fan 1\" to \"Fan 2\""}}});
  const Bytes bytes = FromHex(kCompact.hex);
  EXPECT_THAT(Texts(ChangedFields(Decode(bytes), Decode(Text(ToHex(CutTo(bytes, 31)),
                                                             "\xC9"
                                                             "Rear fan")))),
              ElementsAre("renamed from \"Fan 1\" to \"Rear fan\""))
      << "nothing else is told of its length";
}

TEST(ChangedFields, ANameThatComesOrGoesIsTold) {
  const Bytes bytes = FromHex(kCompact.hex);
  EXPECT_THAT(Texts(ChangedFields(Decode(CutTo(bytes, 31)), Decode(bytes))),
              ElementsAre("name none → \"Fan 1\"", "name_encoding none → ascii"));
}

TEST(ChangedFields, WhatAnotherTextSaysIsForPeopleNoMore) {
  const auto changes = ChangesOf(kFull, {{21, 0x12}, {8, 0x07}});
  EXPECT_THAT(Keys(changes), ElementsAre("entity_id", "entity_name", "unit", "base_unit"));
  EXPECT_THAT(Texts(changes), ElementsAre("entity_id Processor (03h) → System Board (07h)",
                                          "unit degrees C → RPM"));
  ExpectTexts({{"the unit's text is the same",
                kFull,
                {{22, 0x01}},
                {"modifier_unit unspecified (00h) → degrees C (01h)"}}});
}

TEST(ChangedFields, ValuesAreThoseOfTheJson) {
  const std::vector<FieldChange> changes = ChangesOf(kFull, {{42, 0x04}, {21, 0x12}});
  ASSERT_EQ(changes.size(), 3U);
  EXPECT_EQ(std::get<std::string>(*changes[0].old_value), "degrees C");
  EXPECT_EQ(std::get<int>(*changes[1].new_value), 0x12);
  EXPECT_EQ(std::get<tarvek::inspect::Hysteresis>(*changes[2].new_value).positive, 4);
  EXPECT_EQ(changes[2].old_text, "positive 2, negative 3");
  EXPECT_EQ(changes[2].new_text, "positive 4, negative 3");
}

TEST(ChangedFields, BytesWithoutAKeyAreOneFieldData) {
  ExpectTexts({
      {"capabilities",
       kFull,
       {{11, 0x64}},
       {"data: Sensor Threshold Access Support readable and settable → readable"}},
      {"a type without keys",
       kChannelInfo,
       {{5, 0x01}},
       {"data: Message Channel 0 protocol 01h (IPMB-1.0), receive LUN 0, transmit supported → "
        "protocol "
        "01h (IPMB-1.0), receive LUN 0, no transmit"}},
      {"reserved bytes", kCompact, {{28, 0x01}}, {"data: Reserved 00 00 00 → 00 01 00"}},
      {"a bit beside those that a field tells",
       kFull,
       {{15, 0xFB}},
       {"assertion_events: now Upper Critical - going low", "data: Reserved bits none → 80h"}},
      {"the length of a name that its record cuts",
       kFull,
       {{47, 0xC7}},
       {"data: ID String Type/Length Code ascii, 6 characters → ascii, 7 characters, of which 6 "
        "are "
        "there"}},
  });
  const auto changes = ChangesOf(kCompact, {{10, 0x60}, {28, 0x01}});
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].key, "data");
  EXPECT_EQ(std::get<std::string>(*changes[0].old_value), "6700");
  EXPECT_EQ(std::get<std::string>(*changes[0].new_value), "6001");
}

TEST(ChangedFields, BytesBehindTheLastFieldAreData) {
  Bytes longer = FromHex(kConfirmation.hex);
  longer.push_back(0xAB);
  longer[4] = static_cast<unsigned char>(longer.size() - 5);
  EXPECT_THAT(Texts(ChangedFields(DecodeHex(kConfirmation.hex), Decode(longer))),
              ElementsAre("data: none → AB"));
}

TEST(ChangedFields, TheMakersTextsAreToldAsTexts) {
  const std::string_view maker = "00 00 51 C0 00 77 00 00";
  const Record version = Decode(Text(maker, "SDR Version 01.02"));
  const Record newer = Decode(Text(maker, "SDR Version 01.03"));
  EXPECT_THAT(Texts(ChangedFields(version, newer)),
              ElementsAre("version \"SDR Version 01.02\" → \"SDR Version 01.03\""));
  EXPECT_THAT(Texts(ChangedFields(Decode(Text(maker,
                                              "\x16"
                                              "BOARD")),
                                  Decode(Text(maker,
                                              "\x16"
                                              "OTHER")))),
              ElementsAre("script \"BOARD\" → \"OTHER\""));
  EXPECT_EQ(ChangedFields(version, newer)[0].key, "data");
}

TEST(ChangedFields, NoBitChangesUntold) {
  for (const Sample* sample : Samples()) {
    const Bytes bytes = FromHex(sample->hex);
    for (std::size_t i = 2; i < bytes.size(); ++i) {
      for (int bit = 1; bit < 0x100; bit <<= 1) {
        EXPECT_THAT(Texts(ChangesOf(*sample, {{i, bytes[i] ^ bit}})), testing::Not(IsEmpty()))
            << sample->name << " " << i << " " << bit;
      }
    }
  }
}

TEST(ChangedFields, RecordsOfAnyBytesAreTaken) {
  std::mt19937 random(1);  // the same bytes in every run
  for (int round = 0; round < 20000; ++round) {
    const Sample& sample = **(Samples().begin() + random() % Samples().size());
    const auto changed = [&] {
      Bytes bytes = FromHex(sample.hex);
      for (unsigned n = random() % 4; n > 0; --n) {
        bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
      }
      bytes.resize(random() % 3 == 0 ? random() % 70 : bytes.size());
      return Decode(bytes);
    };
    const Record before = changed();
    const Record after = changed();
    EXPECT_EQ(ChangedFields(before, after).empty(),
              tarvek::inspect::ContentOf(before) == tarvek::inspect::ContentOf(after));
  }
}

}  // namespace
}  // namespace tarvek_test
