// Appending to a singly linked list without walking it.
#pragma once

namespace tarvek {

/// Remembers where one list ends, so that a script of any length is read and run in time linear
/// in its lines. What it remembers holds only while every change of the list goes through it: it
/// is made when a script is begun and goes when that is done. `T` links its nodes through `next`.
template <typename T>
class ListEnd {
 public:
  /// @param list  outlives this object. What it holds already is walked once.
  explicit ListEnd(T** list) : list_(list), end_(list) {
    while (*end_ != nullptr) end_ = &(*end_)->next;
  }

  bool IsOf(T* const* list) const { return list == list_; }

  /// Links `node`, whose own link is null, behind the last one.
  void Append(T* node) {
    *end_ = node;
    end_ = &node->next;
  }

 private:
  T** list_;
  T** end_;  // the null link at the end
};

}  // namespace tarvek
