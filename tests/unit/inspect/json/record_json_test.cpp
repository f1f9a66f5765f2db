#include "inspect/json/record_json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using namespace tarvek::inspect;

struct ObjectRow {
  const Sample& sample;
  const char* json;  // the keys behind "bytes", in order
};

const ObjectRow kObjectRows[] = {
    {kFull,
     R"("name": "CPU T1", "name_encoding": "ascii", "owner_id": 32, "owner_lun": 1, "channel": 3, )"
     R"("sensor_number": 7, "entity_id": 3, "entity_name": "Processor", "entity_instance": 1, )"
     R"("entity_logical": true, "sensor_type": 1, "sensor_type_name": "Temperature", )"
     R"("event_type": 1, "direction": 2, "unit": "degrees C", "base_unit": 1, )"
     R"("modifier_unit": 0, "rate_unit": 0, "analog_format": "twos complement", )"
     R"("linearization": 0, "linearization_name": "linear", "m": -236, "b": 502, "r_exp": -2, )"
     R"("b_exp": 1, "tolerance": 5, "accuracy": 321, "accuracy_exp": 2, )"
     R"("nominal": {"raw": 40, "value": -44.2}, "normal_max": {"raw": 80, "value": -138.6}, )"
     R"("normal_min": {"raw": 10, "value": 26.6}, "sensor_max": {"raw": 127, "value": -249.52}, )"
     R"("sensor_min": {"raw": 128, "value": 352.28}, "thresholds": {)"
     R"("lower_non_critical": {"raw": 15, "value": 14.8, "readable": false, "settable": true}, )"
     R"("lower_critical": {"raw": 10, "value": 26.6, "readable": true, "settable": false}, )"
     R"("lower_non_recoverable": {"raw": 5, "value": 38.4, "readable": false, "settable": true}, )"
     R"("upper_non_critical": {"raw": 95, "value": -174, "readable": true, "settable": false}, )"
     R"("upper_critical": {"raw": 100, "value": -185.8, "readable": false, "settable": true}, )"
     R"("upper_non_recoverable": {"raw": 105, "value": -197.6, "readable": true, )"
     R"("settable": false}}, "hysteresis": {"positive": 2, "negative": 3}, )"
     R"("assertion_events": [7, 9, 11], "deassertion_events": [3, 4, 5, 11], "oem": 92)"},
    {kFullDiscrete,
     R"("name": "Proc", "name_encoding": "ascii", "owner_id": 32, "owner_lun": 0, "channel": 0, )"
     R"("sensor_number": 8, "entity_id": 7, "entity_name": "System Board", "entity_instance": 1, )"
     R"("entity_logical": false, "sensor_type": 7, "sensor_type_name": "Processor", )"
     R"("event_type": 111, "direction": 0, "unit": "unspecified", "base_unit": 0, )"
     R"("modifier_unit": 0, "rate_unit": 0, "analog_format": "none", "linearization": 0, )"
     R"("linearization_name": "linear", "m": 1, "b": 0, "r_exp": 0, "b_exp": 0, "tolerance": 0, )"
     R"("accuracy": 0, "accuracy_exp": 0, "sensor_max": {"raw": 4}, "sensor_min": {"raw": 5}, )"
     R"("hysteresis": {"positive": 12, "negative": 13}, "assertion_events": [0, 7, 8], )"
     R"("deassertion_events": [1, 7, 9], "reading_mask": [0, 1, 7], "oem": 14)"},
    {kCompact,
     R"("name": "Fan 1", "name_encoding": "ascii", "owner_id": 34, "owner_lun": 2, "channel": 5, )"
     R"("sensor_number": 16, "entity_id": 29, "entity_name": "Fan / Cooling Device", )"
     R"("entity_instance": 5, "entity_logical": false, "sensor_type": 4, )"
     R"("sensor_type_name": "Fan", "event_type": 3, "direction": 1, "unit": "RPM per second", )"
     R"("base_unit": 18, "modifier_unit": 22, "rate_unit": 3, )"
     R"("hysteresis": {"positive": 4, "negative": 5}, "assertion_events": [0, 1], )"
     R"("deassertion_events": [0], "reading_mask": [1], "share_count": 3, "id_modifier": 2, )"
     R"("id_modifier_offset": 10, "entity_instance_sharing": true, "oem": 119)"},
    {kEventOnly,
     R"("name": "Post M1", "name_encoding": "ascii", "owner_id": 65, "owner_lun": 3, )"
     R"("channel": 7, "sensor_number": 17, "entity_id": 32, "entity_name": "Memory Device", )"
     R"("entity_instance": 97, "entity_logical": true, "sensor_type": 12, )"
     R"("sensor_type_name": "Memory", "event_type": 111, "direction": 2, "share_count": 2, )"
     R"("id_modifier": 1, "id_modifier_offset": 5, "entity_instance_sharing": false, "oem": 102)"},
    {kAssociation,
     R"("entity_id": 23, "entity_name": "System Chassis", "entity_instance": 2, )"
     R"("entity_logical": true, "contained_entities": [{"entity_id": 10, "entity_instance": 1}, )"
     R"({"entity_id": 10, "entity_instance": 2, "entity_logical": true}, )"
     R"({"entity_id": 29, "entity_instance": 3}])"},
    {kDeviceAssociation,
     R"("device_address": 32, "channel": 7, "entity_id": 23, "entity_name": "System Chassis", )"
     R"("entity_instance": 97, "entity_logical": false, "contained_entities": [)"
     R"({"entity_id": 10, "entity_instance": 97, "range": true}, )"
     R"({"entity_id": 10, "entity_instance": 100, "range": true}, )"
     R"({"entity_id": 29, "entity_instance": 1, "range": true}, )"
     R"({"entity_id": 29, "entity_instance": 4, "range": true}])"},
    {kGenericLocator,
     R"("name": "DIMM1", "name_encoding": "ascii", "device_address": 161, "access_address": 32, )"
     R"("channel": 10, "entity_id": 8, "entity_name": "Memory Module", "entity_instance": 4, )"
     R"("entity_logical": true, "oem": 85, "device_type": 9, "device_type_modifier": 2)"},
    {kFruLocator,
     R"("name": "PSU3", "name_encoding": "ascii", "device_address": 32, "channel": 6, )"
     R"("entity_id": 10, "entity_name": "Power Supply", "entity_instance": 3, )"
     R"("entity_logical": false, "oem": 68, "fru_id": 5, "device_type": 16, )"
     R"("device_type_modifier": 2)"},
    {kControllerLocator,
     R"("name": "BMC", "name_encoding": "ascii", "device_address": 32, "channel": 7, )"
     R"("entity_id": 7, "entity_name": "System Board", "entity_instance": 1, )"
     R"("entity_logical": false, "oem": 51, "device_capabilities": ["Sensor Device", )"
     R"("SDR Repository Device", "SEL Device", "FRU Inventory Device", "IPMB Event Receiver", )"
     R"("IPMB Event Generator", "Chassis Device"])"},
    {kConfirmation, R"("device_address": 32, "channel": 7, "manufacturer_id": 131447)"},
    {kChannelInfo, ""},
    {kOem, R"("manufacturer_id": 131447, "data": "10203040")"},
    {kUnknown, R"("data": "010203")"},
};

TEST(RecordJsonTest, EveryTypeIsItsObjectToTheLetter) {
  for (const ObjectRow& row : kObjectRows) {
    const std::string text = JsonText(FieldsJson(DecodeHex(row.sample.hex)), -1);
    EXPECT_EQ(text, "{" + std::string(row.json) + "}") << row.sample.name;
  }
}

TEST(RecordJsonTest, ARecordBeginsWithWhatEveryRecordHas) {
  const Record record = DecodeHex(kUnknown.hex);
  EXPECT_EQ(JsonText(RecordJson({.number = 7, .record = &record, .source = std::nullopt}), -1),
            R"({"number": 7, "record_id": 13, "sdr_version": "1.5", "type": 66, )"
            R"("type_name": "Unknown Record", "length": 8, "bytes": "0D00514203010203", )"
            R"("data": "010203"})");
}

TEST(RecordJsonTest, ASourceAddsTagsSelectionAndLine) {
  const Record record = DecodeHex(kUnknown.hex);
  const Json json = RecordJson(
      {.number = 1,
       .record = &record,
       .source = SourcePlace{.tags = {"CPU2", "FAN\xC3\xA9"}, .selected = false, .line = 31}});
  EXPECT_EQ(json["tags"], Json::array({"CPU2", "FAN\u00E9"}));
  EXPECT_EQ(json["selected"], false);
  EXPECT_EQ(json["line"], 31);
  const Json bare =
      RecordJson({.number = 1, .record = &record, .source = SourcePlace{.tags = {}, .line = 1}});
  EXPECT_EQ(bare["tags"], Json::array());
  EXPECT_EQ(bare["selected"], true);
}

TEST(RecordJsonTest, AnEmptyListIsThere) {
  const Json association = FieldsJson(DecodeHex("05 00 51 08 0B 17 01 00 00 00 00 00 00 00 00 00"));
  EXPECT_EQ(association["contained_entities"], Json::array());
  const Json controller = FieldsJson(Decode(With(FromHex(kControllerLocator.hex), {{8, 0}})));
  EXPECT_EQ(controller["device_capabilities"], Json::array());
  const Json compact = FieldsJson(Decode(With(FromHex(kCompact.hex), {{14, 0}, {15, 0}})));
  EXPECT_EQ(compact["assertion_events"], Json::array());
  const Json full = FieldsJson(Decode(With(FromHex(kFull.hex), {{18, 0}, {19, 0}})));
  EXPECT_EQ(full["thresholds"], Json::object());
  EXPECT_EQ(FieldsJson(DecodeHex("00 00 51 C0 03 01 02 03"))["data"], "");
}

TEST(RecordJsonTest, AValueThatIsNotFiniteIsAbsent) {
  const Json json =
      FieldsJson(Decode(With(FromHex(kFull.hex), {{23, 1}, {24, 1}, {25, 0}, {26, 0}, {27, 0}})));
  EXPECT_EQ(json["linearization_name"], "ln");
  EXPECT_FALSE(json["sensor_min"].contains("value"));  // ln of a negative number
  EXPECT_TRUE(json["sensor_max"].contains("value"));
}

TEST(RecordJsonTest, EveryCutOfEveryRecordIsAnObjectWithoutNulls) {
  for (const Sample* sample : Samples()) {
    const Bytes whole = FromHex(sample->hex);
    const Json complete = FieldsJson(Decode(whole));
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      const Json cut = FieldsJson(Decode(CutTo(whole, size)));
      for (const auto& [key, value] : cut.items()) {
        EXPECT_FALSE(value.is_null()) << key;
        const bool grows =
            key == "name" || key == "data" || key == "thresholds" || key == "contained_entities";
        if (grows) continue;
        EXPECT_EQ(value, complete[key]) << sample->name << " " << size << " " << key;
      }
    }
  }
}

// Sets.

TEST(RecordJsonTest, ASetNamesOnlyWhatItHas) {
  EXPECT_EQ(JsonText(SetJson({.format = "raw"}), -1), R"({"schema": 1, "format": "raw"})");
  const SetInfo script{.format = "script",
                       .version = "SDR Version 01.03",
                       .script = "EXAMPLE",
                       .files = std::vector<ScriptFile>{
                           {.name = "A.SDR", .pass = 1, .compare = true, .records = 3}, {}}};
  EXPECT_EQ(JsonText(SetJson(script), -1),
            R"({"schema": 1, "format": "script", "version": "SDR Version 01.03", )"
            R"("script": "EXAMPLE", "files": [{"name": "A.SDR", "pass": 1, "compare": true, )"
            R"("records": 3}, {"name": "", "pass": 1, "compare": false, "records": 0}]})");
}

std::string WriteSet(const SetInfo& info, const std::vector<Record>& records) {
  SetJsonWriter writer;
  std::string text = writer.Begin(info);
  int number = 0;
  for (const Record& record : records) text += writer.Next({++number, &record, std::nullopt});
  return text + writer.End();
}

TEST(RecordJsonTest, AWrittenSetIsOneObjectWithItsRecordsLast) {
  const std::vector<Record> records = {DecodeHex(kFull.hex), DecodeHex(kUnknown.hex)};
  const std::string text = WriteSet({.format = "image"}, records);
  Json whole = SetJson({.format = "image"});
  whole["records"] = Json::array(
      {RecordJson({1, &records[0], std::nullopt}), RecordJson({2, &records[1], std::nullopt})});
  EXPECT_EQ(text, JsonText(whole) + "\n");
}

TEST(RecordJsonTest, ASetWithoutRecordsHasAnEmptyArray) {
  EXPECT_EQ(WriteSet({.format = "hex"}, {}),
            "{\n  \"schema\": 1,\n  \"format\": \"hex\",\n  \"records\": []\n}\n");
}

TEST(RecordJsonTest, FindingsOfCheck) {
  EXPECT_EQ(JsonText(CheckJson({}), -1), R"({"schema": 1, "findings": []})");
  const std::vector<FindingJson> findings = {
      {.rule = "no-version", .severity = "note", .place = "A.SDR", .message = "None."},
      {.rule = "m-zero",
       .severity = "error",
       .record = 3,
       .name = "CPU",
       .place = "A.SDR:7:1",
       .message = "M is 0."}};
  EXPECT_EQ(JsonText(CheckJson(findings), -1),
            R"({"schema": 1, "findings": [{"rule": "no-version", "severity": "note", )"
            R"("place": "A.SDR", "message": "None."}, {"rule": "m-zero", "severity": "error", )"
            R"("record": 3, "name": "CPU", "place": "A.SDR:7:1", "message": "M is 0."}]})");
}

}  // namespace
}  // namespace tarvek_test
