#include "inspect/input/load.h"

#include "inspect/decode/record.h"
#include "inspect/input/dump_reader.h"
#include "inspect/input/image_reader.h"
#include "inspect/input/script_reader.h"
#include "inspect/input/snapshot.h"
#include "inspect/input/source_reader.h"

namespace tarvek::inspect {
namespace {

/// The directory that a file stands in; empty for the working directory.
std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

void ReadRecords(const Snapshot& input, const std::string& path, const LoadOptions& options,
                 RecordSet* set) {
  switch (set->format) {
    case Format::kSource:
      return ReadSource(input, nullptr, set);
    case Format::kScript:
      return ReadScript(input, DirectoryOf(path), options.tags, set);
    case Format::kImage:
      return ReadImage(input, set);
    case Format::kRaw:
      return ReadRawDump(input, set);
    case Format::kHex:
      return ReadHexDump(input, set);
  }
}

/// Finds the version and the script's name: of each the first record counts, as for the tool.
void FindIdentity(RecordSet* set) {
  for (const InputRecord& record : set->records) {
    if (set->version && set->script) return;
    if (!record.selected) continue;
    const Record decoded = Decode(record.bytes);
    if (!set->version) set->version = VersionText(decoded);
    if (!set->script) set->script = ScriptName(decoded);
  }
}

}  // namespace

RecordSet Load(const std::string& path, const LoadOptions& options) {
  const Snapshot input(path);
  RecordSet set;
  set.name = input.name();
  set.format = options.force_script ? Format::kScript : TellFormat(input.bytes());
  if (set.format != Format::kScript && !options.tags.empty() && !options.pass_over_tags) {
    throw OptionError("--set goes with scripts alone, and " + input.name() + " is none");
  }
  if (input.bytes().empty() && set.format != Format::kScript) {
    throw InputError({input.name(), 0, 0, {}}, "is empty");
  }
  ReadRecords(input, path, options, &set);
  FindIdentity(&set);
  return set;
}

}  // namespace tarvek::inspect
