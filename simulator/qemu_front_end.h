#ifndef TARVEK_SIMULATOR_QEMU_FRONT_END_H_
#define TARVEK_SIMULATOR_QEMU_FRONT_END_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "simulator/bmc_model.h"
#include "simulator/exchange.h"

namespace bmcsim {

// The front end for QEMU: what stands behind its device ipmi-bmc-extern, at the other end of a
// byte stream. So a guest's own kernel driver works on the simulated BMC. Nothing of the stream
// itself (socket, time) is here.
//
// A message, in both directions, and a control command:
//
//     seq  NetFn/LUN  command  [completion code, in answers]  data ...  checksum   A0
//     code parameters ...                                                          A1
//
// The checksum makes the sum of a message's bytes 0 modulo 256. A byte A0, A1 or AA before the end
// mark, the checksum included, is sent as AA and the byte with bit 4 set. An answer repeats the
// sequence number. QEMU sends one message at a time; to one that it has no answer to in time
// (4 s), it answers C3 itself.

inline constexpr std::uint8_t kQemuMessageEnd = 0xA0;
inline constexpr std::uint8_t kQemuControlEnd = 0xA1;
inline constexpr std::uint8_t kQemuEscape = 0xAA;
inline constexpr std::uint8_t kQemuEscapedBit = 0x10;

/// The most bytes between sequence number and checksum, both excluded, that QEMU has room for.
inline constexpr std::size_t kQemuMaxBody = 300;

// Control commands that we take or give.
inline constexpr std::uint8_t kQemuVersion = 0xFF;          ///< both ways; parameter: the version
inline constexpr std::uint8_t kQemuReset = 0x04;            ///< from QEMU: the machine was reset
inline constexpr std::uint8_t kQemuAttentionOff = 0x00;     ///< to QEMU: no attention is wanted
inline constexpr std::uint8_t kQemuEnableInterrupt = 0x05;  ///< to QEMU: answers raise an interrupt
inline constexpr std::uint8_t kQemuProtocolVersion = 1;

/// Cuts a stream into frames. Whatever comes in, it never holds more than one frame of the
/// longest legal length; a frame that is longer, or whose last escape stands alone, is dropped.
class QemuFrameReader {
 public:
  enum class Frame : std::uint8_t { kNone, kMessage, kControl };

  /// Takes the stream's next byte.
  ///
  /// @return what the byte completed; the frame's bytes are frame() until the next call.
  Frame Take(std::uint8_t byte);

  /// The completed frame without escapes and end mark.
  std::span<const std::uint8_t> frame() const { return {frame_.data(), size_}; }

 private:
  std::array<std::uint8_t, kQemuMaxBody + 2> frame_{};
  std::size_t size_ = 0;
  bool complete_ = false;
  bool escaped_ = false;
  bool broken_ = false;
};

/// Tells whether a message frame has a sequence number, NetFn/LUN, command and a good checksum.
bool IsQemuMessage(std::span<const std::uint8_t> frame);

/// Frames a message.
///
/// @param image  NetFn/LUN, command and what follows; cut after kQemuMaxBody bytes.
std::vector<std::uint8_t> EncodeQemuMessage(std::uint8_t sequence,
                                            std::span<const std::uint8_t> image);

/// Frames a control command: its code and parameters.
std::vector<std::uint8_t> EncodeQemuControl(std::span<const std::uint8_t> command);

/// What is to be sent to QEMU.
struct QemuReply {
  std::vector<std::uint8_t> bytes;  ///< empty: nothing
  std::uint32_t delay_ms = 0;       ///< not before so much time has passed
};

/// The BMC's side of one connection.
///
/// Linux's driver has requests of its own, nearly all of them while it starts. They are answered
/// past the fault plan and the trace, which are about the guest's programs: the commands on events,
/// message flags, GUID and channels always; Get Device ID until the driver has asked for the GUID
/// and then once more for the device ID, or until something came that only a program asks.
///
/// To a request whose answer the fault plan loses nothing is sent, and QEMU's device answers C3 in
/// the BMC's place. A silence for ever makes QEMU wait for ever: its device is stuck from then on,
/// until the machine is reset, and the guest's driver gives up in its own time.
class QemuFrontEnd {
 public:
  /// @param model     the BMC, for what is answered past the fault plan.
  /// @param exchange  the same BMC with its fault plan and trace.
  /// @param host      as given to `exchange`. All three must live as long as this object.
  QemuFrontEnd(BmcModel& model, Exchange& exchange, ExchangeHost& host)
      : model_(model), exchange_(exchange), host_(host) {}

  /// A new connection begins: what was left of the former one's stream is forgotten.
  void Connect();

  /// Takes the stream's next byte.
  ///
  /// @return what to send, if anything.
  QemuReply Take(std::uint8_t byte);

 private:
  /// How far the guest's driver is in its start.
  enum class Enquiry : std::uint8_t { kBegins, kKnowsGuid, kOver };

  QemuReply Control(std::span<const std::uint8_t> command);
  QemuReply Message(std::span<const std::uint8_t> message);
  bool IsDriversOwn(std::span<const std::uint8_t> request);
  void AnswerDriver(std::span<const std::uint8_t> request, Answer& answer);

  BmcModel& model_;
  Exchange& exchange_;
  ExchangeHost& host_;
  QemuFrameReader reader_;
  Enquiry enquiry_ = Enquiry::kBegins;
  Outcome outcome_{};
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_QEMU_FRONT_END_H_
