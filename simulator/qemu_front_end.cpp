#include "simulator/qemu_front_end.h"

#include <algorithm>
#include <numeric>

namespace bmcsim {
namespace {

// Places in a message frame.
constexpr std::size_t kSequence = 0;
constexpr std::size_t kImage = 1;
constexpr std::size_t kShortestMessage = 4;  // sequence, NetFn/LUN, command, checksum

// Bit 2 of the NetFn/LUN byte tells an answer from a request.
constexpr std::uint8_t kAnswerBit = 0x04;

// Requests of the driver itself, all of NetFn App.
constexpr std::uint8_t kGetDeviceGuid = 0x08;
constexpr std::uint8_t kSetGlobalEnables = 0x2E;
constexpr std::uint8_t kGetGlobalEnables = 0x2F;
constexpr std::uint8_t kClearMessageFlags = 0x30;
constexpr std::uint8_t kReadEventMessage = 0x35;
constexpr std::uint8_t kGetChannelInfo = 0x42;

constexpr std::uint8_t kNothingEnabled = 0x00;

bool IsMark(std::uint8_t byte) {
  return byte == kQemuMessageEnd || byte == kQemuControlEnd || byte == kQemuEscape;
}

void PutEscaped(std::uint8_t byte, std::vector<std::uint8_t>& stream) {
  if (IsMark(byte)) {
    stream.push_back(kQemuEscape);
    byte |= kQemuEscapedBit;
  }
  stream.push_back(byte);
}

std::uint8_t Sum(std::span<const std::uint8_t> bytes) {
  return std::accumulate(
      bytes.begin(), bytes.end(), std::uint8_t{0},
      [](std::uint8_t sum, std::uint8_t byte) { return static_cast<std::uint8_t>(sum + byte); });
}

std::vector<std::uint8_t> Handshake() {
  static constexpr std::uint8_t kVersion[] = {kQemuVersion, kQemuProtocolVersion};
  static constexpr std::uint8_t kInterrupt[] = {kQemuEnableInterrupt};
  static constexpr std::uint8_t kNoAttention[] = {kQemuAttentionOff};
  std::vector<std::uint8_t> stream;
  for (const std::span<const std::uint8_t> command :
       {std::span<const std::uint8_t>(kVersion), std::span<const std::uint8_t>(kInterrupt),
        std::span<const std::uint8_t>(kNoAttention)}) {
    const auto framed = EncodeQemuControl(command);
    stream.insert(stream.end(), framed.begin(), framed.end());
  }
  return stream;
}

// QEMU drops an answer with a foreign sequence number, and no longer counts the time for its own.
std::vector<std::uint8_t> EndlessWait(std::uint8_t sequence,
                                      std::span<const std::uint8_t> request) {
  const std::uint8_t image[] = {static_cast<std::uint8_t>(request[0] | kAnswerBit), request[1],
                                kOk};
  return EncodeQemuMessage(static_cast<std::uint8_t>(~sequence), image);
}

bool IsLost(const Outcome& outcome) {
  return outcome.size == 0 || outcome.send_errno != 0 || outcome.select_errno != 0 ||
         outcome.receive_errno != 0;
}

}  // namespace

QemuFrameReader::Frame QemuFrameReader::Take(std::uint8_t byte) {
  if (complete_) *this = QemuFrameReader();
  if (byte == kQemuMessageEnd || byte == kQemuControlEnd) {
    complete_ = true;
    if (broken_ || escaped_) return Frame::kNone;
    return byte == kQemuMessageEnd ? Frame::kMessage : Frame::kControl;
  }
  if (byte == kQemuEscape) {
    broken_ = broken_ || escaped_;
    escaped_ = true;
    return Frame::kNone;
  }
  if (escaped_) byte = static_cast<std::uint8_t>(byte & ~kQemuEscapedBit);
  escaped_ = false;
  if (size_ == frame_.size()) {
    broken_ = true;
  } else {
    frame_[size_++] = byte;
  }
  return Frame::kNone;
}

bool IsQemuMessage(std::span<const std::uint8_t> frame) {
  return frame.size() >= kShortestMessage && Sum(frame) == 0;
}

std::vector<std::uint8_t> EncodeQemuMessage(std::uint8_t sequence,
                                            std::span<const std::uint8_t> image) {
  image = image.first(std::min(image.size(), kQemuMaxBody));
  std::vector<std::uint8_t> stream;
  PutEscaped(sequence, stream);
  for (const std::uint8_t byte : image) PutEscaped(byte, stream);
  PutEscaped(static_cast<std::uint8_t>(-(sequence + Sum(image))), stream);
  stream.push_back(kQemuMessageEnd);
  return stream;
}

std::vector<std::uint8_t> EncodeQemuControl(std::span<const std::uint8_t> command) {
  std::vector<std::uint8_t> stream;
  for (const std::uint8_t byte : command) PutEscaped(byte, stream);
  stream.push_back(kQemuControlEnd);
  return stream;
}

void QemuFrontEnd::Connect() { reader_ = QemuFrameReader(); }

QemuReply QemuFrontEnd::Take(std::uint8_t byte) {
  switch (reader_.Take(byte)) {
    case QemuFrameReader::Frame::kControl:
      return Control(reader_.frame());
    case QemuFrameReader::Frame::kMessage:
      return Message(reader_.frame());
    case QemuFrameReader::Frame::kNone:
      break;
  }
  return {};
}

QemuReply QemuFrontEnd::Control(std::span<const std::uint8_t> command) {
  if (command.empty()) return {};
  if (command[0] == kQemuReset) enquiry_ = Enquiry::kBegins;
  return command[0] == kQemuVersion ? QemuReply{Handshake(), 0} : QemuReply{};
}

QemuReply QemuFrontEnd::Message(std::span<const std::uint8_t> message) {
  if (!IsQemuMessage(message)) return {};
  const std::uint8_t sequence = message[kSequence];
  const auto request = message.subspan(kImage, message.size() - kImage - 1);
  if (IsDriversOwn(request)) {
    Answer answer;
    AnswerDriver(request, answer);
    std::vector<std::uint8_t> image = {static_cast<std::uint8_t>(request[0] | kAnswerBit),
                                       request[1]};
    image.insert(image.end(), answer.bytes().begin(), answer.bytes().end());
    return {EncodeQemuMessage(sequence, image), 0};
  }
  exchange_.Run(request, outcome_);
  if (outcome_.wait_ms == kForever) return {EndlessWait(sequence, request), 0};
  if (IsLost(outcome_)) return {};
  return {EncodeQemuMessage(sequence, {outcome_.image.data(), outcome_.size}), outcome_.wait_ms};
}

bool QemuFrontEnd::IsDriversOwn(std::span<const std::uint8_t> request) {
  if (request[0] == kNetFnApp) {
    switch (request[1]) {
      case kGetDeviceGuid:
        if (enquiry_ == Enquiry::kBegins) enquiry_ = Enquiry::kKnowsGuid;
        return true;
      case kSetGlobalEnables:
      case kGetGlobalEnables:
      case kClearMessageFlags:
      case kReadEventMessage:
      case kGetChannelInfo:
        return true;
      case kGetDeviceId:
        if (enquiry_ == Enquiry::kOver) return false;
        if (enquiry_ == Enquiry::kKnowsGuid) enquiry_ = Enquiry::kOver;
        return true;
      default:
        break;
    }
  }
  enquiry_ = Enquiry::kOver;
  return false;
}

void QemuFrontEnd::AnswerDriver(std::span<const std::uint8_t> request, Answer& answer) {
  switch (request[1]) {
    case kGetDeviceId:
      host_.BeginRequest();
      model_.Handle(request[0], request[1], request.subspan(kImagePrefix), host_.Now(), answer);
      host_.EndRequest();
      return;
    case kGetGlobalEnables:
      answer.Start(kOk);
      return answer.Put8(kNothingEnabled);
    case kSetGlobalEnables:
    case kClearMessageFlags:
      return answer.Start(kOk);
    default:
      return answer.Start(kInvalidCommand);
  }
}

}  // namespace bmcsim
