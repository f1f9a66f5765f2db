// Lets any bytes be a BMC's answers, while the tool does to it everything that it can do.
//
// An input is a byte of options (bits, below) and a stream. The stream's bytes choose what is done
// next (DoSomething()) and how each request is answered (HostileBmc::Ask()); once it is used up,
// the driver fails, and what is being done is the last thing that is; so is the 24th.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <span>

#include "driver/reporting/progress.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "errors/prg_error.h"
#include "repository/backup_image.h"
#include "repository/programming.h"
#include "tests/fuzz/hostile_bmc.h"
#include "tests/fuzz/nowhere_files.h"
#include "tests/fuzz/require.h"
#include "transport/checksum.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace {

using tarvek_fuzz::Bytes;
using tarvek_fuzz::kMaxRepeats;
using tarvek_fuzz::Require;
using tarvek_fuzz::Stream;

// The options.
constexpr unsigned kMakersDriver = 0x01;
constexpr unsigned kSparedMode = 0x02;
constexpr unsigned kHeaderFirst = 0x04;  // the SDR file declared IPMI 1.5
constexpr unsigned kQuery = 0x08;        // a version query, else an update
constexpr unsigned kDirect = 0x10;
constexpr unsigned kTrace = 0x20;
constexpr unsigned kResultFile = 0x40;  // the first error is written to one

// Requests for each byte of the stream: an answer that is repeated, each with its reservation.
constexpr std::size_t kRequestsPerByte = 2 * (kMaxRepeats + 2);
constexpr std::size_t kRequestsOfAnOperation = 64;
constexpr std::size_t kMaxOperations = 24;  // more would only do the same again

class Programmer : public RepositoryProgrammer {
 public:
  Programmer() : RepositoryProgrammer(kProtocolId) {}
  using RepositoryProgrammer::bmcRecords;
  using RepositoryProgrammer::fileRecords;
  using RepositoryProgrammer::sparedActive;
  static void StartAfresh() { run_ = RunState(); }

  /// Loads up to seven records, most of them of a length that can be sent.
  void Load(Stream& stream) {
    FreeSDRMem(&fileRecords);
    SDRecord** end = &fileRecords;
    for (int n = stream.Next() % 8; n > 0; --n) {
      *end = new SDRecord;
      const Bytes bytes = stream.Next(kMaxRecordSize);
      std::copy(bytes.begin(), bytes.end(), (*end)->Record);
      unsigned char& body_length = (*end)->Record[kRecordBodyLengthOffset];
      if (stream.Next() % 8 != 0) {
        body_length = static_cast<unsigned char>(body_length % (kMaxRecordBody + 1));
      }
      end = &(*end)->next;
    }
  }
};

bool IsOneOf(int status, std::initializer_list<int> statuses) {
  return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
}

void ReadIdentity() {
  const int result = chk_ipmi_version();
  Require(result == 0 || result == 1, "an identity is read or not");
  if (result == 1) Require(calc_sum(ipm_ipmi, kIdentityBlockSize) == 0, "its block adds up");
}

void ReadRepository() {
  ipm_sdr_size = 0;
  if (get_new_sdr() == 0) {
    Require(ipm_sdr_size == 0, "a repository that failed is not there");
    return;
  }
  std::size_t total = 0;
  unsigned short length = 0;
  for (unsigned short i = 0; get_sdr_addr(i, &length) != nullptr; ++i) {
    total += length + std::size_t{kRecordHeaderSize};
  }
  Require(total == ipm_sdr_size, "the image is whole records");
  std::array<unsigned char, kSdrControlSize> control{};
  if (get_new_sdr_info(control.data()) == 1) {
    Require(calc_sum(control.data(), control.size()) == 0, "the control block adds up");
  }
}

void ReadBack(Programmer& programmer) {
  programmer.FreeSDRMem(&programmer.bmcRecords);
  const int status = programmer.ReadSDRFromBMC(&programmer.bmcRecords, 0, 0);
  Require(IsOneOf(status, {kSuccess, kRecordReadError, kWrongByteCountRead, kDriverSendFailed,
                           kInvalidRecordLength, kReported}),
          "the read-back has a status of its own");
  for (const SDRecord* record = programmer.bmcRecords; record != nullptr; record = record->next) {
    Require(record->Record[kRecordBodyLengthOffset] <= kMaxRecordBody, "records are short enough");
    Require(record->Record[kMaxRecordSize] == 0, "and end with a zero byte");
  }
  programmer.VerifySDRecords(programmer.bmcRecords, programmer.fileRecords);
}

void ExchangeAnything(Stream& stream) {
  const int capacity = 1 + stream.Next() % kOemCapacity;
  const Bytes request = stream.Next(std::max<std::size_t>(2, stream.Next()));
  Bytes response(static_cast<std::size_t>(capacity) + kImageHeaderSize, 0xA5);
  int length = capacity;
  const int result = bmc_io.ReadWriteBMC(request.data(), static_cast<int>(request.size()),
                                         response.data(), &length);
  Require(IsOneOf(result, {kSuccess, kBadCompletionCode, kDriverSendFailed, kReported}),
          "an exchange has a status of its own");
  Require(length >= 0 && length <= capacity + kImageHeaderSize, "and fits its buffer");
}

/// Ends the spared mode as a signal does, while up to three answers are still on their way.
void EndBySignal(tarvek_fuzz::HostileBmc& bmc) {
  constexpr std::array<unsigned char, 3> kRequest{kOemRequest, kOemSparedSdr,
                                                  kSparedEndAfterFailure};
  bmc.late_answers = bmc.stream.Next() % 4;
  Bmc_SendLast(kRequest.data(), kRequest.size());
  bmc.late_answers = 0;
}

void DoSomething(Programmer& programmer, tarvek_fuzz::HostileBmc& bmc) {
  Stream& stream = bmc.stream;
  unsigned short number = 0;
  unsigned char bytes[kResponseBufferSize] = {};
  switch (stream.Next() % 13) {
    case 0:
      return ReadIdentity();
    case 1:
      return ReadRepository();
    case 2:
      sdrBinCreate("image");
      return;
    case 3:
      programmer.setSparedSDR(stream.Next());
      return;
    case 4:
      programmer.ClearSDRRepository();
      return;
    case 5:
    case 6:
      programmer.Load(stream);
      programmer.SendBufferToBMC();
      return;
    case 7:
    case 8:
      return ReadBack(programmer);
    case 9:
      get_slot_information(&bytes[0], &bytes[1], &bytes[2]);
      get_sdr_repository_info(bytes);
      reserve_sdr_repository(&number);
      return;
    case 10:
      get_sdr(&number, bytes, &bytes[kResponseBufferSize - 1]);
      disp_cmd_err("Get SDR");
      return;
    case 11:
      return EndBySignal(bmc);
    default:
      return ExchangeAnything(stream);
  }
}

void StartAfresh(unsigned options) {
  g_eu_flg = (options & kQuery) != 0 ? kVersionQuery : kNormalUpdate;
  g_direct_flg = (options & kDirect) != 0 ? 1 : 0;
  gTestFlag = (options & kTrace) != 0 ? 1 : 0;
  gIPMIVer1pt0 = (options & kHeaderFirst) != 0;
  open_ipmi = (options & kMakersDriver) != 0 ? 0 : 1;
  PrgError::firstError = (options & kResultFile) != 0;
  gSDRFirstPass = 1;
  g_ratio = 0;
  g_inputSdrRecord = 1;
  sdrRecordSize = static_cast<int>(options);
  ipmi_err_type = ipmi_err_status = 0;
  ipm_sdr_size = 0;
  g_HW_sdr_version.clear();
  gCFGIdentifyOEMSDR.clear();
  Programmer::StartAfresh();
}

/// Does to a BMC whatever the stream says.
void UseBmc(unsigned options, std::span<const std::uint8_t> stream) {
  tarvek_fuzz::HostileBmc bmc(stream);
  Programmer programmer;
  programmer.sparedActive = (options & kSparedMode) != 0 ? 1 : 0;
  std::size_t operations = 0;
  for (; operations < kMaxOperations && !bmc.stream.AtEnd(); ++operations) {
    DoSomething(programmer, bmc);
    Require(gErrRtyMsg == 0 && gErrMsgRepr == 0, "the silence is over");
    Require(g_ratio >= 0 && g_ratio <= 90, "the progress is in its bounds");
  }
  const std::size_t most = (stream.size() + 1) * kRequestsPerByte;
  Require(bmc.requests <= most + operations * kRequestsOfAnOperation, "requests come to an end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const tarvek_fuzz::NowhereFiles files;
  StartAfresh(data[0]);
  ipmi_fd = open("/dev/null", O_RDONLY);
  gTempFile = std::fopen("/dev/null", "w");
  UseBmc(data[0], {data + 1, size - 1});
  std::fclose(gTempFile);
  gTempFile = nullptr;
  close(ipmi_fd);
  return 0;
}
