#include "inspect/commands.h"
#include "inspect/exit_status.h"
#include "inspect/input/programmable.h"
#include "inspect/json/record_json.h"
#include "inspect/output.h"
#include "inspect/show/show.h"

namespace tarvek::inspect {
namespace {

SetInfo InfoOf(const RecordSet& set) {
  SetInfo info{FormatName(set.format), set.version, set.script, {}};
  if (set.format != Format::kScript) return info;
  std::vector<ScriptFile> files;
  for (const LoadedFile& file : set.files) {
    files.push_back({file.name, file.pass, file.compare, static_cast<int>(file.records)});
  }
  info.files = std::move(files);
  return info;
}

void ShowJson(const RecordSet& set, const Writer& write) {
  SetJsonWriter writer;
  write(writer.Begin(InfoOf(set)));
  for (std::size_t i = 0; i < set.records.size(); ++i) {
    const InputRecord& input = set.records[i];
    const Record record = Decode(input.bytes);
    SetRecord shown{static_cast<int>(i + 1), &record, {}};
    if (set.from_source) shown.source = {input.tags, input.selected, input.place.line};
    write(writer.Next(shown));
  }
  write(writer.End());
}

}  // namespace

int RunShow(const Options& options) {
  const RecordSet set = Load(options.input, options.load);
  StandardOutput output;
  const Writer write = [&](std::string_view text) { output.Write(text); };
  switch (options.form) {
    case ShowForm::kTable:
      ShowTable(set, options.color, write);
      break;
    case ShowForm::kLong:
      ShowLong(set, options.color, write);
      break;
    case ShowForm::kRaw:
      RequireProgrammable(set, options.all);
      ShowRaw(set, options.all, write);
      break;
    case ShowForm::kJson:
      ShowJson(set, write);
      break;
  }
  output.Finish();
  return kExitGood;
}

}  // namespace tarvek::inspect
