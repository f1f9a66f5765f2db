#include "inspect/diff/moved.h"

#include <algorithm>
#include <cstddef>

namespace tarvek::inspect {

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// Marks a longest run of matches whose old indices ascend.
std::vector<bool> LongestAscending(const std::vector<Match>& matches) {
  // tails[n] is the match that ends a run of n + 1 with the smallest old index there is.
  std::vector<std::size_t> tails;
  std::vector<std::size_t> before(matches.size(), kNone);
  for (std::size_t i = 0; i < matches.size(); ++i) {
    const auto at = std::lower_bound(
        tails.begin(), tails.end(), matches[i].old_index,
        [&](std::size_t tail, std::size_t index) { return matches[tail].old_index < index; });
    if (at != tails.begin()) before[i] = *(at - 1);
    if (at == tails.end()) {
      tails.push_back(i);
    } else {
      *at = i;
    }
  }

  std::vector<bool> in_run(matches.size(), false);
  std::size_t i = tails.empty() ? kNone : tails.back();
  for (; i != kNone; i = before[i]) in_run[i] = true;
  return in_run;
}

}  // namespace

std::vector<Match> MovedOf(const std::vector<Match>& matches) {
  const std::vector<bool> stays = LongestAscending(matches);
  std::vector<Match> moved;
  for (std::size_t i = 0; i < matches.size(); ++i) {
    if (!stays[i]) moved.push_back(matches[i]);
  }
  return moved;
}

}  // namespace tarvek::inspect
