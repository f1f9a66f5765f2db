// The pieces that the page is put together from; every function returns HTML.
#pragma once

#include <string>
#include <string_view>

#include "inspect/decode/record.h"
#include "inspect/report/entity_tree.h"
#include "inspect/report/report.h"

namespace tarvek::inspect {

/// What a record is called: its name, a version text or script name; its kind where it has none.
std::string RecordTitle(const Record& record);

/// "4 · sensor 01h · Temperature" in words that suit the type.
std::string RecordSubtitle(const Record& record);

/// The cell that says what a record is about: a bar with its numbers, the states of a discrete
/// sensor, or a sentence.
std::string RecordContent(const Record& record);

/// What stands below a bar: unit, nominal reading, normal range, thresholds.
std::string Limits(const Record& record);

/// A table of records, with a row for each.
class RecordTable {
 public:
  /// @param what  what the last column holds.
  RecordTable(std::string_view caption, std::string_view what);
  /// @param badge  HTML that follows the name; may be empty.
  /// @param linked  whether the row is what links to the record lead to.
  void Add(const ReportRecord& entry, std::string_view badge, bool linked);
  std::string Text() && { return std::move(text_) + "</tbody></table>"; }

 private:
  std::string text_;
};

/// A link to the row of a record of the new set.
std::string RecordLink(int number, std::string_view text);

/// The old and the new bar above each other, to one scale where their units allow; empty where
/// neither has one.
std::string BarPair(const Record& old_record, const Record& new_record);

/// The forest as nested lists.
std::string TreeList(const EntityTree& tree);

}  // namespace tarvek::inspect
