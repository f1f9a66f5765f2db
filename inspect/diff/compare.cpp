#include <algorithm>
#include <deque>
#include <string>
#include <unordered_map>

#include "inspect/diff/diff.h"
#include "inspect/diff/identity.h"
#include "inspect/diff/moved.h"

namespace tarvek::inspect {

namespace {

using Records = std::span<const Record* const>;
using Waiting = std::unordered_map<std::string, std::deque<std::size_t>>;

/// The first in line with that key; it leaves the line.
std::optional<std::size_t> TakeFirst(Waiting* waiting, const std::string& key) {
  const auto line = waiting->find(key);
  if (line == waiting->end() || line->second.empty()) return std::nullopt;
  const std::size_t index = line->second.front();
  line->second.pop_front();
  return index;
}

/// Matches old and new records.
class Matcher {
 public:
  Matcher(Records old_records, Records new_records)
      : old_(old_records),
        new_(new_records),
        old_taken_(old_.size(), false),
        new_taken_(new_.size(), false) {}

  void Run() {
    // Equal records are the same thing, too: what is left is matched by what it is.
    MatchBy(ContentOf);
    MatchBy(IdentityOf);
    std::sort(matches_.begin(), matches_.end(),
              [](const Match& a, const Match& b) { return a.new_index < b.new_index; });
  }

  const std::vector<Match>& matches() const { return matches_; }
  const std::vector<bool>& old_taken() const { return old_taken_; }
  const std::vector<bool>& new_taken() const { return new_taken_; }

 private:
  template <typename KeyFunction>
  void MatchBy(KeyFunction key_of) {
    Waiting waiting;
    for (std::size_t i = 0; i < old_.size(); ++i) {
      if (!old_taken_[i]) waiting[key_of(*old_[i])].push_back(i);
    }
    for (std::size_t i = 0; i < new_.size(); ++i) {
      if (new_taken_[i]) continue;
      const auto index = TakeFirst(&waiting, key_of(*new_[i]));
      if (!index) continue;
      old_taken_[*index] = new_taken_[i] = true;
      matches_.push_back({*index, i});
    }
  }

  Records old_;
  Records new_;
  std::vector<bool> old_taken_;
  std::vector<bool> new_taken_;
  std::vector<Match> matches_;
};

std::vector<std::size_t> Untaken(const std::vector<bool>& taken) {
  std::vector<std::size_t> indices;
  for (std::size_t i = 0; i < taken.size(); ++i) {
    if (!taken[i]) indices.push_back(i);
  }
  return indices;
}

}  // namespace

Difference Compare(Records old_records, Records new_records) {
  Matcher matcher(old_records, new_records);
  matcher.Run();
  Difference difference;
  difference.removed = Untaken(matcher.old_taken());
  difference.added = Untaken(matcher.new_taken());
  difference.moved = MovedOf(matcher.matches());
  for (const Match& match : matcher.matches()) {
    const Record& before = *old_records[match.old_index];
    const Record& after = *new_records[match.new_index];
    if (ContentOf(before) == ContentOf(after)) continue;
    difference.changed.push_back({match, ChangedFields(before, after)});
  }
  return difference;
}

}  // namespace tarvek::inspect
