#ifndef TARVEK_SIMULATOR_EXCHANGE_H_
#define TARVEK_SIMULATOR_EXCHANGE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "simulator/bmc_model.h"
#include "simulator/fault_plan.h"

namespace bmcsim {

/// The longest answer image that a fault plan can make.
inline constexpr std::size_t kMaxImage = 2048;

/// Bytes of an answer image before its completion code: NetFn/LUN and command.
inline constexpr std::size_t kImagePrefix = 2;

/// What becomes of one request, for a front end to act out.
struct Outcome {
  std::array<std::uint8_t, kMaxImage> image;  ///< NetFn/LUN, command, completion code, data
  std::size_t size = 0;                       ///< bytes of `image`
  int send_errno = 0;                         ///< not 0: the driver did not take the request
  int select_errno = 0;                       ///< not 0: waiting for the answer fails
  int receive_errno = 0;                      ///< not 0: receiving the answer fails
  std::uint32_t wait_ms = 0;                  ///< the answer comes so much later; kForever: never
};

/// What a front end does for an exchange: the parts that reach outside.
class ExchangeHost {
 public:
  /// Sends the program that made the request a signal; returns if it lives on.
  virtual void Raise(int signal) = 0;

  /// Sets the wall clock of the program forward, or back when `seconds` is negative. A front end
  /// that does not make the program's time has nothing to set.
  virtual void StepClock(std::int64_t /*seconds*/) {}

  /// Keeps other processes from the BMC's memory until EndRequest.
  virtual void BeginRequest() = 0;
  virtual void EndRequest() = 0;

  /// @return the wall clock, seconds since the epoch.
  virtual std::uint32_t Now() = 0;

  /// Takes complete lines of the request trace, line feeds included.
  virtual void Trace(std::span<const char> lines) = 0;

  /// @return whether Trace does anything with its lines.
  virtual bool tracing() const = 0;

 protected:
  ~ExchangeHost() = default;
};

/// One request after the other: the fault plan, the BMC, the trace. Every front end (the preload
/// library's two drivers, and others to come) is a thin shell around this.
///
/// A request leaves two lines in the trace:
///
///     > 28 22
///     < 2C 22 00 01 00
///
/// each byte as two upper-case hex digits with a blank between, the images as the driver carries
/// them: NetFn/LUN, command, data. An answer that never came is "-". What the fault plan did
/// follows the answer behind " ! ", as the plan words it. A signal has a line of its own,
/// "! signal N", at the place where it was sent: before the lines of a request that the BMC had
/// not seen yet, behind the lines of one that it had.
class Exchange {
 public:
  Exchange(BmcModel& model, FaultPlan& plan, ExchangeHost& host)
      : model_(model), plan_(plan), host_(host) {}

  /// Carries out one request.
  ///
  /// @param request  the request image, at least NetFn/LUN and command; a longer one than
  ///                 kMaxImage is cut.
  /// @param outcome  receives what becomes of it.
  void Run(std::span<const std::uint8_t> request, Outcome& outcome);

  std::uint64_t requests() const { return requests_; }  ///< requests so far
  std::uint64_t faulted() const { return faulted_; }    ///< of them touched by the plan

 private:
  void Reply(std::span<const std::uint8_t> request, const Faults& faults, Outcome& outcome);
  void CarryOut(std::span<const std::uint8_t> request, const Faults& faults, bool carry_out,
                Answer& answer);
  void WriteTrace(std::span<const std::uint8_t> request, const Faults& faults,
                  const Outcome& outcome);

  BmcModel& model_;
  FaultPlan& plan_;
  ExchangeHost& host_;
  std::uint64_t requests_ = 0;
  std::uint64_t faulted_ = 0;
};

/// Writes "! signal N" and sends the signal.
void TraceAndRaise(ExchangeHost& host, std::uint32_t signal);

/// What the plan does to a wait of the program: a signal as above, or a step of the clock with a
/// line like "! clock -3600".
void StrikeWait(ExchangeHost& host, const Faults& faults);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_EXCHANGE_H_
