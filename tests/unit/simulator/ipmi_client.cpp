// A small program that talks to an IPMI driver as the tool does, for the tests to run on the
// simulated BMC. Its arguments are steps, done one after the other; each prints one line:
//
//   open PATH            opens a node read-only: "open D", or "open errno E"
//   open-as NAME PATH    likewise with another of the C library's calls, e.g. openat64
//   create NAME PATH     makes a file of mode 0604 with that call: "create D"
//   stat                 what kind of file the descriptor is: "stat device|directory|other"
//   close
//   ask "18 01"          a request over OpenIPMI and its answer: "ask LENGTH 1C 01 00 ..."
//   ask-cut N "18 01"    likewise with room for N bytes behind NetFn/LUN and command
//   maker "18 01"        a request over the maker's driver and its answer
//   receive              IPMICTL_RECEIVE_MSG_TRUNC with nothing sent before
//   send FIELD VALUE     a Get Device ID with one field of the request spoilt
//   select-both          a select without waiting on the node and on standard input
//   select MS            waits for an answer at most so long: "select 0" or "select 1"
//   ioctl XXXX           some other ioctl
//   usleep N, sleep N, nanosleep N, until N (clock_nanosleep to an absolute time)
//   time                 seconds of time(), clock_gettime and gettimeofday: "time A B C"
//   cpu-time             seconds of CPU time that the program has used: "cpu-time N"
//   elapsed              milliseconds of the real clock since the start
//   say TEXT
//   survive              handles SIGTERM and SIGUSR1 by saying "caught"
//   pester N "28 22"     the request N times while a handler that an interval timer calls makes it,
//   too,
//                        on a node of its own; then "pester N", or at once an answer that is none
//   pester-once "28 22"  the handler alone
//   loop N "28 22"       a request N times over OpenIPMI (0: for ever), then "loop N"
//   update               a whole update of the repository, for ever

#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// What open becomes in a program with _FORTIFY_SOURCE; the names are the C library's.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
int __openat_2(int directory, const char* path, int flags);
int __openat64_2(int directory, const char* path, int flags);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMakerBuffer = 2048;
constexpr std::uint16_t kRoom = 254;

struct MakerBlock {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::uint8_t padding[2];
  std::int32_t data_length;
  std::uint8_t* buffer;
};
constexpr unsigned long kMakerIoctl = _IOWR(0xF1, 0, MakerBlock);

int g_fd = -1;
long g_sequence = 1;

Bytes ParseHex(const char* text) {
  Bytes bytes;
  char* end = nullptr;
  for (unsigned long byte = std::strtoul(text, &end, 16); end != text;
       byte = std::strtoul(text, &end, 16)) {
    bytes.push_back(static_cast<std::uint8_t>(byte));
    text = end;
  }
  return bytes;
}

void PrintBytes(const char* what, const Bytes& bytes) {
  std::printf("%s %zu", what, bytes.size());
  for (const std::uint8_t byte : bytes) std::printf(" %02X", byte);
  std::printf("\n");
}

void PrintErrno(const char* what) { std::printf("%s errno %d\n", what, errno); }

int OpenAs(std::string_view call, const char* path, int flags) {
  constexpr mode_t kMode = 0604;
  if (call == "open") return open(path, flags, kMode);
  if (call == "open64") return open64(path, flags, kMode);
  if (call == "openat") return openat(AT_FDCWD, path, flags, kMode);
  if (call == "openat64") return openat64(AT_FDCWD, path, flags, kMode);
  if (call == "__open_2") return __open_2(path, flags);
  if (call == "__open64_2") return __open64_2(path, flags);
  if (call == "__openat_2") return __openat_2(AT_FDCWD, path, flags);
  if (call == "__openat64_2") return __openat64_2(AT_FDCWD, path, flags);
  return -1;
}

struct Request {
  explicit Request(Bytes& image) {
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    address.lun = image[0] & 3;
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof address;
    request.msgid = g_sequence++;
    request.msg.netfn = image[0] >> 2;
    request.msg.cmd = image[1];
    request.msg.data = image.data() + 2;
    request.msg.data_len = static_cast<unsigned short>(image.size() - 2);
  }
  ipmi_system_interface_addr address{};
  ipmi_req request{};
};

bool Await(timeval* timeout, int& ready) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(g_fd, &set);
  ready = select(g_fd + 1, &set, nullptr, nullptr, timeout);
  return ready > 0 && FD_ISSET(g_fd, &set);
}

struct Received {
  int result = 0;
  ipmi_recv message{};
  Bytes image;
};

Received Receive(std::uint16_t room) {
  Received received;
  std::array<std::uint8_t, 40> address{};
  Bytes data(room + std::size_t{1});
  received.message.addr = address.data();
  received.message.addr_len = address.size();
  received.message.msg.data = data.data();
  received.message.msg.data_len = room;
  received.result = ioctl(g_fd, IPMICTL_RECEIVE_MSG_TRUNC, &received.message);
  if (received.result < 0 && errno != EMSGSIZE) return received;
  received.image = {static_cast<std::uint8_t>(received.message.msg.netfn << 2),
                    received.message.msg.cmd};
  received.image.insert(received.image.end(), data.begin(),
                        data.begin() + received.message.msg.data_len);
  return received;
}

bool Exchange(Bytes image, std::uint16_t room, Received& received) {
  Request request(image);
  if (ioctl(g_fd, IPMICTL_SEND_COMMAND, &request.request) < 0) {
    PrintErrno("send");
    return false;
  }
  int ready = 0;
  if (!Await(nullptr, ready)) {
    PrintErrno("select");
    return false;
  }
  received = Receive(room);
  if (received.image.empty()) {
    PrintErrno("receive");
    return false;
  }
  return true;
}

void Ask(Bytes image, std::uint16_t room) {
  Received received;
  if (!Exchange(std::move(image), room, received)) return;
  if (received.result < 0) PrintErrno("receive");
  PrintBytes("ask", received.image);
}

void AskMaker(const Bytes& image) {
  std::array<std::uint8_t, kMakerBuffer> buffer{};
  std::memcpy(buffer.data(), image.data() + 2, image.size() - 2);
  MakerBlock block = {
      image[0], image[1], {}, static_cast<std::int32_t>(image.size() - 2), buffer.data()};
  const int length = ioctl(g_fd, kMakerIoctl, &block);
  if (length < 0) return PrintErrno("maker");
  PrintBytes("maker", Bytes(buffer.begin(), buffer.begin() + length));
}

void SendSpoilt(std::string_view field, long value) {
  Bytes image = {0x18, 0x01};
  Request request(image);
  if (field == "address-length") request.request.addr_len = static_cast<unsigned>(value);
  if (field == "channel") request.address.channel = static_cast<short>(value);
  if (field == "type") request.address.addr_type = static_cast<int>(value);
  if (field == "lun") request.address.lun = static_cast<unsigned char>(value);
  if (field == "netfn") request.request.msg.netfn = static_cast<unsigned char>(value);
  if (field == "length") {
    image.resize(static_cast<std::size_t>(value) + 2);
    request.request.msg.data = image.data() + 2;
    request.request.msg.data_len = static_cast<unsigned short>(value);
  }
  const int result = ioctl(g_fd, IPMICTL_SEND_COMMAND, &request.request);
  result < 0 ? PrintErrno("send") : static_cast<void>(std::printf("send %d\n", result));
}

long RealMilliseconds() {
  timespec now = {};
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

void PrintTime() {
  timespec spec = {};
  timeval value = {};
  clock_gettime(CLOCK_REALTIME, &spec);
  gettimeofday(&value, nullptr);
  std::printf("time %ld %ld %ld\n", static_cast<long>(time(nullptr)),
              static_cast<long>(spec.tv_sec), static_cast<long>(value.tv_sec));
}

void SleepUntil(long seconds) {
  timespec at = {};
  clock_gettime(CLOCK_MONOTONIC, &at);
  at.tv_sec += seconds;
  clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr);
}

extern "C" void Caught(int signal) {
  const char text[] = "caught\n";
  if (write(STDOUT_FILENO, text, sizeof text - 1) < 0 || signal == 0) _exit(1);
}

// Whether the request is answered well by the driver of the node that `g_fd` has open.
bool AnsweredWell(const Bytes& image) {
  std::array<std::uint8_t, kMakerBuffer> buffer{};
  std::memcpy(buffer.data(), image.data() + 2, image.size() - 2);
  MakerBlock block = {
      image[0], image[1], {}, static_cast<std::int32_t>(image.size() - 2), buffer.data()};
  const int length = ioctl(g_fd, kMakerIoctl, &block);
  return length > 2 && buffer[0] == (image[0] | 4) && buffer[1] == image[1] && buffer[2] == 0;
}

Bytes g_pestering;                          // NOLINT(cert-err58-cpp): a handler's request
volatile std::sig_atomic_t g_wrong = 0;     // answers to it that were none
volatile std::sig_atomic_t g_pestered = 0;  // while the handler is to be called again

// One signal at a time: what is slow is not kept from getting on.
void PesterSoon() {
  const itimerval soon = {{0, 0}, {0, 50}};
  setitimer(ITIMER_REAL, &soon, nullptr);
}

extern "C" void Pester(int /*signal*/) {
  const int interrupted = g_fd;
  const int reason = errno;
  g_fd = open("/dev/ipmidev", O_RDONLY);
  if (g_fd == -1 || !AnsweredWell(g_pestering)) g_wrong = 1;
  close(g_fd);
  g_fd = interrupted;
  if (g_pestered != 0) PesterSoon();
  errno = reason;
}

void EndurePestering(long count, const Bytes& image) {
  g_pestering = image;
  (void)std::signal(SIGALRM, Pester);
  g_pestered = 1;
  PesterSoon();
  long done = 0;
  while (done < count && g_wrong == 0 && AnsweredWell(image)) ++done;
  g_pestered = 0;
  const itimerval never = {};
  setitimer(ITIMER_REAL, &never, nullptr);
  std::printf("pester %ld\n", done);
}

std::uint8_t CompletionCode(const Bytes& request, Bytes& answer) {
  Received received;
  if (!Exchange(request, kRoom, received)) std::exit(1);
  answer = received.image;
  return answer.size() > 2 ? answer[2] : 0xFF;
}

// One update of ten records whose bytes all bear `mark`.
bool UpdateOnce(std::uint8_t mark) {
  Bytes answer;
  if (CompletionCode({0xF8, 0x10, 0x00}, answer) != 0) return false;
  if (CompletionCode({0xF8, 0x11}, answer) != 0) return false;
  const std::uint8_t low = answer[3];
  const std::uint8_t high = answer[4];
  CompletionCode({0xF8, 0x14, low, high, 'C', 'L', 'R', 0xAA}, answer);
  do {
    CompletionCode({0xF8, 0x14, low, high, 'C', 'L', 'R', 0x00}, answer);
  } while (answer[3] != 1);
  for (int i = 0; i < 10; ++i) {
    Bytes piece = {0xF8, 0x13, low, high, 0, 0, 0, 0, 0, 0, 0x51, 0xC0, 27};
    piece.insert(piece.end(), 11, mark);
    if (CompletionCode(piece, answer) != 0) return false;
    Bytes rest = {0xF8, 0x13, low, high, answer[3], answer[4], 16, 1};
    rest.insert(rest.end(), 16, mark);
    if (CompletionCode(rest, answer) != 0) return false;
  }
  return CompletionCode({0xF8, 0x10, 0x02}, answer) == 0;
}

/// The steps that are left, and how one is done.
class Script {
 public:
  explicit Script(std::span<char* const> words) : words_(words) {}

  bool Run() {
    while (!words_.empty()) {
      if (!Step(Next())) return false;
      (void)std::fflush(stdout);
    }
    return true;
  }

 private:
  const char* Next() {
    if (words_.empty()) std::exit(2);
    const char* word = words_.front();
    words_ = words_.subspan(1);
    return word;
  }
  long NextNumber() { return std::strtol(Next(), nullptr, 10); }

  bool Step(std::string_view step) { return DriverStep(step) || TimeStep(step) || LoopStep(step); }

  bool DriverStep(std::string_view step) {
    if (step == "open") {
      g_fd = open(Next(), O_RDONLY);
      g_fd == -1 ? PrintErrno("open") : static_cast<void>(std::printf("open %d\n", g_fd));
    } else if (step == "open-as") {
      const char* call = Next();
      g_fd = OpenAs(call, Next(), O_RDONLY);
      g_fd == -1 ? PrintErrno("open") : static_cast<void>(std::printf("open %d\n", g_fd));
    } else if (step == "create") {
      const char* call = Next();
      umask(0);
      g_fd = OpenAs(call, Next(), O_WRONLY | O_CREAT | O_EXCL);
      g_fd == -1 ? PrintErrno("create") : static_cast<void>(std::printf("create %d\n", g_fd));
    } else if (step == "stat") {
      struct stat64 status = {};
      const bool known = fstat64(g_fd, &status) == 0;
      std::printf("stat %s\n", known && S_ISCHR(status.st_mode)   ? "device"
                               : known && S_ISDIR(status.st_mode) ? "directory"
                                                                  : "other");
    } else if (step == "close") {
      std::printf("close %d\n", close(g_fd));
    } else if (step == "ask") {
      Ask(ParseHex(Next()), kRoom);
    } else if (step == "ask-cut") {
      const auto room = static_cast<std::uint16_t>(NextNumber());
      Ask(ParseHex(Next()), room);
    } else if (step == "maker") {
      AskMaker(ParseHex(Next()));
    } else if (step == "receive") {
      const Received received = Receive(kRoom);
      received.result < 0 ? PrintErrno("receive") : PrintBytes("receive", received.image);
    } else if (step == "send") {
      const char* field = Next();
      SendSpoilt(field, NextNumber());
    } else if (step == "select") {
      const long milliseconds = NextNumber();
      timeval timeout = {milliseconds / 1000, milliseconds % 1000 * 1000};
      int ready = 0;
      Await(&timeout, ready);
      ready < 0 ? PrintErrno("select") : static_cast<void>(std::printf("select %d\n", ready));
    } else if (step == "select-both") {
      fd_set set;
      FD_ZERO(&set);
      FD_SET(g_fd, &set);
      FD_SET(STDIN_FILENO, &set);
      timeval at_once = {};
      std::printf("select %d\n", select(g_fd + 1, &set, nullptr, nullptr, &at_once));
    } else if (step == "ioctl") {
      if (ioctl(g_fd, std::strtoul(Next(), nullptr, 16), nullptr) < 0) PrintErrno("ioctl");
    } else {
      return false;
    }
    return true;
  }

  bool TimeStep(std::string_view step) {
    if (step == "usleep") {
      usleep(static_cast<useconds_t>(NextNumber()));
    } else if (step == "sleep") {
      sleep(static_cast<unsigned>(NextNumber()));
    } else if (step == "nanosleep") {
      const timespec wait = {NextNumber(), 0};
      nanosleep(&wait, nullptr);
    } else if (step == "until") {
      SleepUntil(NextNumber());
    } else if (step == "time") {
      PrintTime();
    } else if (step == "cpu-time") {
      timespec used = {};
      clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
      std::printf("cpu-time %ld\n", static_cast<long>(used.tv_sec));
    } else if (step == "elapsed") {
      std::printf("elapsed %ld\n", RealMilliseconds() - start_);
    } else {
      return false;
    }
    return true;
  }

  bool LoopStep(std::string_view step) {
    if (step == "say") {
      std::printf("%s\n", Next());
    } else if (step == "survive") {
      (void)std::signal(SIGTERM, Caught);
      (void)std::signal(SIGUSR1, Caught);
    } else if (step == "pester") {
      const long count = NextNumber();
      EndurePestering(count, ParseHex(Next()));
    } else if (step == "pester-once") {
      g_pestering = ParseHex(Next());
      (void)std::signal(SIGALRM, Pester);
    } else if (step == "loop") {
      const long count = NextNumber();
      const Bytes image = ParseHex(Next());
      Bytes answer;
      for (long i = 0; i < count || count == 0; ++i) CompletionCode(image, answer);
      std::printf("loop %ld\n", count);
    } else if (step == "update") {
      for (std::uint8_t mark = 1; UpdateOnce(mark);
           mark = static_cast<std::uint8_t>(mark % 9 + 1)) {
      }
      return false;
    } else {
      return false;
    }
    return true;
  }

  std::span<char* const> words_;
  long start_ = RealMilliseconds();
};

}  // namespace

int main(int argc, char** argv) {
  Script script(std::span<char* const>(argv, static_cast<std::size_t>(argc)).subspan(1));
  return script.Run() ? 0 : 1;
}
