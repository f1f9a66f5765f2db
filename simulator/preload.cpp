// libbmcsim.so: put under a program with LD_PRELOAD it answers the program's IPMI driver calls
// from a simulated BMC, and can let the program's waits pass at once. Every other path and
// descriptor goes on to the system untouched.
//
// A node's descriptor is in truth an open of the state file: a real descriptor that the program
// can select on, duplicate limits and close, and at the same time the one whose lock keeps other
// processes away for the length of a request. So the library holds no descriptor of its own but
// the trace's.
//
// It takes no memory from the heap while the program runs, and nothing it does needs undoing: a
// program that is killed inside a request, or whose signal handler ends it there, leaves no lock
// (the system drops it with the descriptor) and a whole state file (see bmc_state.h). It expects
// one thread to talk to the BMC.

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "simulator/bmc_model.h"
#include "simulator/driver_calls.h"
#include "simulator/exchange.h"
#include "simulator/fault_plan.h"
#include "simulator/run_environment.h"
#include "simulator/sim_clock.h"
#include "simulator/state_file.h"

namespace bmcsim {
namespace {

/// The functions that stand behind ours.
struct RealCalls {
  int (*open)(const char*, int, ...);
  int (*openat)(int, const char*, int, ...);
  int (*close)(int);
  int (*ioctl)(int, unsigned long, ...);
  int (*select)(int, fd_set*, fd_set*, fd_set*, timeval*);
  int (*fstat)(int, struct stat*);
  int (*usleep)(useconds_t);
  unsigned (*sleep)(unsigned);
  int (*nanosleep)(const timespec*, timespec*);
  int (*clock_nanosleep)(clockid_t, int, const timespec*, timespec*);
  time_t (*time)(time_t*);
  int (*clock_gettime)(clockid_t, timespec*);
  int (*gettimeofday)(timeval*, void*);
};

template <typename Function>
void Resolve(const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Other libraries' start-up code may call us before our own has run, so each use asks for them.
const RealCalls& Real() {
  static constinit RealCalls calls = {};
  static constinit bool resolved = false;
  if (resolved) return calls;
  Resolve("open", calls.open);
  Resolve("openat", calls.openat);
  Resolve("close", calls.close);
  Resolve("ioctl", calls.ioctl);
  Resolve("select", calls.select);
  Resolve("fstat", calls.fstat);
  Resolve("usleep", calls.usleep);
  Resolve("sleep", calls.sleep);
  Resolve("nanosleep", calls.nanosleep);
  Resolve("clock_nanosleep", calls.clock_nanosleep);
  Resolve("time", calls.time);
  Resolve("clock_gettime", calls.clock_gettime);
  Resolve("gettimeofday", calls.gettimeofday);
  resolved = true;
  return calls;
}

std::int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

timespec Timespec(std::int64_t nanoseconds) {
  return {nanoseconds / kNanosecondsPerSecond, nanoseconds % kNanosecondsPerSecond};
}

std::int64_t RealClock(clockid_t clock) {
  timespec now = {};
  Real().clock_gettime(clock, &now);
  return Nanoseconds(now);
}

enum class Driver : std::uint8_t { kNone, kOpenIpmi, kMaker };

/// An open descriptor of a simulated node.
struct Port {
  int fd = -1;
  Driver driver = Driver::kNone;
  OpenIpmiQueue queue;
};

constexpr std::size_t kMaxPorts = 16;
constexpr unsigned kIpmiMajor = 240;
constexpr mode_t kNodeMode = S_IFCHR | 0600;
constexpr mode_t kResultFileMode = 0644;
constexpr int kHighDescriptor = 1000;

/// The simulated machine around the program: its nodes, its clock, its BMC.
class Machine final : public ExchangeHost {
 public:
  constexpr Machine() = default;

  /// Reads the environment. Without a state file in it nothing is simulated.
  void Start();

  /// Leaves the statistics, if the program has used the BMC.
  void Finish();

  bool started() const { return state_path_ != nullptr; }
  SimClock& clock() { return clock_; }

  /// @return which driver's node the path is; kNone also for other paths.
  Driver NodeDriver(const char* path) const;

  /// @return whether the path is a node's that this machine does not have.
  bool IsHiddenNode(const char* path) const;

  /// @return whether the path is the directory in which the OpenIPMI node stands.
  bool IsNodeDirectory(const char* path) const;

  int OpenNode(Driver driver, int flags);
  Port* FindPort(int fd);
  int Ioctl(Port& port, unsigned long request, void* argument);
  int Select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set, timeval* timeout);

  /// A wait of the program: counts it and does what the plan says.
  void CountWait();

  /// Lets so much time pass, in truth or on the virtual clock.
  ///
  /// @return 0 or an errno (EINTR).
  int Pass(std::int64_t nanoseconds);

  void Raise(int signal) override { (void)raise(signal); }
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
  int WaitForever();
  void OpenTrace();
  [[noreturn]] static void Die(const std::string& message);

  const char* state_path_ = nullptr;
  const char* openipmi_node_ = nullptr;
  const char* maker_node_ = nullptr;
  const char* trace_path_ = nullptr;
  const char* stats_path_ = nullptr;
  int trace_fd_ = -1;
  int request_fd_ = -1;  // the port that the request in hand came through
  std::uint64_t waits_ = 0;
  std::int64_t cpu_time_ = 0;
  SimClock clock_;
  Exchange* exchange_ = nullptr;
  std::array<Port, kMaxPorts> ports_{};
  Outcome outcome_{};
  FaultPlan plan_;
};

constinit Machine g_machine;

/// Charges the simulator's own CPU time to the statistics while it lives.
class CpuMeter {
 public:
  CpuMeter() : begin_(g_machine.metering() ? RealClock(CLOCK_THREAD_CPUTIME_ID) : 0) {}
  ~CpuMeter() {
    if (!g_machine.metering()) return;
    const std::int64_t end = RealClock(CLOCK_THREAD_CPUTIME_ID);
    // Of the two readings about one call's cost lies between them; the other one lies outside.
    g_machine.AddCpuTime(end - begin_ + ReadingCost());
  }
  CpuMeter(const CpuMeter&) = delete;
  CpuMeter& operator=(const CpuMeter&) = delete;

 private:
  static std::int64_t ReadingCost() {
    static constinit std::int64_t cost = -1;
    if (cost >= 0) return cost;
    constexpr int kReadings = 64;
    const std::int64_t begin = RealClock(CLOCK_THREAD_CPUTIME_ID);
    for (int i = 0; i < kReadings; ++i) RealClock(CLOCK_THREAD_CPUTIME_ID);
    cost = (RealClock(CLOCK_THREAD_CPUTIME_ID) - begin) / (kReadings + 1);
    return cost;
  }

  std::int64_t begin_;
};

const char* NonEmpty(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr || *value == '\0' ? nullptr : value;
}

void Machine::Die(const std::string& message) {
  const std::string line = "bmcsim: " + message + "\n";
  if (write(STDERR_FILENO, line.data(), line.size()) < 0) _exit(2);
  _exit(2);
}

void Machine::Start() {
  state_path_ = NonEmpty(kStateVariable);
  if (!started()) return;
  openipmi_node_ = NonEmpty(kOpenIpmiNodeVariable);
  maker_node_ = NonEmpty(kMakerNodeVariable);
  trace_path_ = NonEmpty(kTraceVariable);
  stats_path_ = NonEmpty(kStatsVariable);
  std::string error;
  const char* clock_text = NonEmpty(kClockVariable);
  if (!clock_.Parse(clock_text == nullptr ? "" : clock_text, error)) Die(error);
  const char* plan = NonEmpty(kFaultVariable);
  if (plan != nullptr && !plan_.Parse(plan, error)) Die(error);
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

Driver Machine::NodeDriver(const char* path) const {
  if (maker_node_ != nullptr && std::strcmp(path, maker_node_) == 0) return Driver::kMaker;
  if (openipmi_node_ != nullptr && std::strcmp(path, openipmi_node_) == 0) {
    return Driver::kOpenIpmi;
  }
  return Driver::kNone;
}

bool Machine::IsHiddenNode(const char* path) const {
  return std::any_of(std::begin(kKnownNodes), std::end(kKnownNodes),
                     [path](const char* node) { return std::strcmp(path, node) == 0; });
}

bool Machine::IsNodeDirectory(const char* path) const {
  const std::size_t length = std::strlen(kMakerNode);
  return openipmi_node_ != nullptr && std::strcmp(path, kMakerNode) == 0 &&
         std::strncmp(openipmi_node_, kMakerNode, length) == 0 && openipmi_node_[length] == '/';
}

int Machine::OpenNode(Driver driver, int flags) {
  if (!OpenState()) return -1;
  auto* port = std::find_if(ports_.begin(), ports_.end(), [](const Port& p) { return p.fd == -1; });
  if (port == ports_.end()) {
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

Port* Machine::FindPort(int fd) {
  if (fd < 0) return nullptr;
  auto* port =
      std::find_if(ports_.begin(), ports_.end(), [fd](const Port& p) { return p.fd == fd; });
  return port == ports_.end() ? nullptr : port;
}

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
  StrikeWait(*this, plan_.MatchWait());
}

int Machine::Pass(std::int64_t nanoseconds) {
  if (clock_.is_virtual()) {
    clock_.Advance(nanoseconds);
    return 0;
  }
  const timespec wait = Timespec(nanoseconds);
  return Real().nanosleep(&wait, nullptr) == 0 ? 0 : errno;
}

int Machine::WaitForever() {
  pause();
  return EINTR;
}

int Machine::Ioctl(Port& port, unsigned long request, void* argument) {
  request_fd_ = port.fd;
  const int result = port.driver == Driver::kMaker ? MakerIoctl(request, argument)
                                                   : OpenIpmiIoctl(port, request, argument);
  if (result >= 0) return result;
  errno = -result;
  return -1;
}

int Machine::OpenIpmiIoctl(Port& port, unsigned long request, void* argument) {
  switch (request) {
    case IPMICTL_SEND_COMMAND:
      return port.queue.Send(static_cast<const ipmi_req*>(argument), *exchange_, outcome_);
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
  if (const int refused = MakerSend(block, *exchange_, outcome_); refused != 0) return refused;
  if (outcome_.wait_ms == kForever) return -WaitForever();
  if (outcome_.wait_ms > 0) {
    const int interrupted = Pass(outcome_.wait_ms * kNanosecondsPerMillisecond);
    if (interrupted != 0) return -interrupted;
  }
  return MakerFinish(*block, outcome_);
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
  if (limit == kEndless && due == kEndless) return -WaitForever();
  const std::int64_t wait = std::min(limit, due);
  const int interrupted = wait > 0 ? Pass(wait) : 0;
  if (interrupted != 0) return -interrupted;
  if (due > limit) return 0;
  queue.WaitIsOver();
  const int error = queue.TakeSelectError();
  return error == 0 ? 1 : -error;
}

bool Holds(const fd_set* set, int fd) { return set != nullptr && FD_ISSET(fd, set); }

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
  if (fd == -1) return;
  dprintf(fd, "requests %llu\nfaulted %llu\nwaits %llu\nsimulator_cpu_ns %lld\n",
          static_cast<unsigned long long>(exchange_->requests()),
          static_cast<unsigned long long>(exchange_->faulted()),
          static_cast<unsigned long long>(waits_), static_cast<long long>(cpu_time_));
  Real().close(fd);
}

__attribute__((constructor)) void StartMachine() { g_machine.Start(); }
__attribute__((destructor)) void FinishMachine() { g_machine.Finish(); }

// What an open of `path` is to give: true with `result` when it is ours.
bool OpenSimulated(const char* path, int flags, int& result) {
  if (!g_machine.started() || path == nullptr) return false;
  const Driver driver = g_machine.NodeDriver(path);
  if (driver != Driver::kNone) {
    const CpuMeter meter;
    result = g_machine.OpenNode(driver, flags);
    return true;
  }
  if (g_machine.IsNodeDirectory(path)) {
    result = Real().open("/dev", flags);
    return true;
  }
  if (!g_machine.IsHiddenNode(path)) return false;
  errno = ENOENT;
  result = -1;
  return true;
}

// open has a mode only when the flags say so.
mode_t TakeMode(int flags, va_list arguments) {
  const bool has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return has_mode ? va_arg(arguments, mode_t) : 0;
}

int OpenAny(const char* path, int flags, mode_t mode) {
  int result = -1;
  return OpenSimulated(path, flags, result) ? result : Real().open(path, flags, mode);
}

int OpenAnyAt(int directory, const char* path, int flags, mode_t mode) {
  int result = -1;
  return OpenSimulated(path, flags, result) ? result : Real().openat(directory, path, flags, mode);
}

// What a wait of the program becomes: 0, or an errno.
int WaitSimulated(std::int64_t nanoseconds) {
  const CpuMeter meter;
  return g_machine.Pass(nanoseconds);
}

// What a clock shows to the program; `real` is what it shows in truth.
std::int64_t Shown(clockid_t clock, std::int64_t real) {
  switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_TAI:
      return g_machine.clock().shows_real_time() ? real : g_machine.clock().WallNow(real);
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_BOOTTIME:
      return g_machine.clock().Now(real);
    default:
      return real;
  }
}

std::int64_t WallClock() { return g_machine.clock().WallNow(RealClock(CLOCK_REALTIME)); }

}  // namespace
}  // namespace bmcsim

// From here on the names are the system's. Some of them are declared with attributes that a
// definition of ours need not repeat.
#define BMCSIM_EXPORT extern "C" __attribute__((visibility("default")))

using bmcsim::g_machine;
using bmcsim::Real;

BMCSIM_EXPORT int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAny(path, flags, mode);
}

BMCSIM_EXPORT int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAny(path, flags, mode);
}

BMCSIM_EXPORT int openat(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAnyAt(directory, path, flags, mode);
}

BMCSIM_EXPORT int openat64(int directory, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = bmcsim::TakeMode(flags, arguments);
  va_end(arguments);
  return bmcsim::OpenAnyAt(directory, path, flags, mode);
}

// What a hardened program calls in place of open without a mode; the names are the C library's.
// NOLINTBEGIN(bugprone-reserved-identifier): the C library fixes the names
BMCSIM_EXPORT int __open_2(const char* path, int flags) { return bmcsim::OpenAny(path, flags, 0); }
BMCSIM_EXPORT int __open64_2(const char* path, int flags) {
  return bmcsim::OpenAny(path, flags, 0);
}
BMCSIM_EXPORT int __openat_2(int directory, const char* path, int flags) {
  return bmcsim::OpenAnyAt(directory, path, flags, 0);
}
BMCSIM_EXPORT int __openat64_2(int directory, const char* path, int flags) {
  return bmcsim::OpenAnyAt(directory, path, flags, 0);
}
// NOLINTEND(bugprone-reserved-identifier)

BMCSIM_EXPORT int close(int fd) {
  bmcsim::Port* port = g_machine.started() ? g_machine.FindPort(fd) : nullptr;
  if (port != nullptr) port->fd = -1;
  return Real().close(fd);
}

BMCSIM_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  bmcsim::Port* port = g_machine.started() ? g_machine.FindPort(fd) : nullptr;
  if (port == nullptr) return Real().ioctl(fd, request, argument);
  const bmcsim::CpuMeter meter;
  return g_machine.Ioctl(*port, request, argument);
}

BMCSIM_EXPORT int select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set,
                         timeval* timeout) {
  if (!g_machine.started()) return Real().select(count, read_set, write_set, error_set, timeout);
  const bmcsim::CpuMeter meter;
  return g_machine.Select(count, read_set, write_set, error_set, timeout);
}

BMCSIM_EXPORT int fstat(int fd, struct stat* status) noexcept {
  const int result = Real().fstat(fd, status);
  if (result == 0 && g_machine.started() && g_machine.FindPort(fd) != nullptr) {
    status->st_mode = bmcsim::kNodeMode;
    status->st_rdev = makedev(bmcsim::kIpmiMajor, 0);
    status->st_size = 0;
  }
  return result;
}

BMCSIM_EXPORT int fstat64(int fd, struct stat64* status) noexcept {
  static_assert(sizeof(struct stat64) == sizeof(struct stat));
  return fstat(fd, reinterpret_cast<struct stat*>(status));
}

BMCSIM_EXPORT int usleep(useconds_t microseconds) {
  if (!g_machine.started()) return Real().usleep(microseconds);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().usleep(microseconds);
  return bmcsim::WaitSimulated(microseconds * bmcsim::kNanosecondsPerMicrosecond);
}

BMCSIM_EXPORT unsigned sleep(unsigned seconds) {
  if (!g_machine.started()) return Real().sleep(seconds);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().sleep(seconds);
  bmcsim::WaitSimulated(seconds * bmcsim::kNanosecondsPerSecond);
  return 0;
}

BMCSIM_EXPORT int nanosleep(const timespec* wait, timespec* rest) {
  if (!g_machine.started()) return Real().nanosleep(wait, rest);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().nanosleep(wait, rest);
  return bmcsim::WaitSimulated(bmcsim::Nanoseconds(*wait));
}

BMCSIM_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec* wait,
                                  timespec* rest) {
  if (!g_machine.started()) return Real().clock_nanosleep(clock, flags, wait, rest);
  g_machine.CountWait();
  if (!g_machine.clock().is_virtual()) return Real().clock_nanosleep(clock, flags, wait, rest);
  std::int64_t nanoseconds = bmcsim::Nanoseconds(*wait);
  if ((flags & TIMER_ABSTIME) != 0) nanoseconds -= bmcsim::Shown(clock, bmcsim::RealClock(clock));
  return nanoseconds <= 0 ? 0 : bmcsim::WaitSimulated(nanoseconds);
}

BMCSIM_EXPORT int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const int result = Real().clock_gettime(clock, now);
  if (result == 0) *now = bmcsim::Timespec(bmcsim::Shown(clock, bmcsim::Nanoseconds(*now)));
  return result;
}

BMCSIM_EXPORT time_t time(time_t* now) noexcept {
  if (g_machine.clock().shows_real_time()) return Real().time(now);
  const time_t seconds = bmcsim::WallClock() / bmcsim::kNanosecondsPerSecond;
  if (now != nullptr) *now = seconds;
  return seconds;
}

BMCSIM_EXPORT int gettimeofday(timeval* now, void* zone) noexcept {
  const int result = Real().gettimeofday(now, zone);
  if (result == 0 && !g_machine.clock().shows_real_time()) {
    const std::int64_t microseconds = bmcsim::WallClock() / bmcsim::kNanosecondsPerMicrosecond;
    now->tv_sec = microseconds / 1000000;
    now->tv_usec = microseconds % 1000000;
  }
  return result;
}
