#include "inspect/report/page_parts.h"

#include <array>
#include <cstdio>
#include <utility>
#include <vector>

#include "inspect/decode/names.h"
#include "inspect/report/bar.h"
#include "inspect/report/html.h"

namespace tarvek::inspect {
namespace {

constexpr std::string_view kBetween = " \xC2\xB7 ";  // a middle dot
constexpr int kThresholdEventType = 1;

void Join(std::string* text, std::string_view separator, const std::string& part) {
  if (part.empty()) return;
  if (!text->empty()) text->append(separator);
  text->append(part);
}

/// A known name, or the number where the standard has none.
std::string NameOr(bool known, std::string_view name, int code) {
  return known ? std::string(name) : std::string(name) + " " + HexByte(code);
}

std::string EntityOf(const Record& record) {
  const std::optional<EntityId> entity = record.Entity();
  return entity ? EntityText(*entity, DeviceOf(record, *entity)) : "";
}

/// The states that a discrete sensor can report or signal.
StateMask StatesOf(const Record& record) {
  StateMask states;
  for (const auto* mask :
       {&record.reading_mask, &record.assertion_events, &record.deassertion_events}) {
    if (*mask) states.bits = static_cast<std::uint16_t>(states.bits | (*mask)->bits);
  }
  return states;
}

std::string Pill(std::string_view css_class, const std::string& html) {
  return "<span class=" + std::string(css_class) + ">" + html + "</span> ";
}

std::string States(const Record& record) {
  const std::vector<int> offsets = StatesOf(record).Offsets();
  std::string html;
  for (const int offset : offsets) {
    const std::string_view name =
        StateName(record.event_type.value_or(0), record.sensor_type.value_or(0), offset);
    html += Pill("s", Html(name.empty() ? "state " + std::to_string(offset) : std::string(name)));
  }
  return html.empty() ? "<span class=q>no states named</span>" : html;
}

/// Of a threshold sensor whose record holds no values.
std::string ThresholdNames(const Record& record) {
  std::string html;
  for (int i = 0; i < kThresholdCount; ++i) {
    const bool readable = record.readable_thresholds && record.readable_thresholds->Has(i);
    const bool settable = record.settable_thresholds && record.settable_thresholds->Has(i);
    const auto kind = static_cast<ThresholdKind>(i);
    if (readable || settable) html += Pill(ThresholdClass(kind), Html(ThresholdName(kind)));
  }
  return html.empty() ? "<span class=q>no thresholds</span>" : html;
}

std::string ReadingText(const Reading& reading) {
  return reading.value ? ShortNumber(*reading.value) : "raw " + HexByte(reading.raw);
}

/// From the lowest to the highest, as they stand in the bar.
constexpr std::array<ThresholdKind, kThresholdCount> kUpwards{
    ThresholdKind::kLowerNonRecoverable, ThresholdKind::kLowerCritical,
    ThresholdKind::kLowerNonCritical,    ThresholdKind::kUpperNonCritical,
    ThresholdKind::kUpperCritical,       ThresholdKind::kUpperNonRecoverable};

std::string Contained(const Record& record) {
  std::string text;
  if (!record.contained_entities) return "contains nothing";
  for (std::size_t i = 0; i < record.contained_entities->size(); ++i) {
    const ContainedEntity& part = (*record.contained_entities)[i];
    const bool to = part.range && i % 2 == 1;
    Join(&text, to ? " to " : ", ", EntityText(part.entity, 0));
  }
  return "contains " + (text.empty() ? "nothing" : text);
}

std::string Capabilities(const Record& record) {
  std::string text;
  if (!record.device_capabilities) return text;
  for (const int bit : record.device_capabilities->Offsets()) {
    Join(&text, ", ", std::string(DeviceCapabilityName(bit)));
  }
  return text;
}

std::string Manufacturer(int id) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "manufacturer %06Xh", static_cast<unsigned>(id));
  return text.data();
}

/// What a record that is no sensor is about; plain text.
std::string Sentence(const Record& record) {
  if (record.Is(RecordType::kEntityAssociation) ||
      record.Is(RecordType::kDeviceEntityAssociation)) {
    return Contained(record);
  }
  std::string text;
  if (record.device_address) Join(&text, ", ", "device " + HexByte(*record.device_address));
  if (record.fru_id) Join(&text, ", ", "FRU " + std::to_string(*record.fru_id));
  if (record.device_type) {
    Join(&text, ", ", std::string(DeviceTypeName(*record.device_type)));
  }
  Join(&text, ", ", Capabilities(record));
  if (record.manufacturer_id) Join(&text, ", ", Manufacturer(*record.manufacturer_id));
  if (record.data) Join(&text, ", ", Counted(record.data->size(), "byte") + " of data");
  return text;
}

std::string BarRow(std::string_view label, const Record& record, const std::optional<Axis>& axis) {
  std::string html = "<div class=o><span>" + std::string(label) + "</span><div>";
  html += axis ? Bar(record, *axis) : "<span class=q>no range in real units</span>";
  return html + "</div></div>";
}

std::string LabelRow(const Axis& axis) {
  return "<div class=o><span></span><div>" + AxisLabels(axis) + "</div></div>";
}

std::string UnitText(const Record& record) { return record.unit ? record.unit->Text() : ""; }

}  // namespace

std::string RecordTitle(const Record& record) {
  if (const auto version = VersionText(record)) return *version;
  if (const auto script = ScriptName(record)) return *script;
  if (!record.NameText().empty()) return std::string(record.NameText());
  return std::string(TypeName(record.type));
}

std::string RecordSubtitle(const Record& record) {
  if (!record.IsSensor()) {
    if (VersionText(record)) return "version of the set";
    if (ScriptName(record)) return "script of the set";
    const std::string_view kind = TypeName(record.type);
    return RecordTitle(record) == kind ? "" : std::string(kind);
  }
  std::string text;
  if (record.sensor_number) Join(&text, kBetween, "sensor " + HexByte(*record.sensor_number));
  constexpr int kBmcAddress = 0x20;
  if (record.owner_id.value_or(kBmcAddress) != kBmcAddress) {
    Join(&text, kBetween, "owner " + HexByte(*record.owner_id));
  }
  if (record.owner_lun.value_or(0) != 0) {
    Join(&text, kBetween, "LUN " + std::to_string(*record.owner_lun));
  }
  if (record.sensor_type) {
    Join(&text, kBetween,
         NameOr(IsKnownSensorType(*record.sensor_type), SensorTypeName(*record.sensor_type),
                *record.sensor_type));
  }
  if (record.event_type && *record.event_type != kThresholdEventType) {
    Join(&text, kBetween,
         NameOr(IsKnownEventType(*record.event_type), EventTypeName(*record.event_type),
                *record.event_type));
  }
  return text;
}

std::string Limits(const Record& record) {
  std::string html;
  Join(&html, kBetween, Html(UnitText(record)));
  if (record.nominal) Join(&html, kBetween, "nominal " + Html(ReadingText(*record.nominal)));
  if (record.normal_min && record.normal_max) {
    Join(&html, kBetween,
         "normal " + Html(ReadingText(*record.normal_min)) + " to " +
             Html(ReadingText(*record.normal_max)));
  }
  std::string pills;
  for (const ThresholdKind kind : kUpwards) {
    const Threshold* const threshold = record.FindThreshold(kind);
    if (threshold == nullptr) continue;
    pills += Pill(ThresholdClass(kind), std::string(ThresholdShortName(kind)) + " <b>" +
                                            Html(ReadingText(threshold->reading)) + "</b>");
  }
  return "<p class=l><span>" + html + "</span> <span>" + pills + "</span></p>";
}

std::string RecordContent(const Record& record) {
  if (!record.IsSensor()) return Html(Sentence(record));
  if (const std::optional<Axis> axis = AxisOf(record)) {
    return Bar(record, *axis) + AxisLabels(*axis) + Limits(record);
  }
  if (record.thresholds && !record.thresholds->empty()) return Limits(record);
  if (record.IsThreshold()) return ThresholdNames(record);
  return record.Is(RecordType::kEventOnly) ? "<span class=q>events only</span>" : States(record);
}

RecordTable::RecordTable(std::string_view caption, std::string_view what)
    : text_("<table class=rec><caption>" + std::string(caption) +
            "</caption><thead><tr><th scope=col>No.<th scope=col>Name<th scope=col>Entity"
            "<th scope=col>" +
            std::string(what) + "</thead><tbody>\n") {}

void RecordTable::Add(const ReportRecord& entry, std::string_view badge, bool linked) {
  const std::string number = std::to_string(entry.number);
  const Record& record = *entry.record;
  text_ += linked ? "<tr id=r" + number + ">" : std::string("<tr>");
  text_.append("<td>")
      .append(number)
      .append("<th scope=row>")
      .append(Isolated(RecordTitle(record)));
  text_.append(badge).append("<small>").append(Html(RecordSubtitle(record))).append("</small>");
  text_.append("<td>").append(Html(EntityOf(record)));
  text_.append("<td>").append(RecordContent(record)).append("\n");
}

std::string RecordLink(int number, std::string_view text) {
  return "<a href=#r" + std::to_string(number) + ">" + Isolated(text) + "</a>";
}

std::string BarPair(const Record& old_record, const Record& new_record) {
  std::optional<Axis> old_axis = AxisOf(old_record);
  std::optional<Axis> new_axis = AxisOf(new_record);
  if (!old_axis && !new_axis) return {};
  const bool one_scale = old_axis && new_axis && UnitText(old_record) == UnitText(new_record);
  if (one_scale) old_axis = new_axis = Hull(*old_axis, *new_axis);
  std::string html = "<div class=two>" + BarRow("old", old_record, old_axis);
  if (old_axis && !one_scale) html += LabelRow(*old_axis);
  html += BarRow("new", new_record, new_axis);
  if (new_axis) html += LabelRow(*new_axis);
  return html + "</div>";
}

namespace {

std::string Links(const std::vector<ReportRecord>& records) {
  std::string html;
  for (const ReportRecord& entry : records) {
    Join(&html, ", ", RecordLink(entry.number, RecordTitle(*entry.record)));
  }
  return html;
}

/// What is said of a part beside its place in the tree.
std::string PartText(const EntityNode& node) {
  std::string html = "<b>" + Html(EntityText(node.entity, node.device)) + "</b>";
  if (node.entity.logical) html += " <small>logical</small>";
  if (!node.devices.empty()) html += " <small>(" + Links(node.devices) + ")</small>";
  if (!node.sensors.empty()) html += "<p>" + Links(node.sensors) + "</p>";
  for (const std::string& other : node.also) html += "<p class=q>" + Html(other) + "</p>";
  return html;
}

}  // namespace

std::string TreeList(const EntityTree& tree) {
  // Deeper parts stand beside their containers: browsers do not nest without end.
  constexpr std::size_t kDeepest = 20;
  struct Level {
    const std::vector<std::size_t>* nodes;
    std::size_t next = 0;
    bool nested = true;
  };
  std::string html = "<ul class=tree>\n";
  std::vector<Level> levels{{&tree.roots}};
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.nodes->size()) {
      if (level.nested) html += "</ul>\n";
      levels.pop_back();
      continue;
    }
    const EntityNode& node = tree.nodes[(*level.nodes)[level.next++]];
    html += "<li>" + PartText(node);
    if (node.children.empty()) continue;
    const bool nested = levels.size() < kDeepest;
    if (nested) html += "<ul>\n";
    levels.push_back({&node.children, 0, nested});
  }
  return html;
}

}  // namespace tarvek::inspect
