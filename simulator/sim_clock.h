#ifndef TARVEK_SIMULATOR_SIM_CLOCK_H_
#define TARVEK_SIMULATOR_SIM_CLOCK_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace bmcsim {

inline constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
inline constexpr std::int64_t kNanosecondsPerMillisecond = 1000000;
inline constexpr std::int64_t kNanosecondsPerMicrosecond = 1000;

/// The time that the program under the simulator sees.
///
/// Written "real": the machine's own. "virtual": the machine's own and, on top, every wait that
/// was skipped. "virtual:EPOCH": EPOCH seconds since 1970 and every wait that was skipped, and
/// nothing else, so that two runs which do the same see the same times.
///
/// Whoever sets the machine's clock moves its wall clock alone: steady clocks go on as they were.
class SimClock {
 public:
  /// Sets the clock from its text; an empty one is "real".
  ///
  /// @param error  receives what is wrong, for people, when the result is false.
  bool Parse(std::string_view text, std::string& error);

  bool is_virtual() const { return mode_ != Mode::kReal; }

  /// Lets a skipped wait pass.
  void Advance(std::int64_t nanoseconds) { skipped_ += nanoseconds; }

  /// Sets the wall clock forward, or back when `nanoseconds` is negative.
  void Step(std::int64_t nanoseconds) { stepped_ += nanoseconds; }

  /// Whether the wall clock shows the machine's own time.
  bool shows_real_time() const { return mode_ == Mode::kReal && stepped_ == 0; }

  /// What a steady clock of the machine shows to the program.
  ///
  /// @param real  what it shows in truth, nanoseconds.
  std::int64_t Now(std::int64_t real) const;

  /// What the wall clock shows to the program; it cannot be set back beyond the epoch.
  ///
  /// @param real  what it shows in truth, nanoseconds since the epoch.
  std::int64_t WallNow(std::int64_t real) const;

 private:
  enum class Mode : std::uint8_t { kReal, kVirtual, kFixed };

  Mode mode_ = Mode::kReal;
  std::int64_t start_ = 0;    // nanoseconds since the epoch
  std::int64_t skipped_ = 0;  // nanoseconds
  std::int64_t stepped_ = 0;  // nanoseconds
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_SIM_CLOCK_H_
