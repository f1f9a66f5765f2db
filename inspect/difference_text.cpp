#include "inspect/difference_text.h"

#include <utility>

#include "inspect/decode/names.h"
#include "inspect/show/paint.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

/// What a record is called in a line: its name, or what else it is known by.
std::string TitleOf(const Record& record, int number) {
  if (!record.NameText().empty()) return Escaped(record.NameText());
  if (VersionText(record)) return "version record";
  if (ScriptName(record)) return "script record";
  const std::string type(TypeName(record.type));
  if (const auto container = record.Entity()) {
    return type + " of " + std::string(EntityName(container->id)) + ' ' +
           std::to_string(container->instance);
  }
  return type + " (record " + std::to_string(number) + ')';
}

/// "+ 5: Fan 3, Compact Sensor Record".
std::string LineOf(const char* mark, const DecodedSet& set, std::size_t index) {
  const Record& record = set.decoded[index];
  return std::string(mark) + std::to_string(set.numbers[index]) + ": " +
         TitleOf(record, set.numbers[index]) + ", " + std::string(TypeName(record.type)) + '\n';
}

std::string Count(std::size_t count, const char* what) {
  return count == 0 ? "" : ", " + std::to_string(count) + ' ' + what;
}

class TextWriter {
 public:
  TextWriter(const SetPair& sets, bool color) : sets_(sets), color_(color) {}

  std::string Write(const Difference& difference) {
    for (const std::size_t i : difference.removed) {
      Line(LineOf("- ", sets_.old_set, i), Paint::kBad);
    }
    for (const std::size_t i : difference.added) {
      Line(LineOf("+ ", sets_.new_set, i), Paint::kGood);
    }
    for (const Change& change : difference.changed) WriteChange(change);
    for (const Match& match : difference.moved) {
      Line("note: " +
               TitleOf(sets_.new_set.decoded[match.new_index],
                       sets_.new_set.numbers[match.new_index]) +
               ": moved from " + std::to_string(sets_.old_set.numbers[match.old_index]) + " to " +
               std::to_string(sets_.new_set.numbers[match.new_index]) + '\n',
           Paint::kFaint);
    }
    WriteTotals(difference);
    return std::move(text_);
  }

 private:
  void Line(const std::string& line, Paint paint) { text_ += Painted(line, paint, color_); }

  void WriteChange(const Change& change) {
    const std::string title = TitleOf(sets_.old_set.decoded[change.match.old_index],
                                      sets_.old_set.numbers[change.match.old_index]);
    for (const FieldChange& field : change.fields) {
      if (field.for_people) {
        Line(title + ": " + Escaped(field.text) + '\n', Paint::kWarning);
      }
    }
  }

  void WriteTotals(const Difference& difference) {
    const std::string totals =
        Count(difference.removed.size(), "removed") + Count(difference.added.size(), "added") +
        Count(difference.changed.size(), "changed") + Count(difference.moved.size(), "moved");
    constexpr std::size_t kLink = 2;  // ", "
    text_ += totals.empty() ? "No differences.\n" : totals.substr(kLink) + ".\n";
  }

  const SetPair& sets_;
  bool color_;
  std::string text_;
};

}  // namespace

std::string DifferenceText(const SetPair& sets, const Difference& difference, bool color) {
  return TextWriter(sets, color).Write(difference);
}

}  // namespace tarvek::inspect
