// Thresholds, ranges and factors.
#include <algorithm>

#include "inspect/check/subject.h"
#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"

namespace tarvek::inspect {

namespace {

/// The thresholds from the lowest value to the highest.
constexpr ThresholdKind kAscending[] = {
    ThresholdKind::kLowerNonRecoverable, ThresholdKind::kLowerCritical,
    ThresholdKind::kLowerNonCritical,    ThresholdKind::kUpperNonCritical,
    ThresholdKind::kUpperCritical,       ThresholdKind::kUpperNonRecoverable,
};

bool IsLower(ThresholdKind kind) { return kind <= ThresholdKind::kLowerNonRecoverable; }

std::string ValueText(const Record& record, double value) {
  std::string text = NumberText(value);
  const std::string unit = record.unit ? record.unit->Text() : "";
  if (!unit.empty() && unit != "unspecified") text += " " + unit;
  return text;
}

std::string ThresholdText(const Record& record, const Threshold& threshold) {
  return std::string(ThresholdName(threshold.kind)) + " (" +
         ValueText(record, *threshold.reading.value) + ")";
}

/// Where M is 0 every reading is one value, and no other rule has more to say about values.
bool HasConstantReadings(const Record& record) {
  constexpr int kLastFunction = 11;  // of the linearizations
  if (!record.conversion || record.conversion->m != 0) return false;
  return record.conversion->analog_format != AnalogFormat::kNone &&
         record.conversion->linearization.value_or(kLastFunction + 1) <= kLastFunction;
}

void CheckFactor(const Record& record, std::size_t index, Findings* findings) {
  // A discrete sensor without a unit has no analog reading, whatever its analog format says.
  const bool has_unit = record.unit && record.unit->base.value_or(0) != 0;
  if (!HasConstantReadings(record) || (!record.IsThreshold() && !has_unit)) return;
  findings->Add(RuleId::kFactorMZero, index,
                "The factor M is 0, so that every reading has the same value; give the factor that "
                "turns raw readings into real ones, or 1.");
}

void CheckOrder(const Record& record, std::size_t index, Findings* findings) {
  const Threshold* below = nullptr;
  for (const ThresholdKind kind : kAscending) {
    const Threshold* const above = record.FindThreshold(kind);
    if (above == nullptr || !above->reading.value) continue;
    if (below != nullptr) {
      const bool touching = IsLower(below->kind) != IsLower(kind);  // must not even be equal
      const double low = *below->reading.value;
      const double high = *above->reading.value;
      if (low > high || (touching && low == high)) {
        findings->Add(RuleId::kThresholdOrder, index,
                      ThresholdText(record, *below) + (touching ? " is not below " : " is above ") +
                          ThresholdText(record, *above) + "; put the thresholds in order.");
      }
    }
    below = above;
  }
}

/// A range of real values.
struct Range {
  double low;
  double high;
  bool Has(double value) const { return value >= low && value <= high; }
};

/// Absent where the two readings span nothing. A falling function turns the ends around.
std::optional<Range> RangeOf(const std::optional<Reading>& a, const std::optional<Reading>& b) {
  if (!a || !b || !a->value || !b->value || *a->value == *b->value) return std::nullopt;
  return Range{std::min(*a->value, *b->value), std::max(*a->value, *b->value)};
}

std::string RangeText(const Record& record, const Range& range) {
  return NumberText(range.low) + " to " + ValueText(record, range.high);
}

void CheckRanges(const Record& record, std::size_t index, Findings* findings) {
  const std::optional<Range> range = RangeOf(record.sensor_min, record.sensor_max);
  for (const ThresholdKind kind : kAscending) {
    const Threshold* const threshold = record.FindThreshold(kind);
    if (!range || threshold == nullptr || !threshold->reading.value) continue;
    if (range->Has(*threshold->reading.value)) continue;
    findings->Add(RuleId::kThresholdOutsideRange, index,
                  ThresholdText(record, *threshold) +
                      " is outside the sensor's minimum and maximum, " + RangeText(record, *range) +
                      "; correct the one or the other.");
  }

  if (!record.nominal || !record.nominal->value) return;
  const std::optional<Range> normal = RangeOf(record.normal_min, record.normal_max);
  const bool in_range = !range || range->Has(*record.nominal->value);
  if (in_range && (!normal || normal->Has(*record.nominal->value))) return;
  findings->Add(RuleId::kNominalOutsideRange, index,
                "The nominal reading (" + ValueText(record, *record.nominal->value) +
                    ") is outside the " + (in_range ? "normal range" : "sensor's range") + ", " +
                    RangeText(record, in_range ? *normal : *range) +
                    "; correct the one or the other.");
}

void CheckMasks(const Record& record, std::size_t index, Findings* findings) {
  if (!record.readable_thresholds || !record.settable_thresholds) return;
  for (const ThresholdKind kind : kAscending) {
    const int bit = static_cast<int>(kind);
    if (!record.settable_thresholds->Has(bit) || record.readable_thresholds->Has(bit)) continue;
    findings->Add(RuleId::kThresholdSettableOnly, index,
                  std::string(ThresholdName(kind)) +
                      " is settable but not readable; make it readable, or not settable.");
  }
  const bool none = record.capabilities && record.capabilities->threshold_access == 0;
  if (!none || record.readable_thresholds->bits == 0) return;
  findings->Add(RuleId::kThresholdWithoutCapability, index,
                "The masks call thresholds readable, and the sensor's capabilities say that it has "
                "none; correct the capabilities or the masks.");
}

}  // namespace

void CheckReadings(const Subject& subject, Findings* findings) {
  for (std::size_t i = 0; i < subject.records.size(); ++i) {
    const Record& record = subject.records[i];
    CheckFactor(record, i, findings);
    CheckMasks(record, i, findings);
    if (HasConstantReadings(record)) continue;
    CheckOrder(record, i, findings);
    CheckRanges(record, i, findings);
  }
}

}  // namespace tarvek::inspect
