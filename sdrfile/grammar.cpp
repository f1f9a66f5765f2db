#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "driver/reporting/run_settings.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"

namespace {

constexpr unsigned char kHeaderStart = 0xFF;     // what a file header's first byte holds
constexpr std::size_t kFormatVersionLength = 3;  // characters of it that are looked at
constexpr std::size_t kDottedVersionLength = 4;  // as in "1.50"
constexpr const char* kSupportedFileFormat = "1.5";
constexpr const char* kLowestFormat15Version = "1.00";
constexpr const char* kFormat13Version = "0.90";
constexpr const char* kFormat13HexVersion = "0100";
constexpr const char* kSupportedNvsType = "IMBDEVICE";
constexpr const char* kC0 = "C0";    // the type of an OEM record; an ID string of no characters
constexpr int kMaxIdString = 22;     // characters of a quoted text in a record's data
constexpr int kMaxOemIdString = 56;  // the same in an OEM record
constexpr std::size_t kDigitsPerByte = 2;

bool IsC0(const char* text) { return strcasecmp(text, kC0) == 0; }

/// Stores `text` in a fixed field, cut to its size less a terminator.
template <std::size_t N>
void StoreText(char (&field)[N], std::string_view text) {
  field[text.copy(field, N - 1)] = '\0';
}

/// A record as the constructor makes it, in the storage of a record that was not kept.
void Clear(SDRecord* record) {
  record->type = kNewRecordType;
  record->length = 0;
  std::fill(std::begin(record->tag), std::end(record->tag), '\0');
  std::fill(std::begin(record->Record), std::end(record->Record), static_cast<unsigned char>(0));
}

/// Closes the file of a failure that leaves nothing to read in it.
ESTATUS CloseAfter(ESTATUS status, FileRecord* file) {
  file->Close();
  return status;
}

}  // namespace

ESTATUS SDRFile::Parse(FileRecord* file, const TagTbl* tags) {
  if (g_option_flg == kImageInput) return ParseBinInfo();
  const ESTATUS status = ParseText(file, tags);
  if (status != kSuccess && watcher != nullptr) watcher->OnFault(status);
  if (status != kSuccess) file->Close();
  return status;
}

ESTATUS SDRFile::ParseText(FileRecord* file, const TagTbl* tags) {
  if (const ESTATUS status = GetFileHeaderInfo(file); status != kSuccess) {
    Report(status);
    return kReported;
  }
  TokenTbl token;
  if (Expect(file, kSdr, kExpectedSdr, &token) != kSuccess) return kExpectedSdr;
  return ParseSDRInfo(file, tags);
}

/// Reads a token.
/// @return 0, or `otherwise` when it is not of kind `id`.
ESTATUS SDRFile::Expect(FileRecord* file, unsigned int id, ESTATUS otherwise,
                        TokenTbl* token) const {
  GetAndClassifyToken(file, token);
  return token->id == id ? kSuccess : otherwise;
}

ESTATUS SDRFile::GetFileHeaderInfo(FileRecord* file) {
  const ESTATUS status = ReadFileHeader(file);
  return status == kSuccess ? status : CloseAfter(status, file);
}

ESTATUS SDRFile::ReadFileHeader(FileRecord* file) {
  FlInfo info;
  info.first = kHeaderStart;
  file->DropLine();

  TokenTbl token;
  ESTATUS status = ReadHeaderText(file, kFileName, kExpectedName, kExpectedNameText, &token);
  if (status != kSuccess) return status;
  StoreText(info.name, token.text);

  status = ReadHeaderText(file, kFileVersion, kExpectedVersion, kExpectedVersionText, &token);
  if (status != kSuccess) return status;
  StoreText(info.version, token.text);

  status = ReadHeaderText(file, kFormatVersion, kExpectedFormatVersion, kExpectedFormatVersionText,
                          &token);
  if (status != kSuccess) return status;
  status = TakeFormatVersion(token, &info);
  if (status != kSuccess) return status;
  return ReadIpmiVersion(file, &info);
}

/// Reads a header tag and its quoted text into `token`, and drops the rest of the line.
ESTATUS SDRFile::ReadHeaderText(FileRecord* file, unsigned int tag, ESTATUS no_tag, ESTATUS no_text,
                                TokenTbl* token) const {
  ESTATUS status = Expect(file, tag, no_tag, token);
  if (status == kSuccess) status = Expect(file, kAsciiText, no_text, token);
  if (status == kSuccess) file->DropLine();
  return status;
}

ESTATUS SDRFile::TakeFormatVersion(const TokenTbl& token, FlInfo* info) {
  const std::string_view version = std::string_view(token.text).substr(0, kFormatVersionLength);
  const bool is_15 = version == kSupportedFileFormat;
  if (!is_15 && version != "1.3" && version != "1.4") {
    Report(kUnsupportedFileFormat, kSupportedFileFormat);
    return kReported;
  }
  gFormatVer15X = is_15;
  StoreText(info->formatVersion, version);
  return kSuccess;
}

ESTATUS SDRFile::ReadIpmiVersion(FileRecord* file, FlInfo* info) {
  TokenTbl token;
  GetAndClassifyToken(file, &token);
  if (token.id != kIpmiVersion && token.id != kSdrVersion) return kExpectedIpmiVersion;

  GetAndClassifyToken(file, &token);
  file->DropLine();
  gIPMIVer1pt0 = false;
  // It takes both faults to be refused here, on purpose: a version may stand without quotes, and
  // one in hexadecimal may be told below which versions there are.
  if (token.id != kStaticData && std::strlen(token.text) != kDottedVersionLength) {
    return kExpectedIpmiVersionText;
  }
  return gFormatVer15X ? TakeIpmiVersion15(token.text, info) : TakeIpmiVersion13(token.text, info);
}

ESTATUS SDRFile::TakeIpmiVersion15(const char* text, FlInfo* info) {
  const std::string_view version(text);
  if (version != kLowestFormat15Version && version != "1.50") {
    Report(kUnsupportedSdrFormatBelow, kLowestFormat15Version);
    return kReported;
  }
  gIPMIVer1pt0 = true;
  gIPMIVer1pt5 = true;
  version.copy(reinterpret_cast<char*>(info->ipmiVersion), sizeof(info->ipmiVersion));
  return kSuccess;
}

ESTATUS SDRFile::TakeIpmiVersion13(const char* text, FlInfo* info) const {
  const std::string_view version(text);
  if (version == kFormat13HexVersion) {
    return StringToBytes(text, info->ipmiVersion, sizeof(info->ipmiVersion));
  }
  if (version != kFormat13Version) {
    Report(kUnsupportedSdrFormat, kFormat13Version);
    return kReported;
  }
  version.copy(reinterpret_cast<char*>(info->ipmiVersion), sizeof(info->ipmiVersion));
  return kSuccess;
}

ESTATUS SDRFile::ParseSDRInfo(FileRecord* file, const TagTbl* tags) {
  std::unique_ptr<SDRecord> spare = tarvek::NewRecord();
  if (spare == nullptr) return kInsufficientMemory;
  gNullString = false;

  TokenTbl token;
  ESTATUS status = Expect(file, kLeftParenthesis, kExpectedLeftParenthesis, &token);
  if (status != kSuccess) return CloseAfter(status, file);
  CSDRHeader header;
  status = GetSDRHeaderInfo(file, &header);
  if (status != kSuccess) return status;

  status = ParseRecords(file, tags, std::move(spare));
  if (status == kInsufficientMemory) return status;
  const ESTATUS taken = setInputSdrVersion();
  return status != kSuccess ? status : taken;
}

ESTATUS SDRFile::GetSDRHeaderInfo(FileRecord* file, CSDRHeader* header) {
  ESTATUS status = ReadHexEntry(file, kStartAddr, kExpectedStartAddr, kExpectedStartAddrData,
                                header->start_address);
  if (status != kSuccess) return status;
  status =
      ReadHexEntry(file, kDataLen, kExpectedDataLen, kExpectedDataLenData, header->data_length);
  if (status != kSuccess) return status;

  TokenTbl token;
  status = Expect(file, kNvsType, kExpectedNvsType, &token);
  if (status != kSuccess) return status;
  status = Expect(file, kAsciiText, kInvalidNvsType, &token);
  if (status != kSuccess || strcasecmp(token.text, kSupportedNvsType) != 0) return kInvalidNvsType;
  StoreText(header->nvs_type, token.text);

  const std::span<unsigned char> device(header->device);
  status = ReadHexEntry(file, kDevBus, kExpectedDevBus, kExpectedDevBusData, device.subspan(0, 1));
  if (status != kSuccess) return status;
  return ReadHexEntry(file, kDevAddress, kExpectedDevAddress, kExpectedDevAddressData,
                      device.subspan(1, 1));
}

/// Reads a tag and a hexadecimal number that fits `out`.
ESTATUS SDRFile::ReadHexEntry(FileRecord* file, unsigned int tag, ESTATUS no_tag, ESTATUS no_data,
                              std::span<unsigned char> out) const {
  TokenTbl token;
  ESTATUS status = Expect(file, tag, no_tag, &token);
  if (status == kSuccess) status = Expect(file, kStaticData, no_data, &token);
  if (status != kSuccess) return status;
  const auto size = static_cast<unsigned int>(out.size());
  return StringToBytes(token.text, out.data(), size) == kSuccess ? kSuccess : no_data;
}

/// Reads records up to the closing parenthesis and links the selected ones.
/// @param spare  storage for the first of them.
ESTATUS SDRFile::ParseRecords(FileRecord* file, const TagTbl* tags,
                              std::unique_ptr<SDRecord> spare) {
  tarvek::TagIndex index;
  if (!index.AddAll(tags)) {
    tarvek::ReleaseReserveBlock();
    return kInsufficientMemory;
  }
  SDRecord** end = EndOfFileRecords();
  TokenTbl token;
  for (unsigned int number = 1;;) {
    ReadBetweenRecords(file, &token);
    if (token.id == kRightParenthesis) return kSuccess;
    if (token.id == kEndOfFile) return kSdrParseFailed;
    if (token.id != kSdrType) {
      if (watcher != nullptr) watcher->OnSkipped(token, false);
      continue;
    }

    Clear(spare.get());
    if (watcher != nullptr) watcher->OnRecordBegin();
    const ESTATUS status = ReadRecord(file, tags, &index, spare.get());
    if (status != kSuccess) {
      if (watcher != nullptr) watcher->OnFault(status);
      // Which fault it was is not told, on purpose: the number leads to the record.
      Display(kInvalidRecord, kFruSdr, static_cast<unsigned short>(number), nullptr);
      return kSdrParseFailed;
    }
    ++number;
    if (watcher != nullptr) watcher->OnRecord(*spare, gUseRecord);
    if (!gUseRecord) continue;
    *end = spare.release();
    end = &(*end)->next;
    spare = tarvek::NewRecord();
    if (spare == nullptr) return kInsufficientMemory;
  }
}

/// Reads a token; the one that follows a record which ends with C0 is skipped unseen.
// NOLINTNEXTLINE(readability-make-member-function-const): it changes a global
void SDRFile::ReadBetweenRecords(FileRecord* file, TokenTbl* token) {
  GetAndClassifyToken(file, token);
  if (gNullString) {
    if (watcher != nullptr) watcher->OnSkipped(*token, true);
    GetAndClassifyToken(file, token);
  }
  gNullString = false;
}

ESTATUS SDRFile::GetSDRRecord(FileRecord* file, SDRecord* record, const TagTbl* tags) {
  return ReadRecord(file, tags, nullptr, record);
}

/// GetSDRRecord().
/// @param index  of `tags`; null: they are walked.
ESTATUS SDRFile::ReadRecord(FileRecord* file, const TagTbl* tags, tarvek::TagIndex* index,
                            SDRecord* record) {
  TokenTbl token;
  ESTATUS status = Expect(file, kStaticData, kExpectedSdrTypeData, &token);
  if (status != kSuccess) return CloseAfter(status, file);
  status = StringToBytes(token.text, &record->type, 1);
  if (status != kSuccess) return status;
  const int max_text = IsC0(token.text) ? kMaxOemIdString : kMaxIdString;

  status = ReadTags(file, tags, index, record, &token);
  if (status != kSuccess) return CloseAfter(status, file);
  if (token.id != kRecLen) return CloseAfter(kExpectedRecLen, file);
  status = Expect(file, kStaticData, kExpectedRecLenData, &token);
  if (status != kSuccess) return CloseAfter(status, file);
  record->length = StringToUInt(token.text);
  if (record->length > kMaxRecordBody) return kInvalidRecordLength;
  return ReadData(file, max_text, record);
}

/// Reads a record's tags and settles whether it is selected: one without tags always is, another
/// when any of its tags is set.
/// @param index  of `tags`; null: they are walked.
/// @param token  receives the token that follows the tags.
ESTATUS SDRFile::ReadTags(FileRecord* file, const TagTbl* tags, tarvek::TagIndex* index,
                          SDRecord* record, TokenTbl* token) {
  const auto is_set = [&](const char* name) {
    return index != nullptr ? index->Holds(name) : CheckTable(tags, name) == 1;
  };
  GetAndClassifyToken(file, token);
  gUseRecord = token->id != kSdrTag || gSetAll;
  while (token->id == kSdrTag) {
    const ESTATUS status = Expect(file, kAsciiText, kExpectedTagText, token);
    if (status != kSuccess) return status;
    if (!gUseRecord && is_set(token->text)) gUseRecord = true;
    StoreText(record->tag, token->text);
    if (watcher != nullptr) watcher->OnTag(token->text);
    GetAndClassifyToken(file, token);
  }
  return kSuccess;
}

/// Reads a record's data, at least one token of it, until it has the length declared. The result
/// of the last conversion counts alone, on purpose: a token with an odd number of digits in the
/// middle leaves its bytes as they are.
/// @param max_text  characters that a quoted text may have.
ESTATUS SDRFile::ReadData(FileRecord* file, int max_text, SDRecord* record) {
  TokenTbl token;
  ESTATUS status = kSuccess;
  std::size_t position = 0;
  do {
    GetAndClassifyToken(file, &token);
    const std::size_t length = std::strlen(token.text);
    const std::size_t remaining = record->length - position;
    unsigned char* const place = record->Record + position;
    if (token.id == kStaticData || token.id == kDynamicData) {
      const std::size_t count = length / kDigitsPerByte;
      if (count > remaining) return CloseAfter(kInvalidRecordData, file);
      status = StringToBytes(token.text, place, static_cast<unsigned int>(count));
      position += count;
      if (status != kSuccess && watcher != nullptr) watcher->OnLostData();
    } else if (token.id == kAsciiText) {
      if (length != remaining || length > static_cast<std::size_t>(max_text)) {
        return CloseAfter(kInvalidRecordData, file);
      }
      std::copy_n(token.text, length + 1, place);
      position += length;
    } else {
      return CloseAfter(kInvalidRecordData, file);
    }
  } while (position < record->length);
  gNullString = token.id == kStaticData && IsC0(token.text);
  return status;
}
