#include "sdrfile/utilities/tag_index.h"

#include <algorithm>
#include <array>

namespace tarvek {
namespace {

constexpr char kWildcard = '#';
constexpr std::size_t kFewNames = 64;  // are compared one by one

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool HasWildcard(const TagKey& key) {
  return std::find(key.begin(), key.end(), kWildcard) != key.end();
}

TagKey FormOf(TagKey key) {
  std::replace_if(key.begin(), key.end(), IsDigit, kWildcard);
  return key;
}

/// Whether an entry of the same form matches the name that is looked up.
bool Matches(const TagKey& entry, const TagKey& name) {
  return std::equal(entry.begin(), entry.end(), name.begin(),
                    [](char e, char n) { return e == n || n == kWildcard; });
}

/// The digits of a name, with their places: places are counted where the form has a "#".
class Digits {
 public:
  Digits(const TagKey& key, const TagKey& form) {
    for (std::size_t i = 0; i < key.size(); ++i) {
      if (form[i] != kWildcard) continue;
      if (IsDigit(key[i])) digits_[size_++] = {places_, static_cast<unsigned>(key[i] - '0')};
      ++places_;
    }
  }

  std::span<const DigitColumns::Digit> all() const { return {digits_.data(), size_}; }
  std::size_t places() const { return places_; }

 private:
  std::array<DigitColumns::Digit, kTagNameSize> digits_{};
  std::size_t size_ = 0;
  std::size_t places_ = 0;
};

}  // namespace

TagIndex::Name* TagIndex::Add(const char* name) {
  Name* const entry = names_.FindOrMake(MakeTagKey(name));
  if (entry == nullptr) return nullptr;
  if (entry->form == nullptr) {
    Form* const form = forms_.FindOrMake(FormOf(entry->key));
    if (form == nullptr) return nullptr;
    entry->form = form;
    entry->number = form->names++;
    entry->older = std::exchange(form->newest, entry);
  }
  ++entry->form->tags;
  if (++entry->count == 1) ShowInColumns(*entry, true);
  return entry;
}

bool TagIndex::AddAll(const TagTbl* list) {
  for (; list != nullptr; list = list->next) {
    if (Add(list->name) == nullptr) return false;
  }
  return true;
}

void TagIndex::Remove(Name* name) {
  --name->form->tags;
  if (--name->count == 0) ShowInColumns(*name, false);
}

bool TagIndex::Holds(const char* name) {
  const TagKey key = MakeTagKey(name);
  if (!HasWildcard(key)) {
    const Name* const entry = names_.Find(key);
    return entry != nullptr && entry->count != 0;
  }
  Form* const form = forms_.Find(FormOf(key));
  if (form == nullptr || form->tags == 0) return false;
  // Without a digit, every name of the form matches.
  return key == form->key || AnyMatches(form, key);
}

/// Sets or clears the bits of a name that has its place in its form's columns.
void TagIndex::ShowInColumns(const Name& name, bool shown) {
  if (name.number >= name.form->in_columns) return;
  const Digits digits(name.key, name.form->key);
  for (const DigitColumns::Digit digit : digits.all()) {
    name.form->columns.Set(name.number, digit, shown);
  }
}

/// Brings the columns up to the newest name.
/// @return false when memory ran out.
bool TagIndex::UpdateColumns(Form* form) {
  const auto places =
      static_cast<std::size_t>(std::count(form->key.begin(), form->key.end(), kWildcard));
  if (!form->columns.Reserve(form->names, places)) return false;
  const std::size_t known = std::exchange(form->in_columns, form->names);
  for (const Name* name = form->newest; name != nullptr && name->number >= known;
       name = name->older) {
    if (name->count != 0) ShowInColumns(*name, true);
  }
  return true;
}

/// Whether a name that is set matches `key`, which has that form, a "#" and a digit.
bool TagIndex::AnyMatches(Form* form, const TagKey& key) {
  if (form->names > kFewNames && UpdateColumns(form)) {
    return form->columns.AnyHas(Digits(key, form->key).all());
  }
  // Also without memory for the columns: the answer is the same, it only takes longer.
  for (const Name* name = form->newest; name != nullptr; name = name->older) {
    if (name->count != 0 && Matches(name->key, key)) return true;
  }
  return false;
}

}  // namespace tarvek
