// Codes that the standard does not define.
#include "inspect/check/subject.h"
#include "inspect/decode/names.h"

namespace tarvek::inspect {

namespace {

/// Told once a record, at the first that is unknown.
void CheckEntities(const Record& record, std::size_t index, Findings* findings) {
  std::optional<int> unknown;
  if (record.entity_id && !IsKnownEntity(*record.entity_id)) unknown = *record.entity_id;
  if (record.contained_entities) {
    for (const ContainedEntity& contained : *record.contained_entities) {
      if (!unknown && !IsKnownEntity(contained.entity.id)) unknown = contained.entity.id;
    }
  }
  if (!unknown) return;
  findings->Add(RuleId::kUnknownEntity, index,
                "The standard defines no entity ID " + HexNumber(*unknown) +
                    "; choose the one that names the part.");
}

}  // namespace

void CheckCodes(const Subject& subject, Findings* findings) {
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    const Record& record = subject.records[i];
    if (record.sensor_type && !IsKnownSensorType(*record.sensor_type)) {
      findings->Add(RuleId::kUnknownSensorType, i,
                    "The standard defines no sensor type " + HexNumber(*record.sensor_type) +
                        "; choose the one that says what is measured.");
    }
    if (record.event_type && !IsKnownEventType(*record.event_type)) {
      findings->Add(RuleId::kUnknownEventType, i,
                    "The standard defines no event/reading type " + HexNumber(*record.event_type) +
                        "; choose 01h for thresholds, a generic type, or 6Fh.");
    }
    CheckEntities(record, i, findings);
    if (record.sharing && record.sharing->share_count == 0) {
      findings->Add(RuleId::kShareCountZero, i,
                    "The record stands for 0 sensors; write 1 for one that shares it with no "
                    "other.");
    }
  }
}

}  // namespace tarvek::inspect
