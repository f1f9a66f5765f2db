// Records and sets of them as JSON objects, key for key as the installed schema says.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/decode/record.h"

namespace tarvek::inspect {

using Json = nlohmann::ordered_json;  // keys stay in the order in which they are added

/// What an SDR source says of a record beside its bytes.
struct SourcePlace {
  std::vector<std::string> tags;
  bool selected = true;
  int line = 0;  // of _SDR_TYPE, from 1
};

/// A record of a set.
struct SetRecord {
  int number = 0;                       // from 1
  const Record* record = nullptr;       // never null; lives as long as this does
  std::optional<SourcePlace> source{};  // absent unless the record is from a source
};

/// A file that a script loads.
struct ScriptFile {
  std::string name;
  int pass = 1;
  bool compare = false;  // it is compared with, not programmed
  int records = 0;
};

/// What is said of a set before its records.
struct SetInfo {
  std::string_view format;  // "source", "image", "raw", "hex", "script"
  std::optional<std::string> version{};
  std::optional<std::string> script{};
  std::optional<std::vector<ScriptFile>> files{};  // of a script
};

/// The object of a record, as `show` has it.
Json RecordJson(const SetRecord& record);

/// The fields of a record alone, from `name` on: without number, header, bytes and what a source
/// says.
Json FieldsJson(const Record& record);

/// The object of a set, as `show` has it, without its last key, `records`.
Json SetJson(const SetInfo& info);

/// A finding of `check`.
struct FindingJson {
  std::string_view rule;
  std::string_view severity;    // "error", "warning", "note"
  std::optional<int> record{};  // its number; absent for a finding about the set
  std::optional<std::string> name{};
  std::string_view place;
  std::string_view message;
};
/// The whole object that `check` writes.
Json CheckJson(const std::vector<FindingJson>& findings);

/// JSON text, two blanks a level, without a line feed at its end. Numbers are in the shortest form
/// that reads back; text is valid UTF-8 whatever `json` holds.
/// @param level  how deep in the text around it `json` stands; -1: everything on one line.
std::string JsonText(const Json& json, int level = 0);

/// Writes a set's object record by record, so that a set of any size takes the memory of one. Each
/// call returns the text that comes next.
class SetJsonWriter {
 public:
  std::string Begin(const SetInfo& info);
  std::string Next(const SetRecord& record);
  /// Ends the object, and the line.
  std::string End() const;

 private:
  bool any_ = false;
};

}  // namespace tarvek::inspect
