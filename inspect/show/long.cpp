#include <algorithm>
#include <string>

#include "inspect/decode/explain.h"
#include "inspect/decode/names.h"
#include "inspect/show/paint.h"
#include "inspect/show/show.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

constexpr std::size_t kLabelWidth = 36;

std::string Heading(std::size_t number, const InputRecord& input, const Record& record) {
  std::string text = "Record " + std::to_string(number) + ": " + std::string(TypeName(record.type));
  if (record.name) text += " \"" + Escaped(record.name->text) + '"';
  for (const std::string& tag : input.tags) text += " [" + Escaped(tag) + ']';
  if (!input.selected) text += " (not selected)";
  return text;
}

std::string FieldLine(const LongField& field) {
  std::string label = Escaped(field.label);
  if (Width(label) < kLabelWidth) label.append(kLabelWidth - Width(label), ' ');
  return "  " + label + " " + Escaped(field.text) + '\n';
}

}  // namespace

void ShowLong(const RecordSet& set, bool color, const Writer& write) {
  for (std::size_t i = 0; i < set.records.size(); ++i) {
    const InputRecord& input = set.records[i];
    const Record record = Decode(input.bytes);
    write(Painted(Heading(i + 1, input, record), Paint::kTitle, color) + '\n');
    for (const LongField& field : Explain(record)) {
      const std::string line = FieldLine(field);
      write(Painted(line, field.explained ? Paint::kPlain : Paint::kFaint, color));
    }
    write("\n");
  }
}

}  // namespace tarvek::inspect
