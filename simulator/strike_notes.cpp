#include "simulator/strike_notes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "simulator/fault_plan.h"

namespace bmcsim {

bool StrikeNotes::Map(int fd) {
  void* const memory =
      mmap(nullptr, FaultPlan::kMaxRules, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) return false;
  bytes_ = {static_cast<std::uint8_t*>(memory), FaultPlan::kMaxRules};
  return true;
}

// The descriptor stays open: it is what the place leads to.
std::string StrikeNotes::Create() {
  const int fd = memfd_create("bmcsim-strikes", MFD_CLOEXEC);
  if (fd == -1 || ftruncate(fd, FaultPlan::kMaxRules) != 0 || !Map(fd)) return {};
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd);
}

bool StrikeNotes::Open(const char* place) {
  const int fd = open(place, O_RDWR | O_CLOEXEC);
  if (fd == -1) return false;
  const bool mapped = Map(fd);
  close(fd);
  return mapped;
}

}  // namespace bmcsim
