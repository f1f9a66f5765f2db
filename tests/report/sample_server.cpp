#include "tests/report/sample_server.h"

#include <algorithm>
#include <map>

#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"

namespace tarvek_test {

using tarvek::inspect::Decode;
using tarvek::inspect::NumberText;
using tarvek::inspect::Record;
using tarvek::inspect::ReportDifference;
using tarvek::inspect::ReportField;
using tarvek::inspect::ReportPair;
using tarvek::inspect::ReportRecord;
using tarvek::inspect::ReportSet;
using tarvek::inspect::ThresholdKey;
using tarvek::inspect::ThresholdKind;

namespace {

constexpr std::size_t kHeader = 5;

unsigned char Low(int value) { return static_cast<unsigned char>(value & 0xFF); }
unsigned char High(int value) { return static_cast<unsigned char>((value >> 8) & 0xFF); }

/// A record of the body bytes with its header and an ID string at its end.
Bytes Finish(int type, Bytes body, const std::string& name) {
  body.push_back(static_cast<unsigned char>(0xC0 | name.size()));
  body.insert(body.end(), name.begin(), name.end());
  Bytes bytes{0, 0, 0x51, Low(type), static_cast<unsigned char>(body.size())};
  bytes.insert(bytes.end(), body.begin(), body.end());
  return bytes;
}

}  // namespace

Bytes FullSensor(const SampleSensor& sensor) {
  constexpr std::size_t kFixed = 42;
  Bytes body(kFixed);
  const auto put = [&](std::size_t offset, int value) { body[offset - kHeader] = Low(value); };
  put(5, 0x20);
  put(7, sensor.number);
  put(8, sensor.entity);
  put(9, sensor.instance);
  put(10, 0x7F);
  put(11, 0x68);
  put(12, sensor.sensor_type);
  put(13, 1);
  int mask = 0;
  for (std::size_t i = 0; i < sensor.thresholds.size(); ++i) {
    if (sensor.thresholds[i] == kNone) continue;
    mask |= 1 << i;
    put(41 - i, sensor.thresholds[i]);
  }
  put(18, mask);
  put(19, mask);
  put(20, sensor.is_signed ? 0x80 : 0x00);
  put(21, sensor.unit);
  put(24, Low(sensor.m));
  put(25, (High(sensor.m) & 0x03) << 6);
  put(26, Low(sensor.b));
  put(27, (High(sensor.b) & 0x03) << 6);
  put(29, (sensor.r_exp & 0x0F) << 4 | (sensor.b_exp & 0x0F));
  put(30, (sensor.nominal != kNone ? 1 : 0) | (sensor.normal_low != kNone ? 6 : 0));
  put(31, sensor.nominal);
  put(32, sensor.normal_high);
  put(33, sensor.normal_low);
  put(34, sensor.maximum);
  put(35, sensor.minimum);
  return Finish(0x01, body, sensor.name);
}

Bytes DiscreteSensor(const std::string& name, int number, int sensor_type, int event_type,
                     int states, int entity, int instance) {
  Bytes body(26);
  const auto put = [&](std::size_t offset, int value) { body[offset - kHeader] = Low(value); };
  put(5, 0x20);
  put(7, number);
  put(8, entity);
  put(9, instance);
  put(10, 0x67);
  put(11, 0x40);
  put(12, sensor_type);
  put(13, event_type);
  for (const std::size_t mask : {14U, 18U}) {
    put(mask, states);
    put(mask + 1, states >> 8);
  }
  put(20, 0xC0);
  put(23, 1);
  return Finish(0x02, body, name);
}

Bytes Association(int container, int instance, bool range, const std::array<int, 8>& contained) {
  Bytes bytes{0, 0, 0x51, 0x08, 11, Low(container), Low(instance), Low(range ? 0x80 : 0x00)};
  for (const int byte : contained) bytes.push_back(Low(byte));
  return bytes;
}

Bytes FruLocator(const std::string& name, int fru, int entity, int instance) {
  return Finish(0x11, {0x20, Low(fru), 0x80, 0, 0, 0x10, 0, Low(entity), Low(instance), 0}, name);
}

Bytes ControllerLocator(const std::string& name) {
  return Finish(0x12, {0x20, 0, 0, 0xBF, 0, 0, 0, 7, 1, 0}, name);
}

Bytes VersionRecord(const std::string& version) {
  Bytes bytes{0, 0, 0x51, 0xC0, 0, 0x77, 0, 0};
  const std::string text = "SDR Version " + version;
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes[4] = static_cast<unsigned char>(bytes.size() - kHeader);
  return bytes;
}

SampleSet::SampleSet(std::string name, std::string format) {
  set_.name = std::move(name);
  set_.format = std::move(format);
}

void SampleSet::Add(const Bytes& bytes) {
  records_.push_back(Decode(bytes));
  set_.records.push_back({static_cast<int>(records_.size()), &records_.back()});
}

namespace {

void AddProcessors(SampleSet* set, bool updated) {
  for (int cpu = 1; cpu <= 2; ++cpu) {
    const std::string name = "CPU " + std::to_string(cpu);
    set->Add(FullSensor({.name = name + " Temp",
                         .number = cpu,
                         .instance = cpu,
                         .is_signed = true,
                         .minimum = 0x80,
                         .maximum = 0x7F,
                         .nominal = 40,
                         .normal_low = 10,
                         .normal_high = 80,
                         .thresholds = {5, 0, kNone, updated ? 90 : 95, 100, 105}}));
    set->Add(FullSensor({.name = name + " VCORE",
                         .number = 0x10 + cpu,
                         .sensor_type = 2,
                         .instance = cpu,
                         .unit = 4,
                         .m = 10,
                         .r_exp = -3,
                         .minimum = 0,
                         .maximum = 200,
                         .nominal = 105,
                         .normal_low = 90,
                         .normal_high = 120,
                         .thresholds = {80, 70, kNone, 130, 140, kNone}}));
    set->Add(DiscreteSensor(name + " Status", 0x20 + cpu, 7, 0x6F, 0x0183, 3, cpu));
  }
}

void AddBoard(SampleSet* set, bool updated) {
  set->Add(FullSensor({.name = "P12V",
                       .number = 0x30,
                       .sensor_type = 2,
                       .entity = 7,
                       .unit = 4,
                       .m = 6,
                       .r_exp = -2,
                       .minimum = 0,
                       .maximum = 255,
                       .nominal = 200,
                       .normal_low = 190,
                       .normal_high = 210,
                       .thresholds = {183, 177, 170, 217, 223, 230}}));
  set->Add(FullSensor({.name = "P3V3",
                       .number = 0x31,
                       .sensor_type = 2,
                       .entity = 7,
                       .unit = 4,
                       .m = 17,
                       .r_exp = -3,
                       .nominal = 194,
                       .thresholds = {184, 175, kNone, 204, 213, kNone}}));
  set->Add(FullSensor({.name = "Inlet Temp",
                       .number = 0x32,
                       .entity = 55,
                       .is_signed = true,
                       .minimum = 0x80,
                       .maximum = 0x7F,
                       .nominal = 22,
                       .normal_low = 10,
                       .normal_high = 35,
                       .thresholds = {5, 2, kNone, updated ? 40 : 38, 45, kNone}}));
  if (updated) {
    set->Add(FullSensor({.name = "Exhaust Temp",
                         .number = 0x33,
                         .entity = 7,
                         .is_signed = true,
                         .minimum = 0x80,
                         .maximum = 0x7F,
                         .thresholds = {kNone, kNone, kNone, 65, 75, 80}}));
  }
}

void AddCooling(SampleSet* set, bool updated) {
  for (int fan = 1; fan <= (updated ? 5 : 6); ++fan) {
    set->Add(FullSensor({.name = "Fan " + std::to_string(fan),
                         .number = 0x40 + fan,
                         .sensor_type = 4,
                         .entity = 29,
                         .instance = fan,
                         .unit = 18,
                         .m = 100,
                         .minimum = 0,
                         .maximum = 255,
                         .nominal = 90,
                         .normal_low = 30,
                         .normal_high = 180,
                         .thresholds = {updated ? 15 : 12, 8, 5, kNone, kNone, kNone}}));
  }
  for (int unit = 1; unit <= 2; ++unit) {
    set->Add(DiscreteSensor("PSU " + std::to_string(unit) + " Status", 0x50 + unit, 8, 0x6F, 0x000F,
                            10, unit));
    set->Add(FruLocator("PSU " + std::to_string(unit), unit, 10, unit));
  }
  set->Add(DiscreteSensor("Chassis Intrusion", 0x60, 5, 0x6F, 0x0001, 23, 1));
}

}  // namespace

void AddServer(SampleSet* set, bool updated) {
  set->Add(VersionRecord(updated ? "01.04" : "01.03"));
  set->set().version = updated ? "SDR Version 01.04" : "SDR Version 01.03";
  set->set().script = "BOARD";
  set->Add(ControllerLocator("BMC"));
  set->Add(FruLocator("Main board", 0, 7, 1));
  set->Add(Association(23, 1, false, {7, 1, 55, 1, 0, 0, 0, 0}));
  set->Add(Association(7, 1, true, {3, 1, 3, 2, 29, 1, 29, 6}));
  set->Add(Association(19, 1, false, {10, 1, 10, 2, 0, 0, 0, 0}));
  AddProcessors(set, updated);
  AddBoard(set, updated);
  AddCooling(set, updated);
}

void AddMany(SampleSet* set, int count) {
  for (int i = 0; i < count; ++i) {
    const int number = i % 255;
    const int instance = i % 32 + 1;
    if (i % 3 == 2) {
      set->Add(DiscreteSensor("DIMM " + std::to_string(i) + " State", number, 12, 0x6F, 0x01FF, 32,
                              instance));
    } else {
      set->Add(FullSensor({.name = "DIMM " + std::to_string(i) + " Temp",
                           .number = number,
                           .entity = 32,
                           .instance = instance,
                           .is_signed = true,
                           .minimum = 0x80,
                           .maximum = 0x7F,
                           .nominal = 35 + i % 9,
                           .normal_low = 15,
                           .normal_high = 70 + i % 10,
                           .thresholds = {5, 0, kNone, 85, 90, 95}}));
    }
  }
}

void AddHostile(SampleSet* set) {
  int number = 0;
  const auto add = [&](const std::string& name) {
    set->Add(FullSensor(
        {.name = name, .number = ++number, .thresholds = {kNone, kNone, kNone, 9, kNone, kNone}}));
    ++number;
    set->Add(DiscreteSensor(name, number, 0xFF, 0x7F, 0x7FFF, 0xFF, number));
    set->Add(FruLocator(name, number, 0xFE, 0x7F));
  };
  add("<script>alert(1)</script>");
  add("\"><img src=http://x.y onerror=a");
  add("'--><svg/onload=alert(1)>");
  add("</title></style><b>&lt;&amp;");
  add("\x1B[31mred\x07\r\n\x1A\x7F");
  add(std::string("nul\0nul\x9B", 8));
  add("");
  Bytes turned = FruLocator("", 1, 3, 1);  // two-byte characters: U+202E, then U+05D0
  turned[15] = 0x02;
  for (const int byte : {0x2E, 0x20, 0xD0, 0x05}) turned.push_back(Low(byte));
  turned[4] = static_cast<unsigned char>(turned.size() - kHeader);
  set->Add(turned);
  set->set().name = "<script>document.title='x'</script>\x1B[2J\xE2\x80\xAE.SDR";
  set->set().version = "SDR Version </dd><script>";
  set->set().script = "javascript:alert(1)";
}

namespace {

std::string Text(const std::optional<tarvek::inspect::Reading>& reading) {
  return reading && reading->value ? NumberText(*reading->value) : "";
}

std::vector<ReportField> ChangedFields(const Record& old_record, const Record& new_record) {
  std::vector<ReportField> fields;
  for (int i = 0; i < tarvek::inspect::kThresholdCount; ++i) {
    const auto kind = static_cast<ThresholdKind>(i);
    const auto value = [kind](const Record& record) {
      const auto* const threshold = record.FindThreshold(kind);
      return threshold == nullptr ? "" : Text(threshold->reading) + " " + record.unit->Text();
    };
    if (value(old_record) != value(new_record)) {
      fields.push_back({std::string(ThresholdKey(kind)), value(old_record), value(new_record)});
    }
  }
  return fields;
}

}  // namespace

ReportDifference Compare(const ReportSet& old_set, const ReportSet& new_set) {
  ReportDifference difference;
  std::map<int, ReportRecord> old_sensors;
  for (const ReportRecord& entry : old_set.records) {
    if (entry.record->sensor_number) old_sensors[*entry.record->sensor_number] = entry;
  }
  for (const ReportRecord& entry : new_set.records) {
    if (!entry.record->sensor_number) continue;
    const auto found = old_sensors.find(*entry.record->sensor_number);
    if (found == old_sensors.end()) {
      difference.added.push_back(entry);
      continue;
    }
    ReportPair pair{found->second, entry, ChangedFields(*found->second.record, *entry.record)};
    if (!pair.fields.empty()) {
      difference.changed.push_back(pair);
    } else if (pair.old_record.number != entry.number) {
      difference.moved.push_back(pair);
    }
    old_sensors.erase(found);
  }
  for (const auto& [number, entry] : old_sensors) difference.removed.push_back(entry);
  return difference;
}

}  // namespace tarvek_test
