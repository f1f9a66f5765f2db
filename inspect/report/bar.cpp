#include "inspect/report/bar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "inspect/decode/names.h"
#include "inspect/report/html.h"

namespace tarvek::inspect {
namespace {

constexpr double kWhole = 100;  // percent of a bar's width

/// From less to more severe, so that a worse zone covers a better one.
constexpr std::array<ThresholdKind, kThresholdCount> kPaintOrder{
    ThresholdKind::kLowerNonCritical,    ThresholdKind::kUpperNonCritical,
    ThresholdKind::kLowerCritical,       ThresholdKind::kUpperCritical,
    ThresholdKind::kLowerNonRecoverable, ThresholdKind::kUpperNonRecoverable};

bool IsLower(ThresholdKind kind) { return kind <= ThresholdKind::kLowerNonRecoverable; }

std::optional<double> ValueOf(const std::optional<Reading>& reading) {
  return reading ? reading->value : std::nullopt;
}

std::optional<double> ValueOf(const Threshold* threshold) {
  return threshold != nullptr ? threshold->reading.value : std::nullopt;
}

struct Range {
  double low = 0;
  double high = 0;
};

/// The range between two readings; with a factor below zero the smaller raw one is the larger.
std::optional<Range> RangeOf(const std::optional<Reading>& one, const std::optional<Reading>& two) {
  const std::optional<double> a = ValueOf(one);
  const std::optional<double> b = ValueOf(two);
  if (!a || !b) return std::nullopt;
  return Range{std::min(*a, *b), std::max(*a, *b)};
}

/// Where a value stands, in percent of the width.
double Position(double value, const Axis& axis) {
  const double part = (value - axis.low) / (axis.high - axis.low);
  return std::isfinite(part) ? std::clamp(part, 0.0, 1.0) * kWhole : 0;
}

/// A position in two decimals at most, without needless zeros.
std::string Percent(double position) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.4g", position < 0.01 ? 0 : position);
  return std::string(text.data()) + "%";
}

std::string Stripe(std::string_view css_class, const Range& range, const Axis& axis) {
  const double start = Position(range.low, axis);
  const double width = Position(range.high, axis) - start;
  return "<rect class=" + std::string(css_class) + " x=" + Percent(start) +
         " width=" + Percent(width) + " />";
}

std::string Zones(const Record& record, const Axis& axis, const Range& track) {
  std::string zones;
  for (const ThresholdKind kind : kPaintOrder) {
    const std::optional<double> value = ValueOf(record.FindThreshold(kind));
    if (!value) continue;
    const Range zone = IsLower(kind) ? Range{track.low, *value} : Range{*value, track.high};
    if (zone.high > zone.low) zones += Stripe(ThresholdClass(kind), zone, axis);
  }
  return zones;
}

/// A step of 1, 2 or 5 times a power of ten that divides an axis into three to six parts.
double TickStep(const Axis& axis) {
  constexpr double kParts = 6;
  const double rough = (axis.high - axis.low) / kParts;
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (rough <= factor * power) return factor * power;
  }
  return 10 * power;
}

}  // namespace

std::string_view ThresholdShortName(ThresholdKind kind) {
  constexpr std::array<std::string_view, kThresholdCount> kNames{"LNC", "LC", "LNR",
                                                                 "UNC", "UC", "UNR"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string_view ThresholdClass(ThresholdKind kind) {
  constexpr std::array<std::string_view, 3> kClasses{"nc", "cr", "nr"};
  return kClasses[static_cast<std::size_t>(kind) % kClasses.size()];
}

std::optional<Axis> AxisOf(const Record& record) {
  std::vector<double> values;
  const auto add = [&](const std::optional<double>& value) {
    if (value && std::isfinite(*value)) values.push_back(*value);
  };
  for (const auto* reading : {&record.nominal, &record.normal_max, &record.normal_min,
                              &record.sensor_max, &record.sensor_min}) {
    add(ValueOf(*reading));
  }
  for (const ThresholdKind kind : kPaintOrder) add(ValueOf(record.FindThreshold(kind)));
  if (values.empty()) return std::nullopt;
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  if (*low == *high || !std::isfinite(*high - *low)) return std::nullopt;
  return Axis{*low, *high};
}

Axis Hull(const Axis& one, const Axis& other) {
  const Axis hull{std::min(one.low, other.low), std::max(one.high, other.high)};
  return std::isfinite(hull.high - hull.low) ? hull : one;
}

std::string Bar(const Record& record, const Axis& axis) {
  // Without a range of its own the sensor has that of what is known of it.
  const Range track = RangeOf(record.sensor_min, record.sensor_max)
                          .value_or(Range{AxisOf(record)->low, AxisOf(record)->high});
  std::string svg = "<svg class=bar role=img><title>" + Html(BarDescription(record)) + "</title>";
  svg += "<rect class=ax x=0 width=100% />";
  svg += "<g>" + Stripe("tr", track, axis) + Zones(record, axis, track) + "</g>";
  if (const std::optional<Range> normal = RangeOf(record.normal_min, record.normal_max)) {
    svg += Stripe("no", *normal, axis);
  }
  if (const std::optional<double> nominal = ValueOf(record.nominal)) {
    svg += "<circle cx=" + Percent(Position(*nominal, axis)) + " cy=7 r=4 />";
  }
  return svg + "</svg>";
}

std::string AxisLabels(const Axis& axis) {
  // Labels in the middle keep off those at the ends.
  constexpr double kFirst = 14;
  constexpr double kLast = 86;
  constexpr int kMostTicks = 10;
  std::string svg = "<svg class=axis aria-hidden=true>";
  const auto label = [&](std::string_view anchor, double position, double value) {
    svg += "<text" + std::string(anchor) + " x=" + Percent(position) + " y=11>" +
           Html(ShortNumber(value)) + "</text>";
  };
  label("", 0, axis.low);
  const double step = TickStep(axis);
  const double first = std::ceil(axis.low / step);
  for (int i = 0; i < kMostTicks; ++i) {
    const double value = (first + i) * step;
    const double position = Position(value, axis);
    if (position <= kFirst || position >= kLast || !std::isfinite(value)) continue;
    svg += "<rect x=" + Percent(position) + " width=1 height=3 />";
    label(" class=m", position, value);
  }
  label(" class=e", kWhole, axis.high);
  return svg + "</svg>";
}

std::string BarDescription(const Record& record) {
  const std::string unit = record.unit ? record.unit->Text() : std::string();
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : "; ") + part; };
  if (const auto range = RangeOf(record.sensor_min, record.sensor_max)) {
    add("from " + ShortNumber(range->low) + " to " + ShortNumber(range->high) + " " + unit);
  }
  if (const auto normal = RangeOf(record.normal_min, record.normal_max)) {
    add("normal from " + ShortNumber(normal->low) + " to " + ShortNumber(normal->high));
  }
  if (const auto nominal = ValueOf(record.nominal)) add("nominal " + ShortNumber(*nominal));
  for (int i = 0; i < kThresholdCount; ++i) {
    const auto kind = static_cast<ThresholdKind>(i);
    if (const auto value = ValueOf(record.FindThreshold(kind))) {
      add(std::string(ThresholdName(kind)) + " " + ShortNumber(*value));
    }
  }
  return text;
}

}  // namespace tarvek::inspect
