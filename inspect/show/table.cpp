#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"
#include "inspect/decode/record.h"
#include "inspect/show/paint.h"
#include "inspect/show/show.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kColumns = 9;
using Row = std::array<std::string, kColumns>;
using Widths = std::array<std::size_t, kColumns>;

const Row kTitles{"No.", "ID", "Type", "Name", "Sensor", "Entity", "Kind", "Unit", "More"};

// Numbers stand at the right of their columns.
constexpr std::array<bool, kColumns> kRight{true,  false, false, false, false,
                                            false, false, false, false};

std::string Hex(int value, int digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr int kNibbleBits = 4;
  constexpr int kNibble = 0x0F;
  std::string text;
  for (int shift = (digits - 1) * kNibbleBits; shift >= 0; shift -= kNibbleBits) {
    text += kDigits[static_cast<std::size_t>((value >> shift) & kNibble)];
  }
  return text;
}

std::string Byte(int value) { return Hex(value, 2) + "h"; }

std::string EntityText(const EntityId& entity) {
  return std::to_string(entity.id) + "." + std::to_string(entity.instance) + " " +
         std::string(EntityName(entity.id));
}

/// The thresholds by their usual short names, in real units where there are any.
std::string ThresholdsText(const std::vector<Threshold>& thresholds) {
  constexpr std::array<const char*, kThresholdCount> kShort{"lnc", "lc", "lnr", "unc", "uc", "unr"};
  std::string text;
  for (const Threshold& threshold : thresholds) {
    if (!text.empty()) text += ' ';
    text += kShort[static_cast<std::size_t>(threshold.kind)];
    text += ' ';
    text += threshold.reading.value ? NumberText(*threshold.reading.value)
                                    : Byte(threshold.reading.raw);
  }
  return text;
}

std::string ContainedText(const std::vector<ContainedEntity>& entities) {
  std::string text = "contains";
  bool ranges = false;  // the entity before began a range
  for (const ContainedEntity& contained : entities) {
    if (ranges) text += " to";
    ranges = contained.range && !ranges;
    text += ' ' + std::to_string(contained.entity.id) + '.';
    text += std::to_string(contained.entity.instance);
  }
  return text;
}

/// A word on what the other columns do not tell.
std::string RestOf(const Record& record) {
  if (const auto version = VersionText(record)) return '"' + *version + '"';
  if (const auto script = ScriptName(record)) return "script " + *script;
  if (record.thresholds) return ThresholdsText(*record.thresholds);
  if (record.contained_entities) return ContainedText(*record.contained_entities);
  if (record.sharing && record.sharing->share_count.value_or(1) > 1) {
    return std::to_string(*record.sharing->share_count) + " sensors";
  }
  if (record.fru_id) return "FRU " + std::to_string(*record.fru_id);
  if (record.slave_address) return "at " + Byte(*record.slave_address);
  if (record.device_address) return "at " + Byte(*record.device_address);
  if (record.manufacturer_id) return "manufacturer " + std::to_string(*record.manufacturer_id);
  if (record.event_type) return std::string(EventTypeName(*record.event_type));
  return "";
}

std::string TagsOf(const InputRecord& input) {
  std::string text;
  for (const std::string& tag : input.tags) text += text.empty() ? tag : "," + tag;
  if (text.empty()) return "";
  return "[" + text + (input.selected ? "]" : ": not selected]");
}

Row RowOf(std::size_t number, const InputRecord& input) {
  const Record record = Decode(input.bytes);
  Row row;
  row[0] = std::to_string(number);
  row[1] = Hex(record.record_id, 4);
  row[2] = TypeShortName(record.type);
  row[3] = record.NameText();
  if (record.sensor_number) row[4] = Byte(*record.sensor_number);
  if (const auto entity = record.Entity()) row[5] = EntityText(*entity);
  if (record.sensor_type) row[6] = SensorTypeName(*record.sensor_type);
  if (record.unit && record.IsThreshold()) row[7] = record.unit->Text();
  row[8] = RestOf(record);
  const std::string tags = TagsOf(input);
  if (!tags.empty()) row[8] += (row[8].empty() ? "" : " ") + tags;
  for (std::string& cell : row) cell = Escaped(cell);
  return row;
}

/// A row in the memory of one text: there may be any number. No cell has a line feed.
std::string Joined(const Row& row) {
  std::string text;
  for (const std::string& cell : row) text.append(cell).append(1, '\n');
  return text;
}

Row Parted(std::string_view text) {
  Row row;
  for (std::string& cell : row) {
    cell = text.substr(0, text.find('\n'));
    text.remove_prefix(cell.size() + 1);
  }
  return row;
}

void Widen(const Row& row, Widths* widths) {
  for (std::size_t i = 0; i < kColumns; ++i) (*widths)[i] = std::max((*widths)[i], Width(row[i]));
}

std::string LineOf(const Row& row, const Widths& widths) {
  std::string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (widths[i] == 0) continue;  // nobody has anything there
    const std::string padding(widths[i] - Width(row[i]), ' ');
    if (!line.empty()) line += "  ";
    line += kRight[i] ? padding + row[i] : row[i] + padding;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

/// The record type; 0, which is none, of a record without one.
int TypeOf(const InputRecord& record) {
  constexpr std::size_t kTypeOffset = 3;
  return record.bytes.size() > kTypeOffset ? record.bytes[kTypeOffset] : 0;
}

void ShowTotals(const RecordSet& set, const Writer& write) {
  std::map<int, std::size_t> totals;
  std::size_t selected = 0;
  std::size_t bytes = 0;
  for (const InputRecord& record : set.records) {
    ++totals[TypeOf(record)];
    if (!record.selected) continue;
    ++selected;
    bytes += record.bytes.size();
  }
  std::string text =
      std::to_string(set.records.size()) + (set.records.size() == 1 ? " record" : " records");
  const char* link = ": ";
  for (const auto& [type, count] : totals) {
    text += link + std::to_string(count) + ' ' + std::string(TypeShortName(type));
    link = ", ";
  }
  if (selected != set.records.size()) text += "; " + std::to_string(selected) + " selected";
  text += "; " + std::to_string(bytes) + " bytes\n";
  text += "Version: " + (set.version ? Escaped(*set.version) : "none") + '\n';
  if (set.script) text += "Script: " + Escaped(*set.script) + '\n';
  for (const LoadedFile& file : set.files) {
    text += std::string("File: ") + Escaped(file.name) + ", " +
            (file.pass == 1 ? "first pass" : "last pass") +
            (file.compare ? ", compared only" : "") + ", " + std::to_string(file.records) +
            (file.records == 1 ? " record\n" : " records\n");
  }
  write(text);
}

}  // namespace

void ShowTable(const RecordSet& set, bool color, const Writer& write) {
  Widths widths{};
  std::vector<std::string> rows;
  rows.reserve(set.records.size());
  for (std::size_t i = 0; i < set.records.size(); ++i) {
    const Row row = RowOf(i + 1, set.records[i]);
    Widen(row, &widths);
    rows.push_back(Joined(row));
  }
  if (!rows.empty()) {
    Widen(kTitles, &widths);
    write(Painted(LineOf(kTitles, widths), Paint::kTitle, color) + '\n');
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string line = LineOf(Parted(rows[i]), widths);
    write(Painted(line, set.records[i].selected ? Paint::kPlain : Paint::kFaint, color) + '\n');
  }
  if (!rows.empty()) write("\n");
  ShowTotals(set, write);
}

void ShowRaw(const RecordSet& set, bool all, const Writer& write) {
  constexpr std::size_t kIdSize = 2;
  for (const InputRecord& record : set.records) {
    if (!all && !record.selected) continue;
    std::vector<unsigned char> bytes = record.bytes;
    std::fill_n(bytes.begin(), std::min(kIdSize, bytes.size()), static_cast<unsigned char>(0));
    write(HexText(bytes) + '\n');
  }
}

}  // namespace tarvek::inspect
