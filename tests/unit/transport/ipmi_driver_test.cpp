#include "transport/ipmi_driver.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/no_standard_input.h"
#include "tests/unit/support/small_bmc.h"

namespace tarvek_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned long kSend = 0x8028690D;
constexpr unsigned long kReceive = 0xC030690B;
constexpr unsigned long kMaker = 0xC010F100;

/// Descriptors that the process holds.
std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

class DriverSearch : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
  }
};

struct SearchCase {
  std::set<std::string> nodes;
  std::vector<std::string> tried;
  bool maker;
};

TEST_F(DriverSearch, TakesTheFirstNodeThatOpens) {
  const SearchCase cases[] = {
      {{"/dev/ipmidev"}, {"/dev/ipmidev"}, true},
      {{"/dev/ipmidev", "/dev/ipmi0"}, {"/dev/ipmidev"}, true},
      {{"/dev/ipmidev", "/dev/ipmidev/0", "/dev/ipmi0", "/dev/ipmi/0"}, {"/dev/ipmidev"}, true},
      {{"/dev/ipmidev/0", "/dev/ipmi0"}, {"/dev/ipmidev", "/dev/ipmidev/0"}, false},
      {{"/dev/ipmi0", "/dev/ipmi/0"}, {"/dev/ipmidev", "/dev/ipmidev/0", "/dev/ipmi0"}, false},
      {{"/dev/ipmi/0"}, {"/dev/ipmidev", "/dev/ipmidev/0", "/dev/ipmi0", "/dev/ipmi/0"}, false},
  };
  for (const SearchCase& c : cases) {
    FakeMachine::Reset();
    ResetGlobals();
    g_eu_flg = kNormalUpdate;
    std::filesystem::remove("tarvek.log");
    machine().nodes = c.nodes;
    EXPECT_EQ(SearchIpmiDriver(), 0);
    EXPECT_EQ(machine().opened, c.tried);
    EXPECT_THAT(machine().open_flags, Each(O_RDONLY));
    EXPECT_EQ(kov_ipmi, c.maker ? 1 : 0);
    EXPECT_EQ(open_ipmi, c.maker ? 0 : 1);
    EXPECT_TRUE(machine().IsDevice(ipmi_fd));
    EXPECT_EQ(machine().closed, 0);
    EXPECT_THAT(LogTexts(), ElementsAre(c.maker ? "Use KOV Driver" : "Use OpenIPMI Driver"));
  }
}

TEST_F(DriverSearch, WithBothDriversTheMakersCarriesTheRequests) {
  machine().nodes = {"/dev/ipmidev", "/dev/ipmi0"};
  ASSERT_EQ(SearchIpmiDriver(), 0);
  const unsigned char request[] = {0x18, 0x01};
  std::array<unsigned char, 256> response{};
  unsigned char length = 30;
  EXPECT_EQ(Bmc_Access2(request, 2, response.data(), &length), 0);
  EXPECT_THAT(machine().ioctls, ElementsAre(kMaker));
}

TEST_F(DriverSearch, ANodeMayHaveDescriptorZero) {
  for (const char* node : {"/dev/ipmidev", "/dev/ipmi0"}) {
    FakeMachine::Reset();
    ResetGlobals();
    g_eu_flg = kNormalUpdate;
    machine().nodes = {node};
    const NoStandardInput closed;
    ASSERT_EQ(SearchIpmiDriver(), 0);
    EXPECT_EQ(ipmi_fd, 0);
    EXPECT_FALSE(closed.IsFree());
    const unsigned char request[] = {0x18, 0x01};
    std::array<unsigned char, 256> response{};
    unsigned char length = 30;
    EXPECT_EQ(Bmc_Access2(request, 2, response.data(), &length), 0) << node;
  }
}

/// For as long as it lives, the next descriptor that is opened does not fit a descriptor set.
class ManyDescriptors {
 public:
  ManyDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    constexpr rlim_t kNeeded = FD_SETSIZE + 16;
    const rlimit more{std::min(std::max(before_.rlim_cur, kNeeded), before_.rlim_max),
                      before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &more);
    for (int fd = 0; fd >= 0 && fd < FD_SETSIZE - 1;) {
      fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
      if (fd >= 0) held_.push_back(fd);
    }
  }
  ~ManyDescriptors() {
    for (const int fd : held_) close(fd);
    setrlimit(RLIMIT_NOFILE, &before_);
  }
  ManyDescriptors(const ManyDescriptors&) = delete;
  ManyDescriptors& operator=(const ManyDescriptors&) = delete;

  bool AreHeld() const { return !held_.empty() && held_.back() == FD_SETSIZE - 1; }

 private:
  rlimit before_{};
  std::vector<int> held_;
};

TEST_F(DriverSearch, ANodeThatDoesNotFitADescriptorSetIsNeverAsked) {
  const ManyDescriptors many;
  if (!many.AreHeld()) GTEST_SKIP() << "this user's processes may not have that many descriptors";
  machine().nodes = {"/dev/ipmi0"};
  ASSERT_EQ(SearchIpmiDriver(), 0);
  EXPECT_EQ(ipmi_fd, FD_SETSIZE);
  const unsigned char request[] = {0x18, 0x01};
  std::array<unsigned char, 256> response{};
  unsigned char length = 30;
  EXPECT_EQ(Bmc_Access2(request, 2, response.data(), &length), 10);
  EXPECT_THAT(machine().ioctls, IsEmpty());
  close(ipmi_fd);
}

TEST_F(DriverSearch, FailsSilentlyWhenNoNodeOpens) {
  machine().nodes.clear();
  EXPECT_EQ(SearchIpmiDriver(), -1);
  EXPECT_THAT(machine().opened,
              ElementsAre("/dev/ipmidev", "/dev/ipmidev/0", "/dev/ipmi0", "/dev/ipmi/0"));
  EXPECT_EQ(kov_ipmi, 0);
  EXPECT_EQ(open_ipmi, 0);
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(DriverSearch, ADirectoryNamedAsTheMakersNodeIsClosedAndTheNodeInsideItFound) {
  machine().directories = {"/dev/ipmidev"};
  machine().nodes = {"/dev/ipmidev/0", "/dev/ipmi0"};
  const std::ptrdiff_t before = OpenDescriptors();
  EXPECT_EQ(SearchIpmiDriver(), 0);
  EXPECT_EQ(OpenDescriptors(), before + 1);
  EXPECT_THAT(machine().opened, ElementsAre("/dev/ipmidev", "/dev/ipmidev/0"));
  EXPECT_EQ(kov_ipmi, 0);
  EXPECT_EQ(open_ipmi, 1);
  EXPECT_TRUE(machine().IsDevice(ipmi_fd));
  EXPECT_THAT(LogTexts(), ElementsAre("Use OpenIPMI Driver"));
}

TEST_F(DriverSearch, ADirectoryAloneIsNoDriver) {
  machine().directories = {"/dev/ipmidev"};
  machine().nodes.clear();
  const std::ptrdiff_t before = OpenDescriptors();
  EXPECT_EQ(SearchIpmiDriver(), -1);
  EXPECT_EQ(OpenDescriptors(), before);
}

/// One request, and everything that a caller of Bmc_Access2() can see of it.
class DriverExchange : public FreshRun {
 protected:
  static constexpr unsigned char kUntouched = 0xA5;

  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kNormalUpdate;
    response_.fill(kUntouched);
  }

  int Send(const Bytes& request, unsigned char capacity) {
    length_ = capacity;
    return Bmc_Access2(request.data(), static_cast<unsigned char>(request.size()), response_.data(),
                       &length_);
  }
  /// The first `n` bytes of the response buffer.
  Bytes Response(std::size_t n) const {
    return Bytes(response_.begin(), response_.begin() + static_cast<std::ptrdiff_t>(n));
  }
  /// True when nothing behind the first `n` bytes was written.
  bool UntouchedBehind(std::size_t n) const {
    return std::all_of(response_.begin() + static_cast<std::ptrdiff_t>(n), response_.end(),
                       [](unsigned char byte) { return byte == kUntouched; });
  }
  void AnswerWith(const Reply& reply) {
    machine().bmc = [reply](const Bytes&) { return reply; };
  }

  std::array<unsigned char, 4096> response_{};
  unsigned char length_ = 0;
};

class OpenIpmiExchange : public DriverExchange {
 protected:
  void SetUp() override {
    DriverExchange::SetUp();
    UseOpenIpmi();
    machine().opened.clear();
  }
};

TEST_F(OpenIpmiExchange, SplitsTheRequestAndRebuildsTheResponseHeader) {
  AnswerWith(Ok({0x11, 0x22}));
  const Bytes request{0x28, 0x23, 0x34, 0x12, 0x00, 0x00, 0x00, 0x05};
  EXPECT_EQ(Send(request, 30), 0);
  EXPECT_THAT(machine().requests, ElementsAre(request));
  EXPECT_THAT(machine().ioctls, ElementsAre(kSend, kReceive));
  EXPECT_THAT(machine().capacities, ElementsAre(30));
  EXPECT_EQ(length_, 5);
  EXPECT_EQ(Response(5), (Bytes{0x2C, 0x23, 0x00, 0x11, 0x22}));
  EXPECT_TRUE(UntouchedBehind(5));
}

TEST_F(OpenIpmiExchange, CarriesTheLunBesideTheNetworkFunction) {
  for (const std::uint8_t netfn_lun : Bytes{0x18, 0x19, 0x1A, 0x1B, 0x28, 0xF8, 0xFB}) {
    machine().requests.clear();
    AnswerWith(Ok());
    EXPECT_EQ(Send({netfn_lun, 0x42}, 14), 0);
    EXPECT_THAT(machine().requests, ElementsAre(Bytes{netfn_lun, 0x42}));
    EXPECT_EQ(Response(2), (Bytes{static_cast<std::uint8_t>(netfn_lun + 4), 0x42}));
  }
}

TEST_F(OpenIpmiExchange, ARequestWithoutDataIsSentWithDataLengthZero) {
  EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  EXPECT_THAT(machine().requests, ElementsAre(Bytes{0x18, 0x01}));
}

TEST_F(OpenIpmiExchange, MessageIdsCountUpAlsoOverAFailedSend) {
  EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  AnswerWith(DriverFails());
  EXPECT_EQ(Send({0x18, 0x01}, 30), 10);
  AnswerWith(Ok());
  EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  ASSERT_EQ(machine().message_ids.size(), 3U);
  EXPECT_EQ(machine().message_ids[1], machine().message_ids[0] + 1);
  EXPECT_EQ(machine().message_ids[2], machine().message_ids[0] + 2);
}

TEST_F(OpenIpmiExchange, KeepsItsDescriptorOverManyRequests) {
  const int fd = ipmi_fd;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  EXPECT_EQ(ipmi_fd, fd);
  EXPECT_THAT(machine().opened, IsEmpty());
  EXPECT_EQ(machine().closed, 0);
}

TEST_F(OpenIpmiExchange, AResponseLongerThanTheCapacityIsCutToIt) {
  AnswerWith(Ok(Bytes(40, 0x77)));
  EXPECT_EQ(Send({0x28, 0x23}, 14), 0);
  EXPECT_EQ(length_, 16);
  EXPECT_EQ(Response(4), (Bytes{0x2C, 0x23, 0x00, 0x77}));
  EXPECT_TRUE(UntouchedBehind(16));
}

TEST_F(OpenIpmiExchange, TheLengthIsOneByteSo256ReadsAsZero) {
  AnswerWith(Ok(Bytes(253, 0x77)));
  EXPECT_EQ(Send({0xF8, 0x12}, 254), 0);
  EXPECT_EQ(length_, 0);
  EXPECT_EQ(Response(3), (Bytes{0xFC, 0x12, 0x00}));
  EXPECT_TRUE(UntouchedBehind(256));
}

TEST_F(OpenIpmiExchange, AnAnswerWithoutACompletionCodeHasTheHeaderAlone) {
  Reply nothing;
  nothing.data.clear();
  AnswerWith(nothing);
  EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  EXPECT_EQ(length_, 2);
  EXPECT_TRUE(UntouchedBehind(2));
}

TEST_F(OpenIpmiExchange, EveryDriverFailureIs10AndLeavesTheLengthAlone) {
  struct Case {
    const char* name;
    Reply reply;
    std::vector<unsigned long> ioctls;
  };
  std::vector<Case> cases{{"send", {}, {kSend}},
                          {"select", {}, {kSend}},
                          {"descriptor not ready", {}, {kSend}},
                          {"receive", {}, {kSend, kReceive}},
                          {"refused cut", Ok(Bytes(40, 0x77)), {kSend, kReceive}}};
  cases[0].reply.send_fails = true;
  cases[1].reply.select_fails = true;
  cases[2].reply.select_is_empty = true;
  cases[3].reply.receive_fails = true;
  cases[4].reply.truncation_fails = true;
  for (const Case& c : cases) {
    machine().ioctls.clear();
    AnswerWith(c.reply);
    EXPECT_EQ(Send({0x28, 0x23}, 14), 10) << c.name;
    EXPECT_EQ(length_, 14) << c.name;
    EXPECT_EQ(machine().ioctls, c.ioctls) << c.name;
  }
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
}

TEST_F(OpenIpmiExchange, ItsHalfFailsWith1) {
  AnswerWith(DriverFails());
  const unsigned char request[] = {0x18, 0x01};
  unsigned char length = 30;
  EXPECT_EQ(ipmiAccess_openIpmi(request, 2, response_.data(), &length), 1);
  EXPECT_EQ(length, 30);
  AnswerWith(Ok());
  EXPECT_EQ(ipmiAccess_openIpmi(request, 2, response_.data(), &length), 0);
  EXPECT_EQ(length, 3);
}

TEST_F(OpenIpmiExchange, ADescriptorThatDoesNotFitADescriptorSetFails) {
  for (const int fd : {FD_SETSIZE, FD_SETSIZE + 1, 100000, -1}) {
    ipmi_fd = fd;
    EXPECT_EQ(Send({0x18, 0x01}, 30), 10) << fd;
  }
  EXPECT_THAT(machine().ioctls, IsEmpty());
}

TEST_F(OpenIpmiExchange, ARequestShorterThanItsHeaderIsNotSent) {
  for (const unsigned char length : Bytes{0, 1}) {
    const unsigned char request[] = {0x18, 0x01};
    length_ = 30;
    EXPECT_EQ(Bmc_Access2(request, length, response_.data(), &length_), 10);
  }
  EXPECT_THAT(machine().ioctls, IsEmpty());
}

TEST_F(OpenIpmiExchange, TheLongestRequestPasses) {
  Bytes request(255);
  for (std::size_t i = 0; i < request.size(); ++i) request[i] = static_cast<std::uint8_t>(i);
  EXPECT_EQ(Send(request, 254), 0);
  EXPECT_THAT(machine().requests, ElementsAre(request));
}

class MakerExchange : public DriverExchange {
 protected:
  void SetUp() override {
    DriverExchange::SetUp();
    UseMakerDriver();
  }
};

TEST_F(MakerExchange, SendsTheRawNetFnByteAndTakesTheWholeImageFromTheDriver) {
  AnswerWith(Ok({0x11, 0x22}));
  const Bytes request{0x29, 0x23, 0x34, 0x12, 0x00, 0x00, 0x00, 0x05};
  EXPECT_EQ(Send(request, 30), 0);
  EXPECT_THAT(machine().requests, ElementsAre(request));
  EXPECT_THAT(machine().ioctls, ElementsAre(kMaker));
  EXPECT_EQ(length_, 5);
  EXPECT_EQ(Response(5), (Bytes{0x2D, 0x23, 0x00, 0x11, 0x22}));
  EXPECT_TRUE(UntouchedBehind(5));
}

TEST_F(MakerExchange, TheResponseHeaderIsTheDriversOwn) {
  AnswerWith(WholeImage(Bytes{0xAB, 0xCD, 0x00}));
  EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  EXPECT_EQ(Response(3), (Bytes{0xAB, 0xCD, 0x00}));
}

TEST_F(MakerExchange, OpensAndClosesTheNodeAroundEveryRequest) {
  const std::ptrdiff_t before = OpenDescriptors();
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
    EXPECT_EQ(machine().closed, i);
  }
  EXPECT_THAT(machine().opened, ElementsAre("/dev/ipmidev", "/dev/ipmidev", "/dev/ipmidev"));
  EXPECT_THAT(machine().open_flags, Each(O_RDONLY));
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(MakerExchange, AnIoctlResultOfZeroIsAnEmptyResponse) {
  AnswerWith(WholeImage({}));
  EXPECT_EQ(Send({0x18, 0x01}, 30), 0);
  EXPECT_EQ(length_, 0);
  EXPECT_TRUE(UntouchedBehind(0));
}

TEST_F(MakerExchange, AnIoctlFailureIs10AndStillClosesTheNode) {
  AnswerWith(DriverFails());
  const std::ptrdiff_t before = OpenDescriptors();
  EXPECT_EQ(Send({0x18, 0x01}, 30), 10);
  EXPECT_EQ(length_, 30);
  EXPECT_TRUE(UntouchedBehind(0));
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(MakerExchange, ANodeThatHasGoneShowsInTheIoctl) {
  machine().nodes.clear();
  EXPECT_EQ(Send({0x18, 0x01}, 30), 10);
  EXPECT_THAT(machine().requests, IsEmpty());
}

TEST_F(MakerExchange, AResponseLongerThanTheBufferIsCutToIt) {
  for (const std::size_t length : {17U, 300U, 2048U}) {
    response_.fill(kUntouched);
    AnswerWith(WholeImage(Bytes(length, 0x77)));
    EXPECT_EQ(Send({0x18, 0x01}, 14), 0);
    EXPECT_EQ(length_, 16) << length;
    EXPECT_EQ(Response(16), Bytes(16, 0x77)) << length;
    EXPECT_TRUE(UntouchedBehind(16)) << length;
  }
}

TEST_F(MakerExchange, TheLengthIsOneByteSo256ReadsAsZero) {
  AnswerWith(WholeImage(Bytes(2000, 0x77)));
  EXPECT_EQ(Send({0xF8, 0x12}, 254), 0);
  EXPECT_EQ(length_, 0);
  EXPECT_EQ(Response(256), Bytes(256, 0x77));
  EXPECT_TRUE(UntouchedBehind(256));
}

TEST_F(MakerExchange, TheLongestRequestPasses) {
  const Bytes request(255, 0x18);
  EXPECT_EQ(Send(request, 254), 0);
  EXPECT_THAT(machine().requests, ElementsAre(request));
}

// --- The request of a run that a signal ends ---

const Bytes kLastRequest{0xF8, 0x10, 0x01};

class LastRequest : public DriverExchange {
 protected:
  static void SendLast() {
    Bmc_SendLast(kLastRequest.data(), static_cast<unsigned char>(kLastRequest.size()));
  }
};

TEST_F(LastRequest, GoesThroughOpenIpmiUntilItsOwnAnswerHasCome) {
  UseOpenIpmi();
  machine().earlier_ids = {41, 42};
  SendLast();
  EXPECT_THAT(machine().requests, ElementsAre(kLastRequest));
  EXPECT_THAT(machine().ioctls, ElementsAre(kSend, kReceive, kReceive, kReceive));
  EXPECT_THAT(machine().message_ids, ElementsAre(0));
  EXPECT_THAT(machine().capacities, Each(254));
}

TEST_F(LastRequest, GoesThroughTheMakersDriverOnADescriptorOfItsOwn) {
  UseMakerDriver();
  SendLast();
  EXPECT_THAT(machine().requests, ElementsAre(kLastRequest));
  EXPECT_THAT(machine().ioctls, ElementsAre(kMaker));
  EXPECT_EQ(machine().closed, 1);
}

TEST_F(LastRequest, GivesUpWhenTheDriverFails) {
  UseOpenIpmi();
  Reply reply;
  reply.send_fails = true;
  AnswerWith(reply);
  SendLast();
  EXPECT_THAT(machine().ioctls, ElementsAre(kSend));
  reply = {};
  reply.select_fails = true;
  AnswerWith(reply);
  SendLast();
  EXPECT_THAT(machine().ioctls, ElementsAre(kSend, kSend));
  reply = {};
  reply.receive_fails = true;
  AnswerWith(reply);
  SendLast();
  EXPECT_THAT(machine().ioctls, ElementsAre(kSend, kSend, kSend, kReceive));
  ipmi_fd = -1;
  SendLast();
  EXPECT_EQ(machine().ioctls.size(), 4U);
}

TEST_F(LastRequest, TakesAnAnswerOfAnyLength) {
  const auto long_answer = [](const Bytes&) { return Ok(Bytes(2000, 0xEE)); };
  UseOpenIpmi();
  machine().bmc = long_answer;
  SendLast();
  UseMakerDriver();
  SendLast();
  EXPECT_EQ(machine().requests.size(), 2U);
}

}  // namespace
}  // namespace tarvek_test
