#include "inspect/diff/fields.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "inspect/decode/names.h"
#include "inspect/json/record_json.h"
#include "tests/unit/inspect/record_bytes.h"

namespace tarvek_test {
namespace {

using tarvek::inspect::ContainedEntity;
using tarvek::inspect::Field;
using tarvek::inspect::FieldsOf;
using tarvek::inspect::FieldValue;
using tarvek::inspect::Hysteresis;
using tarvek::inspect::Json;
using tarvek::inspect::Reading;
using tarvek::inspect::Threshold;

/// A field's value as the record's JSON object has it.
struct ToJson {
  Json operator()(const Reading& reading) const {
    Json json = Json::object();
    json["raw"] = reading.raw;
    if (reading.value) json["value"] = *reading.value;
    return json;
  }
  Json operator()(const Threshold& threshold) const {
    Json json = (*this)(threshold.reading);
    json["readable"] = threshold.readable;
    json["settable"] = threshold.settable;
    return json;
  }
  Json operator()(const Hysteresis& hysteresis) const {
    Json json = Json::object();
    json["positive"] = hysteresis.positive;
    json["negative"] = hysteresis.negative;
    return json;
  }
  Json operator()(const std::vector<ContainedEntity>& entities) const {
    Json list = Json::array();
    for (const ContainedEntity& contained : entities) {
      Json json = Json::object();
      json["entity_id"] = contained.entity.id;
      json["entity_instance"] = contained.entity.instance;
      if (contained.entity.logical) json["entity_logical"] = true;
      if (contained.range) json["range"] = true;
      list.push_back(json);
    }
    return list;
  }
  template <typename T>
  Json operator()(const T& value) const {
    return value;
  }
};

/// The record's JSON object from the SDR version on, its thresholds each a key.
Json Flattened(const Record& record) {
  Json json = Json::object();
  json["sdr_version"] = tarvek::inspect::SdrVersionText(record.sdr_version);
  const Json fields = tarvek::inspect::FieldsJson(record);
  for (const auto& [key, value] : fields.items()) {
    if (key == "thresholds") {
      for (const auto& [kind, threshold] : value.items()) json[kind] = threshold;
    } else {
      json[key] = value;
    }
  }
  return json;
}

Json JsonOf(const Record& record) {
  Json json = Json::object();
  for (const Field& field : FieldsOf(record)) {
    json[std::string(field.key)] = std::visit(ToJson{}, field.value);
  }
  return json;
}

TEST(FieldsOf, HasTheKeysAndValuesOfTheJsonInItsOrder) {
  for (const Sample* sample : Samples()) {
    const Record record = DecodeHex(sample->hex);
    EXPECT_EQ(JsonOf(record).dump(), Flattened(record).dump()) << sample->name;
  }
}

TEST(FieldsOf, HasTheKeysAndValuesOfTheJsonWhateverABytesIs) {
  for (const Sample* sample : Samples()) {
    const Bytes bytes = FromHex(sample->hex);
    for (std::size_t i = 2; i < bytes.size(); ++i) {
      for (const int value : {0x00, 0x01, 0x0F, 0x70, 0x7F, 0x80, 0xE1, 0xFF}) {
        const Record record = tarvek::inspect::Decode(With(bytes, {{i, value}}));
        EXPECT_EQ(JsonOf(record), Flattened(record)) << sample->name << " " << i << " " << value;
      }
    }
  }
}

TEST(FieldsOf, HasTheKeysAndValuesOfTheJsonWhereverTheRecordEnds) {
  for (const Sample* sample : Samples()) {
    const Bytes bytes = FromHex(sample->hex);
    for (std::size_t size = 3; size < bytes.size(); ++size) {
      const Record record = tarvek::inspect::Decode(CutTo(bytes, size));
      EXPECT_EQ(JsonOf(record), Flattened(record)) << sample->name << " " << size;
    }
  }
}

TEST(FieldsOf, SaysEveryFieldInWords) {
  for (const Sample* sample : Samples()) {
    for (const Field& field : FieldsOf(DecodeHex(sample->hex))) {
      EXPECT_NE(field.text.empty(), field.items.empty()) << sample->name << " " << field.key;
    }
  }
}

}  // namespace
}  // namespace tarvek_test
