// What a signal that ends the run does about the spared mode: exactly what the BMC's state asks
// for.
#pragma once

#include <cstdint>

namespace tarvek {

/// A SparedSDR request on its way through the driver; of any other request nothing is noted.
///
///     begin has gone out                   a signal has the mode dropped (phase 1)
///     begin was refused, or came to        a signal sends nothing: as in a run without one, the
///       nothing in any other way             mode counts as never opened
///     an end (phase 1 or 2) has gone out   a signal sends nothing behind it, answered or not
///
/// So where the answer to the begin has not yet come, and the BMC may have the mode open or not, it
/// is dropped: a BMC that has it not open loses nothing by that.
class SparedRequest {
 public:
  /// @param req  request image, `len` bytes.
  SparedRequest(const unsigned char* req, unsigned char len);

  /// Notes that the driver has taken the request; call it while no signal can come between
  /// (SignalsHeld), or where one can, before the driver is asked.
  void WentOut() const;

  /// Notes that the request was refused or that its answer is lost; under the same rule, after
  /// the driver was asked.
  void CameToNothing() const;

 private:
  enum class Kind : std::uint8_t { kOther, kBegin, kEnd };

  Kind kind_ = Kind::kOther;
};

}  // namespace tarvek
