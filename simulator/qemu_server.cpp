#include "simulator/qemu_server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <utility>
#include <vector>

#include "simulator/bmc_model.h"
#include "simulator/exchange.h"
#include "simulator/qemu_front_end.h"

namespace bmcsim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kTraceMode = 0644;

/// A descriptor that is closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { Reset(); }

  void Reset(int fd = -1) {
    if (fd_ != -1) close(fd_);
    fd_ = fd;
  }
  int get() const { return fd_; }
  bool open() const { return fd_ != -1; }

 private:
  int fd_;
};

/// This process around the exchange.
class ServerHost final : public ExchangeHost {
 public:
  explicit ServerHost(StateFile& state) : state_(state) {}

  bool OpenTrace(const std::string& path) {
    if (path.empty()) return true;
    trace_.Reset(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kTraceMode));
    return trace_.open();
  }

  void Raise(int signal) override { raise(signal); }
  void BeginRequest() override { state_.Lock(); }
  void EndRequest() override { state_.Unlock(); }
  std::uint32_t Now() override { return static_cast<std::uint32_t>(std::time(nullptr)); }
  void Trace(std::span<const char> lines) override {
    if (!tracing()) return;
    const auto size = static_cast<ssize_t>(lines.size());
    trace_failed_ = write(trace_.get(), lines.data(), lines.size()) != size || trace_failed_;
  }
  bool tracing() const override { return trace_.open(); }

  bool trace_failed() const { return trace_failed_; }

 private:
  StateFile& state_;
  Descriptor trace_;
  bool trace_failed_ = false;
};

/// The signals that end the service, as a descriptor; as they were before when it is gone.
class StopSignals {
 public:
  StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, &former_);
    fd_.Reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals() {
    signalfd_siginfo taken = {};
    while (read(fd_.get(), &taken, sizeof taken) > 0) {
    }
    sigprocmask(SIG_SETMASK, &former_, nullptr);
  }
  int fd() const { return fd_.get(); }

 private:
  sigset_t former_{};
  Descriptor fd_;
};

bool NobodyListens(const sockaddr_un& address) {
  const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1 &&
         errno == ECONNREFUSED;
}

/// A listening unix socket; its file is removed with its owner.
class Listener {
 public:
  Listener() = default;
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() {
    if (bound_) unlink(address_.sun_path);
  }

  /// @return 0 or an errno.
  int Open(const std::string& path) {
    if (path.size() >= sizeof address_.sun_path) return ENAMETOOLONG;
    address_.sun_family = AF_UNIX;
    path.copy(address_.sun_path, path.size());
    fd_.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd_.open()) return errno;
    if (IsSocket(path) && NobodyListens(address_)) unlink(address_.sun_path);
    if (bind(fd_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_) != 0) {
      return errno;
    }
    bound_ = true;
    return listen(fd_.get(), 1) == 0 ? 0 : errno;
  }
  int fd() const { return fd_.get(); }

 private:
  static bool IsSocket(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
  }

  sockaddr_un address_{};
  Descriptor fd_;
  bool bound_ = false;
};

/// One machine's connection at a time, and the reply that is being delayed: it is sent when it is
/// due, whatever was asked and answered meanwhile.
class Server {
 public:
  Server(QemuFrontEnd& front_end, int listener, int stop)
      : front_end_(front_end), listener_(listener), stop_(stop) {}

  /// Waits for whatever comes next and deals with it.
  ///
  /// @return false when it was the signal to stop, or waiting failed.
  bool Step();

 private:
  int WaitMilliseconds() const;
  void Accept();
  void Receive();
  void Send(const std::vector<std::uint8_t>& bytes);

  QemuFrontEnd& front_end_;
  int listener_;
  int stop_;
  Descriptor peer_;
  std::vector<std::uint8_t> delayed_;
  Clock::time_point due_;
};

bool Server::Step() {
  enum : std::uint8_t { kStop, kSource };
  std::array<pollfd, 2> wait = {
      {{.fd = stop_, .events = POLLIN, .revents = 0},
       {.fd = peer_.open() ? peer_.get() : listener_, .events = POLLIN, .revents = 0}}};
  const int ready = poll(wait.data(), wait.size(), WaitMilliseconds());
  if (ready < 0 && errno != EINTR) return false;
  if (!delayed_.empty() && Clock::now() >= due_) {
    Send(delayed_);
    delayed_.clear();
  }
  if (ready <= 0) return true;
  if (wait[kStop].revents != 0) return false;
  if (wait[kSource].revents == 0) return true;
  if (peer_.open()) {
    Receive();
  } else {
    Accept();
  }
  return true;
}

int Server::WaitMilliseconds() const {
  if (delayed_.empty()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(due_ - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

void Server::Accept() {
  peer_.Reset(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
  front_end_.Connect();
}

void Server::Receive() {
  std::array<std::uint8_t, 4096> bytes{};
  const ssize_t count = recv(peer_.get(), bytes.data(), bytes.size(), 0);
  if (count < 0 && errno == EINTR) return;
  if (count <= 0) {
    peer_.Reset();
    delayed_.clear();
    return;
  }
  for (ssize_t i = 0; i < count; ++i) {
    QemuReply reply = front_end_.Take(bytes[static_cast<std::size_t>(i)]);
    if (reply.bytes.empty()) continue;
    if (reply.delay_ms == 0) {
      Send(reply.bytes);
    } else {
      delayed_ = std::move(reply.bytes);
      due_ = Clock::now() + std::chrono::milliseconds(reply.delay_ms);
    }
  }
}

// A peer that lets its answers pile up until there is no room for more is not QEMU, which waits for
// each: it is left alone.
void Server::Send(const std::vector<std::uint8_t>& bytes) {
  std::size_t sent = 0;
  while (peer_.open() && sent < bytes.size()) {
    const ssize_t count =
        send(peer_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return peer_.Reset();
    sent += static_cast<std::size_t>(count);
  }
}

std::string Reason(const std::string& what, int reason) {
  return "cannot " + what + ": " + std::strerror(reason);
}

}  // namespace

bool ServeQemu(StateFile& state, FaultPlan& plan, const std::string& trace,
               const std::string& socket, std::string& error) {
  const StopSignals stop;
  ServerHost host(state);
  if (!host.OpenTrace(trace)) {
    error = Reason("write the trace " + trace, errno);
    return false;
  }
  Listener listener;
  if (const int reason = listener.Open(socket); reason != 0) {
    error = Reason("listen on " + socket, reason);
    return false;
  }
  BmcModel model(*state.state());
  Exchange exchange(model, plan, host);
  QemuFrontEnd front_end(model, exchange, host);
  Server server(front_end, listener.fd(), stop.fd());
  while (!host.trace_failed() && server.Step()) {
  }
  if (host.trace_failed()) error = "cannot write the trace " + trace;
  return !host.trace_failed();
}

}  // namespace bmcsim
