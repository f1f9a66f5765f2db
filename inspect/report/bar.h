// What a full sensor measures, drawn to scale.
#pragma once

#include <optional>
#include <string>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// The part of the number line that a bar shows, in real units; `high` is above `low`.
struct Axis {
  double low = 0;
  double high = 1;
};

/// The axis that shows all that `record` says in real units: its range, normal range, nominal
/// reading and thresholds. Absent where it says less than two different values.
std::optional<Axis> AxisOf(const Record& record);

/// The axis that shows what either shows.
Axis Hull(const Axis& one, const Axis& other);

/// An inline SVG drawing of a sensor: a track from minimum to maximum, the threshold zones in it,
/// the normal range below and the nominal reading on it, with a description for those who do not
/// see it. It takes the width that there is; colours are the page's.
/// @param record  has an axis.
std::string Bar(const Record& record, const Axis& axis);

/// The numbers below bars of that axis.
std::string AxisLabels(const Axis& axis);

/// "CPU 1 Temp: from -128 to 127 degrees C, normally 10 to 80, …" without the name; plain text.
std::string BarDescription(const Record& record);

/// "UNC" …: the threshold in the shortest form that people know.
std::string_view ThresholdShortName(ThresholdKind kind);

/// The class of a threshold's severity: "nc", "cr" or "nr".
std::string_view ThresholdClass(ThresholdKind kind);

}  // namespace tarvek::inspect
