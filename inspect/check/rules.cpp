#include "inspect/check/rules.h"

#include <array>

namespace tarvek::inspect {

namespace {

struct Row {
  RuleId id;
  Rule rule;
};

constexpr std::array kRows = {
    Row{RuleId::kDataLost,
        {"data-lost", Severity::kError,
         "A data word of a source file has an odd number of digits, so that its bytes are 0."}},
    Row{RuleId::kNumberUnreadable,
        {"number-unreadable", Severity::kError,
         "A number of a source file cannot be read, and is taken for 0."}},
    Row{RuleId::kWordSkipped,
        {"word-skipped", Severity::kWarning,
         "A word between the records of a source file is passed over."}},
    Row{RuleId::kWordSkippedBehindC0,
        {"word-skipped-behind-c0", Severity::kError,
         "A record ends with C0, and the word behind it, which is not '', is passed over."}},
    Row{RuleId::kLengthDiffers,
        {"length-differs", Severity::kError,
         "_REC_LEN is not what the record's own length byte makes it."}},
    Row{RuleId::kTypeDiffers,
        {"type-differs", Severity::kWarning,
         "_SDR_TYPE is not the type that stands in the record."}},
    Row{RuleId::kBodyOver64,
        {"body-over-64", Severity::kError,
         "A record that is programmed has a body of more than 64 bytes, which the tool refuses."}},
    Row{RuleId::kBodyTooShort,
        {"body-too-short", Severity::kError,
         "The body ends before the fields of the record's type do."}},
    Row{RuleId::kBodyTooLong,
        {"body-too-long", Severity::kWarning,
         "The body is longer than the fields of the record's type, its ID string included."}},
    Row{RuleId::kNameCut,
        {"name-cut", Severity::kError, "The ID string is longer than its record."}},
    Row{RuleId::kNameTooLong,
        {"name-too-long", Severity::kWarning, "The ID string takes more than 16 bytes."}},
    Row{RuleId::kNameLengthReserved,
        {"name-length-reserved", Severity::kWarning,
         "The ID string's type/length byte is one that the standard reserves."}},
    Row{RuleId::kNameEncoding,
        {"name-encoding", Severity::kWarning,
         "The ID string has characters or bits that its encoding does not."}},
    Row{RuleId::kSensorNumberReserved,
        {"sensor-number-reserved", Severity::kError,
         "A sensor has the number FFh, which is reserved."}},
    Row{RuleId::kDuplicateSensor,
        {"duplicate-sensor", Severity::kError,
         "Two records that are loaded together are of one owner, LUN and sensor number."}},
    Row{RuleId::kDuplicateName,
        {"duplicate-name", Severity::kWarning,
         "Two sensors of one owner that are loaded together have the same name."}},
    Row{RuleId::kThresholdOrder,
        {"threshold-order", Severity::kError,
         "The real values of two thresholds are in the wrong order."}},
    Row{RuleId::kThresholdOutsideRange,
        {"threshold-outside-range", Severity::kWarning,
         "A threshold is outside the sensor's minimum and maximum."}},
    Row{RuleId::kThresholdSettableOnly,
        {"threshold-settable-only", Severity::kWarning,
         "The masks call a threshold settable but not readable."}},
    Row{RuleId::kThresholdWithoutCapability,
        {"threshold-without-capability", Severity::kWarning,
         "The masks call thresholds readable although the capabilities say that there are none."}},
    Row{RuleId::kNominalOutsideRange,
        {"nominal-outside-range", Severity::kWarning,
         "The nominal reading is outside the sensor's range or its normal range."}},
    Row{RuleId::kFactorMZero,
        {"factor-m-zero", Severity::kError,
         "The factor M of a sensor with analog readings is 0: all of them are one value."}},
    Row{RuleId::kUnknownSensorType,
        {"unknown-sensor-type", Severity::kWarning,
         "The standard does not define the sensor type."}},
    Row{RuleId::kUnknownEventType,
        {"unknown-event-type", Severity::kWarning,
         "The standard does not define the event/reading type."}},
    Row{RuleId::kUnknownEntity,
        {"unknown-entity", Severity::kWarning, "The standard does not define an entity ID."}},
    Row{RuleId::kShareCountZero,
        {"share-count-zero", Severity::kWarning,
         "A compact or event-only record stands for 0 sensors."}},
    Row{RuleId::kAssociationUnknownEntity,
        {"association-unknown-entity", Severity::kWarning,
         "An entity association names an entity that no other record has."}},
    Row{RuleId::kAssociationLoop,
        {"association-loop", Severity::kWarning,
         "Entity associations make an entity contain itself."}},
    Row{RuleId::kOwnerWithoutLocator,
        {"owner-without-locator", Severity::kWarning,
         "Sensors are owned by a controller that no management controller locator names."}},
    Row{RuleId::kTagNeverSet,
        {"tag-never-set", Severity::kNote, "No SET of the script names the tag of a record."}},
    Row{RuleId::kRecordNotReadable,
        {"record-not-readable", Severity::kError,
         "A record of an image, or of a source of format 1.3 or 1.4, is shorter than the 16 bytes "
         "that the tool reads back at first."}},
    Row{RuleId::kRecordNotRestorable,
        {"record-not-restorable", Severity::kNote,
         "A record is shorter than the 16 bytes that restoring a backup of it would read back."}},
    Row{RuleId::kNoVersion,
        {"no-version", Severity::kError,
         "No version record is programmed, without which only a forced update is possible."}},
    Row{RuleId::kVersionNotComparable,
        {"version-not-comparable", Severity::kWarning,
         "What an update compares of the version text is not of the form 01.02."}},
    Row{RuleId::kOverCapacity,
        {"over-capacity", Severity::kError,
         "The records take more than the repository, or the tool's 65,535 bytes, can hold."}},
    Row{RuleId::kOverBackupSize,
        {"over-backup-size", Severity::kNote,
         "The records take more than the 32,767 bytes that a backup image can hold."}},
};

constexpr std::array<Rule, kRows.size()> RulesOfRows() {
  std::array<Rule, kRows.size()> rules{};
  for (std::size_t i = 0; i < kRows.size(); ++i) rules[i] = kRows[i].rule;
  return rules;
}
constexpr auto kRules = RulesOfRows();

constexpr bool InOrder() {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].id != static_cast<RuleId>(i)) return false;
  }
  return true;
}
static_assert(InOrder());
static_assert(kRows.size() == static_cast<std::size_t>(RuleId::kOverBackupSize) + 1);

}  // namespace

std::string_view SeverityName(Severity severity) {
  switch (severity) {
    case Severity::kError:
      return "error";
    case Severity::kWarning:
      return "warning";
    case Severity::kNote:
      break;
  }
  return "note";
}

std::span<const Rule> Rules() { return kRules; }

const Rule& RuleOf(RuleId id) { return kRules[static_cast<std::size_t>(id)]; }

}  // namespace tarvek::inspect
