#include "simulator/qemu_front_end.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::FaultPlan;
using bmcsim::QemuFrameReader;
using bmcsim::QemuReply;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Frame = QemuFrameReader::Frame;

// The frames that a stream in hex holds: "message 00 18 01", "control FF 01".
std::vector<std::string> Frames(const std::string& stream) {
  QemuFrameReader reader;
  std::vector<std::string> frames;
  for (const std::uint8_t byte : FromHex(stream)) {
    const Frame kind = reader.Take(byte);
    if (kind == Frame::kNone) continue;
    frames.push_back((kind == Frame::kMessage ? "message " : "control ") +
                     ToHex({reader.frame().begin(), reader.frame().end()}));
  }
  return frames;
}

TEST(QemuFramingTest, StreamIsCutAtItsMarks) {
  EXPECT_THAT(Frames("FF 01 A1 08 3F A1 00 18 01 E7 A0"),
              ElementsAre("control FF 01", "control 08 3F", "message 00 18 01 E7"));
  EXPECT_THAT(Frames("00 18 01 E7"), IsEmpty());
  EXPECT_THAT(Frames("A0 A1"), ElementsAre("message ", "control "));
}

TEST(QemuFramingTest, EscapedBytesComeBack) {
  EXPECT_THAT(Frames("AA B0 AA B1 AA BA 10 B0 A0"), ElementsAre("message A0 A1 AA 10 B0"));
  EXPECT_THAT(Frames("AA FF A1"), ElementsAre("control EF"));
}

TEST(QemuFramingTest, EscapeThatStandsAloneSpoilsItsFrameOnly) {
  EXPECT_THAT(Frames("01 AA A0 02 A0"), ElementsAre("message 02"));
  EXPECT_THAT(Frames("01 AA AA B0 A0 02 A0"), ElementsAre("message 02"));
  EXPECT_THAT(Frames("AA A1 02 A1"), ElementsAre("control 02"));
}

TEST(QemuFramingTest, FrameThatIsTooLongIsDropped) {
  constexpr std::size_t kLongest = bmcsim::kQemuMaxBody + 2;
  Bytes stream(kLongest, 0x55);
  stream.push_back(bmcsim::kQemuMessageEnd);
  EXPECT_THAT(Frames(ToHex(stream)), ElementsAre("message " + ToHex(Bytes(kLongest, 0x55))));
  stream.insert(stream.begin(), 0x55);
  EXPECT_THAT(Frames(ToHex(stream) + " 02 A0"), ElementsAre("message 02"));
  EXPECT_THAT(Frames(ToHex(Bytes(100000, 0x55)) + " A1 02 A0"), ElementsAre("message 02"));
}

TEST(QemuFramingTest, MessagesHaveFourBytesAndAChecksum) {
  for (const auto& [frame, good] : {std::pair{"00 18 01 E7", true},
                                    {"05 28 22 B1", true},
                                    {"00 18 01 E8", false},
                                    {"01 18 01 E7", false},
                                    {"00 18 E8", false},
                                    {"00", false},
                                    {"", false}}) {
    EXPECT_EQ(bmcsim::IsQemuMessage(FromHex(frame)), good) << frame;
  }
}

TEST(QemuFramingTest, MessagesAreEncodedWithChecksumAndEscapes) {
  EXPECT_EQ(ToHex(bmcsim::EncodeQemuMessage(0x07, FromHex("1C 01 00"))), "07 1C 01 00 DC A0");
  EXPECT_EQ(ToHex(bmcsim::EncodeQemuMessage(0xA0, FromHex("1C 01 A1 AA"))),
            "AA B0 1C 01 AA B1 AA BA F8 A0");
  // The checksum itself may be a mark.
  EXPECT_EQ(ToHex(bmcsim::EncodeQemuMessage(0x43, FromHex("1C 01 00"))), "43 1C 01 00 AA B0 A0");
  EXPECT_EQ(ToHex(bmcsim::EncodeQemuControl(FromHex("FF 01"))), "FF 01 A1");
  EXPECT_EQ(ToHex(bmcsim::EncodeQemuControl(FromHex("AA"))), "AA BA A1");
}

TEST(QemuFramingTest, MessagesAreCutToWhatQemuHasRoomFor) {
  const Bytes stream = bmcsim::EncodeQemuMessage(1, Bytes(2000, 0x11));
  EXPECT_EQ(stream.size(), 1 + bmcsim::kQemuMaxBody + 1 + 1);
}

TEST(QemuFramingTest, WhatIsEncodedIsReadBack) {
  for (unsigned sequence = 0; sequence < 0x100; ++sequence) {
    Bytes image;
    for (unsigned i = 0; i < 0x100; ++i) image.push_back(static_cast<std::uint8_t>(i + sequence));
    QemuFrameReader reader;
    Frame kind = Frame::kNone;
    const Bytes stream = bmcsim::EncodeQemuMessage(static_cast<std::uint8_t>(sequence), image);
    for (const std::uint8_t byte : stream) {
      ASSERT_EQ(kind, Frame::kNone);
      kind = reader.Take(byte);
    }
    ASSERT_EQ(kind, Frame::kMessage);
    ASSERT_TRUE(bmcsim::IsQemuMessage(reader.frame()));
    ASSERT_EQ(reader.frame()[0], sequence);
    const auto body = reader.frame().subspan(1, image.size());
    ASSERT_EQ(Bytes(body.begin(), body.end()), image);
  }
}

/// A front end without anything outside.
class SilentHost final : public bmcsim::ExchangeHost {
 public:
  void Raise(int signal) override { raised = signal; }
  void BeginRequest() override { ++requests; }
  void EndRequest() override {}
  std::uint32_t Now() override { return 0x40000000; }
  void Trace(std::span<const char> lines) override { trace.append(lines.data(), lines.size()); }
  bool tracing() const override { return true; }

  std::string trace;
  int raised = 0;
  int requests = 0;
};

class QemuFrontEndTest : public BmcFixture {
 protected:
  QemuFrontEndTest() { Plan(""); }

  void Plan(const std::string& text) {
    std::string error;
    ASSERT_TRUE(plan_->Parse(text, error)) << error;
    exchange_ = std::make_unique<bmcsim::Exchange>(*model_, *plan_, host_);
    front_end_ = std::make_unique<bmcsim::QemuFrontEnd>(*model_, *exchange_, host_);
    host_.trace.clear();
  }

  // What a stream in hex is answered with.
  std::string Send(const std::string& stream) {
    Bytes answers;
    for (const std::uint8_t byte : FromHex(stream)) {
      const QemuReply reply = front_end_->Take(byte);
      answers.insert(answers.end(), reply.bytes.begin(), reply.bytes.end());
      if (!reply.bytes.empty()) delay_ms_ = reply.delay_ms;
    }
    return ToHex(answers);
  }

  // What a request image in hex is answered with: the answer's image in hex, "-" for none.
  std::string Request(const std::string& image, std::uint8_t sequence = 0x21) {
    const std::string stream = Send(ToHex(bmcsim::EncodeQemuMessage(sequence, FromHex(image))));
    QemuFrameReader reader;
    for (const std::uint8_t byte : FromHex(stream)) {
      if (reader.Take(byte) != Frame::kMessage) continue;
      EXPECT_TRUE(bmcsim::IsQemuMessage(reader.frame()));
      answered_sequence_ = reader.frame()[0];
      const auto body = reader.frame().subspan(1, reader.frame().size() - 2);
      return ToHex({body.begin(), body.end()});
    }
    return "-";
  }

  // The requests with which Linux's driver starts.
  void StartDriver() {
    for (const char* request :
         {"18 01", "18 2F", "18 2F", "18 2E 01", "18 2F", "18 2E 04", "18 30 08", "18 08", "18 2F",
          "18 2E 07", "18 35", "18 01", "18 42 00", "18 42 00"}) {
      Request(request);
    }
  }

  std::unique_ptr<FaultPlan> plan_ = std::make_unique<FaultPlan>();
  SilentHost host_;
  std::unique_ptr<bmcsim::Exchange> exchange_;
  std::unique_ptr<bmcsim::QemuFrontEnd> front_end_;
  std::uint32_t delay_ms_ = 0;
  std::uint8_t answered_sequence_ = 0;
};

constexpr char kDeviceId[] = "1C 01 00 20 01 01 10 51 9F 77 00 00 A3 01 00 00 00 00";

TEST_F(QemuFrontEndTest, VersionIsAnsweredWithVersionInterruptAndNoAttention) {
  EXPECT_EQ(Send("FF 01 A1"), "FF 01 A1 05 A1 00 A1");
  EXPECT_EQ(Send("08 3F A1"), "");
  EXPECT_EQ(Send("A1"), "");
}

TEST_F(QemuFrontEndTest, RequestIsAnsweredUnderItsSequenceNumber) {
  StartDriver();
  EXPECT_EQ(Send("A5 28 22 11 A0"), "A5 2C 22 00 01 00 0C A0");
  EXPECT_EQ(Request("28 22", 0xAA), "2C 22 00 02 00");
  EXPECT_EQ(answered_sequence_, 0xAA);
  EXPECT_EQ(delay_ms_, 0U);
  EXPECT_EQ(host_.trace, "> 28 22\n< 2C 22 00 01 00\n> 28 22\n< 2C 22 00 02 00\n");
}

TEST_F(QemuFrontEndTest, AnswerKeepsTheLun) {
  EXPECT_EQ(Request("29 22"), "2D 22 C2");
  EXPECT_EQ(Request("FB 7F"), "FF 7F C1");
}

TEST_F(QemuFrontEndTest, DriversOwnRequestsAreNeitherTracedNorFaulted) {
  Plan("any: cc FF");
  EXPECT_EQ(Request("18 01"), kDeviceId);
  EXPECT_EQ(Request("18 2F"), "1C 2F 00 00");
  EXPECT_EQ(Request("18 2E 01"), "1C 2E 00");
  EXPECT_EQ(Request("18 30 08"), "1C 30 00");
  EXPECT_EQ(Request("18 08"), "1C 08 C1");
  EXPECT_EQ(Request("18 35"), "1C 35 C1");
  EXPECT_EQ(Request("18 01"), kDeviceId);
  EXPECT_EQ(Request("18 42 00"), "1C 42 C1");
  EXPECT_EQ(host_.trace, "");
  EXPECT_EQ(exchange_->requests(), 0U);

  EXPECT_EQ(Request("18 01"), "1C 01 FF") << "a program's";
  EXPECT_EQ(Request("18 2F"), "1C 2F 00 00") << "the driver's, later";
  EXPECT_EQ(exchange_->requests(), 1U);
}

TEST_F(QemuFrontEndTest, ReconnectedBmcKnowsAProgramByItsFirstOtherRequest) {
  EXPECT_EQ(Request("18 01"), kDeviceId);
  EXPECT_EQ(host_.trace, "");
  Request("28 20");
  host_.trace.clear();
  EXPECT_EQ(Request("18 01"), kDeviceId);
  EXPECT_EQ(host_.trace, "> 18 01\n< " + std::string(kDeviceId) + "\n");
}

TEST_F(QemuFrontEndTest, ResetOfTheMachineStartsItsDriverAnew) {
  StartDriver();
  Request("18 01");
  EXPECT_NE(host_.trace, "");
  host_.trace.clear();
  EXPECT_EQ(Send("04 A1"), "");
  StartDriver();
  EXPECT_EQ(host_.trace, "");
  Request("18 01");
  EXPECT_NE(host_.trace, "");
}

TEST_F(QemuFrontEndTest, NewConnectionForgetsHalfAFrame) {
  EXPECT_EQ(Send("00 18 01 E7"), "");
  front_end_->Connect();
  EXPECT_EQ(Send("A0"), "");
  EXPECT_EQ(Send("11 22 33"), "");
  front_end_->Connect();
  EXPECT_EQ(Request("28 22"), "2C 22 00 01 00");
}

TEST_F(QemuFrontEndTest, DelayedAnswerIsHandedOverWithItsDelay) {
  Plan("reserve: delay 0.25");
  EXPECT_EQ(Request("28 22"), "2C 22 00 01 00");
  EXPECT_EQ(delay_ms_, 250U);
}

TEST_F(QemuFrontEndTest, LostAnswersAreNotSent) {
  for (const char* plan : {"reserve: silence 2", "reserve: send-error", "reserve: select-error",
                           "reserve: receive-error", "reserve: length 0"}) {
    Plan(plan);
    EXPECT_EQ(Request("28 22"), "-") << plan;
  }
  Plan("reserve: silence 2, cc C3");
  EXPECT_EQ(Request("28 22"), "2C 22 C3");
  EXPECT_EQ(delay_ms_, 2000U);
}

TEST_F(QemuFrontEndTest, EndlessSilenceIsAnAnswerThatNobodyWaitsFor) {
  Plan("reserve: silence");
  EXPECT_EQ(Request("28 22", 0x21), "2C 22 00");
  EXPECT_EQ(answered_sequence_, 0xDE);
  EXPECT_EQ(control().reservation, 0) << "the BMC did nothing";
  EXPECT_EQ(host_.trace, "> 28 22\n< - ! silence\n");
}

TEST_F(QemuFrontEndTest, FaultsChangeTheAnswer) {
  Plan("reserve@1: netfn 18, command 44; reserve@2: cc C5; reserve@3: length 400");
  EXPECT_EQ(Request("28 22"), "18 44 00 01 00");
  EXPECT_EQ(Request("28 22"), "2C 22 C5");
  const Bytes answer = FromHex(Request("28 22"));
  EXPECT_EQ(answer.size(), bmcsim::kQemuMaxBody);
}

TEST_F(QemuFrontEndTest, SignalStrikesTheHost) {
  Plan("reserve: signal KILL");
  Request("28 22");
  EXPECT_EQ(host_.raised, 9);
}

TEST_F(QemuFrontEndTest, GarbageIsPassedOver) {
  EXPECT_EQ(Send("A0 A0 A1 00 A0 18 01 A0 00 18 01 E8 A0 AA A0 AA AA AA A1 55 55 A1"), "");
  EXPECT_EQ(host_.requests, 0);
  EXPECT_EQ(Request("28 22"), "2C 22 00 01 00");
}

TEST_F(QemuFrontEndTest, NoStreamWhateverUpsetsIt) {
  std::uint32_t random = 1;
  constexpr std::uint8_t kLikely[] = {0xA0, 0xA1, 0xAA, 0xFF, 0x18, 0x28, 0xF8, 0x04};
  for (int i = 0; i < 200000; ++i) {
    random = random * 1664525U + 1013904223U;
    const std::uint32_t number = random >> 8U;
    const bool likely = (number & 0x300) == 0;
    front_end_->Take(likely ? kLikely[number % std::size(kLikely)]
                            : static_cast<std::uint8_t>(number));
  }
  front_end_->Connect();
  StartDriver();
  EXPECT_EQ(Request("18 01"), kDeviceId);
}

}  // namespace
}  // namespace bmcsim_test
