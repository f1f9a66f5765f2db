#include "control/engine/input.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "control/system/small_file.h"
#include "inspect/decoded_set.h"
#include "inspect/input/input_error.h"
#include "inspect/input/load.h"
#include "inspect/input/programmable.h"
#include "inspect/input/script_reader.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

using inspect::Escaped;
using inspect::Format;

constexpr std::size_t kMostInput = std::size_t{64} << 20U;  // bytes
constexpr std::size_t kMostBoards = std::size_t{1} << 20U;
constexpr const char* kBoards = "mchk_fil";

// The names that the tool itself uses in its working directory, and those of the copies.
constexpr std::array kTaken{".killed",
                            "mchk_fil",
                            "sdrversion_HW",
                            "tarvek.log",
                            "tarvek_version.log",
                            "tarvek_version.old",
                            "tarvek_ratio.log",
                            "ZetaInfo.xml",
                            "Get_version.xml",
                            "Update_normal.xml",
                            "Update_force.xml",
                            "Get_ratio.xml",
                            "Get_ratio.xml_tmp",
                            "CFG.TMP",
                            "SDR.TMP",
                            "input.SDR",
                            "input.CFG",
                            "input.BIN",
                            "restore.SDR",
                            "fill.cfg"};

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

/// Reads a regular file.
/// @param why  receives why it cannot be read.
std::optional<std::string> ReadFile(const std::string& path, std::size_t most, std::string* why) {
  SmallFile file = ReadSmallFile(AT_FDCWD, path, most);
  if (file.error == 0 && file.whole) return std::move(file.bytes);
  errno = file.error;
  *why = file.error == EINVAL ? "it is no regular file"
         : file.error != 0    ? std::strerror(file.error)
                              : "it is too large";
  return std::nullopt;
}

const char* CopyName(Format format) {
  switch (format) {
    case Format::kSource:
      return "input.SDR";
    case Format::kScript:
      return "input.CFG";
    case Format::kImage:
      return "input.BIN";
    case Format::kRaw:
    case Format::kHex:
      break;
  }
  return nullptr;
}

[[noreturn]] void RefuseInput(const Session& session, const std::string& what,
                              const std::string& remedy) {
  Refuse(session, ExitStatus::kBadInput, what, remedy);
}

bool IsTaken(const std::string& name) {
  return std::any_of(kTaken.begin(), kTaken.end(),
                     [&](const char* taken) { return name == taken; });
}

/// Copies a file that a script names, if it is there: whether it is needed shows when the script
/// runs.
void CopyNamed(const Session& session, const std::string& directory, const std::string& name,
               const Directory& work, RecordList* copied) {
  if (name.find('/') != std::string::npos || name == "." || name == "..") {
    RefuseInput(
        session,
        "The script names the file \"" + Escaped(name) + "\": only plain names may stand in it.",
        "Put the file beside the script, and name it without a directory.");
  }
  if (IsTaken(name)) {
    RefuseInput(
        session,
        "The script names the file \"" + Escaped(name) + "\", a name that tarvek itself uses.",
        "Give the file another name.");
  }
  std::string why;
  std::optional<std::string> bytes = ReadFile(directory + name, kMostInput, &why);
  if (!bytes) return;
  work.Write(name, *bytes);
  copied->push_back(name);
  copied->push_back(*std::move(bytes));
}

/// A place in a copy as a place in INPUT.
inspect::Place Original(inspect::Place place, const std::string& original) {
  const std::string name = place.file.substr(place.file.rfind('/') + 1);
  place.file = name.rfind("input.", 0) == 0 ? original : DirectoryOf(original) + name;
  return place;
}

[[noreturn]] void RefuseAt(const Session& session, inspect::InputError error,
                           const std::string& original) {
  error.place = Original(error.place, original);
  std::string text = inspect::ToText(error);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  RefuseInput(session, "INPUT is wrong: " + text,
              "Mend it there, then look at it: tarvek-sdr check " + Escaped(original) + ".");
}

void RemoveUnneeded(const Directory& work, const Input& input) {
  for (const std::string& name : work.Names()) {
    const auto& files = input.set.files;
    const bool needed = std::any_of(files.begin(), files.end(),
                                    [&](const auto& file) { return file.name == name; });
    if (!needed && !IsTaken(name)) work.Remove(name);
  }
}

/// How many of its files a script programs.
std::size_t Programmed(const inspect::RecordSet& set) {
  const auto count = std::count_if(set.files.begin(), set.files.end(),
                                   [](const auto& file) { return !file.compare; });
  return static_cast<std::size_t>(count);
}

void CheckScript(const Session& session, Input* input) {
  const std::size_t programmed = Programmed(input->set);
  if (programmed > 1) {
    RefuseInput(session,
                "The script programs " + std::to_string(programmed) +
                    " files one after the other: only the last of them would be in service.",
                "Leave only the last one in the script, or compare the others.");
  }
  if (input->set.files.empty()) {
    RefuseInput(session, "The script loads no file.", "Name one in it with SDRNAME.");
  }
  input->compares_only = programmed == 0;
}

void CheckFindings(const Session& session, const Input& input, const std::string& original) {
  const auto error =
      std::find_if(input.findings.begin(), input.findings.end(),
                   [](const auto& found) { return found.severity == inspect::Severity::kError; });
  if (error == input.findings.end()) return;
  RefuseInput(session, "INPUT is wrong: " + FindingText(*error, original),
              "Mend it, or go on all the same with --allow-findings; see all that is wrong: "
              "tarvek-sdr check " +
                  Escaped(original) + ".");
}

}  // namespace

std::string CopyInput(const Session& session, const std::string& path, const Directory& work) {
  std::string why;
  std::optional<std::string> bytes = ReadFile(path, kMostInput, &why);
  if (!bytes) {
    const bool short_of = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
    Refuse(session, short_of ? ExitStatus::kUnfit : ExitStatus::kBadInput,
           "INPUT, " + Escaped(path) + ", cannot be read: " + why + ".",
           "Name a file that can be read.");
  }
  const char* const name = bytes->empty() ? nullptr : CopyName(inspect::TellFormat(*bytes));
  if (name == nullptr) {
    RefuseInput(session,
                "INPUT, " + Escaped(path) +
                    (bytes->empty() ? ", is empty."
                                    : ", is neither an SDR source file nor a script nor an image."),
                "Look at what it is: tarvek-sdr show " + Escaped(path) + ".");
  }
  work.Make(name, *bytes);
  std::vector<std::string> named;
  if (inspect::TellFormat(*bytes) == Format::kScript) named = inspect::FilesNamed(*bytes);
  RecordList copied{name};
  copied.push_back(*std::move(bytes));
  for (const std::string& file : named) {
    CopyNamed(session, DirectoryOf(path), file, work, &copied);
  }
  return DigestOf(copied);
}

void CopyBoards(const Session& session, const std::string& path, const std::string& input,
                const Directory& work) {
  const std::string list = path.empty() ? DirectoryOf(input) + kBoards : path;
  std::string why;
  const std::optional<std::string> bytes = ReadFile(list, kMostBoards, &why);
  if (!bytes) {
    Refuse(session, ExitStatus::kBadInput,
           "The hardware list, " + Escaped(list) + ", cannot be read: " + why + ".",
           "Put it beside INPUT under the name mchk_fil, or name it with --boards FILE.", "SDRC06");
  }
  work.Make(kBoards, *bytes);
}

Json FindingJson(const inspect::Finding& finding, const std::string& original) {
  Json json{{"rule", std::string(finding.rule)},
            {"severity", std::string(inspect::SeverityName(finding.severity))}};
  if (finding.record) json["record"] = *finding.record;
  if (finding.name) json["name"] = *finding.name;
  json["place"] = inspect::ToText(Original(finding.place, original));
  json["message"] = finding.message;
  return json;
}

std::string FindingText(const inspect::Finding& finding, const std::string& original) {
  std::string text = Escaped(inspect::ToText(Original(finding.place, original))) + ": " +
                     std::string(inspect::SeverityName(finding.severity)) + ": ";
  if (finding.record) text += "record " + std::to_string(*finding.record);
  if (finding.record && finding.name) text += " \"" + Escaped(*finding.name) + '"';
  if (finding.record) text += ": ";
  return text + Escaped(finding.message) + " [" + std::string(finding.rule) + "]";
}

Input LoadInput(const Session& session, const Directory& work, const std::string& original,
                bool allow_findings) {
  Input input;
  for (const char* const name : {"input.SDR", "input.CFG", "input.BIN"}) {
    if (work.Has(name)) input.name = name;
  }
  try {
    inspect::LoadOptions options;
    options.force_script = input.name == "input.CFG";
    input.set = inspect::Load(work.PathOf(input.name), options);
    inspect::RequireProgrammable(input.set, false);
  } catch (const inspect::InputError& error) {
    RefuseAt(session, error, original);
  }
  if (input.set.format == Format::kScript) CheckScript(session, &input);
  RemoveUnneeded(work, input);
  input.findings = inspect::Check(input.set, inspect::DecodeAll(input.set), {});
  if (!allow_findings && !input.compares_only) CheckFindings(session, input, original);
  input.records = RecordsOf(input.set.records);
  if (input.set.version) input.version = ReducedVersion(*input.set.version);
  return input;
}

}  // namespace tarvek::control
