// Which records the tool loads together.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// @return `text` with its ASCII letters small.
std::string LowerCase(std::string text);

/// Records that are alike in something. Two of them are loaded together when both are selected,
/// when one has no tags, or when there is a tag that loads both: the same, or one that fits the "#"
/// for a digit in either. Otherwise they may be meant as alternatives.
class AlikeRecords {
 public:
  /// Adds a record.
  /// @return the first record added before that is loaded together with it.
  std::optional<std::size_t> Add(std::size_t index, const InputRecord& record);

 private:
  using Tags = std::map<std::string, std::size_t>;  // small letters; the first record of each

  std::optional<std::size_t> FirstWithTag(const std::string& tag, std::size_t index);

  std::optional<std::size_t> any_;       // the first of all
  std::optional<std::size_t> untagged_;  // the first without tags
  std::optional<std::size_t> selected_;  // the first that is selected
  Tags by_tag_;
  // Those with "#", and those without, by what they are with "#" for every digit.
  std::map<std::string, Tags> wild_;
  std::map<std::string, Tags> plain_;
};

}  // namespace tarvek::inspect
