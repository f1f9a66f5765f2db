// Feeds any text to the parser of SDR source files, with and without tags set.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "driver/reporting/run_settings.h"
#include "errors/prg_error.h"
#include "sdrfile/sdr_file.h"
#include "tests/fuzz/scratch_directory.h"

namespace {

using tarvek_fuzz::Require;

/// A loader whose records can be looked at.
class Parser : public SDRFile {
 public:
  Parser() : SDRFile(kProtocolId) {}

  /// Checks every record of the list.
  /// @return how many there are.
  int CheckRecords() const {
    int count = 0;
    for (const SDRecord* record = fileRecords; record != nullptr; record = record->next) {
      Require(record->length <= kMaxRecordBody, "a record has at most its declared limit of bytes");
      Require(record->Record[kMaxRecordSize] == 0, "a record ends with a zero byte");
      Require(record->tag[kMaxTagLength] == '\0', "a tag is terminated");
      ++count;
    }
    return count;
  }
};

/// @return the number of records that were kept.
int Parse(const std::uint8_t* data, std::size_t size, const TagTbl* tags) {
  FileRecord file;
  // An empty stream has a size that not every library takes; an empty text parses like a blank.
  static char blank[] = " ";
  file.fp = size != 0 ? fmemopen(const_cast<std::uint8_t*>(data), size, "r")
                      : fmemopen(blank, sizeof(blank) - 1, "r");
  Require(file.fp != nullptr, "a stream over the input");
  g_inputSdrRecord = 1;
  g_input_sdr_version.clear();

  Parser parser;
  const ESTATUS status = parser.Parse(&file, tags);
  Require(status >= kSuccess && status <= kReported, "the status is a known one");
  Require((status == kSuccess) == (file.fp != nullptr), "a failed parse closes its stream");
  file.Close();
  const int records = parser.CheckRecords();
  const bool counted = g_inputSdrRecord == records + 1;
  Require(counted || status != kSuccess, "every record is counted");
  return status == kSuccess ? records : -1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvek_fuzz::Visit here;
  g_eu_flg = kProgressQuery;  // a mode without an echo on the console
  g_option_flg = kSdrFileInput;
  PrgError::firstError = false;  // no result file

  TagTbl tags;
  std::string("CPU1").copy(tags.name, kTagNameSize - 1);
  tags.next = new TagTbl;
  std::string("BMC").copy(tags.next->name, kTagNameSize - 1);

  const int untagged = Parse(data, size, nullptr);
  const int selected = Parse(data, size, &tags);
  Require((untagged < 0) == (selected < 0), "tags do not decide whether a file is valid");
  Require(selected >= untagged, "tags that are set only add records");
  return 0;
}
