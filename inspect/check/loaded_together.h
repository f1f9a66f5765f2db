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
/// when one has no tags, or when they share a tag; otherwise they may be meant as alternatives.
class AlikeRecords {
 public:
  /// Adds a record.
  /// @return the first record added before that is loaded together with it.
  std::optional<std::size_t> Add(std::size_t index, const InputRecord& record);

 private:
  std::optional<std::size_t> any_;       // the first of all
  std::optional<std::size_t> untagged_;  // the first without tags
  std::optional<std::size_t> selected_;  // the first that is selected
  std::map<std::string, std::size_t> by_tag_;
};

}  // namespace tarvek::inspect
