#include "inspect/input/source_reader.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "driver/reporting/run_settings.h"
#include "inspect/input/input_error.h"
#include "inspect/input/log_catcher.h"
#include "inspect/input/text_places.h"
#include "sdrfile/sdr_file.h"

namespace tarvek::inspect {
namespace {

/// What the grammar wants where it finds a fault.
struct Expectation {
  ESTATUS status;
  const char* expected;
};
constexpr std::array<Expectation, 30> kExpectations{{
    {kInvalidRecordData,
     "hexadecimal bytes, no more than _REC_LEN says, or a quoted text of just what is left"},
    {kInvalidHexNumber, "a hexadecimal number that fits, of an even number of digits"},
    {kExpectedDevAddressData, "up to 2 hexadecimal digits"},
    {kExpectedDevBusData, "up to 2 hexadecimal digits"},
    {kExpectedDataLenData, "up to 4 hexadecimal digits"},
    {kExpectedRecLenData, "up to 4 hexadecimal digits"},
    {kExpectedSdrTypeData, "up to 2 hexadecimal digits"},
    {kExpectedStartAddrData, "up to 4 hexadecimal digits"},
    {kExpectedDataLen, "_DATA_LEN"},
    {kExpectedDevAddress, "_DEV_ADDRESS"},
    {kExpectedDevBus, "_DEV_BUS"},
    {kExpectedSdr, "_SDR"},
    {kExpectedIpmiVersion, "_IPMI_VERSION or _SDR_VERSION"},
    {kExpectedLeftParenthesis, "("},
    {kExpectedFormatVersion, "_LF_FMT_VER"},
    {kExpectedName, "_LF_NAME"},
    {kExpectedVersion, "_LF_VERSION"},
    {kExpectedNvsType, "_NVS_TYPE"},
    {kExpectedRecLen, "_REC_LEN"},
    {kExpectedStartAddr, "_START_ADDR"},
    {kExpectedFormatVersionText, "a text in single quotes"},
    {kExpectedNameText, "a text in single quotes"},
    {kInvalidNvsType, "'IMBDEVICE'"},
    {kExpectedIpmiVersionText, "a version of four characters, or hexadecimal digits"},
    {kExpectedVersionText, "a text in single quotes"},
    {kInvalidRecordLength, "a length of at most 40 (64 bytes)"},
    {kUnsupportedFileFormat, "'1.5', '1.4' or '1.3'"},
    {kUnsupportedSdrFormat, "0100 or '0.90'"},
    {kUnsupportedSdrFormatBelow, "'1.00' or '1.50'"},
    {kExpectedTagText, "a text in single quotes"},
}};

std::string ExpectedAt(ESTATUS status) {
  const auto* const found =
      std::find_if(kExpectations.begin(), kExpectations.end(),
                   [&](const Expectation& row) { return row.status == status; });
  return found != kExpectations.end() ? found->expected : "";
}

/// A word of the file.
struct Word {
  std::size_t column = 0;  // in the piece of text that the reader holds, from 0
  std::string_view text;
  bool at_end = false;  // the end of the file
};

/// Watches the tool's parse and keeps what it sees.
class SourceReader : private ParseWatcher {
 public:
  SourceReader(const Snapshot& input, RecordSet* set)
      : input_(input), set_(set), places_(input.bytes()) {}

  void Read(const TagTbl* tags);

 private:
  void OnToken(const TokenTbl& token, const FileRecord& file, int column) override;
  void OnSkipped(const TokenTbl& token, bool behind_c0) override;
  void OnRecordBegin() override;
  void OnTag(const char* name) override { record_.tags.emplace_back(name); }
  void OnLostData() override { Remember(Remark::Kind::kLostData); }
  void OnRecord(const SDRecord& record, bool selected) override;
  void OnFault(ESTATUS status) override;

  void OnError(ESTATUS status, std::string_view message);
  void Remember(Remark::Kind kind);
  Place PlaceOfLast() const { return places_.At(input_.name(), last_.column); }
  [[noreturn]] void Fail() const;
  std::string FaultMessage() const;
  const Remark* EatenWord() const;

  const Snapshot& input_;
  RecordSet* set_;
  TextPlaces places_;
  Word last_;               // the token read last
  InputRecord record_;      // the one being read
  std::size_t number_ = 0;  // of the record being read, or read last
  bool in_record_ = false;
  ESTATUS fault_ = kSuccess;  // the first
  ESTATUS told_ = kSuccess;   // the last error that the grammar reported
  std::string told_text_;
};

void SourceReader::Read(const TagTbl* tags) {
  const LogCatcher catcher(
      [this](ESTATUS status, std::string_view message) { OnError(status, message); });
  // What an earlier input left must not show in this one.
  g_option_flg = kSdrFileInput;
  g_inputSdrRecord = 1;
  g_input_sdr_version.clear();

  FileRecord file;
  SDRFile parser;
  parser.Watch(this);
  ESTATUS status = parser.OpenFile(input_.path().c_str(), &file, "r");
  if (status != kSuccess) {
    file.Close();
    throw InputError({input_.name(), 0, 0, {}},
                     input_.bytes().empty() ? "is empty" : "cannot be opened");
  }
  status = parser.Parse(&file, tags);
  file.Close();
  if (status != kSuccess) Fail();
  set_->from_source = true;
  set_->reads_whole_pieces = !gIPMIVer1pt0;
}

void SourceReader::OnToken(const TokenTbl& token, const FileRecord& file, int column) {
  places_.GoTo(file.lineNumber);
  const std::string_view piece = places_.Piece();
  last_.at_end = token.id == kEndOfFile;
  const std::size_t start = last_.at_end ? piece.size() : static_cast<std::size_t>(column);
  const std::size_t end =
      file.pos != nullptr ? static_cast<std::size_t>(file.pos - file.line) : piece.size();
  last_.column = std::min(start, piece.size());
  last_.text = piece.substr(last_.column, end - std::min(end, last_.column));
}

void SourceReader::OnSkipped(const TokenTbl& token, bool behind_c0) {
  const bool empty_text = token.id == kAsciiText && token.text[0] == '\0';
  if (behind_c0 && empty_text) return;
  Remember(behind_c0 ? Remark::Kind::kSkippedC0 : Remark::Kind::kSkippedWord);
}

void SourceReader::Remember(Remark::Kind kind) {
  set_->remarks.push_back({kind, PlaceOfLast(), std::string(last_.text), number_});
}

void SourceReader::OnRecordBegin() {
  ++number_;
  in_record_ = true;
  record_ = {};
  record_.place = PlaceOfLast();
}

void SourceReader::OnRecord(const SDRecord& record, bool selected) {
  const int size = record.Record[kRecordBodyLengthOffset] + kRecordHeaderSize;
  record_.bytes.assign(record.Record, record.Record + std::min(size, kMaxRecordSize));
  record_.selected = selected;
  record_.declared_length = static_cast<int>(record.length);
  record_.declared_type = record.type;
  set_->records.push_back(std::move(record_));
  in_record_ = false;
}

void SourceReader::OnFault(ESTATUS status) {
  if (fault_ == kSuccess) fault_ = status == kReported ? told_ : status;
}

void SourceReader::OnError(ESTATUS status, std::string_view message) {
  told_ = status;
  told_text_ = message;
  // A number that cannot be read is told on the spot, and taken for 0.
  if (status == kInvalidHexNumber) Remember(Remark::Kind::kBadNumber);
}

std::string SourceReader::FaultMessage() const {
  if (fault_ == kInsufficientMemory) return "memory ran out";
  if (fault_ == kSdrParseFailed) return "the file ends inside its record section";
  const CatalogueEntry* const entry = FindCatalogueEntry(fault_);
  const bool told = fault_ == told_ && !told_text_.empty();
  std::string text = told || entry == nullptr ? told_text_ : std::string(entry->text);
  return in_record_ ? "record " + std::to_string(number_) + ": " + text : text;
}

/// A word behind a record that ends with C0 is passed over; when it was one that the grammar needed
/// the fault shows far from there.
const Remark* SourceReader::EatenWord() const {
  if (set_->remarks.empty() || set_->remarks.back().kind != Remark::Kind::kSkippedC0)
    return nullptr;
  return set_->remarks.back().word == ")" ? &set_->remarks.back() : nullptr;
}

void SourceReader::Fail() const {
  if (const Remark* const eaten = EatenWord(); eaten != nullptr && last_.at_end) {
    InputError error(eaten->place, "passed over, because the record before it ends with C0");
    error.line = ")";
    error.expected = "'' behind the C0, and then )";
    throw InputError(std::move(error));
  }
  InputError error(PlaceOfLast(), FaultMessage());
  error.line = places_.Line();
  error.expected = fault_ == kSdrParseFailed ? ")" : ExpectedAt(fault_);
  error.found = last_.at_end ? "the end of the file" : "\"" + std::string(last_.text) + "\"";
  throw InputError(std::move(error));
}

}  // namespace

void ReadSource(const Snapshot& input, const TagTbl* tags, RecordSet* set) {
  SourceReader(input, set).Read(tags);
}

}  // namespace tarvek::inspect
