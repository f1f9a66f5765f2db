#include <algorithm>
#include <string>
#include <string_view>

#include "inspect/commands.h"
#include "inspect/convert/dumps.h"
#include "inspect/convert/image.h"
#include "inspect/convert/source.h"
#include "inspect/exit_status.h"
#include "inspect/input/programmable.h"
#include "inspect/output.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {
namespace {

bool ToStandardOutput(const Options& options) {
  return options.output.empty() || options.output == "-";
}

std::vector<unsigned char> IdentityOf(const std::string& path) {
  if (path.empty()) return {};
  RecordSet image = Load(path, {});
  if (image.format != Format::kImage) throw InputError({path, 0, 0, {}}, "is no backup image");
  return std::move(image.identity);
}

std::string NameOf(const Options& options) {
  if (ToStandardOutput(options)) return "";
  return options.output.substr(options.output.rfind('/') + 1);
}

std::string Convert(const RecordSet& set, const Options& options) {
  if (options.to == "source") return ConvertToSource(set, {NameOf(options)});
  const Which which = options.all ? Which::kAll : Which::kSelected;
  RequireProgrammable(set, options.all);
  if (options.to == "hex") return ConvertToHex(set, which);
  if (options.to == "raw") return ConvertToRaw(set, which);
  const std::vector<unsigned char> identity = IdentityOf(options.identity);
  ImageOptions image;
  image.identity = identity;
  return ConvertToImage(set, which, image);
}

/// Text as a terminal may have it: in tags may stand anything.
std::string Shown(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    shown += Escaped(line) + '\n';
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return shown;
}

}  // namespace

int RunConvert(const Options& options) {
  const bool binary = options.to == "image" || options.to == "raw";
  if (binary && ToStandardOutput(options) && OnTerminal()) {
    throw OptionError("a terminal is no place for binary data: name a file with -o");
  }
  const RecordSet set = Load(options.input, options.load);
  std::string bytes;
  try {
    bytes = Convert(set, options);
  } catch (const ConversionError& error) {
    throw OutputError(set.name + ": " + error.what());
  }
  if (!ToStandardOutput(options)) {
    WriteFile(options.output, bytes);
    return kExitGood;
  }
  StandardOutput output;
  output.Write(OnTerminal() ? Shown(bytes) : bytes);
  output.Finish();
  return kExitGood;
}

}  // namespace tarvek::inspect
