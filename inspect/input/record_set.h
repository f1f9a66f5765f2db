// A set of records as an input holds it, of whichever form the input is.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tarvek::inspect {

/// The forms of an input.
enum class Format { kSource, kScript, kImage, kRaw, kHex };

/// @return "source", "script", "image", "raw" or "hex".
const char* FormatName(Format format);

/// A place in an input.
struct Place {
  std::string file;                   // as it was named
  int line = 0;                       // from 1; 0: binary
  int column = 0;                     // bytes, from 1
  std::optional<std::size_t> offset;  // of a binary input: bytes, from 0
};

/// @return "FILE:LINE:COLUMN", or "FILE: offset N"; not escaped.
std::string ToText(const Place& place);

/// One record of a set.
struct InputRecord {
  /// What the tool would send: header and as many bytes as the length byte says, cut or filled with
  /// zeros where the source has more or less. A length byte of more than 64 in a source file, which
  /// the tool refuses to send, leaves the 69 bytes that it holds.
  std::vector<unsigned char> bytes;
  Place place;  // of a source file: of `_SDR_TYPE`

  // Of a source file alone.
  std::vector<std::string> tags;
  bool selected = true;                // the tool would program it
  std::optional<int> declared_length;  // `_REC_LEN`
  std::optional<int> declared_type;    // `_SDR_TYPE`
};

/// What a source file holds beside its records, and the tool passes over without a word.
struct Remark {
  enum class Kind {
    kSkippedWord,  // a word between records
    kSkippedC0,    // the word behind a record that ends with C0, which should be ''
    kLostData,     // a data word of an odd number of digits: its bytes stay 0
    kBadNumber,    // a number that could not be read was taken for 0
  };
  Kind kind;
  Place place;
  std::string word;        // as it stands there
  std::size_t record = 0;  // the number of the record that it stands in or behind, from 1; 0: none
};

/// A file that a script loads, in the order of loading.
struct LoadedFile {
  std::string name;
  int pass = 0;  // 1: the first, 0: the last
  bool compare = false;
  std::size_t records = 0;            // all of its records
  std::vector<InputRecord> compared;  // what is compared with the BMC's set; empty: nothing is
};

/// A set of records.
struct RecordSet {
  std::string name;  // of the input, as it was given
  Format format = Format::kSource;
  std::vector<InputRecord> records;    // of a script: those of the file that is programmed last
  std::vector<Remark> remarks;         // in the order of the file
  std::vector<LoadedFile> files;       // of a script alone
  std::vector<std::string> set_tags;   // of a script: the tags that a SET names, anywhere in it
  std::optional<std::string> version;  // text of the first version record that is programmed
  std::optional<std::string> script;   // name in the first script record that is programmed
  bool from_source = false;            // the records come from a source file
  bool reads_whole_pieces = false;  // the tool reads 16 bytes first: image, or source of 1.3, 1.4
  std::vector<unsigned char> identity;  // of an image: its identity block
};

}  // namespace tarvek::inspect
