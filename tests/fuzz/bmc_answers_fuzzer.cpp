// Lets any bytes be a BMC's answers, while the tool does to it everything that it can do.
//
// An input is a byte of options and a stream. The stream's bytes choose what is done next and how
// each request is answered; once it is used up, the driver fails.
#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "driver/result_files.h"
#include "driver/run_settings.h"
#include "errors/prg_error.h"
#include "repository/backup_image.h"
#include "repository/programming.h"
#include "tests/fuzz/scratch_directory.h"
#include "transport/checksum.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace {

using tarvek_fuzz::Require;
using Bytes = std::vector<unsigned char>;

// The options.
constexpr unsigned kMakersDriver = 0x01;
constexpr unsigned kSparedMode = 0x02;
constexpr unsigned kHeaderFirst = 0x04;  // the SDR file declared IPMI 1.5
constexpr unsigned kQuery = 0x08;        // a version query, else an update
constexpr unsigned kDirect = 0x10;
constexpr unsigned kTrace = 0x20;

constexpr std::size_t kLargestAnswer = 2048;
constexpr std::size_t kRepeats = 16;  // one byte of the stream lets a whole retry count pass
// Requests for each byte of the stream: an answer that is repeated, each with its reservation.
constexpr std::size_t kRequestsPerByte = 2 * (255 * kRepeats + 2);
constexpr std::size_t kRequestsOfAnOperation = 64;

/// The input's bytes, one after the other; zeroes once they are used up.
class Stream {
 public:
  explicit Stream(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool AtEnd() const { return position_ == bytes_.size(); }
  unsigned char Next() { return AtEnd() ? 0 : bytes_[position_++]; }
  Bytes Next(std::size_t n) {
    Bytes bytes(n);
    for (unsigned char& byte : bytes) byte = Next();
    return bytes;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

/// The BMC and the driver before it.
class HostileBmc {
 public:
  explicit HostileBmc(std::span<const std::uint8_t> bytes) : stream(bytes) {}

  Stream stream;
  std::size_t requests = 0;
  Bytes answer;  // from the completion code on; whole images for the maker's driver
  bool select_fails = false;
  bool receive_fails = false;

  /// Takes a request.
  /// @return false when the driver fails.
  bool Ask(std::uint8_t netfn_lun, std::uint8_t command, std::span<const std::uint8_t> data) {
    ++requests;
    select_fails = receive_fails = false;
    if (repeats_ > 0 && !IsReserve(command)) {
      --repeats_;
      answer = {kReservationCancelled};
      return true;
    }
    if (stream.AtEnd()) return false;
    switch (const unsigned char choice = stream.Next(); choice % 8) {
      case 0:
        return stream.Next() % 4 != 0;
      case 1:
        select_fails = true;
        return true;
      case 2:
        receive_fails = true;
        return true;
      case 3:
        answer = {stream.Next()};
        return true;
      case 4:
        repeats_ = stream.Next() * kRepeats;
        answer = {kReservationCancelled};
        return true;
      case 5:
        answer = stream.Next(std::min(stream.Next() * std::size_t{choice}, kLargestAnswer));
        return true;
      default:
        Answer(netfn_lun, command, data);
        return true;
    }
  }

 private:
  static bool IsReserve(std::uint8_t command) {
    return command == kReserveSdrRepository || command == kOemReserve;
  }

  /// An answer of the right length with bytes of the stream.
  void Answer(std::uint8_t netfn_lun, std::uint8_t command, std::span<const std::uint8_t> data) {
    std::size_t length = 2;
    if (netfn_lun == kAppRequest) length = stream.Next() % 2 == 0 ? 11 : 15;
    if (netfn_lun == kStorageRequest && command == kGetSdrRepositoryInfo) length = 14;
    if (netfn_lun == kOemRequest && command == kOemGetSlotInformation) length = 3;
    if (netfn_lun == kOemRequest && command == kOemClearSdrRepository) length = 1;
    const bool reads = command == kGetSdr || command == kOemGetSdr;
    if (reads && data.size() == 6) length = 2U + data[5];
    answer = stream.Next(length);
    answer.insert(answer.begin(), kCompletionOk);
    constexpr std::size_t kBodyLength = 1 + 2 + 4;  // behind completion code and next record ID
    if (reads && answer.size() > kBodyLength && data[4] == 0) answer[kBodyLength] %= 80;
  }

  std::size_t repeats_ = 0;
};

HostileBmc* bmc = nullptr;

int FailWith(int error) {
  errno = error;
  return -1;
}

// What the maker's driver exchanges in one ioctl.
struct MakerBlock {
  std::uint8_t netfn_lun;
  std::uint8_t command;
  std::uint8_t padding[2];
  std::int32_t length;
  std::uint8_t* data;
};
constexpr unsigned long kMakerExchange = 0xC010F100;

int MakersIoctl(MakerBlock* block) {
  const std::span<const std::uint8_t> data(block->data, static_cast<std::size_t>(block->length));
  if (!bmc->Ask(block->netfn_lun, block->command, data)) return FailWith(EIO);
  if (bmc->select_fails || bmc->receive_fails) return FailWith(EIO);
  // Most answers get the header that belongs to them; others are all that the driver gives.
  Bytes image = bmc->answer;
  if (image.size() < kLargestAnswer / 2) {
    const std::uint8_t header[] = {static_cast<std::uint8_t>(block->netfn_lun + 4), block->command};
    image.insert(image.begin(), std::begin(header), std::end(header));
  }
  std::copy(image.begin(), image.end(), block->data);
  return static_cast<int>(image.size());
}

int Send(const ipmi_req* request) {
  const auto* const address = reinterpret_cast<ipmi_system_interface_addr*>(request->addr);
  const auto netfn_lun = static_cast<std::uint8_t>((request->msg.netfn << 2) | address->lun);
  return bmc->Ask(netfn_lun, request->msg.cmd, {request->msg.data, request->msg.data_len})
             ? 0
             : FailWith(EIO);
}

/// Fills the room there is and tells the whole answer's length, as a careless driver might.
int Receive(ipmi_recv* answer) {
  if (bmc->receive_fails) return FailWith(EIO);
  const std::size_t room = answer->msg.data_len;
  std::copy_n(bmc->answer.begin(), std::min(room, bmc->answer.size()), answer->msg.data);
  answer->msg.data_len = static_cast<unsigned short>(bmc->answer.size());
  return 0;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker fixes the names
extern "C" {
int __wrap_ioctl(int /*fd*/, unsigned long code, ...) {
  std::va_list arguments;
  va_start(arguments, code);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (code == kMakerExchange) return MakersIoctl(static_cast<MakerBlock*>(argument));
  if (code == IPMICTL_SEND_COMMAND) return Send(static_cast<ipmi_req*>(argument));
  return Receive(static_cast<ipmi_recv*>(argument));
}

int __wrap_select(int /*count*/, fd_set* /*read*/, fd_set* /*write*/, fd_set* /*except*/,
                  timeval* /*timeout*/) {
  return bmc->select_fails ? FailWith(EINTR) : 1;
}

int __wrap_usleep(useconds_t /*microseconds*/) { return 0; }
}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

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

void DoSomething(Programmer& programmer, Stream& stream) {
  unsigned short number = 0;
  unsigned char bytes[kResponseBufferSize] = {};
  switch (stream.Next() % 12) {
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
  PrgError::firstError = false;  // no result file
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const tarvek_fuzz::Visit here;
  StartAfresh(data[0]);
  ipmi_fd = open("/dev/null", O_RDONLY);
  gTempFile = std::fopen("/dev/null", "w");

  HostileBmc hostile({data + 1, size - 1});
  bmc = &hostile;
  {
    Programmer programmer;
    programmer.sparedActive = (data[0] & kSparedMode) != 0 ? 1 : 0;
    std::size_t operations = 0;
    while (!hostile.stream.AtEnd()) {
      DoSomething(programmer, hostile.stream);
      ++operations;
      Require(gErrRtyMsg == 0 && gErrMsgRepr == 0, "the silence is over");
      Require(g_ratio >= 0 && g_ratio <= 90, "the progress is in its bounds");
    }
    Require(hostile.requests <= size * kRequestsPerByte + operations * kRequestsOfAnOperation,
            "requests come to an end");
  }
  std::fclose(gTempFile);
  gTempFile = nullptr;
  close(ipmi_fd);
  return 0;
}
