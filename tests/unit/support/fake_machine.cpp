#include "tests/unit/support/fake_machine.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <utility>

#include "transport/ipmi_driver.h"

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
int __real_ioctl(int fd, unsigned long code, ...);
int __real_select(int count, fd_set* r, fd_set* w, fd_set* e, timeval* timeout);

using tarvek_test::FakeMachine;

int __wrap_open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  FakeMachine& machine = FakeMachine::Current();
  if (!machine.IsDeviceName(path)) return __real_open(path, flags, mode);
  machine.open_flags.push_back(flags);
  return machine.Open(path);
}

int __wrap_close(int fd) {
  FakeMachine& machine = FakeMachine::Current();
  machine.Close(fd);
  const int result = __real_close(fd);
  if (machine.close_error == 0) return result;
  errno = std::exchange(machine.close_error, 0);
  return -1;
}

int __wrap_ioctl(int fd, unsigned long code, ...) {
  va_list arguments;
  va_start(arguments, code);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  FakeMachine& machine = FakeMachine::Current();
  return machine.IsDevice(fd) ? machine.Ioctl(fd, code, argument)
                              : __real_ioctl(fd, code, argument);
}

int __wrap_select(int count, fd_set* r, fd_set* w, fd_set* e, timeval* timeout) {
  FakeMachine& machine = FakeMachine::Current();
  if (count > 0 && machine.IsDevice(count - 1)) return machine.Select(r);
  return __real_select(count, r, w, e, timeout);
}

int __wrap_usleep(useconds_t microseconds) {
  FakeMachine::Current().Sleep(microseconds);
  return 0;
}

unsigned __wrap_sleep(unsigned seconds) {
  FakeMachine::Current().Sleep(std::uint64_t{seconds} * 1000000);
  return 0;
}

std::time_t __wrap_time(std::time_t* out) {
  const std::time_t now = FakeMachine::Current().now;
  if (out != nullptr) *out = now;
  return now;
}
}  // extern "C"

namespace tarvek_test {
namespace {

std::unique_ptr<FakeMachine>& Slot() {
  static std::unique_ptr<FakeMachine> slot = std::make_unique<FakeMachine>();
  return slot;
}

int FailWith(int error) {
  errno = error;
  return -1;
}

constexpr unsigned long kMakerIoctl = 0xC010F100;
struct MakerBlock {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::uint8_t padding[2];
  std::int32_t length;
  std::uint8_t* data;
};

}  // namespace

FakeMachine& FakeMachine::Current() { return *Slot(); }
void FakeMachine::Reset() { Slot() = std::make_unique<FakeMachine>(); }

bool FakeMachine::IsDeviceName(const std::string& path) const {
  return path.rfind("/dev/ipmi", 0) == 0;
}

int FakeMachine::Open(const std::string& path) {
  opened.push_back(path);
  if (directories.count(path) != 0) return __real_open("/", O_RDONLY);
  if (nodes.count(path) == 0) return FailWith(ENOENT);
  const int fd = __real_open("/dev/null", O_RDONLY);
  devices_.insert(fd);
  return fd;
}

bool FakeMachine::Close(int fd) {
  const bool device = devices_.erase(fd) != 0;
  closed += device ? 1 : 0;
  return device;
}

Reply FakeMachine::Ask(std::uint8_t netfn_lun, std::uint8_t command, const std::uint8_t* data,
                       int length) {
  Bytes request{netfn_lun, command};
  request.insert(request.end(), data, data + length);
  requests.push_back(request);
  return bmc ? bmc(request) : Reply{};
}

int FakeMachine::Ioctl(int /*fd*/, unsigned long code, void* argument) {
  ioctls.push_back(code);
  if (code == IPMICTL_SEND_COMMAND) {
    const auto* request = static_cast<ipmi_req*>(argument);
    const auto* address = reinterpret_cast<ipmi_system_interface_addr*>(request->addr);
    if (request->addr_len != 8 || address->channel != 15 || address->addr_type != 12) {
      return FailWith(EINVAL);
    }
    message_ids.push_back(request->msgid);
    const auto netfn_lun =
        static_cast<std::uint8_t>((request->msg.netfn << 2) | (address->lun & 3));
    pending_ = Ask(netfn_lun, request->msg.cmd, request->msg.data, request->msg.data_len);
    return pending_.send_fails ? FailWith(EIO) : 0;
  }
  if (code == IPMICTL_RECEIVE_MSG_TRUNC) {
    if (pending_.receive_fails) return FailWith(EIO);
    auto* answer = static_cast<ipmi_recv*>(argument);
    if (answer->addr_len != 40) return FailWith(EINVAL);
    capacities.push_back(answer->msg.data_len);
    if (!earlier_ids.empty()) {
      answer->msgid = earlier_ids.front();
      earlier_ids.erase(earlier_ids.begin());
      answer->msg.data_len = 0;
      return 0;
    }
    answer->msgid = message_ids.back();
    const bool cut = pending_.data.size() > answer->msg.data_len;
    const auto length = std::min<std::size_t>(answer->msg.data_len, pending_.data.size());
    std::copy_n(pending_.data.begin(), length, answer->msg.data);
    answer->msg.data_len = static_cast<unsigned short>(length);
    return cut && pending_.truncation_fails ? FailWith(EMSGSIZE) : 0;
  }
  if (code == kMakerIoctl) {
    auto* block = static_cast<MakerBlock*>(argument);
    const Reply reply = Ask(block->netfn_lun, block->command, block->data, block->length);
    if (reply.send_fails) return FailWith(EIO);
    Bytes image{reply.netfn_lun.value_or(static_cast<std::uint8_t>(block->netfn_lun + 4)),
                block->command};
    image.insert(image.end(), reply.data.begin(), reply.data.end());
    if (reply.whole_image) image = *reply.whole_image;
    std::copy(image.begin(), image.end(), block->data);
    return static_cast<int>(image.size());
  }
  return FailWith(ENOTTY);
}

int FakeMachine::Select(void* read_set) {
  if (pending_.select_fails) return FailWith(EINTR);
  if (pending_.select_is_empty) {
    FD_ZERO(static_cast<fd_set*>(read_set));
    return 0;
  }
  return 1;
}

void FakeMachine::Sleep(std::uint64_t microseconds) {
  constexpr std::uint64_t kMicrosecondsPerSecond = 1000000;
  slept += microseconds;
  sleeps.push_back(microseconds);
  fraction_ += microseconds;
  now += static_cast<std::time_t>(fraction_ / kMicrosecondsPerSecond);
  fraction_ %= kMicrosecondsPerSecond;
  if (on_sleep) on_sleep(microseconds);
}

void UseOpenIpmi() {
  FakeMachine::Current().nodes = {"/dev/ipmi0"};
  ipmi_fd = FakeMachine::Current().Open("/dev/ipmi0");
  open_ipmi = 1;
  kov_ipmi = 0;
}

void UseMakerDriver() {
  FakeMachine::Current().nodes = {"/dev/ipmidev"};
  open_ipmi = 0;
  kov_ipmi = 1;
}

}  // namespace tarvek_test
