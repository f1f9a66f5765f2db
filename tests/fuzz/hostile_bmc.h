// A BMC, and the driver before it, whose answers are any bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "transport/ipmi_layout.h"

namespace tarvek_fuzz {

using Bytes = std::vector<unsigned char>;

inline constexpr std::size_t kMaxRepeats = kMaxReservationRetries + 2;  // a little more than tried

/// An input's bytes, one after the other; zeroes once they are used up.
class Stream {
 public:
  explicit Stream(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool AtEnd() const { return position_ == bytes_.size(); }
  unsigned char Next() { return AtEnd() ? 0 : bytes_[position_++]; }
  Bytes Next(std::size_t n);

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

/// Takes the driver's calls, which the linker wraps (see CMakeLists.txt), while it lives. There is
/// one at a time.
class HostileBmc {
 public:
  explicit HostileBmc(std::span<const std::uint8_t> bytes);
  ~HostileBmc();
  HostileBmc(const HostileBmc&) = delete;
  HostileBmc& operator=(const HostileBmc&) = delete;

  Stream stream;
  std::size_t requests = 0;
  Bytes answer;  // from the completion code on; whole images for the maker's driver
  bool select_fails = false;
  bool receive_fails = false;
  std::size_t late_answers = 0;  // to earlier requests, which are received first
  long message_id = 0;           // of the last request

  /// Takes a request. The stream's next byte, modulo 8, says how it is answered:
  ///   0  the driver fails when the next byte is a multiple of 4, else the last answer stands
  ///   1  the wait for the answer fails
  ///   2  the receipt fails
  ///   3  the next byte is the whole answer, a completion code
  ///   4  the reservation is cancelled, and as often again as the next byte, modulo 16, says, or
  ///      from 240 on, but once only, more often than the tool tries; every new reservation is
  ///      granted meanwhile
  ///   5  the next byte, times 5 and more, is the answer's length, and its bytes follow
  ///   6  a good completion code and as many bytes of the stream as the request asks for, with a
  ///      record's body not much longer than may be
  ///   7  the same with a body of any length
  /// @return false when the driver fails, as it does at the stream's end.
  bool Ask(std::uint8_t netfn_lun, std::uint8_t command, std::span<const std::uint8_t> data);

 private:
  void Cancel(unsigned char choice);
  void AnswerAgain(std::uint8_t command);
  void Answer(std::uint8_t netfn_lun, std::uint8_t command, std::span<const std::uint8_t> data,
              unsigned body_lengths);

  std::size_t repeats_ = 0;
  bool has_worn_out_ = false;  // once is enough: it takes hundreds of requests
};

}  // namespace tarvek_fuzz
