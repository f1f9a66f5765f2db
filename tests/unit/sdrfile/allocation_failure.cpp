#include "tests/unit/sdrfile/allocation_failure.h"

#include <cstdlib>
#include <new>

namespace {

// Allocations to go until one fails; 0 when none is to fail any more.
int allocations_to_failure = 0;
auto failing_kind = tarvek_test::Failing::kWithNull;

bool FailsNow(tarvek_test::Failing kind) {
  return kind == failing_kind && allocations_to_failure > 0 && --allocations_to_failure == 0;
}

void* Allocate(std::size_t size) { return std::malloc(size != 0 ? size : 1); }

}  // namespace

void* operator new(std::size_t size) {
  if (FailsNow(tarvek_test::Failing::kWithException)) throw std::bad_alloc();
  void* const memory = Allocate(size);
  if (memory == nullptr) std::abort();
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return FailsNow(tarvek_test::Failing::kWithNull) ? nullptr : Allocate(size);
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return operator new(size, std::nothrow);
}
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace tarvek_test {

FailingAllocation::FailingAllocation(int nth, Failing kind) {
  allocations_to_failure = nth;
  failing_kind = kind;
}
FailingAllocation::~FailingAllocation() { allocations_to_failure = 0; }
bool FailingAllocation::Happened() const { return allocations_to_failure == 0; }

}  // namespace tarvek_test
