#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>

#include "inspect/decode/explain.h"
#include "inspect/json/record_json.h"
#include "inspect/text/escape.h"

namespace tarvek::inspect {

namespace {

constexpr std::size_t kStep = 2;

/// Writes JSON with numbers as NumberText() has them, and without the library's own writer, which
/// takes ten times as long.
class TextWriter {
 public:
  explicit TextWriter(bool lines) : lines_(lines) {}

  void Value(const Json& json, int level);
  std::string Take() && { return std::move(text_); }

 private:
  void Line(int level);
  void Text(const std::string& text);
  void Items(const Json& json, int level);

  bool lines_;
  std::string text_;
};

void TextWriter::Line(int level) {
  text_ += '\n';
  text_.append(kStep * static_cast<std::size_t>(level), ' ');
}

bool IsPlain(char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; }

void TextWriter::Text(const std::string& text) {
  if (std::all_of(text.begin(), text.end(), IsPlain)) {
    text_.append("\"").append(text).append("\"");
  } else {
    text_ += JsonEscaped(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
  }
}

/// An array of numbers or texts is one line, whatever stands around it.
bool IsFlat(const Json& json) {
  return json.is_array() && std::none_of(json.begin(), json.end(),
                                         [](const Json& item) { return item.is_structured(); });
}

void TextWriter::Items(const Json& json, int level) {  // NOLINT(misc-no-recursion): four deep
  const bool object = json.is_object();
  const bool lines = lines_ && !IsFlat(json);
  text_ += object ? '{' : '[';
  bool first = true;
  for (auto item = json.begin(); item != json.end(); ++item) {
    if (!first) text_ += lines ? "," : ", ";
    first = false;
    if (lines) Line(level + 1);
    if (object) {
      Text(item.key());
      text_ += ": ";
    }
    Value(*item, level + 1);
  }
  if (lines && !first) Line(level);
  text_ += object ? '}' : ']';
}

void TextWriter::Value(const Json& json, int level) {  // NOLINT(misc-no-recursion): four deep
  if (json.is_string()) {
    Text(json.get_ref<const std::string&>());
  } else if (json.is_boolean()) {
    text_ += json.get<bool>() ? "true" : "false";
  } else if (json.is_number_unsigned()) {
    text_ += std::to_string(json.get<std::uint64_t>());
  } else if (json.is_number_integer()) {
    text_ += std::to_string(json.get<std::int64_t>());
  } else if (json.is_number_float()) {
    text_ += NumberText(json.get<double>());
  } else if (json.is_structured()) {
    Items(json, level);
  } else {
    text_ += "null";
  }
}

}  // namespace

std::string JsonText(const Json& json, int level) {
  TextWriter writer(level >= 0);
  writer.Value(json, level < 0 ? 0 : level);
  return std::move(writer).Take();
}

}  // namespace tarvek::inspect
