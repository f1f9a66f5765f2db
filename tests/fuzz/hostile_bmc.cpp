#include "tests/fuzz/hostile_bmc.h"

#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>

namespace tarvek_fuzz {
namespace {

constexpr std::size_t kLargestAnswer = 2048;
constexpr unsigned kLikelyBody = 80;  // so many lengths, from 0, may a record's body have
constexpr unsigned kAnyBody = 256;
constexpr unsigned char kRepeatsWithoutEnd = 240;
constexpr unsigned char kFewRepeats = 16;

const Bytes kGranted{kCompletionOk, 0x34, 0x12};  // a reservation

HostileBmc* bmc = nullptr;

int FailWith(int error) {
  errno = error;
  return -1;
}

// What the maker's driver exchanges in one ioctl.
struct MakerBlock {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::uint8_t padding[2];
  std::int32_t length;
  std::uint8_t* data;
};
constexpr unsigned long kMakerExchange = 0xC010F100;

int MakersIoctl(MakerBlock* block) {
  const std::span<const std::uint8_t> data(block->data, static_cast<std::size_t>(block->length));
  if (!bmc->Ask(block->netfn_lun, block->command, data)) return FailWith(EIO);
  if (bmc->select_fails || bmc->receive_fails) return FailWith(EIO);
  // Most answers get the header that belongs to them; others are all that the driver gives.
  Bytes image = bmc->answer;
  if (image.size() < kLargestAnswer / 2) {
    const std::uint8_t header[] = {static_cast<std::uint8_t>(block->netfn_lun + 4), block->command};
    image.insert(image.begin(), std::begin(header), std::end(header));
  }
  std::copy(image.begin(), image.end(), block->data);
  return static_cast<int>(image.size());
}

int Send(const ipmi_req* request) {
  const auto* const address = reinterpret_cast<ipmi_system_interface_addr*>(request->addr);
  const auto netfn_lun = static_cast<std::uint8_t>((request->msg.netfn << 2) | address->lun);
  bmc->message_id = request->msgid;
  return bmc->Ask(netfn_lun, request->msg.cmd, {request->msg.data, request->msg.data_len})
             ? 0
             : FailWith(EIO);
}

/// Fills the room there is and tells the whole answer's length, as a careless driver might.
int Receive(ipmi_recv* answer) {
  if (bmc->receive_fails) return FailWith(EIO);
  answer->msgid = bmc->message_id;
  if (bmc->late_answers > 0) answer->msgid += static_cast<long>(bmc->late_answers--);
  const std::size_t room = answer->msg.data_len;
  std::copy_n(bmc->answer.begin(), std::min(room, bmc->answer.size()), answer->msg.data);
  answer->msg.data_len = static_cast<unsigned short>(bmc->answer.size());
  return 0;
}

}  // namespace

Bytes Stream::Next(std::size_t n) {
  Bytes bytes(n);
  const std::size_t count = std::min(n, bytes_.size() - position_);
  std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(position_), count, bytes.begin());
  position_ += count;
  return bytes;
}

HostileBmc::HostileBmc(std::span<const std::uint8_t> bytes) : stream(bytes) { bmc = this; }

HostileBmc::~HostileBmc() { bmc = nullptr; }

bool HostileBmc::Ask(std::uint8_t netfn_lun, std::uint8_t command,
                     std::span<const std::uint8_t> data) {
  ++requests;
  select_fails = receive_fails = false;
  if (repeats_ > 0) {
    AnswerAgain(command);
    return true;
  }
  if (stream.AtEnd()) return false;
  switch (const unsigned char choice = stream.Next(); choice % 8) {
    case 0:
      return stream.Next() % 4 != 0;
    case 1:
      select_fails = true;
      return true;
    case 2:
      receive_fails = true;
      return true;
    case 3:
      answer = {stream.Next()};
      return true;
    case 4:
      Cancel(stream.Next());
      return true;
    case 5:
      answer = stream.Next(std::min(stream.Next() * std::size_t{choice}, kLargestAnswer));
      return true;
    default:
      Answer(netfn_lun, command, data, choice % 8 == 6 ? kLikelyBody : kAnyBody);
      return true;
  }
}

/// Cancels the reservation.
void HostileBmc::Cancel(unsigned char choice) {
  answer = {kReservationCancelled};
  const bool without_end = choice >= kRepeatsWithoutEnd && !has_worn_out_;
  repeats_ = without_end ? kMaxRepeats : choice % kFewRepeats;
  has_worn_out_ = has_worn_out_ || without_end;
}

/// Grants a reservation, or cancels it once more.
void HostileBmc::AnswerAgain(std::uint8_t command) {
  answer = kGranted;
  if (command == kReserveSdrRepository || command == kOemReserve) return;
  answer = {kReservationCancelled};
  --repeats_;
}

/// An answer of the right length with bytes of the stream.
void HostileBmc::Answer(std::uint8_t netfn_lun, std::uint8_t command,
                        std::span<const std::uint8_t> data, unsigned body_lengths) {
  std::size_t length = 2;
  if (netfn_lun == kAppRequest) length = stream.Next() % 2 == 0 ? 11 : 15;
  if (netfn_lun == kStorageRequest && command == kGetSdrRepositoryInfo) length = 14;
  if (netfn_lun == kOemRequest && command == kOemGetSlotInformation) length = 3;
  if (netfn_lun == kOemRequest && command == kOemClearSdrRepository) length = 1;
  const bool reads = command == kGetSdr || command == kOemGetSdr;
  if (reads && data.size() == 6) length = 2U + data[5];
  answer = stream.Next(length);
  answer.insert(answer.begin(), kCompletionOk);
  constexpr std::size_t kBodyLength = 1 + 2 + 4;  // behind completion code and next record ID
  if (reads && answer.size() > kBodyLength && data[4] == 0) {
    answer[kBodyLength] = static_cast<unsigned char>(answer[kBodyLength] % body_lengths);
  }
}

}  // namespace tarvek_fuzz

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker fixes the names
extern "C" {
int __wrap_ioctl(int /*fd*/, unsigned long code, ...) {
  using namespace tarvek_fuzz;
  std::va_list arguments;
  va_start(arguments, code);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (code == kMakerExchange) return MakersIoctl(static_cast<MakerBlock*>(argument));
  if (code == IPMICTL_SEND_COMMAND) return Send(static_cast<ipmi_req*>(argument));
  return Receive(static_cast<ipmi_recv*>(argument));
}

int __wrap_select(int /*count*/, fd_set* /*read*/, fd_set* /*write*/, fd_set* /*except*/,
                  timeval* /*timeout*/) {
  return tarvek_fuzz::bmc->select_fails ? tarvek_fuzz::FailWith(EINTR) : 1;
}

int __wrap_usleep(useconds_t /*microseconds*/) { return 0; }
}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
