// Sensors that are told apart by nothing.
#include <map>
#include <tuple>

#include "inspect/check/loaded_together.h"
#include "inspect/check/subject.h"

namespace tarvek::inspect {

namespace {

constexpr int kReservedNumber = 0xFF;

/// How many sensors a record stands for.
int SensorCount(const Record& record) {
  return record.sharing ? std::max(record.sharing->share_count.value_or(1), 1) : 1;
}

/// "A" to "Z", "AA" …
std::string LetterText(int number) {
  constexpr int kLetters = 26;
  std::string text;
  for (int rest = number; rest >= 0; rest = rest / kLetters - 1) {
    text.insert(text.begin(), static_cast<char>('A' + rest % kLetters));
  }
  return text;
}

/// The name of one of the sensors that a record stands for.
std::string SensorName(const Record& record, int sensor) {
  std::string name(record.NameText());
  if (SensorCount(record) == 1) return name;
  const int number = record.sharing->id_modifier_offset.value_or(0) + sensor;
  const bool letters = record.sharing->id_modifier == 1;
  return name + (letters ? LetterText(number) : std::to_string(number));
}

std::string OwnerText(const Record& record) {
  std::string text = "owner " + HexNumber(*record.owner_id);
  if (record.channel.value_or(0) != 0) {
    text += " on channel " + std::to_string(*record.channel);
  }
  return text;
}

class SensorRules {
 public:
  SensorRules(const Subject& subject, Findings* findings)
      : subject_(subject), findings_(findings) {}

  void Check(std::size_t index) {
    const Record& record = subject_.records[index];
    if (!record.IsSensor() || !record.owner_id || !record.owner_lun || !record.sensor_number)
      return;
    CheckNumber(record, index);
    CheckKeys(record, index);
    if (!record.NameText().empty()) CheckNames(record, index);
  }

 private:
  void CheckNumber(const Record& record, std::size_t index);
  void CheckKeys(const Record& record, std::size_t index);
  void CheckNames(const Record& record, std::size_t index);

  using NumberKey = std::tuple<int, int, int, int>;  // owner, channel, LUN, number
  using NameKey = std::tuple<int, int, std::string>;
  const Subject& subject_;
  Findings* findings_;
  std::map<NumberKey, AlikeRecords> by_number_;
  std::map<NameKey, AlikeRecords> by_name_;
};

void SensorRules::CheckNumber(const Record& record, std::size_t index) {
  const int count = SensorCount(record);
  if (*record.sensor_number + count - 1 < kReservedNumber) return;
  const std::string why = count == 1 ? "The sensor number is FFh"
                                     : "The " + std::to_string(count) + " sensors from number " +
                                           HexNumber(*record.sensor_number) + " on reach FFh";
  findings_->Add(RuleId::kSensorNumberReserved, index,
                 why + ", which the standard reserves; give it another number.");
}

void SensorRules::CheckKeys(const Record& record, std::size_t index) {
  bool told = false;
  for (int i = 0; i < SensorCount(record); ++i) {
    const int number = *record.sensor_number + i;
    const NumberKey key{*record.owner_id, record.channel.value_or(0), *record.owner_lun, number};
    const std::optional<std::size_t> other = by_number_[key].Add(index, subject_.Input(index));
    if (!other || told) continue;
    told = true;
    findings_->Add(RuleId::kDuplicateSensor, index,
                   "Sensor number " + HexNumber(number) + " of " + OwnerText(record) + ", LUN " +
                       std::to_string(*record.owner_lun) + ", is already that of " +
                       RecordNumber(*other) +
                       ", which is loaded together with this record; remove one of them, or give "
                       "it another number.");
  }
}

void SensorRules::CheckNames(const Record& record, std::size_t index) {
  bool told = false;
  for (int i = 0; i < SensorCount(record); ++i) {
    std::string name = SensorName(record, i);
    const auto other = by_name_[{*record.owner_id, record.channel.value_or(0), name}].Add(
        index, subject_.Input(index));
    if (!other || told) continue;
    told = true;
    findings_->Add(RuleId::kDuplicateName, index,
                   "\"" + name + "\" is already the name of a sensor of " + OwnerText(record) +
                       " in " + RecordNumber(*other) +
                       "; give one of them another name, or nobody can tell them apart.");
  }
}

}  // namespace

void CheckDuplicates(const Subject& subject, Findings* findings) {
  SensorRules rules(subject, findings);
  for (std::size_t i = 0; i < subject.records.size(); ++i) rules.Check(i);
}

}  // namespace tarvek::inspect
