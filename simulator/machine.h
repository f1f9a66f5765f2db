#ifndef TARVEK_SIMULATOR_MACHINE_H_
#define TARVEK_SIMULATOR_MACHINE_H_

#include <sys/select.h>
#include <sys/time.h>

#include <csignal>
#include <cstdint>
#include <span>
#include <string>

#include "simulator/device_nodes.h"
#include "simulator/exchange.h"
#include "simulator/fault_plan.h"
#include "simulator/sim_clock.h"

namespace bmcsim {

/// The simulated machine around the program: its nodes, its clock, its BMC.
class Machine final : public ExchangeHost {
 public:
  constexpr Machine() = default;

  /// Reads the environment. Without a state file in it nothing is simulated.
  void Start();

  /// Leaves the statistics, if the program has used the BMC. The program ends with status 2 when
  /// they cannot be written.
  void Finish();

  bool started() const { return state_path_ != nullptr; }
  SimClock& clock() { return clock_; }
  DeviceNodes& nodes() { return nodes_; }

  /// Opens a node of the driver.
  ///
  /// @param flags  as of open.
  /// @return a descriptor, or -1 with errno set.
  int OpenNode(Driver driver, int flags);

  /// The port that the descriptor is at; null when it is not a node's, or nothing is simulated.
  Port* FindPort(int fd) { return started() ? nodes_.Find(fd) : nullptr; }

  int Ioctl(Port& port, unsigned long request, void* argument);
  int Select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set, timeval* timeout);

  /// A wait of the program: counts it and does what the plan says.
  void CountWait();

  void Raise(int signal) override;
  void StepClock(std::int64_t seconds) override { clock_.Step(seconds * kNanosecondsPerSecond); }
  void BeginRequest() override;
  void EndRequest() override;
  std::uint32_t Now() override;
  void Trace(std::span<const char> lines) override;
  bool tracing() const override { return trace_path_ != nullptr; }

  bool metering() const { return stats_path_ != nullptr; }
  void AddCpuTime(std::int64_t nanoseconds) { cpu_time_ += nanoseconds; }

 private:
  bool OpenState();
  int OpenIpmiIoctl(Port& port, unsigned long request, void* argument);
  int MakerIoctl(unsigned long request, void* argument);
  int AwaitAnswer(OpenIpmiQueue& queue, const timeval* timeout);
  int Await(std::int64_t nanoseconds);
  int AwaitForever();
  void OpenTrace();
  [[noreturn]] static void Die(const std::string& message);

  const char* state_path_ = nullptr;
  const char* trace_path_ = nullptr;
  const char* stats_path_ = nullptr;
  int trace_fd_ = -1;
  int request_fd_ = -1;       // the port that the request in hand came through
  sigset_t programs_mask_{};  // the program's own, while its signals are held back
  std::uint64_t waits_ = 0;
  std::int64_t cpu_time_ = 0;
  SimClock clock_;
  Exchange* exchange_ = nullptr;
  DeviceNodes nodes_;
  FaultPlan plan_;
};

/// The one machine of this process.
extern Machine g_machine;

/// Charges the simulator's own CPU time to the statistics while it lives.
class CpuMeter {
 public:
  CpuMeter();
  ~CpuMeter();
  CpuMeter(const CpuMeter&) = delete;
  CpuMeter& operator=(const CpuMeter&) = delete;

 private:
  std::int64_t begin_;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_MACHINE_H_
