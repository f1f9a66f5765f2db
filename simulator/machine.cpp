#include "simulator/machine.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/bmc_model.h"
#include "simulator/real_calls.h"
#include "simulator/run_environment.h"
#include "simulator/signal_guard.h"
#include "simulator/state_file.h"
#include "simulator/strike_notes.h"

namespace bmcsim {
namespace {

constexpr mode_t kResultFileMode = 0644;
constexpr int kHighDescriptor = 1000;

const char* NonEmpty(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr || *value == '\0' ? nullptr : value;
}

bool Holds(const fd_set* set, int fd) { return set != nullptr && FD_ISSET(fd, set); }

// What one reading of the CPU clock costs.
std::int64_t ReadingCost() {
  static constinit std::int64_t cost = -1;
  if (cost >= 0) return cost;
  constexpr int kReadings = 64;
  const std::int64_t begin = RealClock(CLOCK_THREAD_CPUTIME_ID);
  for (int i = 0; i < kReadings; ++i) RealClock(CLOCK_THREAD_CPUTIME_ID);
  cost = (RealClock(CLOCK_THREAD_CPUTIME_ID) - begin) / (kReadings + 1);
  return cost;
}

}  // namespace

constinit Machine g_machine;

CpuMeter::CpuMeter() : begin_(g_machine.metering() ? RealClock(CLOCK_THREAD_CPUTIME_ID) : 0) {}

CpuMeter::~CpuMeter() {
  if (!g_machine.metering()) return;
  const std::int64_t end = RealClock(CLOCK_THREAD_CPUTIME_ID);
  // Of the two readings about one call's cost lies between them; the other one lies outside.
  g_machine.AddCpuTime(end - begin_ + ReadingCost());
}

void Machine::Die(const std::string& message) {
  const std::string line = "bmcsim: " + message + "\n";
  if (write(STDERR_FILENO, line.data(), line.size()) < 0) _exit(2);
  _exit(2);
}

void Machine::Start() {
  state_path_ = NonEmpty(kStateVariable);
  if (!started()) return;
  nodes_.Set(NonEmpty(kOpenIpmiNodeVariable), NonEmpty(kMakerNodeVariable));
  trace_path_ = NonEmpty(kTraceVariable);
  stats_path_ = NonEmpty(kStatsVariable);
  std::string error;
  const char* clock_text = NonEmpty(kClockVariable);
  if (!clock_.Parse(clock_text == nullptr ? "" : clock_text, error)) Die(error);
  const char* plan = NonEmpty(kFaultVariable);
  if (plan != nullptr && !plan_.Parse(plan, error)) Die(error);
  const char* strikes = NonEmpty(kStrikesVariable);
  if (strikes == nullptr) return;
  StrikeNotes notes;
  if (!notes.Open(strikes)) {
    Die(std::string("cannot note what the fault plan does: ") + std::strerror(errno));
  }
  plan_.NoteStrikesIn(notes.bytes());
}

bool Machine::OpenState() {
  if (exchange_ != nullptr) return true;
  StateFile file;
  std::string error;
  if (!file.Open(state_path_, error)) Die(error);
  // From here on the program's own descriptors of the node hold the lock.
  static BmcModel model(*file.Detach());
  static Exchange exchange(model, plan_, *this);
  exchange_ = &exchange;
  return true;
}

int Machine::OpenNode(Driver driver, int flags) {
  const SignalGuard guard;
  if (!OpenState()) return -1;
  Port* const port = nodes_.FindFree();
  if (port == nullptr) {
    errno = EMFILE;
    return -1;
  }
  // Read-only whatever was asked for: nothing may be written to the state through a descriptor.
  const int fd = Real().open(state_path_, O_RDONLY | (flags & O_CLOEXEC));
  if (fd == -1) return -1;
  port->fd = fd;
  port->driver = driver;
  port->queue.Clear();
  return fd;
}

// The handler may make requests before it returns, if it does.
void Machine::Raise(int signal) {
  const sigset_t mask = programs_mask_;
  const int request_fd = request_fd_;
  sigset_t held;
  pthread_sigmask(SIG_SETMASK, &mask, &held);
  (void)pthread_kill(pthread_self(), signal);
  pthread_sigmask(SIG_SETMASK, &held, nullptr);
  programs_mask_ = mask;
  request_fd_ = request_fd;
}

// Each descriptor has a lock of its own: a handler that came in between would wait for its own
// process for ever.
void Machine::BeginRequest() {
  while (flock(request_fd_, LOCK_EX) == -1 && errno == EINTR) {
  }
}

void Machine::EndRequest() { flock(request_fd_, LOCK_UN); }

// The BMC has a clock of its own: nobody who sets the machine's moves it.
std::uint32_t Machine::Now() {
  return static_cast<std::uint32_t>(clock_.Now(RealClock(CLOCK_REALTIME)) / kNanosecondsPerSecond);
}

// The trace's descriptor goes out of the program's way, so that it sees the numbers it would see
// without us.
void Machine::OpenTrace() {
  const int fd =
      Real().open(trace_path_, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kResultFileMode);
  if (fd == -1) Die(std::string("cannot write the trace ") + trace_path_);
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  const int highest = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, kHighDescriptor)) - 1;
  trace_fd_ = fcntl(fd, F_DUPFD_CLOEXEC, highest);
  if (trace_fd_ == -1) {
    trace_fd_ = fd;
  } else {
    Real().close(fd);
  }
}

void Machine::Trace(std::span<const char> lines) {
  if (trace_path_ == nullptr) return;
  if (trace_fd_ == -1) OpenTrace();
  if (write(trace_fd_, lines.data(), lines.size()) < 0) {
    Die(std::string("cannot write the trace ") + trace_path_);
  }
}

void Machine::CountWait() {
  ++waits_;
  if (plan_.empty()) return;
  const SignalGuard guard;
  programs_mask_ = guard.programs();
  StrikeWait(*this, plan_.MatchWait());
}

int Machine::Await(std::int64_t nanoseconds) {
  if (clock_.is_virtual()) {
    clock_.Advance(nanoseconds);
    return 0;
  }
  const timespec wait = Timespec(nanoseconds);
  return ppoll(nullptr, 0, &wait, &programs_mask_) == 0 ? 0 : errno;
}

int Machine::AwaitForever() {
  sigsuspend(&programs_mask_);
  return EINTR;
}

int Machine::Ioctl(Port& port, unsigned long request, void* argument) {
  const SignalGuard guard;
  programs_mask_ = guard.programs();
  request_fd_ = port.fd;
  const int result = port.driver == Driver::kMaker ? MakerIoctl(request, argument)
                                                   : OpenIpmiIoctl(port, request, argument);
  if (result >= 0) return result;
  errno = -result;
  return -1;
}

int Machine::OpenIpmiIoctl(Port& port, unsigned long request, void* argument) {
  switch (request) {
    case IPMICTL_SEND_COMMAND: {
      Outcome outcome;  // of this request alone: a handler inside it may make another
      return port.queue.Send(static_cast<const ipmi_req*>(argument), *exchange_, outcome);
    }
    case IPMICTL_RECEIVE_MSG:
      return port.queue.Receive(static_cast<ipmi_recv*>(argument), false);
    case IPMICTL_RECEIVE_MSG_TRUNC:
      return port.queue.Receive(static_cast<ipmi_recv*>(argument), true);
    default:
      return -ENOTTY;
  }
}

int Machine::MakerIoctl(unsigned long request, void* argument) {
  if (request != kMakerIoctl) return -ENOTTY;
  const auto* block = static_cast<const MakerBlock*>(argument);
  Outcome outcome;  // of this request alone: a handler inside it may make another
  if (const int refused = MakerSend(block, *exchange_, outcome); refused != 0) return refused;
  if (outcome.wait_ms == kForever) return -AwaitForever();
  if (outcome.wait_ms > 0) {
    const int interrupted = Await(outcome.wait_ms * kNanosecondsPerMillisecond);
    if (interrupted != 0) return -interrupted;
  }
  return MakerFinish(*block, outcome);
}

// Waits until the queue's first answer can be received.
//
// Returns 1 when it can, 0 when the time-out came first, or a negated errno.
int Machine::AwaitAnswer(OpenIpmiQueue& queue, const timeval* timeout) {
  constexpr std::int64_t kEndless = INT64_MAX;
  std::int64_t limit = kEndless;
  if (timeout != nullptr) {
    limit = timeout->tv_sec * kNanosecondsPerSecond + timeout->tv_usec * kNanosecondsPerMicrosecond;
  }
  std::int64_t due = kEndless;
  if (!queue.empty() && queue.wait_ms() != kForever) {
    due = queue.wait_ms() * kNanosecondsPerMillisecond;
  }
  if (limit == kEndless && due == kEndless) return -AwaitForever();
  const std::int64_t wait = std::min(limit, due);
  const int interrupted = wait > 0 ? Await(wait) : 0;
  if (interrupted != 0) return -interrupted;
  if (due > limit) return 0;
  queue.WaitIsOver();
  const int error = queue.TakeSelectError();
  return error == 0 ? 1 : -error;
}

int Machine::Select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set,
                    timeval* timeout) {
  Port* port = nullptr;
  int others = 0;
  for (int fd = 0; fd < std::min(count, FD_SETSIZE); ++fd) {
    Port* const found = Holds(read_set, fd) ? FindPort(fd) : nullptr;
    if (found != nullptr && found->driver == Driver::kOpenIpmi) {
      port = found;
    } else if (Holds(read_set, fd) || Holds(write_set, fd)) {
      ++others;
    }
  }
  // A set with other descriptors beside the node is the system's, which knows the node as a file
  // that is always ready.
  if (port == nullptr || others > 0) {
    return Real().select(count, read_set, write_set, error_set, timeout);
  }
  const SignalGuard guard;
  programs_mask_ = guard.programs();
  const int ready = AwaitAnswer(port->queue, timeout);
  if (ready < 0) {
    errno = -ready;
    return -1;
  }
  if (error_set != nullptr) FD_ZERO(error_set);
  if (ready == 0) FD_ZERO(read_set);
  return ready;
}

void Machine::Finish() {
  if (stats_path_ == nullptr || exchange_ == nullptr) return;
  const int fd =
      Real().open(stats_path_, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kResultFileMode);
  const int written = fd == -1 ? -1
                               : dprintf(fd,
                                         "requests %llu\nfaulted %llu\nwaits %llu\n"
                                         "simulator_cpu_ns %lld\n",
                                         static_cast<unsigned long long>(exchange_->requests()),
                                         static_cast<unsigned long long>(exchange_->faulted()),
                                         static_cast<unsigned long long>(waits_),
                                         static_cast<long long>(cpu_time_));
  if (written < 0 || Real().close(fd) != 0) {
    (void)std::fflush(nullptr);  // what the program has printed comes out all the same
    Die(std::string("cannot write the statistics ") + stats_path_);
  }
}

}  // namespace bmcsim
