#include "driver/reporting/memory_trace.h"

#include <array>
#include <cstdio>

#include "driver/reporting/console.h"
#include "driver/reporting/run_settings.h"

namespace tarvek {
namespace {

void Trace(const char* what, std::size_t size, const void* address) {
  if (gMemAllocFlag != 1) return;
  std::array<char, 80> line{};
  std::snprintf(line.data(), line.size(), "%s 0x%04X bytes at address %p\n", what,
                static_cast<unsigned>(size), address);
  ConsoleWrite(line.data());
}

}  // namespace

void TraceAllocation(std::size_t size, const void* address) { Trace("Allocating", size, address); }

void TraceDeallocation(std::size_t size, const void* address) {
  Trace("Deallocating", size, address);
}

}  // namespace tarvek
