// The set of tags that a configuration script has set.
#pragma once

#include "driver/reporting/memory_trace.h"

inline constexpr int kTagNameSize = 32;  // bytes of a tag's name, the terminator included

/// A tag name; a node of a singly linked list in order of setting. A null list means that no
/// tag is set. Destroying a node destroys and frees the rest of the list after it.
struct TagTbl {
  char name[kTagNameSize] = {};
  TagTbl* next = nullptr;

  TagTbl() = default;
  TagTbl(const TagTbl&) = delete;
  TagTbl& operator=(const TagTbl&) = delete;
  ~TagTbl() { tarvek::FreeRestOfList(next); }
};
