#ifndef TARVEK_SIMULATOR_DRIVER_CALLS_H_
#define TARVEK_SIMULATOR_DRIVER_CALLS_H_

#include <linux/ioctl.h>
#include <linux/ipmi.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "simulator/exchange.h"

namespace bmcsim {

// The two drivers' calls, as far as they are work on memory. Results are the system's: 0 or more,
// or a negated errno.

/// Bytes of the buffer that a MakerBlock points at.
inline constexpr std::int32_t kMakerBufferBytes = 2048;

/// The maker's ioctl argument. `buffer` holds the request data before the call, and the whole
/// answer image (NetFn/LUN, command, completion code, data) after it.
struct MakerBlock {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::array<std::uint8_t, 2> padding;
  std::int32_t data_length;  ///< bytes of request data
  std::uint8_t* buffer;      ///< kMakerBufferBytes, the caller's
};

/// The maker's driver: one ioctl a request. Its number holds the size of its argument.
inline constexpr unsigned long kMakerIoctl = _IOWR(0xF1, 0, MakerBlock);
static_assert(sizeof(void*) != 8 || kMakerIoctl == 0xC010F100);
static_assert(sizeof(void*) != 4 || kMakerIoctl == 0xC00CF100);

/// Takes the request of a maker's ioctl to the BMC.
///
/// @return 0, or a negated errno when the block is not usable.
int MakerSend(const MakerBlock* block, Exchange& exchange, Outcome& outcome);

/// Ends a maker's ioctl: hands over the answer.
///
/// @return the length of the answer image, or a negated errno when the plan lost it.
int MakerFinish(const MakerBlock& block, const Outcome& outcome);

/// One opened OpenIPMI device: the answers that wait for its opener, in the order of the requests.
/// It behaves like Linux's own driver (ipmi_devintf): what it refuses, and with which errno.
class OpenIpmiQueue {
 public:
  /// Forgets every answer.
  void Clear() { count_ = 0; }

  /// IPMICTL_SEND_COMMAND.
  ///
  /// @param scratch  room to work in.
  /// @return 0 or a negated errno.
  int Send(const ipmi_req* request, Exchange& exchange, Outcome& scratch);

  /// IPMICTL_RECEIVE_MSG (with `truncate` IPMICTL_RECEIVE_MSG_TRUNC).
  ///
  /// @return 0 or a negated errno; EMSGSIZE with `truncate` means that the data was cut and copied.
  int Receive(ipmi_recv* received, bool truncate);

  bool empty() const { return count_ == 0; }

  /// Milliseconds until the first answer is there; kForever: it never comes. Not for an empty one.
  std::uint32_t wait_ms() const { return answers_[head_].wait_ms; }

  /// The first answer's wait has passed.
  void WaitIsOver() { answers_[head_].wait_ms = 0; }

  /// @return the errno with which waiting for the first answer fails, which is lost then, or 0.
  int TakeSelectError();

 private:
  // The driver's own limits: the longest message, and how many one opener may have outstanding
  // (there it is a hundred; nobody here asks more than one thing at a time).
  static constexpr std::size_t kMaxMessage = IPMI_MAX_MSG_LENGTH;
  static constexpr std::size_t kDepth = 8;

  struct Waiting {
    long message_id;
    std::uint8_t netfn;
    std::uint8_t lun;
    std::uint8_t command;
    std::uint16_t size;
    int select_errno;
    int receive_errno;
    std::uint32_t wait_ms;
    std::array<std::uint8_t, kMaxMessage> data;  // completion code and data
  };

  void Push(long message_id, const Outcome& outcome);
  void Pop();

  std::array<Waiting, kDepth> answers_{};
  std::size_t head_ = 0;
  std::size_t count_ = 0;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_DRIVER_CALLS_H_
