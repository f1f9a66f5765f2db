#include "inspect/report/report.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "inspect/decode/names.h"
#include "inspect/report/html.h"
#include "inspect/report/page_parts.h"
#include "inspect/report/style.h"

namespace tarvek::inspect {
namespace {

// Nothing but the style sheet in the page itself.
constexpr std::string_view kPolicy =
    "default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'";
constexpr std::string_view kArrow = " <i>\xE2\x86\x92</i> ";

constexpr std::string_view kKey =
    "<p class=key><span><i class=t></i>minimum to maximum</span><span><i class=n></i>normal range"
    "</span><span><i class=d></i>nominal reading</span><span><i class=nc></i>non-critical (LNC, "
    "UNC)</span><span><i class=cr></i>critical (LC, UC)</span><span><i class=nr></i>"
    "non-recoverable (LNR, UNR)</span></p>\n";

std::string Tag(std::string_view css_class, std::string_view text) {
  return "<span class=\"tag " + std::string(css_class) + "\">" + std::string(text) + "</span>";
}

std::string Heading(std::string_view id, std::string_view text) {
  return "<h2 id=" + std::string(id) + ">" + std::string(text) + "</h2>\n";
}

std::size_t CountSensors(const ReportSet& set) {
  return static_cast<std::size_t>(
      std::count_if(set.records.begin(), set.records.end(),
                    [](const ReportRecord& entry) { return entry.record->IsSensor(); }));
}

/// Makes the page part by part, in the order in which it reads.
class Page {
 public:
  explicit Page(const ReportData& data) : data_(data) {}
  std::string Make();

 private:
  bool IsComparison() const { return data_.old_set.has_value(); }
  const ReportDifference& difference() const { return data_.difference; }

  void MarkRecords();
  std::string_view BadgeOf(int number) const;
  std::string Title() const;
  void Head();
  void Opening();
  void Facts(const ReportSet& set, std::string_view which);
  void Tiles();
  void Tile(std::size_t count, std::string_view one, std::string_view many);
  void Contents();
  void Changes();
  void Listed(std::string_view caption, const std::vector<ReportRecord>& records,
              std::string_view badge, bool linked);
  void Change(const ReportPair& pair);
  void Moved();
  void Findings();
  void Totals();
  void Entities();
  void Sensors();
  void Others();

  const ReportData& data_;
  std::map<int, std::string> badges_;  // by number in the new set
  std::string html_;
};

/// What stands beside the names of records that are new or different.
void Page::MarkRecords() {
  for (const ReportRecord& entry : difference().added) badges_[entry.number] = Tag("add", "added");
  for (const ReportPair& pair : difference().changed) {
    badges_[pair.new_record.number] = "<a href=#c" + std::to_string(pair.new_record.number) + ">" +
                                      Tag("chg", "changed") + "</a>";
  }
}

std::string_view Page::BadgeOf(int number) const {
  const auto found = badges_.find(number);
  return found == badges_.end() ? std::string_view() : found->second;
}

std::string Page::Title() const {
  const std::string name = Html(data_.set.name);
  return IsComparison() ? Html(data_.old_set->name) + " to " + name : name;
}

void Page::Head() {
  html_ += "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8>\n";
  html_ += "<meta http-equiv=Content-Security-Policy content=\"" + std::string(kPolicy) + "\">\n";
  html_ += "<meta name=viewport content=\"width=device-width,initial-scale=1\">\n";
  html_ +=
      "<meta name=color-scheme content=\"light dark\">\n<meta name=generator "
      "content=tarvek-sdr>\n";
  html_ += "<title>Sensor data records: " + Title() + "</title>\n<style>";
  html_.append(kReportStyle).append("</style></head><body>\n");
}

void Page::Opening() {
  html_ += "<header><p class=kick>";
  html_ +=
      IsComparison() ? "What an update of the sensor data records changes" : "Sensor data records";
  html_ += "</p><h1>";
  if (IsComparison()) html_.append(Isolated(data_.old_set->name)).append(kArrow);
  html_ += Isolated(data_.set.name) + "</h1>\n";
  if (IsComparison()) Facts(*data_.old_set, "old ");
  Facts(data_.set, IsComparison() ? "new " : "");
  Tiles();
  Contents();
  html_ += "</header>\n<main>\n";
}

void Page::Facts(const ReportSet& set, std::string_view which) {
  html_ += "<dl>";
  const auto fact = [&](std::string_view term, const std::string& value) {
    std::string label = std::string(which) + std::string(term);
    label.front() = static_cast<char>(label.front() - 'a' + 'A');
    html_ += "<div><dt>" + label + "</dt><dd>" + value + "</dd></div>";
  };
  fact("input", Isolated(set.name));
  fact("form", Html(set.format));
  fact("version", set.version ? Isolated(*set.version) : "none");
  fact("script", set.script ? Isolated(*set.script) : "none");
  html_ += "</dl>\n";
}

void Page::Tile(std::size_t count, std::string_view one, std::string_view many) {
  html_ += "<li><b>" + std::to_string(count) + "</b>";
  html_.append(count == 1 ? one : many).append("</li>");
}

void Page::Tiles() {
  html_ += "<ul class=tiles>";
  if (IsComparison()) {
    Tile(difference().added.size(), "added", "added");
    Tile(difference().removed.size(), "removed", "removed");
    Tile(difference().changed.size(), "changed", "changed");
  }
  Tile(data_.set.records.size(), "record", "records");
  Tile(CountSensors(data_.set), "sensor", "sensors");
  Tile(data_.findings.size(), "finding", "findings");
  html_ += "</ul>\n";
}

void Page::Contents() {
  html_ += "<nav aria-label=Contents>";
  if (IsComparison()) html_ += "<a href=#changes>Changes</a>";
  html_ +=
      "<a href=#findings>Findings</a><a href=#totals>Totals</a>"
      "<a href=#entities>Entities</a><a href=#sensors>Sensors</a>"
      "<a href=#others>Other records</a></nav>\n";
}

void Page::Changes() {
  if (!IsComparison()) return;
  html_ += Heading("changes", "Changes");
  const bool equal =
      difference().added.empty() && difference().removed.empty() && difference().changed.empty();
  html_ += equal ? "<p>Both inputs hold the same records.</p>\n" : kKey;
  Listed("Added", difference().added, Tag("add", "added"), false);
  Listed("Removed, numbered as in the old input", difference().removed, Tag("del", "removed"),
         false);
  for (const ReportPair& pair : difference().changed) Change(pair);
  Moved();
}

void Page::Listed(std::string_view caption, const std::vector<ReportRecord>& records,
                  std::string_view badge, bool linked) {
  if (records.empty()) return;
  RecordTable table(caption, "Range, thresholds or states");
  for (const ReportRecord& entry : records) table.Add(entry, badge, linked);
  html_ += std::move(table).Text() + "\n";
}

void Page::Change(const ReportPair& pair) {
  const Record& record = *pair.new_record.record;
  const std::string number = std::to_string(pair.new_record.number);
  const std::string old_title = RecordTitle(*pair.old_record.record);
  const std::string title = RecordTitle(record);
  html_ += "<article id=c" + number + "><h3>" + Tag("chg", "changed") + " ";
  if (old_title != title) html_.append(Isolated(old_title)).append(kArrow);
  html_ += RecordLink(pair.new_record.number, title) + " <small>No. " + number + ", " +
           Html(RecordSubtitle(record)) + "</small></h3>\n";
  html_ += "<table><thead><tr><th scope=col>Field<th scope=col>Old<th scope=col>New</thead><tbody>";
  for (const ReportField& field : pair.fields) {
    html_ += "<tr><th scope=row>" + Html(field.field) + "<td><del>" + Html(field.old_text) +
             "</del><td><ins>" + Html(field.new_text) + "</ins>\n";
  }
  html_ += "</tbody></table>" + BarPair(*pair.old_record.record, record) + "</article>\n";
}

void Page::Moved() {
  const std::vector<ReportPair>& moved = difference().moved;
  if (moved.empty()) return;
  html_ += "<p class=q>" + Counted(moved.size(), "record") + " moved: ";
  for (std::size_t i = 0; i < moved.size(); ++i) {
    html_ += (i == 0 ? "" : ", ") +
             RecordLink(moved[i].new_record.number, RecordTitle(*moved[i].new_record.record)) +
             " " + std::to_string(moved[i].old_record.number);
    html_.append(kArrow).append(std::to_string(moved[i].new_record.number));
  }
  html_ += ".</p>\n";
}

void Page::Findings() {
  html_ += Heading("findings", "Findings of the check");
  if (data_.findings.empty()) {
    html_ += "<p>No finding: no rule is broken.</p>\n";
    return;
  }
  html_ +=
      "<table class=find><thead><tr><th scope=col>Severity<th scope=col>Record"
      "<th scope=col>Finding</thead><tbody>\n";
  for (const ReportFinding& finding : data_.findings) {
    const bool known = finding.severity == "error" || finding.severity == "warning";
    html_ += "<tr><td>" + Tag(known ? finding.severity : "note", Html(finding.severity)) + "<td>";
    if (finding.record) {
      const std::string number = std::to_string(*finding.record);
      html_ += RecordLink(*finding.record,
                          finding.name.empty() ? "No. " + number : number + " " + finding.name);
    } else {
      html_ += "the set";
    }
    html_ += "<td>" + Html(finding.message) + "<br><code>" + Html(finding.rule) +
             "</code> <small>" + Html(finding.place) + "</small>\n";
  }
  html_ += "</tbody></table>\n";
}

void Page::Totals() {
  std::map<int, std::array<long, 2>> totals;  // by type: in the new and in the old set
  for (const ReportRecord& entry : data_.set.records) ++totals[entry.record->type][0];
  if (IsComparison()) {
    for (const ReportRecord& entry : data_.old_set->records) ++totals[entry.record->type][1];
  }
  html_ += Heading("totals", "Totals");
  html_ += "<table class=sum><thead><tr><th scope=col>Type<th scope=col>Record";
  if (IsComparison()) html_ += "<th scope=col class=num>Old";
  html_ += std::string("<th scope=col class=num>") + (IsComparison() ? "New" : "Count");
  html_ += "</thead><tbody>\n";
  for (const auto& [type, counts] : totals) {
    html_ += "<tr><td>" + HexByte(type) + "<th scope=row>" + Html(TypeName(type));
    if (IsComparison()) html_ += "<td class=num>" + std::to_string(counts[1]);
    html_ += "<td class=num>" + std::to_string(counts[0]) + "\n";
  }
  html_ += "</tbody></table>\n";
}

void Page::Entities() {
  html_ += Heading("entities", "Entities");
  const EntityTree tree = BuildEntityTree(data_.set.records);
  html_ += tree.roots.empty() ? std::string("<p>No record names an entity.</p>\n") : TreeList(tree);
}

void Page::Sensors() {
  html_ += Heading("sensors", "Sensors");
  if (CountSensors(data_.set) == 0) {
    html_ += "<p>The set holds no sensors.</p>\n";
    return;
  }
  html_ += kKey;
  RecordTable table("", "Range and thresholds, or states");
  for (const ReportRecord& entry : data_.set.records) {
    if (entry.record->IsSensor()) table.Add(entry, BadgeOf(entry.number), true);
  }
  html_ += std::move(table).Text() + "\n";
}

void Page::Others() {
  html_ += Heading("others", "Other records");
  if (CountSensors(data_.set) == data_.set.records.size()) {
    html_ += "<p>The set holds no other records.</p>\n";
    return;
  }
  RecordTable table("", "What it says");
  for (const ReportRecord& entry : data_.set.records) {
    if (!entry.record->IsSensor()) table.Add(entry, BadgeOf(entry.number), true);
  }
  html_ += std::move(table).Text() + "\n";
}

std::string Page::Make() {
  MarkRecords();
  Head();
  Opening();
  Changes();
  Findings();
  Totals();
  Entities();
  Sensors();
  Others();
  html_ +=
      "</main>\n<footer>Written by tarvek-sdr. Nothing in this page is loaded from elsewhere, "
      "and nothing in it runs.</footer>\n</body></html>\n";
  return std::move(html_);
}

}  // namespace

std::string HtmlReport(const ReportData& data) { return Page(data).Make(); }

}  // namespace tarvek::inspect
