// A small set that breaks no rule, to be changed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inspect/check/check.h"

namespace tarvek::inspect {

/// @return the record's bytes: ID 0, SDR version 51h, length from `body`.
inline Bytes MakeRecord(int type, Bytes body) {
  Bytes record = {0, 0, 0x51, static_cast<unsigned char>(type),
                  static_cast<unsigned char>(body.size())};
  record.insert(record.end(), body.begin(), body.end());
  return record;
}

inline void AppendText(std::string_view text, Bytes* bytes) {
  bytes->insert(bytes->end(), text.begin(), text.end());
}

/// An ID string in 8-bit ASCII.
inline void AppendName(std::string_view name, Bytes* body) {
  body->push_back(static_cast<unsigned char>(0xC0 | name.size()));
  AppendText(name, body);
}

inline Bytes VersionRecord(std::string_view text) {
  Bytes body = {0x77, 0x00, 0x00};
  AppendText(text, &body);
  return MakeRecord(0xC0, body);
}

inline Bytes ControllerRecord(int address = 0x20, int channel = 0) {
  Bytes body = {static_cast<unsigned char>(address),
                static_cast<unsigned char>(channel),
                0,
                0,
                0,
                0,
                0,
                0x07,
                0x01,
                0};
  AppendName("BMC", &body);
  return MakeRecord(0x12, body);
}

/// 10 to 110 degrees C, thresholds -5, 0, 5 and 90, 95, 100, all readable and settable.
inline Bytes FullSensor(int number, std::string_view name) {
  Bytes body = {0x20, 0x00, static_cast<unsigned char>(number),
                0x03, 0x01, 0x7F,
                0x68, 0x01, 0x01,
                0x95, 0x7A, 0x95,
                0x7A, 0x3F, 0x3F,
                0x80, 0x01, 0x00,
                0x00, 0x01, 0x00,
                0x00, 0x00, 0x00,
                0x00, 0x07, 0x28,
                0x50, 0x0A, 0x7F,
                0x80, 100,  95,
                90,   0xFB, 0x00,
                0x05, 0x02, 0x02,
                0x00, 0x00, 0x00};
  AppendName(name, &body);
  return MakeRecord(0x01, body);
}

inline Bytes CompactSensor(int number, std::string_view name) {
  Bytes body = {0x20, 0x00, static_cast<unsigned char>(number),
                0x1D, 0x01, 0x67,
                0x40, 0x04, 0x03,
                0x00, 0x00, 0x00,
                0x00, 0x03, 0x00,
                0xC0, 0x00, 0x00,
                0x01, 0x00, 0x00,
                0x00, 0x00, 0x00,
                0x00, 0x00};
  AppendName(name, &body);
  return MakeRecord(0x02, body);
}

/// @param entries  four times entity ID and instance.
inline Bytes Association(int id, int instance, int flags, Bytes entries) {
  Bytes body = {static_cast<unsigned char>(id), static_cast<unsigned char>(instance),
                static_cast<unsigned char>(flags)};
  entries.resize(8);
  body.insert(body.end(), entries.begin(), entries.end());
  return MakeRecord(0x08, body);
}

/// Records 1 to 4: version, controller, full sensor 1 of entity 03h.1, compact sensor 2 of 1Dh.1.
struct TestSet {
  TestSet() {
    set.name = "SET";
    set.format = Format::kSource;
    set.from_source = true;
    Add(VersionRecord("SDR Version 01.02"));
    Add(ControllerRecord());
    Add(FullSensor(1, "CPU Temp"));
    Add(CompactSensor(2, "Fan"));
  }

  InputRecord& Add(Bytes bytes) {
    InputRecord record;
    record.bytes = std::move(bytes);
    record.place = {"SET", static_cast<int>(set.records.size()) + 10, 1, {}};
    set.records.push_back(std::move(record));
    return set.records.back();
  }

  /// Adds a record with tags that are not set.
  InputRecord& AddUnselected(Bytes bytes, std::vector<std::string> tags) {
    InputRecord& record = Add(std::move(bytes));
    record.tags = std::move(tags);
    record.selected = false;
    return record;
  }

  InputRecord& Version() { return set.records[0]; }
  InputRecord& Controller() { return set.records[1]; }
  InputRecord& Full() { return set.records[2]; }
  InputRecord& Compact() { return set.records[3]; }

  std::vector<Finding> Check() const {
    std::vector<Record> records;
    for (const InputRecord& record : set.records) records.push_back(Decode(record.bytes));
    return inspect::Check(set, records, options);
  }

  RecordSet set;
  CheckOptions options;
};

}  // namespace tarvek::inspect
