#include "transport/ipmi_commands.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string>

#include "driver/reporting/console.h"
#include "driver/reporting/history_log.h"
#include "driver/reporting/progress.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/text_format.h"
#include "sdrfile/utilities/sdr_record.h"
#include "transport/checksum.h"

namespace {

constexpr unsigned char kIpmi15 = 0x51;  // IPMI version bytes of BMCs that may know their slot
constexpr unsigned char kIpmi20 = 0x02;
constexpr unsigned char kIpmi14Or0Nibbles = 0x14;  // `ipm_ver` above this: IPMI 1.5 or later
constexpr unsigned char kTypeIpmi15OrLater = 3;
constexpr unsigned char kTypeByImage = 2;
constexpr unsigned char kTypeOther = 1;
constexpr unsigned char kTypeMaker = 0;
constexpr int kRecordSpace = 255;    // holds any record
constexpr int kReadEndPercent = 30;  // where the progress of reading the repository ends
constexpr unsigned kNibbleBits = 4;
constexpr unsigned kNibbleMask = 0x0F;

int Fail(unsigned char type, unsigned char status) {
  ipmi_err_type = type;
  ipmi_err_status = status;
  return 0;
}

/// An answer and what became of its exchange.
struct Answer {
  unsigned char bytes[kResponseBufferSize] = {};
  int length = 0;
  int result = 0;  // of ReadWriteBMC()

  unsigned char CompletionCode() const { return bytes[kCompletionCodeOffset]; }
  bool HasNetFnOf(const unsigned char* request) const {
    return bytes[kNetFnLunOffset] == request[kNetFnLunOffset] + kResponseBit;
  }
};

Answer Exchange(std::span<const unsigned char> request, int capacity) {
  Answer answer;
  answer.length = capacity;
  answer.result = bmc_io.ReadWriteBMC(request.data(), static_cast<int>(request.size()),
                                      answer.bytes, &answer.length);
  return answer;
}

/// Checks an answer's NetFn, completion code and length, in this order.
/// @return 1 when the answer is good, else 0 with the kind of failure noted.
int CheckImage(const Answer& answer, std::span<const unsigned char> request,
               std::initializer_list<int> lengths) {
  if (!answer.HasNetFnOf(request.data())) return Fail(kErrNetFn, answer.bytes[kNetFnLunOffset]);
  if (answer.CompletionCode() != kCompletionOk) {
    return Fail(kErrCompletionCode, answer.CompletionCode());
  }
  if (std::find(lengths.begin(), lengths.end(), answer.length) == lengths.end()) {
    return Fail(kErrLength, static_cast<unsigned char>(answer.length));
  }
  return 1;
}

/// CheckImage() for an exchange that succeeded; one that failed was reported already.
int CheckAnswer(const Answer& answer, std::span<const unsigned char> request,
                std::initializer_list<int> lengths) {
  return answer.result == kSuccess ? CheckImage(answer, request, lengths) : 0;
}

enum class ReadResult { kDone, kFailed, kRestart };

/// Reads one record under one reservation.
/// @param may_restart  whether a cancelled reservation asks for a restart or is an error.
ReadResult ReadRecordOnce(unsigned short reservation, unsigned short* record_id, unsigned char* out,
                          unsigned char* record_length, bool may_restart) {
  unsigned char request[kGetSdrRequestLength] = {kStorageRequest, kGetSdr};
  tarvek::WriteWord(request + kReservationOffset, reservation);
  tarvek::WriteWord(request + kRecordIdOffset, *record_id);

  int offset = 0;
  int total = kRecordHeaderSize;
  while (offset < total) {
    const int count = std::min(total - offset, offset == 0 ? kRecordHeaderSize : kMaxPiece);
    request[kReadOffsetOffset] = static_cast<unsigned char>(offset);
    request[kReadCountOffset] = static_cast<unsigned char>(count);
    const Answer answer = Exchange(request, kStandardCapacity);
    const unsigned char code = answer.CompletionCode();
    if (answer.result != kSuccess && code == kCompletionOk) return ReadResult::kFailed;
    if (answer.HasNetFnOf(request) && code == kReservationCancelled && may_restart) {
      return ReadResult::kRestart;
    }
    // A bad completion code is named here even though the exchange has reported it.
    if (CheckImage(answer, request, {count + kGetSdrOverhead}) == 0) return ReadResult::kFailed;

    std::copy_n(answer.bytes + kRecordBytesOffset, count, out + offset);
    if (offset == 0) {
      // The total is kept in one byte. A body that makes it wrap cannot be read in pieces.
      total = static_cast<unsigned char>(out[kRecordBodyLengthOffset] + kRecordHeaderSize);
      // cppcheck-suppress knownConditionTrueFalse  // the cast makes it wrap
      if (total < kRecordHeaderSize) {
        Fail(kErrLength, out[kRecordBodyLengthOffset]);
        return ReadResult::kFailed;
      }
    }
    offset += count;
    if (offset == total) {
      *record_id =
          static_cast<unsigned short>(tarvek::ReadWord(answer.bytes + kNextRecordIdOffset));
    }
  }
  *record_length = static_cast<unsigned char>(total);
  return ReadResult::kDone;
}

/// A record of the maker that tells what it holds.
bool IsMakerRecord(std::span<const unsigned char> record) {
  return record.size() > kOemKindOffset && record[kRecordTypeOffset] == kOemRecordType &&
         std::equal(ipm_kov_id.begin(), ipm_kov_id.end(), &record[kOemManufacturerOffset]);
}

/// The text that a record holds from `offset` on. It ends with the record, or at a zero byte in it.
std::string TextOf(std::span<const unsigned char> record, std::size_t offset) {
  const auto begin = record.begin() + static_cast<std::ptrdiff_t>(offset);
  return {begin, std::find(begin, record.end(), '\0')};
}

/// Takes the SDR version or the script's name from a record of the maker. The version keeps the
/// letter that marks it; the name begins behind its mark.
/// @param record  exactly its bytes: behind them may stand those of a longer one that was being
///   read when its reservation was cancelled.
void PickTexts(std::span<const unsigned char> record) {
  if (!IsMakerRecord(record)) return;
  const unsigned char kind = record[kOemKindOffset];
  if (kind == kOemVersionRecord && g_HW_sdr_version.empty()) {
    g_HW_sdr_version = TextOf(record, kOemKindOffset);
  } else if (kind == kOemScriptNameRecord && gCFGIdentifyOEMSDR.empty()) {
    gCFGIdentifyOEMSDR = TextOf(record, kOemKindOffset + 1) + ".CFG";
  }
}

/// Reads record after record into the image.
/// @return the bytes used, or -1 when a record cannot be read or does not fit: a chain of records
///   that never ends fills the image.
int ReadRepository() {
  tarvek::RecordProgress progress(kReadEndPercent);
  unsigned short record_id = kFirstRecordId;
  int used = 0;
  for (int n = 1; record_id != kLastRecordId; ++n) {
    unsigned char record[kRecordSpace] = {};
    unsigned char length = 0;
    if (get_sdr(&record_id, record, &length) == 0) return -1;
    if (used + length > kSdrImageSize) return -1;
    std::copy_n(record, length, ipm_SDR + used);
    PickTexts({record, length});
    if (tarvek::IsUnattendedUpdate()) progress.Advance(n, sdrRecordSize);
    tarvek::ConsoleCounter(n);
    used += length;
  }
  return used;
}

/// The body length of the record at `offset` of the image; 0 when the image ends inside its header.
unsigned char BodyLengthAt(int offset) {
  const int position = offset + kRecordBodyLengthOffset;
  return position < kSdrImageSize ? ipm_SDR[position] : 0;
}

}  // namespace

int get_device_id(unsigned char* out, int* len) {
  constexpr unsigned char kRequest[] = {kAppRequest, kGetDeviceId};
  const Answer answer = Exchange(kRequest, kStandardCapacity);
  if (CheckAnswer(answer, kRequest, {kDeviceIdLength, kDeviceIdLengthWithAux}) == 0) return 0;
  *len = answer.length - kImageHeaderSize;
  std::copy_n(answer.bytes + kCompletionCodeOffset, *len, out);
  return 1;
}

int get_sdr_repository_info(unsigned char* out) {
  constexpr unsigned char kRequest[] = {kStorageRequest, kGetSdrRepositoryInfo};
  const Answer answer = Exchange(kRequest, kStandardCapacity);
  if (CheckAnswer(answer, kRequest, {kRepositoryInfoLength}) == 0) return 0;
  std::copy_n(answer.bytes + kCompletionCodeOffset, kRepositoryInfoSize, out);
  return 1;
}

int reserve_sdr_repository(unsigned short* id) {
  constexpr unsigned char kRequest[] = {kStorageRequest, kReserveSdrRepository};
  const Answer answer = Exchange(kRequest, kReserveCapacity);
  if (CheckAnswer(answer, kRequest, {kReserveLength}) == 0) return 0;
  *id = static_cast<unsigned short>(tarvek::ReadWord(answer.bytes + kReservationIdOffset));
  return 1;
}

int get_sdr(unsigned short* recordId, unsigned char* out, unsigned char* recordLength) {
  // A version query must be quick: it does not wait for other users of the repository.
  int restarts = g_eu_flg == kVersionQuery ? kMaxReservationRetries : 0;
  unsigned short reservation = 0;
  if (reserve_sdr_repository(&reservation) == 0) return 0;
  const tarvek::FlagRaised retrying(gErrRtyMsg);
  for (;;) {
    const bool may_restart = restarts < kMaxReservationRetries;
    const ReadResult result = ReadRecordOnce(reservation, recordId, out, recordLength, may_restart);
    if (result != ReadResult::kRestart) return result == ReadResult::kDone ? 1 : 0;
    ++restarts;
    if (reserve_sdr_repository(&reservation) == 0) return 0;
  }
}

int get_slot_information(unsigned char* a, unsigned char* b, unsigned char* c) {
  constexpr unsigned char kRequest[] = {kOemRequest, kOemGetSlotInformation};
  const tarvek::FlagRaised probing(gErrMsgRepr);
  const Answer answer = Exchange(kRequest, kStandardCapacity);
  if (CheckAnswer(answer, kRequest, {kSlotInformationLength}) == 0) return 0;
  *a = answer.bytes[kResponseDataOffset];
  *b = answer.bytes[kResponseDataOffset + 1];
  *c = answer.bytes[kResponseDataOffset + 2];
  return 1;
}

int chk_ipmi_version() {
  std::fill(std::begin(ipm_head), std::end(ipm_head), static_cast<unsigned char>(0));
  std::fill(std::begin(ipm_ipmi), std::end(ipm_ipmi), static_cast<unsigned char>(0));
  int length = 0;
  if (get_device_id(ipm_ipmi, &length) == 0) {
    disp_cmd_err("Get Device ID");
    return 0;
  }
  const unsigned char version = ipm_ipmi[kIdentityIpmiVersion];
  unsigned char slot[3] = {};
  if ((version == kIpmi15 || version == kIpmi20) &&
      get_slot_information(&slot[0], &slot[1], &slot[2]) == 1) {
    ipm_ipmi[kIdentitySlot] = slot[0];
    ipm_ipmi[kIdentitySlotValid] = 1;
  }
  ipm_ipmi[kIdentityAuxPresent] = length == kDeviceIdAnswerSizeWithAux ? 1 : 0;
  ipm_ipmi[kChecksummedBytes] = calc_sum(ipm_ipmi, kChecksummedBytes);

  const bool is_maker =
      std::equal(ipm_kov_id.begin(), ipm_kov_id.end(), ipm_ipmi + kIdentityManufacturer);
  ipm_kov = is_maker ? 1 : 0;
  ipm_ver = static_cast<unsigned char>((version >> kNibbleBits) |
                                       ((version & kNibbleMask) << kNibbleBits));
  const unsigned char image_type = ipm_head[kImageTypeOffset];
  if (ipm_ver > kIpmi14Or0Nibbles) {
    ipm_type = kTypeIpmi15OrLater;
  } else if (image_type == 3 || image_type == 4) {
    ipm_type = kTypeByImage;
  } else {
    ipm_type = ipm_kov == 1 ? kTypeMaker : kTypeOther;
  }
  return 1;
}

int get_new_sdr() {
  if (ipm_sdr_size != 0) return 1;
  Bmc_HistoryLog("SDRReocrd Reading");  // spelled as the logs have always had it
  std::fill(std::begin(ipm_SDR), std::end(ipm_SDR), static_cast<unsigned char>(0));
  const int used = ReadRepository();
  if (used < 0) {
    disp_cmd_err("Get SDR or Reserve SDR Repository");
    return 0;
  }
  tarvek::ConsoleCounterEnd();
  ipm_sdr_size = static_cast<unsigned short>(used);
  return 1;
}

int get_new_sdr_info(unsigned char* ctrl) {
  std::fill_n(ctrl, kSdrControlSize, static_cast<unsigned char>(0));
  if (get_sdr_repository_info(ctrl) == 0) {
    disp_cmd_err("Get SDR Repository Info");
    return 0;
  }
  tarvek::WriteLong(ctrl + kControlBlockLength, kSdrControlSize);
  tarvek::WriteLong(ctrl + kControlAreaLength, ipm_sdr_size);
  ctrl[kControlAreaChecksum] = calc_sum(ipm_SDR, ipm_sdr_size);
  ctrl[kChecksummedBytes] = calc_sum(ctrl, kChecksummedBytes);
  return 1;
}

unsigned char* get_sdr_addr(unsigned short index, unsigned short* bodyLength) {
  int offset = 0;
  for (int i = 0; offset < ipm_sdr_size; ++i) {
    const unsigned char body_length = BodyLengthAt(offset);
    if (i == index) {
      *bodyLength = body_length;
      return ipm_SDR + offset;
    }
    offset += body_length + kRecordHeaderSize;
  }
  return nullptr;
}

void disp_cmd_err(const char* commandName) {
  const auto name_and = [&](const char* kind) {
    return tarvek::Format("Command: %s illegal %s : %02X h", commandName, kind, ipmi_err_status);
  };
  tarvek::Text text = tarvek::Format("Command: %s", commandName);
  if (ipmi_err_type == kErrNetFn) text = name_and("NetFn");
  if (ipmi_err_type == kErrCompletionCode) text = name_and("Completion Code");
  if (ipmi_err_type == kErrLength) text = name_and("Size");
  bmc_io.Report(kIpmiCommandFailed, text.c_str());
}
