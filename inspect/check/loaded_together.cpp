#include "inspect/check/loaded_together.h"

#include <algorithm>

namespace tarvek::inspect {

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

std::optional<std::size_t> AlikeRecords::Add(std::size_t index, const InputRecord& record) {
  std::optional<std::size_t> found;
  const auto consider = [&found](const std::optional<std::size_t>& other) {
    if (other && (!found || *other < *found)) found = other;
  };
  if (record.tags.empty()) consider(any_);
  if (record.selected) consider(selected_);
  consider(untagged_);
  for (const std::string& tag : record.tags) {
    const auto [other, is_new] = by_tag_.emplace(LowerCase(tag), index);
    if (!is_new && other->second != index) consider(other->second);
  }

  if (!any_) any_ = index;
  if (!untagged_ && record.tags.empty()) untagged_ = index;
  if (!selected_ && record.selected) selected_ = index;
  return found;
}

}  // namespace tarvek::inspect
