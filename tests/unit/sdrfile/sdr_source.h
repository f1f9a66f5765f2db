// SDR source files for the tests of their reader, and a reader that shows what it has read.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "sdrfile/sdr_file.h"
#include "tests/unit/support/fake_machine.h"

namespace tarvek_test {

/// The file header and the repository header, up to the first record.
inline const std::string kHeaders =
    "_LF_NAME 'BOARD.SDR'\n"
    "_LF_VERSION '01.02'\n"
    "_LF_FMT_VER '1.5'\n"
    "_IPMI_VERSION '1.50'\n"
    "_SDR (\n"
    "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n";

/// The maker's OEM record whose version is "SDR Version 01.03": 25 bytes.
inline const std::string kVersionRecord =
    "_SDR_TYPE C0\n"
    "_REC_LEN 19\n"
    "0000 51 C0 14 77 00 00 'SDR Version 01.03'\n";

/// A record of 16 bytes whose ID string is "BMC".
inline const std::string kShortRecord =
    "_SDR_TYPE 12\n"
    "_REC_LEN 10\n"
    "0000 51 12 0B 20 00 00 00 00 00 00 C3 'BMC'\n";

/// A whole source file of format 1.5 with `records` in its record section.
inline std::string Source(const std::string& records) { return kHeaders + records + ")\n"; }

/// A stream over `text` with a cursor at its start; closed at the end.
class Input : public FileRecord {
 public:
  explicit Input(const std::string& text);
  ~Input() { Close(); }
};

/// A loader that shows its lists.
class Loader : public SDRFile {
 public:
  Loader() : SDRFile(kProtocolId) {}
  SDRecord*& Read() { return fileRecords; }
  SDRecord*& ReadBack() { return bmcRecords; }
  int& SparedActive() { return sparedActive; }

  /// The first `length` bytes of each record read.
  std::vector<Bytes> Records();
  /// The tag of each record read.
  std::vector<std::string> Tags();
};

/// The tag list with these names; freed with its head.
std::unique_ptr<TagTbl> TagList(const std::vector<std::string>& names);

/// The file descriptors that this process has open.
int OpenDescriptors();

}  // namespace tarvek_test
