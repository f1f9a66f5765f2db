// The one routine that reports a numbered error.
#pragma once

#include "errors/catalogue.h"

// The last request and response as text, kept by the request exchange for error reports:
// "Snd: " or "Rec: " and every byte as "%02X ".
inline constexpr int kExchangeImageSize = 1000;
inline char ipmi_snd_image[kExchangeImageSize] = {};
inline char ipmi_rcv_image[kExchangeImageSize] = {};

/// The kind of data an error concerns. Every caller passes kFruSdr; it is not looked at.
enum ERR_TYPE_FRUSDR : int { kFruSdr = 0 };

class PrgError {
 public:
  /// Reports an error once: "Error, " and the catalogue text to the history log, then, for a
  /// failure that involves the BMC, the last request and response; the first error of an
  /// unattended run becomes its result code, "SDR" and the status in three digits.
  ///
  /// @param status  the error. 0 and the two statuses that mean "reported already" write nothing.
  /// @param type    not looked at.
  /// @param number  line or record number, for the texts that show one.
  /// @param detail  text for the statuses that take one; may be null.
  /// @return 0 for 0; 81 for 80, 81 and every status outside the catalogue (reported as the bare
  ///   "Error, "); otherwise `status`.
  ESTATUS Display(ESTATUS status, ERR_TYPE_FRUSDR type, unsigned short number,
                  const char* detail) const;

  /// Display() for an error without a number, or without number and detail.
  ESTATUS Report(ESTATUS status, const char* detail = nullptr) const {
    return Display(status, kFruSdr, 0, detail);
  }

  /// True until an error was recorded in a result file; never set again within a run.
  static inline bool firstError = true;
};

inline PrgError pErr;  // through which code outside the class chain reports
