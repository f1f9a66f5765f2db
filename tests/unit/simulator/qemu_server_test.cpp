// bmcsim --serve, with the test as QEMU at the other end of the socket.
#include "simulator/qemu_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "simulator/qemu_front_end.h"
#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

// Only a test that fails waits so long.
constexpr std::chrono::seconds kPatience{30};

class QemuServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "bmcsim-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
  }
  void TearDown() override {
    Hang();
    if (server_ > 0) {
      kill(server_, SIGKILL);
      waitpid(server_, nullptr, 0);
    }
    fs::remove_all(directory_);
  }

  // Starts bmcsim on the test's socket.
  void Serve(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {BMCSIM_PROGRAM, "--serve", "socket"});
    server_ = fork();
    if (server_ != 0) return;
    std::vector<char*> arguments;
    arguments.reserve(options.size() + 1);
    for (std::string& option : options) arguments.push_back(option.data());
    arguments.push_back(nullptr);
    const bool there = chdir(directory_.c_str()) == 0 && freopen("errors", "w", stderr) != nullptr;
    if (there) execv(arguments[0], arguments.data());
    _exit(99);
  }

  // The server's wait status once it has ended.
  int WaitForServer() {
    int status = 0;
    EXPECT_EQ(waitpid(server_, &status, 0), server_);
    server_ = -1;
    return status;
  }

  int Stop(int signal = SIGTERM) {
    kill(server_, signal);
    return WaitForServer();
  }

  // Connects as soon as somebody listens.
  void Connect() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (directory_ / "socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
    const auto give_up = std::chrono::steady_clock::now() + kPatience;
    Hang();
    peer_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    while (connect(peer_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      ASSERT_LT(std::chrono::steady_clock::now(), give_up);
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  void Hang() {
    if (peer_ != -1) close(peer_);
    peer_ = -1;
  }

  void Send(const std::vector<std::uint8_t>& bytes) {
    ASSERT_EQ(send(peer_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  // The next frame from the server, "" at the stream's end: "message ..." without sequence number
  // and checksum, "control ...".
  std::string Receive() {
    bmcsim::QemuFrameReader reader;
    while (true) {
      pollfd wait = {.fd = peer_, .events = POLLIN, .revents = 0};
      const auto patience = std::chrono::milliseconds(kPatience).count();
      if (poll(&wait, 1, static_cast<int>(patience)) != 1) return "nothing";
      std::uint8_t byte = 0;
      if (recv(peer_, &byte, 1, 0) != 1) return "";
      const auto kind = reader.Take(byte);
      if (kind == bmcsim::QemuFrameReader::Frame::kNone) continue;
      const Bytes frame(reader.frame().begin(), reader.frame().end());
      if (kind == bmcsim::QemuFrameReader::Frame::kControl) return "control " + ToHex(frame);
      sequence_ = frame.at(0);
      return "message " + ToHex({frame.begin() + 1, frame.end() - 1});
    }
  }

  std::string Ask(const std::string& image, std::uint8_t sequence = 1) {
    Send(bmcsim::EncodeQemuMessage(sequence, FromHex(image)));
    return Receive();
  }

  std::string Read(const std::string& name) {
    std::ifstream file(directory_ / name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  fs::path directory_;
  pid_t server_ = -1;
  int peer_ = -1;
  std::uint8_t sequence_ = 0;
};

TEST_F(QemuServerTest, ServesMachinesOneAfterTheOtherUntilItIsTold) {
  Serve({"--trace", "trace", "--records", "1"});
  Connect();
  Send(FromHex("FF 01 A1 08 3F A1"));
  EXPECT_EQ(Receive(), "control FF 01");
  EXPECT_EQ(Receive(), "control 05");
  EXPECT_EQ(Receive(), "control 00");
  EXPECT_EQ(Ask("28 22", 0xA0), "message 2C 22 00 01 00");
  EXPECT_EQ(sequence_, 0xA0);
  Connect();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 02 00");
  const int status = Stop();
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Receive(), "");
  EXPECT_FALSE(fs::exists(directory_ / "socket"));
  EXPECT_EQ(Read("trace"), "> 28 22\n< 2C 22 00 01 00\n> 28 22\n< 2C 22 00 02 00\n");
  EXPECT_EQ(Read("errors"), "");
}

TEST_F(QemuServerTest, EverySignalToStopEndsItWell) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    Serve();
    Connect();
    const int status = Stop(signal);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << signal;
    EXPECT_FALSE(fs::exists(directory_ / "socket"));
  }
}

TEST_F(QemuServerTest, DelayedAnswerComesLaterAndOthersDoNotWaitForIt) {
  Serve({"--fault", "reserve@1: delay 0.05; reserve@2: delay 0.2; reserve@4: delay 1000"});
  Connect();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 01 00");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
  Send(bmcsim::EncodeQemuMessage(2, FromHex("28 22")));
  EXPECT_EQ(Ask("28 22", 3), "message 2C 22 00 03 00");
  EXPECT_EQ(sequence_, 3);
  EXPECT_EQ(Receive(), "message 2C 22 00 02 00");
  EXPECT_EQ(sequence_, 2) << "the late answer still bears its own number";
  Send(bmcsim::EncodeQemuMessage(4, FromHex("28 22")));
  EXPECT_EQ(Ask("28 22", 5), "message 2C 22 00 05 00");
}

TEST_F(QemuServerTest, PlanCountsTheRequestsOfTheWholeService) {
  Serve({"--fault", "reserve@2: cc C1"});
  Connect();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 01 00");
  Connect();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 C1");
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 02 00");
}

TEST_F(QemuServerTest, RulesThatNeverStruckAreToldAtTheEnd) {
  for (const bool strict : {false, true}) {
    Serve({strict ? "--strict" : "--id-step=1", "--fault", "reserve@1: cancel; reserve@9: cc C1"});
    Connect();
    Ask("28 22");
    const int status = Stop();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), strict ? 125 : 0);
    EXPECT_EQ(Read("errors"), "bmcsim: the fault plan's rule 'reserve@9: cc C1' never struck\n");
  }
}

TEST_F(QemuServerTest, BmcThatIsKilledLeavesAWholeStateAndAnotherTakesItsPlace) {
  Serve({"--fault", "reserve@2: signal KILL"});
  Connect();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 01 00");
  EXPECT_EQ(Ask("28 22"), "");
  const int status = WaitForServer();
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
  EXPECT_TRUE(fs::exists(directory_ / "socket"));
  Serve();
  Connect();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 02 00");
}

TEST_F(QemuServerTest, SocketThatIsServedAlreadyIsLeftAlone) {
  Serve();
  Connect();
  const pid_t first = server_;
  Serve();
  const int status = WaitForServer();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2);
  EXPECT_EQ(Read("errors"), "bmcsim: cannot listen on socket: Address already in use\n");
  server_ = first;
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 01 00");
}

TEST_F(QemuServerTest, WhatCannotBeUsedIsTold) {
  const std::string long_path(200, 's');
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"--serve", long_path}, "bmcsim: cannot listen on " + long_path + ": File name too long\n"},
      {{"--serve", "no/where"}, "bmcsim: cannot listen on no/where: No such file or directory\n"},
      {{"--trace", "no/where"},
       "bmcsim: cannot write the trace no/where: No such file or directory\n"},
      {{"--fault", "nonsense"},
       "bmcsim: cannot read the fault plan nonsense: No such file or directory\n"},
  };
  for (const auto& [options, complaint] : rows) {
    Serve(options);
    const int status = WaitForServer();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << complaint;
    EXPECT_EQ(Read("errors"), complaint);
  }
  std::ofstream(directory_ / "socket") << "precious";
  Serve();
  EXPECT_EQ(WEXITSTATUS(WaitForServer()), 2);
  EXPECT_EQ(Read("socket"), "precious");
}

TEST_F(QemuServerTest, PeerThatNeverReadsIsLeftAlone) {
  Serve();
  Connect();
  Bytes version;
  for (int i = 0; i < 1000; ++i) version.insert(version.end(), {0xFF, 0x01, 0xA1});
  bool left = false;
  for (int i = 0; i < 10000 && !left; ++i) {
    left = send(peer_, version.data(), version.size(), MSG_NOSIGNAL) < 0;
  }
  EXPECT_TRUE(left);
  Connect();
  EXPECT_EQ(Ask("28 22"), "message 2C 22 00 01 00");
}

TEST_F(QemuServerTest, TraceThatCannotBeWrittenEndsIt) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full here";
  Serve({"--trace", "/dev/full"});
  Connect();
  Ask("28 22");
  const int status = WaitForServer();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2);
  EXPECT_THAT(Read("errors"), HasSubstr("cannot write the trace /dev/full"));
}

}  // namespace
}  // namespace bmcsim_test
