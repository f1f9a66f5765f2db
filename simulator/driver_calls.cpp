#include "simulator/driver_calls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace bmcsim {
namespace {

constexpr unsigned kMostLun = 3;
constexpr unsigned kNetFnLimit = 0x40;

// What the kernel's driver demands of a request before it looks at its data.
int CheckRequest(const ipmi_req& request) {
  if (request.addr_len > sizeof(ipmi_addr)) return -EINVAL;
  if (request.addr == nullptr) return -EFAULT;
  ipmi_system_interface_addr address = {};
  std::memcpy(&address, request.addr, std::min<std::size_t>(request.addr_len, sizeof address));
  if (request.addr_len < sizeof address) return -EINVAL;
  if (address.addr_type != IPMI_SYSTEM_INTERFACE_ADDR_TYPE) return -EINVAL;
  if (address.channel != IPMI_BMC_CHANNEL || address.lun > kMostLun) return -EINVAL;
  const ipmi_msg& message = request.msg;
  if (message.data != nullptr && message.data_len + kImagePrefix > IPMI_MAX_MSG_LENGTH) {
    return -EMSGSIZE;
  }
  if (message.netfn % 2 != 0 || message.netfn >= kNetFnLimit) return -EINVAL;
  return 0;
}

}  // namespace

int MakerSend(const MakerBlock* block, Exchange& exchange, Outcome& outcome) {
  if (block == nullptr || block->buffer == nullptr) return -EFAULT;
  if (block->data_length < 0 || block->data_length > kMakerBufferBytes) return -EINVAL;
  std::array<std::uint8_t, kImagePrefix + kMakerBufferBytes> image;
  const auto data_length = static_cast<std::size_t>(block->data_length);
  image[0] = block->netfn_lun;
  image[1] = block->command;
  std::memcpy(image.data() + kImagePrefix, block->buffer, data_length);
  exchange.Run({image.data(), kImagePrefix + data_length}, outcome);
  return 0;
}

int MakerFinish(const MakerBlock& block, const Outcome& outcome) {
  for (const int error : {outcome.send_errno, outcome.select_errno, outcome.receive_errno}) {
    if (error != 0) return -error;
  }
  std::memcpy(block.buffer, outcome.image.data(), outcome.size);
  return static_cast<int>(outcome.size);
}

int OpenIpmiQueue::Send(const ipmi_req* request, Exchange& exchange, Outcome& scratch) {
  if (request == nullptr) return -EFAULT;
  if (const int refused = CheckRequest(*request); refused != 0) return refused;
  if (count_ == kDepth) return -EBUSY;
  ipmi_system_interface_addr address = {};
  std::memcpy(&address, request->addr, sizeof address);

  std::array<std::uint8_t, IPMI_MAX_MSG_LENGTH> image;
  const ipmi_msg& message = request->msg;
  const std::size_t data_length = message.data == nullptr ? 0 : message.data_len;
  image[0] = static_cast<std::uint8_t>(message.netfn << 2 | address.lun);
  image[1] = message.cmd;
  if (data_length > 0) std::memcpy(image.data() + kImagePrefix, message.data, data_length);
  exchange.Run({image.data(), kImagePrefix + data_length}, scratch);
  if (scratch.send_errno != 0) return -scratch.send_errno;
  Push(request->msgid, scratch);
  return 0;
}

void OpenIpmiQueue::Push(long message_id, const Outcome& outcome) {
  Waiting& waiting = answers_[(head_ + count_) % kDepth];
  ++count_;
  waiting.message_id = message_id;
  waiting.netfn = static_cast<std::uint8_t>(outcome.size > 0 ? outcome.image[0] >> 2 : 0);
  waiting.lun = static_cast<std::uint8_t>(outcome.size > 0 ? outcome.image[0] & kMostLun : 0);
  waiting.command = outcome.size > 1 ? outcome.image[1] : std::uint8_t{0};
  const std::size_t size = outcome.size > kImagePrefix ? outcome.size - kImagePrefix : 0;
  waiting.size = static_cast<std::uint16_t>(std::min(size, kMaxMessage));
  std::memcpy(waiting.data.data(), outcome.image.data() + kImagePrefix, waiting.size);
  waiting.select_errno = outcome.select_errno;
  waiting.receive_errno = outcome.receive_errno;
  waiting.wait_ms = outcome.wait_ms;
}

void OpenIpmiQueue::Pop() {
  head_ = (head_ + 1) % kDepth;
  --count_;
}

int OpenIpmiQueue::TakeSelectError() {
  const int error = answers_[head_].select_errno;
  if (error != 0) Pop();
  return error;
}

int OpenIpmiQueue::Receive(ipmi_recv* received, bool truncate) {
  if (received == nullptr) return -EFAULT;
  if (count_ == 0 || answers_[head_].wait_ms != 0) return -EAGAIN;
  const Waiting& waiting = answers_[head_];
  if (waiting.select_errno != 0 || waiting.receive_errno != 0) {
    const int error = waiting.receive_errno != 0 ? waiting.receive_errno : waiting.select_errno;
    Pop();
    return -error;
  }
  ipmi_system_interface_addr address = {};
  if (received->addr_len < sizeof address) return -EINVAL;
  if (received->addr == nullptr) return -EFAULT;
  const bool cut = received->msg.data_len < waiting.size;
  if (cut && !truncate) return -EMSGSIZE;
  const std::uint16_t size = cut ? received->msg.data_len : waiting.size;
  if (size > 0 && received->msg.data == nullptr) return -EFAULT;

  address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
  address.channel = IPMI_BMC_CHANNEL;
  address.lun = waiting.lun;
  std::memcpy(received->addr, &address, sizeof address);
  received->addr_len = sizeof address;
  received->recv_type = IPMI_RESPONSE_RECV_TYPE;
  received->msgid = waiting.message_id;
  received->msg.netfn = waiting.netfn;
  received->msg.cmd = waiting.command;
  received->msg.data_len = size;
  if (size > 0) std::memcpy(received->msg.data, waiting.data.data(), size);
  Pop();
  return cut ? -EMSGSIZE : 0;
}

}  // namespace bmcsim
