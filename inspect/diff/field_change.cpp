#include <algorithm>
#include <utility>

#include "driver/reporting/text_format.h"
#include "inspect/diff/diff.h"
#include "inspect/diff/identity.h"
#include "inspect/diff/untold.h"

namespace tarvek::inspect {

namespace {

constexpr std::string_view kArrow = " → ";
constexpr std::string_view kNone = "none";

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

/// What a value holds beside its text; told where the texts of two values are the same.
std::string DetailOf(const FieldValue& value) {
  const auto raw = [](const Reading& reading) {
    return "raw " + std::string(HexByte(static_cast<unsigned char>(reading.raw)).view()) + "h";
  };
  if (const auto* const reading = std::get_if<Reading>(&value)) return raw(*reading);
  const auto* const threshold = std::get_if<Threshold>(&value);
  if (threshold == nullptr) return "";
  return raw(threshold->reading) + (threshold->readable ? ", readable" : "") +
         (threshold->settable ? ", settable" : "");
}

/// A field's text without its unit.
std::string ValueText(const Field* field, bool detailed) {
  if (field == nullptr) return std::string(kNone);
  std::string text = field->text.empty() ? Joined(field->items) : field->text;
  const std::string detail = detailed ? DetailOf(field->value) : "";
  if (!detail.empty()) text += " (" + detail + ")";
  return text.empty() ? std::string(kNone) : text;
}

std::string WithUnit(const Field* field, const std::string& text) {
  return field != nullptr && !field->unit.empty() ? text + " " + field->unit : text;
}

/// The items of `some` that `others` lacks.
std::vector<std::string> Without(const std::vector<std::string>& some,
                                 const std::vector<std::string>& others) {
  std::vector<std::string> left;
  std::copy_if(some.begin(), some.end(), std::back_inserter(left), [&](const std::string& item) {
    return std::find(others.begin(), others.end(), item) == others.end();
  });
  return left;
}

/// "assertion_events: no longer A, B; now C". Empty when neither has an item of its own.
std::string ListText(const Field& before, const Field& after) {
  const std::string gone = Joined(Without(before.items, after.items));
  const std::string come = Joined(Without(after.items, before.items));
  if (gone.empty() && come.empty()) return "";
  std::string text = std::string(after.key) + ": ";
  if (!gone.empty()) text += "no longer " + gone;
  if (!gone.empty() && !come.empty()) text += "; ";
  if (!come.empty()) text += "now " + come;
  return text;
}

std::string Arrow(const std::string& from, const std::string& to) {
  return std::string(from).append(kArrow).append(to);
}

/// The whole change of a field that both records have. The unit is told once where it is one.
std::string PairText(const Field& before, const Field& after, bool detailed) {
  const std::string old_text = ValueText(&before, detailed);
  const std::string new_text = ValueText(&after, detailed);
  if (after.key == "name") return "renamed from " + old_text + " to " + new_text;
  std::string list = ListText(before, after);
  if (!list.empty()) return list;
  const std::string& from = before.unit == after.unit ? old_text : WithUnit(&before, old_text);
  return std::string(after.key) + " " + Arrow(from, WithUnit(&after, new_text));
}

/// @param before,after  one of them may be null.
FieldChange ChangeOf(const Field* before, const Field* after) {
  const bool detailed = ValueText(before, false) == ValueText(after, false);
  FieldChange change;
  if (before != nullptr) {
    change.key = before->key;
    change.old_value = before->value;
  }
  if (after != nullptr) {
    change.key = after->key;
    change.new_value = after->value;
  }
  change.old_text = WithUnit(before, ValueText(before, detailed));
  change.new_text = WithUnit(after, ValueText(after, detailed));
  change.text = before != nullptr && after != nullptr
                    ? PairText(*before, *after, detailed)
                    : std::string(change.key) + " " + Arrow(change.old_text, change.new_text);
  return change;
}

const Field* Find(const std::vector<Field>& fields, std::string_view key) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [key](const Field& field) { return field.key == key; });
  return found == fields.end() ? nullptr : &*found;
}

/// The fields that differ. Both lists are in the one order that fields have.
std::vector<FieldChange> Differing(const std::vector<Field>& before,
                                   const std::vector<Field>& after) {
  std::vector<FieldChange> changes;
  auto b = before.begin();
  auto a = after.begin();
  while (b != before.end() || a != after.end()) {
    if (b != before.end() && a != after.end() && b->key == a->key) {
      if (b->value != a->value) changes.push_back(ChangeOf(&*b, &*a));
      ++b;
      ++a;
    } else if (b != before.end() && Find(after, b->key) == nullptr) {
      changes.push_back(ChangeOf(&*b++, nullptr));
    } else {
      changes.push_back(ChangeOf(nullptr, &*a++));
    }
  }
  return changes;
}

/// Of a field whose text another change holds already, nothing more is told to people.
void HideTold(const std::vector<Field>& fields, std::vector<FieldChange>* changes) {
  const auto changed = [changes](std::string_view key) {
    return std::any_of(changes->begin(), changes->end(),
                       [key](const FieldChange& change) { return change.key == key; });
  };
  for (FieldChange& change : *changes) {
    const Field* const field = Find(fields, change.key);
    if (field != nullptr && !field->told_by.empty()) change.for_people = !changed(field->told_by);
  }
}

/// The maker's own records hold texts that people know.
void TellMakerText(const Record& before, const Record& after, std::vector<FieldChange>* changes) {
  const bool version = VersionText(before) && VersionText(after);
  const auto old_text = version ? VersionText(before) : ScriptName(before);
  const auto new_text = version ? VersionText(after) : ScriptName(after);
  if (!old_text || !new_text || old_text == new_text) return;
  for (FieldChange& change : *changes) {
    if (change.key != "data") continue;
    change.old_text = "\"" + *old_text + "\"";
    change.new_text = "\"" + *new_text + "\"";
    change.text = (version ? "version " : "script ") + Arrow(change.old_text, change.new_text);
  }
}

FieldChange DataChange(const Bytes& before, const Bytes& after, const std::string& text) {
  FieldChange change;
  change.key = "data";
  change.old_value = CompactHex(before);
  change.new_value = CompactHex(after);
  change.old_text = before.empty() ? std::string(kNone) : CompactHex(before);
  change.new_text = after.empty() ? std::string(kNone) : CompactHex(after);
  change.text = text.empty() ? "data " + Arrow(change.old_text, change.new_text) : "data: " + text;
  return change;
}

void AppendUntold(const Record& before, const Record& after, std::vector<FieldChange>* changes) {
  std::vector<std::string_view> keys;
  for (const FieldChange& change : *changes) keys.push_back(change.key);
  if (std::find(keys.begin(), keys.end(), "data") != keys.end()) return;
  const Untold untold = FindUntold(before, after, keys);
  if (!untold.old_bytes.empty() || !untold.new_bytes.empty()) {
    changes->push_back(DataChange(untold.old_bytes, untold.new_bytes, untold.text));
  } else if (changes->empty() && ContentOf(before) != ContentOf(after)) {
    changes->push_back(DataChange(before.bytes, after.bytes, ""));
  }
}

}  // namespace

std::vector<FieldChange> ChangedFields(const Record& old_record, const Record& new_record) {
  const std::vector<Field> before = FieldsOf(old_record);
  const std::vector<Field> after = FieldsOf(new_record);
  std::vector<FieldChange> changes = Differing(before, after);
  HideTold(before, &changes);
  HideTold(after, &changes);
  TellMakerText(old_record, new_record, &changes);
  AppendUntold(old_record, new_record, &changes);
  return changes;
}

}  // namespace tarvek::inspect
