// The records of a server that does not exist, for pages to look at.
#pragma once

#include <array>
#include <deque>
#include <string>
#include <vector>

#include "inspect/decode/record.h"
#include "inspect/report/report.h"

namespace tarvek_test {

using tarvek::inspect::Bytes;

inline constexpr int kNone = -1;

/// A full threshold sensor. Readings are raw bytes.
struct SampleSensor {
  std::string name;
  int number = 1;
  int sensor_type = 1;
  int entity = 3;
  int instance = 1;
  int unit = 1;
  int m = 1;
  int b = 0;
  int b_exp = 0;
  int r_exp = 0;
  bool is_signed = false;
  int minimum = 0;
  int maximum = 0xFF;
  int nominal = kNone;
  int normal_low = kNone;
  int normal_high = kNone;
  /// Lower non-critical, critical, non-recoverable, then upper.
  std::array<int, 6> thresholds{kNone, kNone, kNone, kNone, kNone, kNone};
};

Bytes FullSensor(const SampleSensor& sensor);
Bytes DiscreteSensor(const std::string& name, int number, int sensor_type, int event_type,
                     int states, int entity, int instance);
Bytes Association(int container, int instance, bool range, const std::array<int, 8>& contained);
Bytes FruLocator(const std::string& name, int fru, int entity, int instance);
Bytes ControllerLocator(const std::string& name);
Bytes VersionRecord(const std::string& version);

/// Records that stay where they are, with a set that points to them.
class SampleSet {
 public:
  explicit SampleSet(std::string name, std::string format = "source");
  SampleSet(const SampleSet&) = delete;
  SampleSet& operator=(const SampleSet&) = delete;

  void Add(const Bytes& bytes);
  const tarvek::inspect::ReportSet& set() const { return set_; }
  tarvek::inspect::ReportSet& set() { return set_; }

 private:
  std::deque<tarvek::inspect::Record> records_;
  tarvek::inspect::ReportSet set_;
};

/// A server with two processors, memory, fans and power supplies.
/// @param updated  with what an update would change.
void AddServer(SampleSet* set, bool updated);

/// `count` sensors more, of all kinds.
void AddMany(SampleSet* set, int count);

/// Sensors whose names attack the page.
void AddHostile(SampleSet* set);

/// What differs between two sets whose sensors are told by their numbers.
tarvek::inspect::ReportDifference Compare(const tarvek::inspect::ReportSet& old_set,
                                          const tarvek::inspect::ReportSet& new_set);

}  // namespace tarvek_test
