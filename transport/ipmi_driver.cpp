#include "transport/ipmi_driver.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "driver/reporting/history_log.h"
#include "driver/reporting/single_run_lock.h"
#include "transport/ipmi_layout.h"
#include "transport/spared_mode.h"

namespace {

constexpr const char* kMakerNode = "/dev/ipmidev";
constexpr std::array<const char*, 3> kOpenIpmiNodes{"/dev/ipmidev/0", "/dev/ipmi0", "/dev/ipmi/0"};

// What the maker's driver exchanges in one ioctl. Before the call `data` points at the request
// data; after it the driver has put the whole response image there.
struct MakerRequest {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::uint8_t padding[2];
  std::int32_t data_length;
  std::uint8_t* data;
};
static_assert(sizeof(MakerRequest) == 16);
constexpr unsigned long kMakerIoctl = 0xC010F100;  // read/write, type F1h, number 0, 16 bytes
constexpr std::size_t kMakerBufferSize = 2048;

// The address that the OpenIPMI driver fills in on receipt may be of any kind it knows.
constexpr unsigned kReceiveAddressSize = 40;
constexpr unsigned kSystemInterfaceAddressSize = 8;
static_assert(IPMICTL_SEND_COMMAND == 0x8028690D && IPMICTL_RECEIVE_MSG_TRUNC == 0xC030690B);
static_assert(IPMI_SYSTEM_INTERFACE_ADDR_TYPE == 0x0C && IPMI_BMC_CHANNEL == 0x0F);
static_assert(sizeof(ipmi_system_interface_addr) == kSystemInterfaceAddressSize);

bool IsDirectory(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 && S_ISDIR(info.st_mode);
}

/// Opens the maker's node. A directory of that name opens too, but is no driver: OpenIPMI nodes
/// may live in it.
bool OpenMakerNode() {
  ipmi_fd = open(kMakerNode, O_RDONLY);
  if (ipmi_fd == -1) return false;
  if (!IsDirectory(ipmi_fd)) return true;
  close(ipmi_fd);
  return false;
}

bool OpenOpenIpmiNode() {
  return std::any_of(kOpenIpmiNodes.begin(), kOpenIpmiNodes.end(), [](const char* node) {
    ipmi_fd = open(node, O_RDONLY);
    return ipmi_fd >= 0;
  });
}

int ExchangeWithMakerDriver(const unsigned char* req, unsigned char len, unsigned char* resp,
                            unsigned char* resplen) {
  std::array<std::uint8_t, kMakerBufferSize> buffer{};
  MakerRequest request{};
  request.netfn_lun = req[kNetFnLunOffset];
  request.command = req[kCommandOffset];
  request.data_length = len - kImageHeaderSize;
  request.data = buffer.data();
  std::copy_n(req + kImageHeaderSize, len - kImageHeaderSize, buffer.begin());

  // The maker's driver is opened anew for every request; a failure shows in the ioctl.
  const int fd = open(kMakerNode, O_RDONLY);
  // One call sends the request and waits for the answer. A run must be able to end while it waits,
  // so signals are not held back here, and one that comes close to the call, or inside it, finds a
  // request that has gone out.
  const tarvek::SparedRequest spared(req, len);
  spared.WentOut();
  const int result = ioctl(fd, kMakerIoctl, &request);
  const bool refused =
      result > kCompletionCodeOffset && buffer[kCompletionCodeOffset] != kCompletionOk;
  if (result < 0 || refused) spared.CameToNothing();
  close(fd);
  if (result < 0) return kDriverFailure;

  const int room = *resplen + kImageHeaderSize;
  const int received = std::min({result, room, static_cast<int>(buffer.size())});
  std::copy_n(buffer.begin(), received, resp);
  *resplen = static_cast<unsigned char>(received);
  return 0;
}

/// Waits, without a time-out, until the driver has an answer.
bool WaitForAnswer() {
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(ipmi_fd, &readable);
  if (select(ipmi_fd + 1, &readable, nullptr, nullptr, nullptr) < 0) return false;
  return FD_ISSET(ipmi_fd, &readable);
}

/// Hands a request to the OpenIPMI driver, which gives `message_id` back with the answer.
bool SendThroughOpenIpmi(const unsigned char* req, unsigned char len, long message_id) {
  // A descriptor that does not fit a descriptor set cannot be waited for.
  if (ipmi_fd < 0 || ipmi_fd >= FD_SETSIZE) return false;

  ipmi_system_interface_addr address{};
  address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
  address.channel = IPMI_BMC_CHANNEL;
  address.lun = req[kNetFnLunOffset] & kLunMask;

  ipmi_req request{};
  request.addr = reinterpret_cast<unsigned char*>(&address);
  request.addr_len = kSystemInterfaceAddressSize;
  request.msgid = message_id;
  request.msg.netfn = static_cast<unsigned char>(req[kNetFnLunOffset] >> kNetFnShift);
  request.msg.cmd = req[kCommandOffset];
  request.msg.data_len = static_cast<unsigned short>(len - kImageHeaderSize);
  // The driver's interface takes a plain pointer but only reads from it.
  request.msg.data = const_cast<unsigned char*>(req) + kImageHeaderSize;
  return ioctl(ipmi_fd, IPMICTL_SEND_COMMAND, &request) >= 0;
}

/// Takes a message that the OpenIPMI driver has.
/// @param data      receives the message from the completion code on, at most `capacity` bytes.
/// @param received  out: how many bytes those are.
/// @param message_id  out: that of the request.
bool ReceiveFromOpenIpmi(unsigned char* data, int capacity, int* received, long* message_id) {
  alignas(ipmi_addr) std::array<unsigned char, kReceiveAddressSize> sender{};
  ipmi_recv answer{};
  answer.addr = sender.data();
  answer.addr_len = kReceiveAddressSize;
  answer.msg.data = data;
  answer.msg.data_len = static_cast<unsigned short>(capacity);
  if (ioctl(ipmi_fd, IPMICTL_RECEIVE_MSG_TRUNC, &answer) < 0) return false;
  *received = std::min<int>(answer.msg.data_len, capacity);
  *message_id = answer.msgid;
  return true;
}

}  // namespace

int SearchIpmiDriver() {
  if (OpenMakerNode()) {
    kov_ipmi = 1;
  } else if (OpenOpenIpmiNode()) {
    open_ipmi = 1;
  } else {
    return -1;
  }
  Bmc_HistoryLog(open_ipmi == 1 ? "Use OpenIPMI Driver" : "Use KOV Driver");
  return 0;
}

int Bmc_Access2(const unsigned char* req, unsigned char len, unsigned char* resp,
                unsigned char* resplen) {
  if (len < kImageHeaderSize) return kDriverFailure;
  if (open_ipmi == 1) {
    return ipmiAccess_openIpmi(req, len, resp, resplen) == 0 ? 0 : kDriverFailure;
  }
  return ExchangeWithMakerDriver(req, len, resp, resplen);
}

int ipmiAccess_openIpmi(const unsigned char* req, unsigned char len, unsigned char* resp,
                        unsigned char* resplen) {
  const tarvek::SparedRequest spared(req, len);
  {
    static int curr_seq = 1;  // message ID of the next request
    // A signal comes before the request has gone out, or when it is noted that it has.
    const tarvek::SignalsHeld held;
    if (!SendThroughOpenIpmi(req, len, curr_seq++)) return 1;
    spared.WentOut();
  }
  const bool ready = WaitForAnswer();  // a signal may end the run here

  // With one request outstanding the message can only be its answer, so its header is made
  // from the request; message ID and receive type are deliberately not compared.
  const tarvek::SignalsHeld held;
  int received = 0;
  long message_id = 0;
  unsigned char* const data = resp + kImageHeaderSize;
  const bool answered = ready && ReceiveFromOpenIpmi(data, *resplen, &received, &message_id);
  if (!answered || (received > 0 && *data != kCompletionOk)) spared.CameToNothing();
  if (!answered) return 1;
  resp[kNetFnLunOffset] = static_cast<unsigned char>(req[kNetFnLunOffset] + kResponseBit);
  resp[kCommandOffset] = req[kCommandOffset];
  *resplen = static_cast<unsigned char>(received + kImageHeaderSize);
  return 0;
}

void Bmc_SendLast(const unsigned char* req, unsigned char len) {
  std::array<unsigned char, kResponseBufferSize> answer{};
  if (open_ipmi != 1) {
    unsigned char capacity = kOemCapacity;
    ExchangeWithMakerDriver(req, len, answer.data(), &capacity);
    return;
  }
  constexpr long kLastMessageId = 0;  // no other request has it
  if (!SendThroughOpenIpmi(req, len, kLastMessageId)) return;
  int received = 0;
  long message_id = -1;
  while (message_id != kLastMessageId) {
    if (!WaitForAnswer()) return;
    if (!ReceiveFromOpenIpmi(answer.data(), kOemCapacity, &received, &message_id)) return;
  }
}
