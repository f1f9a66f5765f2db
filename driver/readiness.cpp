#include "driver/readiness.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <string_view>

#include "driver/reporting/history_log.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/text_file.h"
#include "driver/reporting/text_format.h"
#include "transport/ipmi_driver.h"
#include "transport/ipmi_layout.h"

namespace {

constexpr const char* kReady = nullptr;  // the code of a check that found nothing wrong
constexpr int kListLineSize = 256;       // bytes, the terminator included

constexpr std::array<unsigned char, kImageHeaderSize> kDeviceIdRequest{kAppRequest, kGetDeviceId};

struct Exchange {
  unsigned char response[kResponseBufferSize] = {};
  unsigned char length = kReadinessCapacity;
  int failure = 0;
};

const char* DriverFailureCode(int failure) {
  if (failure == kDriverFailure) return "SDRC05";
  // Callers take any code but "OK" and "Complete" as a failure, the empty one included.
  return failure == kDriverNotOpened ? "SDRC03" : "";
}

/// @return the code of what is wrong with the answer, or kReady.
const char* CheckAnswer(const Exchange& exchange) {
  if (exchange.failure != 0) return DriverFailureCode(exchange.failure);
  const bool good_length =
      exchange.length == kDeviceIdLength || exchange.length == kDeviceIdLengthWithAux;
  const bool good_code = exchange.response[kCompletionCodeOffset] == kCompletionOk;
  return good_length && good_code ? kReady : "SDRC05";
}

bool HasHardwareId(std::FILE* list, std::string_view hardware_id) {
  std::array<char, kListLineSize> buffer{};
  while (std::fgets(buffer.data(), kListLineSize, list) != nullptr) {
    const std::string_view line(buffer.data());
    std::transform(line.begin(), line.end(), buffer.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (line.find(hardware_id) != std::string_view::npos) return true;
  }
  return false;
}

/// @return the code of why the board is not taken, or kReady.
const char* CheckHardwareId(const unsigned char* response) {
  const tarvek::Text hardware_id =
      tarvek::Format("%02x%02x", response[kProductIdHighOffset], response[kProductIdLowOffset]);
  std::FILE* const list = tarvek::OpenInput(mchk_fil_filename);
  if (list == nullptr) return "SDRC06";
  const bool found = HasHardwareId(list, hardware_id);
  std::fclose(list);
  return found ? kReady : "SDRC04";
}

}  // namespace

int GetBmcStatus() {
  Exchange exchange;
  exchange.failure = Bmc_Access2(kDeviceIdRequest.data(), kDeviceIdRequest.size(),
                                 exchange.response, &exchange.length);
  const char* code = CheckAnswer(exchange);
  if (code == kReady) code = CheckHardwareId(exchange.response);
  if (code == kReady) {
    Bmc_HistoryLog("GetBmcStatus() success.");
    return 0;
  }
  OutputDataCreate(code);
  if (std::string_view(code) != "SDRC06") {
    OutputBmcAccessLog(kDeviceIdRequest.data(), exchange.response, kDeviceIdRequest.size(),
                       exchange.length);
  }
  return 1;
}
