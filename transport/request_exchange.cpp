#include "transport/request_exchange.h"

#include <algorithm>
#include <span>

#include "driver/reporting/history_log.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_format.h"
#include "transport/ipmi_driver.h"
#include "transport/ipmi_layout.h"

namespace {

constexpr unsigned short kPauseMs = 1;  // before every request
constexpr int kMaxTracedBytes = 256;

/// Stores an exchange's text for error reports and, in a test run, logs it.
void KeepImage(char (&image)[kExchangeImageSize], const char* caption,
               std::span<const unsigned char> bytes) {
  const tarvek::Text text = tarvek::HexImage(caption, bytes);
  image[text.view().copy(image, kExchangeImageSize - 1)] = '\0';
  if (gTestFlag == 1) Bmc_HistoryLog(text);
}

bool IsStandardClear(const unsigned char* req) {
  return req[kNetFnLunOffset] == kStorageRequest && req[kCommandOffset] == kClearSdrRepository;
}

int ReportDriverFailure(const PrgError& reporter, const unsigned char* req, int failure) {
  if (IsStandardClear(req)) return kReported;  // its caller speaks for it
  return reporter.Report(failure == kDriverNotOpened ? kDriverOpenFailed : kDriverSendFailed);
}

bool IsReported(unsigned char completion_code) {
  if (gErrRtyMsg == 0) return true;
  return gErrRtyMsg == 1 && completion_code != kReservationCancelled;
}

int ReportCompletionCode(const PrgError& reporter, const unsigned char* req,
                         unsigned char completion_code) {
  if (gErrMsgRepr != 0) return kReported;
  if (IsReported(completion_code)) {
    const ESTATUS status =
        req[kNetFnLunOffset] == kOemRequest ? kSparedSdrUnsupported : kBadCompletionCode;
    reporter.Report(status, tarvek::HexByte(completion_code).c_str());
  }
  return gSDRFirstPass == 0 ? kBadCompletionCode : kReported;
}

}  // namespace

int CProto::ReadWriteBMC(const unsigned char* req, int len, unsigned char* resp,
                         int* resplen) const {
  SleepMs(kPauseMs);
  KeepImage(ipmi_snd_image, "Snd: ", {req, static_cast<std::size_t>(len)});

  auto received = static_cast<unsigned char>(*resplen);
  std::fill_n(resp, received + kImageHeaderSize, static_cast<unsigned char>(0));
  const int failure = Bmc_Access2(req, static_cast<unsigned char>(len), resp, &received);
  *resplen = received;

  const int traced = std::min<int>(received, kMaxTracedBytes);
  KeepImage(ipmi_rcv_image, "Rec: ", {resp, static_cast<std::size_t>(traced)});
  if (failure != 0) {
    if (gTestFlag == 1) {
      const auto shown = static_cast<unsigned>(failure);
      Bmc_HistoryLog(tarvek::Format("Response = %02X", shown));
    }
    if (gIgnoreResponse == 0) return ReportDriverFailure(*this, req, failure);
  }
  const unsigned char completion_code = resp[kCompletionCodeOffset];
  if (completion_code != kCompletionOk) return ReportCompletionCode(*this, req, completion_code);
  return kSuccess;
}
