#include "transport/spared_mode.h"

#include <array>

#include "driver/reporting/single_run_lock.h"
#include "transport/ipmi_driver.h"
#include "transport/ipmi_layout.h"

namespace {

/// The last act of a run that a signal ends inside the spared mode: the BMC drops what was written
/// and goes on with the records that it had.
void DropSparedMode() {
  constexpr std::array<unsigned char, kSparedRequestLength> kRequest{kOemRequest, kOemSparedSdr,
                                                                     kSparedEndAfterFailure};
  Bmc_SendLast(kRequest.data(), static_cast<unsigned char>(kRequest.size()));
}

}  // namespace

namespace tarvek {

SparedRequest::SparedRequest(const unsigned char* req, unsigned char len) {
  if (len != kSparedRequestLength || req[kNetFnLunOffset] != kOemRequest ||
      req[kCommandOffset] != kOemSparedSdr) {
    return;
  }
  kind_ = req[kSparedPhaseOffset] == kSparedBegin ? Kind::kBegin : Kind::kEnd;
}

void SparedRequest::WentOut() const {
  if (kind_ == Kind::kBegin) SetLastAct(DropSparedMode);
  if (kind_ == Kind::kEnd) SetLastAct(nullptr);
}

void SparedRequest::CameToNothing() const {
  if (kind_ == Kind::kBegin) SetLastAct(nullptr);
}

}  // namespace tarvek
