#include "inspect/diff/untold.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "inspect/decode/explain.h"
#include "inspect/decode/layout.h"
#include "inspect/decode/names.h"
#include "sdrfile/utilities/sdr_record.h"

namespace tarvek::inspect {

namespace {

using Keys = std::span<const std::string_view>;

bool Has(Keys keys, std::string_view key) {
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

/// The byte of a threshold's value, of a full sensor; absent for any other byte.
std::optional<ThresholdKind> ThresholdAt(const Record& record, std::size_t offset) {
  constexpr std::size_t kLast = full::kUpperNonRecoverable + kThresholdCount - 1;
  if (!record.Is(RecordType::kFullSensor)) return std::nullopt;
  if (offset < full::kUpperNonRecoverable || offset > kLast) return std::nullopt;
  return static_cast<ThresholdKind>(kLast - offset);
}

/// Whether the change of one of the `keys` tells that this field's bytes have changed.
bool IsTold(const Record& record, const LongField& field, Keys keys) {
  const auto any_of = [keys](std::initializer_list<std::string_view> tellers) {
    return std::any_of(tellers.begin(), tellers.end(),
                       [keys](std::string_view key) { return Has(keys, key); });
  };
  if (field.key.empty()) {
    // These flags say which readings there are.
    return record.Is(RecordType::kFullSensor) && field.explained &&
           field.offset == full::kAnalogFlags && any_of({"nominal", "normal_max", "normal_min"});
  }
  if (field.key == "thresholds") {
    if (const auto kind = ThresholdAt(record, field.offset)) return Has(keys, ThresholdKey(*kind));
    for (int i = 0; i < kThresholdCount; ++i) {
      if (Has(keys, ThresholdKey(static_cast<ThresholdKind>(i)))) return true;
    }
    return false;
  }
  if (field.key == "name_encoding") return any_of({"name", "name_encoding"});
  const bool entity = field.key == "entity_id" || field.key == "entity_instance";
  if (entity && record.contained_entities && field.offset >= association::kContained) {
    return any_of({"contained_entities"});
  }
  if (field.key == "entity_instance") return any_of({"entity_instance", "entity_logical"});
  return Has(keys, field.key);
}

int ByteAt(const Record& record, std::size_t offset) {
  return offset < record.bytes.size() ? record.bytes[offset] : -1;
}

/// Finds what is untold of one pair of records.
class Finder {
 public:
  Finder(const Record& old_record, const Record& new_record, Keys keys)
      : old_(old_record),
        new_(new_record),
        keys_(keys),
        end_(std::max(old_.bytes.size(), new_.bytes.size())),
        told_(end_, false),
        named_(end_, false) {}

  Untold Run() &&;

 private:
  using FieldKey = std::pair<std::size_t, std::string_view>;  // offset and label
  using Texts = std::map<FieldKey, std::pair<const LongField*, const LongField*>>;

  bool Differs(std::size_t offset) const { return ByteAt(old_, offset) != ByteAt(new_, offset); }
  bool AnyDiffers(std::size_t offset, std::size_t count) const;
  void MarkTold(const Record& record, const std::vector<LongField>& fields);
  void NameFields(const Texts& texts);
  void AddRest();
  void AddText(const std::string& text);

  const Record& old_;
  const Record& new_;
  Keys keys_;
  std::size_t end_;
  std::vector<bool> told_;   // bytes that a field tells
  std::vector<bool> named_;  // bytes that the text tells
  Untold untold_;
};

bool Finder::AnyDiffers(std::size_t offset, std::size_t count) const {
  for (std::size_t i = offset; i < offset + count; ++i) {
    if (Differs(i)) return true;
  }
  return false;
}

void Finder::AddText(const std::string& text) {
  if (!untold_.text.empty()) untold_.text += ", ";
  untold_.text += text;
}

void Finder::MarkTold(const Record& record, const std::vector<LongField>& fields) {
  for (const LongField& field : fields) {
    if (!IsTold(record, field, keys_)) continue;
    for (std::size_t i = 0; i < field.count; ++i) told_[field.offset + i] = true;
  }
}

/// What differs in fields that people have a name for.
void Finder::NameFields(const Texts& texts) {
  for (const auto& [at, fields] : texts) {
    const auto& [before, after] = fields;
    const std::string old_text = before != nullptr ? before->text : "none";
    const std::string new_text = after != nullptr ? after->text : "none";
    if (old_text == new_text) continue;
    const std::size_t count =
        std::max(before != nullptr ? before->count : 0, after != nullptr ? after->count : 0);
    if (!AnyDiffers(at.first, count)) continue;
    for (std::size_t i = 0; i < count; ++i) {
      told_[at.first + i] = false;
      named_[at.first + i] = true;
    }
    AddText(std::string(at.second).append(" ").append(old_text).append(" → ").append(new_text));
  }
}

void Finder::AddRest() {
  Bytes old_rest;
  Bytes new_rest;
  for (std::size_t i = kRecordHeaderSize; i < end_; ++i) {
    if (!Differs(i) || told_[i]) continue;
    const int before = ByteAt(old_, i);
    const int after = ByteAt(new_, i);
    if (before >= 0) untold_.old_bytes.push_back(static_cast<unsigned char>(before));
    if (after >= 0) untold_.new_bytes.push_back(static_cast<unsigned char>(after));
    if (named_[i]) continue;
    if (before >= 0) old_rest.push_back(static_cast<unsigned char>(before));
    if (after >= 0) new_rest.push_back(static_cast<unsigned char>(after));
  }
  if (old_rest.empty() && new_rest.empty()) return;
  const auto text = [](const Bytes& bytes) { return bytes.empty() ? "none" : HexText(bytes); };
  AddText(text(old_rest) + " → " + text(new_rest));
}

Untold Finder::Run() && {
  const std::vector<LongField> old_fields = Explain(old_);
  const std::vector<LongField> new_fields = Explain(new_);
  MarkTold(old_, old_fields);
  MarkTold(new_, new_fields);
  const auto is_named = [](const Record& record, const LongField& field, Keys keys) {
    return field.offset >= kRecordHeaderSize && field.label != "Unexplained" &&
           !IsTold(record, field, keys);
  };
  Texts texts;
  for (const LongField& field : old_fields) {
    if (is_named(old_, field, keys_)) texts[{field.offset, field.label}].first = &field;
  }
  for (const LongField& field : new_fields) {
    if (is_named(new_, field, keys_)) texts[{field.offset, field.label}].second = &field;
  }
  NameFields(texts);
  AddRest();
  return std::move(untold_);
}

}  // namespace

Untold FindUntold(const Record& old_record, const Record& new_record,
                  std::span<const std::string_view> told_keys) {
  return Finder(old_record, new_record, told_keys).Run();
}

}  // namespace tarvek::inspect
