#include "simulator/sim_clock.h"

#include <algorithm>
#include <charconv>

namespace bmcsim {
namespace {

constexpr std::int64_t kLatestEpoch = UINT32_MAX;  // a BMC's time stamps have 32 bits

}  // namespace

bool SimClock::Parse(std::string_view text, std::string& error) {
  constexpr std::string_view kVirtualAt = "virtual:";
  *this = SimClock();
  if (text.empty() || text == "real") return true;
  if (text == "virtual") {
    mode_ = Mode::kVirtual;
    return true;
  }
  std::int64_t seconds = -1;
  if (text.starts_with(kVirtualAt)) {
    const std::string_view epoch = text.substr(kVirtualAt.size());
    const char* end = epoch.data() + epoch.size();
    const auto [stop, wrong] = std::from_chars(epoch.data(), end, seconds);
    if (wrong != std::errc() || stop != end) seconds = -1;
  }
  if (seconds < 0 || seconds > kLatestEpoch) {
    error = "clock '" + std::string(text) +
            "': it is real, virtual or virtual:EPOCH (seconds since 1970)";
    return false;
  }
  mode_ = Mode::kFixed;
  start_ = seconds * kNanosecondsPerSecond;
  return true;
}

std::int64_t SimClock::Now(std::int64_t real) const {
  return (mode_ == Mode::kFixed ? start_ : real) + skipped_;
}

std::int64_t SimClock::WallNow(std::int64_t real) const {
  return std::max<std::int64_t>(Now(real) + stepped_, 0);
}

}  // namespace bmcsim
