// One IPMI command: paced, traced, checked and, when it fails, reported.
#pragma once

#include "sdrfile/utilities/lib_funct.h"

inline unsigned char gIgnoreResponse =
    0;                                // not 0: driver failures are not reported; set by nothing
inline unsigned char gErrRtyMsg = 0;  // 1: a caller retries cancelled reservations; they are silent
inline unsigned char gErrMsgRepr = 0;    // 1: a caller probes a command; bad codes are silent
inline unsigned char gSDRFirstPass = 1;  // 0 once the read-back has read a record

inline constexpr unsigned short kProtocolId = 3232;  // what every CProto is constructed with

class CProto : public LibFunct {
 public:
  /// The value is not looked at.
  explicit CProto(unsigned short /*protocol*/) {}

  /// Sends one request, not sooner than 1 ms after the call, and checks the answer. Keeps
  /// both as text in `ipmi_snd_image` and `ipmi_rcv_image` and, with `gTestFlag`, logs them.
  ///
  /// @param req      request image, `len` bytes (2 to 255).
  /// @param resp     receives the response image; cleared first. Holds the capacity and 2 bytes.
  /// @param resplen  in: capacity behind the two header bytes, 1 to 254 (low byte used).
  ///   Out: bytes received; unchanged after a driver failure.
  /// @return 0 with completion code 0; 28 or 29 after a driver failure (reported); 81 when the
  ///   failure was reported or is silent; 26 in place of 81 for a bad completion code once
  ///   `gSDRFirstPass` is 0.
  int ReadWriteBMC(const unsigned char* req, int len, unsigned char* resp, int* resplen) const;
};

namespace tarvek {

/// Sets one of the flags that silence failures, for as long as it lives.
class FlagRaised {
 public:
  explicit FlagRaised(unsigned char& flag) : flag_(flag) { flag_ = 1; }
  ~FlagRaised() { flag_ = 0; }
  FlagRaised(const FlagRaised&) = delete;
  FlagRaised& operator=(const FlagRaised&) = delete;

 private:
  unsigned char& flag_;
};

}  // namespace tarvek
