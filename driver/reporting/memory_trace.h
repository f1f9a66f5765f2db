// The trace of work objects coming and going, off unless `gMemAllocFlag` is 1.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace tarvek {

/// Prints "Allocating 0x%04X bytes at address %p" to standard output when `gMemAllocFlag`
/// is 1. `size` is in bytes; `address` is only printed, never read.
void TraceAllocation(std::size_t size, const void* address);

/// As TraceAllocation(), with "Deallocating".
void TraceDeallocation(std::size_t size, const void* address);

/// Announces `object` (which may be null: then nothing is said) and hands it on.
template <typename T>
T* TraceNew(T* object) {
  if (object != nullptr) TraceAllocation(sizeof(T), object);
  return object;
}

/// Announces and deletes `object`, which may be null.
template <typename T>
void TraceDelete(T* object) {
  if (object == nullptr) return;
  TraceDeallocation(sizeof(T), object);
  delete object;
}

struct TraceDeleter {
  template <typename T>
  void operator()(T* object) const {
    TraceDelete(object);
  }
};

/// A work object that announces its end.
template <typename T>
using Traced = std::unique_ptr<T, TraceDeleter>;

/// Makes and announces an object; null when there is no memory.
template <typename T, typename... Arguments>
Traced<T> MakeTraced(Arguments&&... arguments) {
  return Traced<T>(TraceNew(new (std::nothrow) T(std::forward<Arguments>(arguments)...)));
}

/// Frees the nodes that follow a list's node, in a loop: a list of any length must not
/// exhaust the stack. `T` links its nodes through `next`; `next` is null afterwards.
template <typename T>
void FreeRestOfList(T*& next) {
  while (next != nullptr) {
    T* node = next;
    next = node->next;
    node->next = nullptr;
    TraceDelete(node);
  }
}

}  // namespace tarvek
