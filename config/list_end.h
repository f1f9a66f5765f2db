// Appending to a singly linked list without walking it.
#pragma once

namespace tarvek {

/// Remembers where a list ends, so that a script of any length is read and run in time linear in
/// its lines. `T` links its nodes through `next`.
template <typename T>
class ListEnd {
 public:
  /// Links `node` (whose own link is null) behind the last node of `list`. A list other than the
  /// one of the call before, or one that became empty, is walked once.
  void Append(T** list, T* node) {
    T** slot = list == list_ && *list != nullptr ? slot_ : list;
    while (*slot != nullptr) slot = &(*slot)->next;
    *slot = node;
    list_ = list;
    slot_ = &node->next;
  }

  /// Takes `*slot`, a node of the list that was appended to, out of that list.
  /// @return the node; its link is null.
  T* Unlink(T** slot) {
    T* const node = *slot;
    if (slot_ == &node->next) slot_ = slot;
    *slot = node->next;
    node->next = nullptr;
    return node;
  }

 private:
  T** list_ = nullptr;  // the head of the list of the last Append()
  T** slot_ = nullptr;  // the null link at its end
};

}  // namespace tarvek
