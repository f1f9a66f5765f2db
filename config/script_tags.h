// The tags that are set, while a script is interpreted.
#pragma once

#include "sdrfile/utilities/tag_index.h"

namespace tarvek {

/// Sets, clears and looks up the tags of one list without walking it. What it remembers of the
/// list's nodes holds only while all changes go through it: it is made when an interpretation
/// begins and goes when that ends.
class ScriptTags {
 public:
  /// @param list  outlives this object; it owns the nodes.
  explicit ScriptTags(TagTbl** list) : list_(list) {}
  ScriptTags(const ScriptTags&) = delete;
  ScriptTags& operator=(const ScriptTags&) = delete;
  ~ScriptTags();

  /// Takes up the tags that the list holds already. To be called once, before anything else.
  /// @return false when memory ran out: the object is of no use then.
  bool TakeUp();

  bool IsOf(TagTbl* const* list) const { return list == list_; }

  /// Links a node, whose own link is null, behind the last one.
  /// @return false when memory ran out: neither the list nor the object has changed.
  bool Append(TagTbl* node);

  /// Takes the first node of that name, in any letter case, out of the list.
  /// @return the node, now the caller's, with a null link; null when there is none.
  TagTbl* Unlink(const char* name);

  /// @return what CheckTable() says.
  bool Holds(const char* name) { return index_.Holds(name); }

 private:
  bool Note(TagTbl* node);

  TagTbl** list_;
  TagPlace* last_ = nullptr;  // of the whole list
  TagIndex index_;
};

}  // namespace tarvek
