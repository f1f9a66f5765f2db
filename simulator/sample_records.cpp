#include "simulator/sample_records.h"

#include <algorithm>
#include <vector>

namespace bmcsim {
namespace {

constexpr std::uint8_t kSdrVersion = 0x51;
constexpr std::uint8_t kFullSensor = 0x01;
constexpr std::uint8_t kCompactSensor = 0x02;
constexpr std::uint8_t kFruLocator = 0x11;
constexpr std::uint8_t kControllerLocator = 0x12;
constexpr std::uint8_t kOem = 0xC0;
constexpr std::uint8_t kConfigNameMark = 0x16;
constexpr std::uint8_t kControllerAddress = 0x20;
constexpr std::uint8_t kTextLength = 0xC0;  // an ID string's type: 8-bit text
constexpr std::size_t kRecordIdBytes = 2;

// Records are read in pieces of 16 bytes, and no shorter one is made.
constexpr std::size_t kLeastRecord = 16;

// Body lengths up to the ID string.
constexpr std::size_t kFullSensorBody = 43;
constexpr std::size_t kCompactSensorBody = 27;

// Sensor numbers of a LUN: 0 is left out, FFh is reserved.
constexpr unsigned kSensorNumbers = 254;
constexpr unsigned kLuns = 4;

using Bytes = std::vector<std::uint8_t>;

struct SensorKind {
  const char* name;
  std::uint8_t type;  // record type
  std::uint8_t sensor_type;
  std::uint8_t entity;
  std::uint8_t event_type;  // event/reading type: 01 threshold, others discrete
  std::uint8_t unit;        // 01 degrees C, 04 volts, 12h rpm, 06 watts
};

constexpr SensorKind kSensorKinds[] = {
    {"CPU Temp", kFullSensor, 0x01, 0x03, 0x01, 0x01},
    {"Fan Speed", kFullSensor, 0x04, 0x1D, 0x01, 0x12},
    {"DIMM Status", kCompactSensor, 0x0C, 0x20, 0x6F, 0x00},
    {"Volt 12V", kFullSensor, 0x02, 0x07, 0x01, 0x04},
    {"PSU Status", kCompactSensor, 0x08, 0x0A, 0x6F, 0x00},
    {"PSU Power", kFullSensor, 0x03, 0x0A, 0x01, 0x06},
    {"Drive Slot", kCompactSensor, 0x0D, 0x04, 0x6F, 0x00},
};

Bytes Record(std::uint8_t type, Bytes body) {
  const std::size_t header = kRecordHeaderBytes - kRecordIdBytes;
  while (kRecordHeaderBytes + body.size() < kLeastRecord) body.push_back(0);
  Bytes record = {kSdrVersion, type, static_cast<std::uint8_t>(body.size())};
  record.reserve(header + body.size());
  record.insert(record.end(), body.begin(), body.end());
  return record;
}

void AppendIdString(std::string_view text, Bytes& body) {
  body.push_back(static_cast<std::uint8_t>(kTextLength | text.size()));
  body.insert(body.end(), text.begin(), text.end());
}

Bytes ControllerRecord() {
  Bytes body = {kControllerAddress, 0x00, 0x00, 0xBF, 0x00, 0x00, 0x00, 0x07, 0x01, 0x00};
  AppendIdString("Board BMC", body);
  return Record(kControllerLocator, body);
}

Bytes FruRecord() {
  Bytes body = {kControllerAddress, 0x00, 0x80, 0x00, 0x00, 0x10, 0x00, 0x07, 0x01, 0x00};
  AppendIdString("Board FRU", body);
  return Record(kFruLocator, body);
}

Bytes SensorRecord(unsigned number) {
  constexpr std::size_t kKinds = std::size(kSensorKinds);
  const SensorKind& kind = kSensorKinds[number % kKinds];
  const auto instance = static_cast<std::uint8_t>(number / kKinds + 1);
  const bool full = kind.type == kFullSensor;
  Bytes body((full ? kFullSensorBody : kCompactSensorBody) - 1);
  body[0] = kControllerAddress;
  body[1] = static_cast<std::uint8_t>(number / kSensorNumbers % kLuns);
  body[2] = static_cast<std::uint8_t>(number % kSensorNumbers + 1);
  body[3] = kind.entity;
  body[4] = instance;
  body[5] = 0x7F;  // initialization: all of it
  body[6] = full ? 0x68 : 0x40;
  body[7] = kind.sensor_type;
  body[8] = kind.event_type;
  body[16] = kind.unit;
  if (full) {
    body[13] = 0x18;  // readable: upper critical and non-critical
    body[14] = 0x18;  // settable
    body[19] = 0x01;  // factor M
    body[29] = 0xFF;  // sensor maximum
    body[32] = 0x50;  // upper critical
    body[33] = 0x48;  // upper non-critical
  } else {
    body[13] = 0x03;  // states that a reading may have
    body[18] = 0x01;  // sensors that share the record
  }
  AppendIdString(std::string(kind.name) + " " + std::to_string(instance), body);
  return Record(kind.type, body);
}

Bytes OemRecord(const Identity& identity, std::string_view text) {
  Bytes body(identity.manufacturer_id.begin(), identity.manufacturer_id.end());
  body.insert(body.end(), text.begin(), text.end());
  return Record(kOem, body);
}

}  // namespace

bool AppendRecord(std::span<const std::uint8_t> record, BmcState& state, std::uint16_t id) {
  const std::size_t header = kRecordHeaderBytes - kRecordIdBytes;
  if (record.size() < header || record.size() != header + record[header - 1]) return false;
  Control control = ActiveControl(state);
  Store& store = control.store[control.served];
  const std::size_t length = kRecordIdBytes + record.size();
  if (store.used + length > control.identity.capacity) return false;
  auto& bytes = state.store_bytes[control.served];
  if (id == kFirstRecord) id = store.next_id;
  bytes[store.used] = static_cast<std::uint8_t>(id);
  bytes[store.used + 1] = static_cast<std::uint8_t>(id >> 8);
  std::copy(record.begin(), record.end(), bytes.begin() + store.used + kRecordIdBytes);
  store.last_offset = store.used;
  store.used += static_cast<std::uint32_t>(length);
  ++store.record_count;
  store.next_id = NextRecordId(id, control.identity.record_id_step);
  Publish(control, state);
  return true;
}

bool AddSampleSet(const SampleSet& set, std::uint32_t now, BmcState& state) {
  const Identity identity = ActiveControl(state).identity;
  for (unsigned i = 0; i < set.records; ++i) {
    const Bytes record = i == 0 ? ControllerRecord() : i == 1 ? FruRecord() : SensorRecord(i - 2);
    if (!AppendRecord(record, state)) return false;
  }
  if (!set.version.empty() && !AppendRecord(OemRecord(identity, set.version), state)) return false;
  if (!set.config_name.empty()) {
    std::string text(1, static_cast<char>(kConfigNameMark));
    if (!AppendRecord(OemRecord(identity, text + set.config_name), state)) return false;
  }
  Control control = ActiveControl(state);
  control.store[control.served].addition_time = now;
  control.store[control.served].erase_time = now;
  Publish(control, state);
  return true;
}

}  // namespace bmcsim
