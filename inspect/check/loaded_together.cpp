#include "inspect/check/loaded_together.h"

#include <algorithm>

namespace tarvek::inspect {

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

namespace {

constexpr char kAnyDigit = '#';

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether one tag can fit both; they are of one shape.
bool Overlap(const std::string& a, const std::string& b) {
  return std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
    return x == y || (x == kAnyDigit && IsDigit(y)) || (y == kAnyDigit && IsDigit(x));
  });
}

}  // namespace

/// The first record with a tag that goes with `tag`, which is noted as record `index`'s.
std::optional<std::size_t> AlikeRecords::FirstWithTag(const std::string& tag, std::size_t index) {
  const auto [same, is_new] = by_tag_.emplace(tag, index);
  std::optional<std::size_t> found;
  if (!is_new && same->second != index) found = same->second;

  std::string shape = tag;
  std::replace_if(shape.begin(), shape.end(), IsDigit, kAnyDigit);
  const auto look_among = [&](const Tags& tags) {
    for (const auto& [other, first] : tags) {
      if (first != index && (!found || first < *found) && Overlap(other, tag)) found = first;
    }
  };
  const bool wild = tag.find(kAnyDigit) != std::string::npos;
  look_among(wild_[shape]);
  if (wild) look_among(plain_[shape]);
  (wild ? wild_ : plain_)[shape].emplace(tag, index);
  return found;
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
    consider(FirstWithTag(LowerCase(tag), index));
  }

  if (!any_) any_ = index;
  if (!untagged_ && record.tags.empty()) untagged_ = index;
  if (!selected_ && record.selected) selected_ = index;
  return found;
}

}  // namespace tarvek::inspect
