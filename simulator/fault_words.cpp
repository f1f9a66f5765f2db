#include "simulator/fault_words.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <iterator>

namespace bmcsim {
namespace {

constexpr FaultVerb kVerbs[] = {
    {"cc", Fault::kCode, FaultShape::kHexByte},
    {"cc-after", Fault::kCodeAfter, FaultShape::kHexByte},
    {"answer", Fault::kAnswer, FaultShape::kBytes},
    {"request", Fault::kRequestBytes, FaultShape::kPlacedBytes},
    {"data", Fault::kAnswerBytes, FaultShape::kPlacedBytes},
    {"length", Fault::kLength, FaultShape::kDecimal},
    {"netfn", Fault::kNetFn, FaultShape::kHexByte},
    {"command", Fault::kCommand, FaultShape::kHexByte},
    {"next", Fault::kNextId, FaultShape::kHexWord},
    {"body-length", Fault::kBodyLength, FaultShape::kHexByte},
    {"stuck", Fault::kStuck, FaultShape::kNothing},
    {"send-error", Fault::kSendError, FaultShape::kErrno},
    {"ioctl-error", Fault::kSendError, FaultShape::kErrno},
    {"select-error", Fault::kSelectError, FaultShape::kErrno},
    {"receive-error", Fault::kReceiveError, FaultShape::kErrno},
    {"silence", Fault::kSilence, FaultShape::kMaybeSeconds},
    {"delay", Fault::kDelay, FaultShape::kSeconds},
    {"cancel", Fault::kCancel, FaultShape::kNothing},
    {"replace", Fault::kReplace, FaultShape::kRecord},
    {"signal", Fault::kSignalBefore, FaultShape::kSignal},
    {"clock", Fault::kClockForward, FaultShape::kClockStep},
};

struct RequestName {
  std::string_view name;
  std::string_view pattern;
};

constexpr RequestName kRequestNames[] = {
    {"get-device-id", "18/01"}, {"get-sdr-repository-info", "28/20"},
    {"reserve", "28/22"},       {"get-sdr", "28/23"},
    {"clear", "28/27"},         {"get-slot-information", "F8/E0"},
    {"spared", "F8/10"},        {"oem-reserve", "F8/11"},
    {"oem-get-sdr", "F8/12"},   {"oem-add", "F8/13"},
    {"oem-clear", "F8/14"},
};

struct NamedNumber {
  std::string_view name;
  std::uint32_t number;
};

constexpr NamedNumber kErrnoNames[] = {
    {"EACCES", EACCES},     {"EAGAIN", EAGAIN}, {"EBADF", EBADF},   {"EBUSY", EBUSY},
    {"EFAULT", EFAULT},     {"EINTR", EINTR},   {"EINVAL", EINVAL}, {"EIO", EIO},
    {"EMSGSIZE", EMSGSIZE}, {"ENODEV", ENODEV}, {"ENOENT", ENOENT}, {"ENOMEM", ENOMEM},
    {"ENOTTY", ENOTTY},     {"ENXIO", ENXIO},   {"EPERM", EPERM},   {"ETIMEDOUT", ETIMEDOUT},
};

constexpr NamedNumber kSignalNames[] = {
    {"HUP", SIGHUP},   {"INT", SIGINT},   {"QUIT", SIGQUIT}, {"ABRT", SIGABRT}, {"KILL", SIGKILL},
    {"SEGV", SIGSEGV}, {"PIPE", SIGPIPE}, {"ALRM", SIGALRM}, {"TERM", SIGTERM}, {"USR1", SIGUSR1},
    {"USR2", SIGUSR2}, {"CONT", SIGCONT}, {"STOP", SIGSTOP},
};

template <typename Entry, std::size_t kSize>
const Entry* FindName(const Entry (&entries)[kSize], std::string_view name) {
  const auto* found = std::find_if(std::begin(entries), std::end(entries),
                                   [&](const Entry& entry) { return entry.name == name; });
  return found == std::end(entries) ? nullptr : found;
}

}  // namespace

const FaultVerb* FindFaultVerb(std::string_view name) { return FindName(kVerbs, name); }

std::string_view FaultRequestPattern(std::string_view name) {
  const RequestName* found = FindName(kRequestNames, name);
  return found == nullptr ? name : found->pattern;
}

std::uint32_t FaultErrno(std::string_view name) {
  const NamedNumber* found = FindName(kErrnoNames, name);
  return found == nullptr ? 0 : found->number;
}

std::uint32_t FaultSignal(std::string_view name) {
  const NamedNumber* found = FindName(kSignalNames, name);
  return found == nullptr ? 0 : found->number;
}

}  // namespace bmcsim
