// The operating system below the transport, replaced at link time (--wrap): device nodes and
// the BMC behind them, the clock, and the waits. Everything else goes to the real system.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarvek_test {

using Bytes = std::vector<std::uint8_t>;

/// What the machine does with one request.
struct Reply {
  Bytes data{0x00};         // completion code and response data
  bool send_fails = false;  // OpenIPMI: the send ioctl; maker's driver: its ioctl
  bool select_fails = false;
  bool select_is_empty = false;  // select returns, but the descriptor is not ready
  bool receive_fails = false;
  bool truncation_fails = false;          // a cut answer gives -1 and EMSGSIZE, as in the kernel
  std::optional<std::uint8_t> netfn_lun;  // maker's driver: in place of request + 4
  std::optional<Bytes> whole_image;       // maker's driver: everything that it returns
};

class FakeMachine {
 public:
  /// The machine that calls of the code under test go to.
  static FakeMachine& Current();
  static void Reset();

  std::set<std::string> nodes{"/dev/ipmi0"};  // device nodes that open
  std::set<std::string> directories;          // device names that are directories
  /// Answers a request image (NetFn/LUN, command, data).
  std::function<Reply(const Bytes&)> bmc;
  /// Called for every wait with its length in microseconds.
  std::function<void(std::uint64_t)> on_sleep;
  int close_error =
      0;  // errno with which the next close fails; the descriptor is gone all the same

  std::time_t now = 1000000000;       // what time() returns; waits move it
  std::uint64_t slept = 0;            // microseconds waited so far
  std::vector<std::uint64_t> sleeps;  // each wait, in microseconds
  std::vector<Bytes> requests;        // every request that was sent, in order
  std::vector<std::string> opened;    // device nodes that were tried, in order
  std::vector<int> open_flags;        // and the flags they were opened with
  std::vector<long> message_ids;      // OpenIPMI message IDs, in order
  std::vector<long> earlier_ids;      // of answers that OpenIPMI hands out before any other
  std::vector<unsigned long> ioctls;  // request codes, in order
  std::vector<int> capacities;        // OpenIPMI: room for each answer, in order
  int closed = 0;                     // device descriptors that were closed

  // For the wrapped calls.
  bool IsDeviceName(const std::string& path) const;
  int Open(const std::string& path);
  bool IsDevice(int fd) const { return devices_.count(fd) != 0; }
  bool Close(int fd);
  int Ioctl(int fd, unsigned long code, void* argument);
  int Select(void* read_set);
  void Sleep(std::uint64_t microseconds);

 private:
  Reply Ask(std::uint8_t netfn_lun, std::uint8_t command, const std::uint8_t* data, int length);

  std::set<int> devices_;
  Reply pending_;
  std::uint64_t fraction_ = 0;  // microseconds not yet moved into `now`
};

/// Lets `machine` be a machine with an opened OpenIPMI driver.
void UseOpenIpmi();

/// Lets `machine` be a machine with the maker's driver.
void UseMakerDriver();

}  // namespace tarvek_test
