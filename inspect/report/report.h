// What there is to say of a set, as one page of HTML.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

/// A record of a set; the decoded record lives as long as the report is made.
struct ReportRecord {
  int number = 0;  // in its set, from 1
  const Record* record = nullptr;
};

/// A set. All texts here and below are as they stand in the input: the page escapes them.
struct ReportSet {
  std::string name;  // of the input, as it was given
  std::string format;
  std::optional<std::string> version;
  std::optional<std::string> script;
  std::vector<ReportRecord> records;
};

/// A finding of the check.
struct ReportFinding {
  std::string rule;
  std::string severity;       // "error", "warning" or "note"
  std::optional<int> record;  // its number; absent: the set
  std::string name;           // of the record
  std::string place;
  std::string message;
};

/// A field that differs.
struct ReportField {
  std::string field;
  std::string old_text;  // empty: there is none
  std::string new_text;
};

/// A record that is in both sets.
struct ReportPair {
  ReportRecord old_record;
  ReportRecord new_record;
  std::vector<ReportField> fields;  // of a changed one
};

/// What the new set does to the old one.
struct ReportDifference {
  std::vector<ReportRecord> added;
  std::vector<ReportRecord> removed;
  std::vector<ReportPair> changed;
  std::vector<ReportPair> moved;
};

struct ReportData {
  ReportSet set;
  std::optional<ReportSet> old_set;  // with it `difference` counts
  ReportDifference difference;
  std::vector<ReportFinding> findings;
};

/// A self-contained page: nothing is loaded, nothing runs, and its security policy sees to that.
/// Time and size grow with the records, the findings and the differences alone.
/// @return valid HTML, UTF-8.
std::string HtmlReport(const ReportData& data);

}  // namespace tarvek::inspect
