#include "simulator/driver_calls.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <span>

#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::MakerBlock;
using bmcsim::OpenIpmiQueue;
using bmcsim::Outcome;

class QuietHost final : public bmcsim::ExchangeHost {
 public:
  void Raise(int /*signal*/) override {}
  void BeginRequest() override {}
  void EndRequest() override {}
  std::uint32_t Now() override { return 0; }
  void Trace(std::span<const char> /*lines*/) override { ADD_FAILURE(); }
  bool tracing() const override { return false; }
};

class DriverCallsTest : public BmcFixture {
 protected:
  DriverCallsTest() { Plan(""); }

  void Plan(const std::string& text) {
    std::string error;
    ASSERT_TRUE(plan_->Parse(text, error)) << error;
  }

  std::unique_ptr<bmcsim::FaultPlan> plan_ = std::make_unique<bmcsim::FaultPlan>();
  QuietHost host_;
  bmcsim::Exchange exchange_{*model_, *plan_, host_};
  Outcome outcome_{};
};

class OpenIpmiTest : public DriverCallsTest {
 public:
  OpenIpmiTest() {
    address_.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address_.channel = IPMI_BMC_CHANNEL;
    request_.addr = reinterpret_cast<unsigned char*>(&address_);
    request_.addr_len = sizeof address_;
    request_.msgid = 42;
    Message("18 01");
    received_.addr = received_address_.data();
    received_.msg.data = data_.data();
    Rearm(data_.size());
  }

  void Message(const std::string& image) {
    image_ = FromHex(image);
    address_.lun = image_[0] & 3;
    request_.msg.netfn = image_[0] >> 2;
    request_.msg.cmd = image_[1];
    request_.msg.data = image_.data() + 2;
    request_.msg.data_len = static_cast<unsigned short>(image_.size() - 2);
  }

  void Rearm(std::size_t room) {
    received_.addr_len = static_cast<unsigned>(received_address_.size());
    received_.msg.data_len = static_cast<unsigned short>(room);
    data_.fill(0xEE);
  }

  int Send() { return queue_->Send(&request_, exchange_, outcome_); }
  int Receive(bool truncate = true) { return queue_->Receive(&received_, truncate); }
  std::string Data() { return ToHex({data_.begin(), data_.begin() + received_.msg.data_len}); }

  std::unique_ptr<OpenIpmiQueue> queue_ = std::make_unique<OpenIpmiQueue>();
  Bytes image_;
  ipmi_system_interface_addr address_{};
  ipmi_req request_{};
  std::array<std::uint8_t, 40> received_address_{};
  std::array<std::uint8_t, 300> data_{};
  ipmi_recv received_{};
};

TEST_F(OpenIpmiTest, AnswerComesAsTheKernelHandsItOver) {
  Message("28 20");
  ASSERT_EQ(Send(), 0);
  ASSERT_EQ(Receive(), 0);
  EXPECT_EQ(received_.recv_type, IPMI_RESPONSE_RECV_TYPE);
  EXPECT_EQ(received_.msgid, 42);
  EXPECT_EQ(received_.msg.netfn, 0x0B);
  EXPECT_EQ(received_.msg.cmd, 0x20);
  EXPECT_EQ(Data(), "00 51 00 00 FE FF 00 00 00 00 00 00 00 00 02");
  EXPECT_EQ(received_.addr_len, 8U);
  ipmi_system_interface_addr address = {};
  std::memcpy(&address, received_address_.data(), sizeof address);
  EXPECT_EQ(address.addr_type, IPMI_SYSTEM_INTERFACE_ADDR_TYPE);
  EXPECT_EQ(address.channel, IPMI_BMC_CHANNEL);
  EXPECT_EQ(address.lun, 0);
  EXPECT_EQ(Receive(), -EAGAIN);
}

TEST_F(OpenIpmiTest, LunOfTheAddressIsTheRequests) {
  Message("19 01");
  ASSERT_EQ(Send(), 0);
  ASSERT_EQ(Receive(), 0);
  EXPECT_EQ(Data(), "C2");
  EXPECT_EQ(received_address_[6], 1);
}

TEST_F(OpenIpmiTest, EmptyQueueGivesEagain) {
  EXPECT_TRUE(queue_->empty());
  EXPECT_EQ(Receive(), -EAGAIN);
  ASSERT_EQ(Send(), 0);
  EXPECT_FALSE(queue_->empty());
  queue_->Clear();
  EXPECT_EQ(Receive(), -EAGAIN) << "an answer to a closed descriptor is lost";
}

TEST_F(OpenIpmiTest, AnswersComeInTheOrderOfTheRequests) {
  Message("28 22");
  for (long id = 1; id <= 8; ++id) {
    request_.msgid = id;
    ASSERT_EQ(Send(), 0);
  }
  EXPECT_EQ(Send(), -EBUSY);
  for (long id = 1; id <= 8; ++id) {
    Rearm(data_.size());
    ASSERT_EQ(Receive(), 0);
    EXPECT_EQ(received_.msgid, id);
    EXPECT_EQ(Data(), "00 0" + std::to_string(id) + " 00");
  }
  EXPECT_EQ(Send(), 0) << "there is room again";
}

TEST_F(OpenIpmiTest, RefusesWhatTheKernelRefuses) {
  struct Row {
    const char* what;
    void (*spoil)(OpenIpmiTest&);
    int result;
  };
  const Row rows[] = {
      {"a short address", [](OpenIpmiTest& t) { t.request_.addr_len = 7; }, -EINVAL},
      {"no address", [](OpenIpmiTest& t) { t.request_.addr_len = 0; }, -EINVAL},
      {"a long address", [](OpenIpmiTest& t) { t.request_.addr_len = sizeof(ipmi_addr) + 1; },
       -EINVAL},
      {"a null address", [](OpenIpmiTest& t) { t.request_.addr = nullptr; }, -EFAULT},
      {"another channel", [](OpenIpmiTest& t) { t.address_.channel = 0; }, -EINVAL},
      {"another type", [](OpenIpmiTest& t) { t.address_.addr_type = 1; }, -EINVAL},
      {"LUN 4", [](OpenIpmiTest& t) { t.address_.lun = 4; }, -EINVAL},
      {"an odd NetFn", [](OpenIpmiTest& t) { t.request_.msg.netfn = 7; }, -EINVAL},
      {"a NetFn beyond 6 bits", [](OpenIpmiTest& t) { t.request_.msg.netfn = 0x40; }, -EINVAL},
      {"too much data",
       [](OpenIpmiTest& t) {
         t.image_.resize(273);
         t.request_.msg.data = t.image_.data() + 2;
         t.request_.msg.data_len = 271;
       },
       -EMSGSIZE},
  };
  for (const Row& row : rows) {
    Message("18 01");
    address_.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address_.channel = IPMI_BMC_CHANNEL;
    request_.addr = reinterpret_cast<unsigned char*>(&address_);
    request_.addr_len = sizeof address_;
    ASSERT_EQ(Send(), 0);
    queue_->Clear();
    row.spoil(*this);
    EXPECT_EQ(Send(), row.result) << row.what;
    EXPECT_TRUE(queue_->empty()) << row.what;
  }
  EXPECT_EQ(queue_->Send(nullptr, exchange_, outcome_), -EFAULT);
}

TEST_F(OpenIpmiTest, TheLongestRequestAndOneWithoutDataAreTaken) {
  image_.assign(272, 0);
  request_.msg.data = image_.data();
  request_.msg.data_len = 270;
  EXPECT_EQ(Send(), 0);
  request_.msg.data = nullptr;
  EXPECT_EQ(Send(), 0);
  ASSERT_EQ(Receive(), 0);
  EXPECT_EQ(Data(), "C7");
  Rearm(data_.size());
  ASSERT_EQ(Receive(), 0);
  EXPECT_EQ(Data().substr(0, 5), "00 20") << "a null pointer is no data, whatever the length says";
}

TEST_F(OpenIpmiTest, TruncatedReceiveCutsCopiesAndFails) {
  ASSERT_EQ(Send(), 0);
  Rearm(4);
  EXPECT_EQ(Receive(true), -EMSGSIZE);
  EXPECT_EQ(received_.msg.data_len, 4);
  EXPECT_EQ(Data(), "00 20 01 01");
  EXPECT_EQ(data_[4], 0xEE);
  EXPECT_EQ(received_.msgid, 42);
  EXPECT_EQ(Receive(true), -EAGAIN) << "the rest is gone";
}

TEST_F(OpenIpmiTest, PlainReceiveWithTooLittleRoomKeepsTheAnswer) {
  ASSERT_EQ(Send(), 0);
  Rearm(4);
  EXPECT_EQ(Receive(false), -EMSGSIZE);
  EXPECT_EQ(data_[0], 0xEE);
  Rearm(16);
  EXPECT_EQ(Receive(false), 0);
  EXPECT_EQ(received_.msg.data_len, 16);
}

TEST_F(OpenIpmiTest, BadReceiveBuffersKeepTheAnswer) {
  ASSERT_EQ(Send(), 0);
  EXPECT_EQ(queue_->Receive(nullptr, true), -EFAULT);
  received_.addr_len = 7;
  EXPECT_EQ(Receive(), -EINVAL);
  Rearm(data_.size());
  received_.addr = nullptr;
  EXPECT_EQ(Receive(), -EFAULT);
  received_.addr = received_address_.data();
  received_.msg.data = nullptr;
  EXPECT_EQ(Receive(), -EFAULT);
  received_.msg.data = data_.data();
  EXPECT_EQ(Receive(), 0);
}

TEST_F(OpenIpmiTest, LongestAnswerIsTheKernelsLongestMessage) {
  Plan("any: length 2048");
  ASSERT_EQ(Send(), 0);
  ASSERT_EQ(Receive(), 0);
  EXPECT_EQ(received_.msg.data_len, IPMI_MAX_MSG_LENGTH);
}

TEST_F(OpenIpmiTest, AnswersWithoutPrefixOrDataAreEmpty) {
  for (const char* length : {"0", "1", "2"}) {
    Plan(std::string("any: length ") + length);
    ASSERT_EQ(Send(), 0);
    Rearm(data_.size());
    ASSERT_EQ(Receive(), 0);
    EXPECT_EQ(received_.msg.data_len, 0);
  }
}

TEST_F(OpenIpmiTest, AnAnswerOfNothingBearsNothingOfTheOneBefore) {
  Plan("2: length 0");
  Message("19 01");
  ASSERT_EQ(Send(), 0);
  ASSERT_EQ(Send(), 0);
  ASSERT_EQ(Receive(), 0);
  Rearm(data_.size());
  ASSERT_EQ(Receive(), 0);
  EXPECT_EQ(received_.msg.netfn, 0);
  EXPECT_EQ(received_.msg.cmd, 0);
  EXPECT_EQ(received_address_[6], 0);
}

TEST_F(OpenIpmiTest, PlannedErrorsComeWhereTheyBelong) {
  Plan("1: send-error ENODEV; 2: select-error EINTR; 3: receive-error ENXIO; 4: select-error EIO");
  EXPECT_EQ(Send(), -ENODEV);
  EXPECT_TRUE(queue_->empty());

  ASSERT_EQ(Send(), 0);
  EXPECT_EQ(queue_->TakeSelectError(), EINTR);
  EXPECT_TRUE(queue_->empty()) << "the answer is lost with it";

  ASSERT_EQ(Send(), 0);
  EXPECT_EQ(queue_->TakeSelectError(), 0);
  EXPECT_EQ(Receive(), -ENXIO);
  EXPECT_TRUE(queue_->empty());

  ASSERT_EQ(Send(), 0);
  EXPECT_EQ(Receive(), -EIO) << "who does not wait meets it at once";
}

TEST_F(OpenIpmiTest, DelayedAnswerIsNotThereBeforeItsTime) {
  Plan("1: delay 2; 2: silence");
  ASSERT_EQ(Send(), 0);
  EXPECT_EQ(queue_->wait_ms(), 2000U);
  EXPECT_EQ(Receive(), -EAGAIN);
  queue_->WaitIsOver();
  EXPECT_EQ(Receive(), 0);
  ASSERT_EQ(Send(), 0);
  EXPECT_EQ(queue_->wait_ms(), bmcsim::kForever);
}

class MakerTest : public DriverCallsTest {
 protected:
  int Call(const std::string& image) {
    const Bytes bytes = FromHex(image);
    buffer_.fill(0xEE);
    std::copy(bytes.begin() + 2, bytes.end(), buffer_.begin());
    block_ = {bytes[0], bytes[1], {}, static_cast<std::int32_t>(bytes.size() - 2), buffer_.data()};
    const int refused = bmcsim::MakerSend(&block_, exchange_, outcome_);
    return refused != 0 ? refused : bmcsim::MakerFinish(block_, outcome_);
  }

  std::string Buffer(int length) { return ToHex({buffer_.begin(), buffer_.begin() + length}); }

  std::array<std::uint8_t, bmcsim::kMakerBufferBytes> buffer_{};
  MakerBlock block_{};
};

TEST_F(MakerTest, WholeAnswerImageComesInTheBuffer) {
  ASSERT_EQ(Call("28 22"), 5);
  EXPECT_EQ(Buffer(6), "2C 22 00 01 00 EE");
  ASSERT_EQ(Call("28 23 00 00 00 00 00 05"), 3);
  EXPECT_EQ(Buffer(3), "2C 23 CB");
}

TEST_F(MakerTest, NetFnAndLengthAreThePlans) {
  Plan("1: netfn 99; 2: length 0; 3: length 1; 4: length 2048");
  EXPECT_EQ(Call("18 01"), 18);
  EXPECT_EQ(buffer_[0], 0x99);
  EXPECT_EQ(Call("18 01"), 0);
  EXPECT_EQ(buffer_[0], 0xEE);
  EXPECT_EQ(Call("18 01"), 1);
  EXPECT_EQ(Call("18 01"), 2048);
  EXPECT_EQ(buffer_[2047], 0);
}

TEST_F(MakerTest, EveryPlannedErrorFailsTheIoctl) {
  Plan("1: send-error ENODEV; 2: select-error; 3: receive-error EINTR; 4: silence 1");
  EXPECT_EQ(Call("18 01"), -ENODEV);
  EXPECT_EQ(Call("18 01"), -EIO);
  EXPECT_EQ(Call("18 01"), -EINTR);
  EXPECT_EQ(Call("18 01"), -ETIMEDOUT);
  EXPECT_EQ(Call("18 01"), 18);
}

TEST_F(MakerTest, UnusableBlocksAreRefused) {
  EXPECT_EQ(bmcsim::MakerSend(nullptr, exchange_, outcome_), -EFAULT);
  MakerBlock block = {0x18, 0x01, {}, 0, nullptr};
  EXPECT_EQ(bmcsim::MakerSend(&block, exchange_, outcome_), -EFAULT);
  block.buffer = buffer_.data();
  for (const std::int32_t length : {-1, 2049, INT32_MAX, INT32_MIN}) {
    block.data_length = length;
    EXPECT_EQ(bmcsim::MakerSend(&block, exchange_, outcome_), -EINVAL) << length;
  }
  block.data_length = 2048;
  EXPECT_EQ(bmcsim::MakerSend(&block, exchange_, outcome_), 0);
}

}  // namespace
}  // namespace bmcsim_test
