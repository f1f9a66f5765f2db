// Turns an SDR source file, or a loaded backup image, into records and drives the update.
#pragma once

#include <memory>
#include <span>

#include "repository/programming.h"
#include "sdrfile/parse_watcher.h"
#include "sdrfile/token.h"
#include "sdrfile/utilities/csdr_header.h"
#include "sdrfile/utilities/tag_index.h"

inline bool gFormatVer15X = false;     // the file's format is 1.5
inline bool gIPMIVer1pt5 = false;      // set together with gIPMIVer1pt0
inline bool gUseRecord = false;        // the record just parsed is selected
inline bool gNullString = false;       // the record just parsed ended with the byte C0
inline bool gSetAll = false;           // select every record; set by nothing
inline unsigned char gSDRCompare = 0;  // 1: compare only; set from each script entry
inline unsigned char gProgrammed = 0;  // 1: the repository was written in this run
inline int gIPMI_Version = 1;          // 1: a script's files load in the first pass by default;
                                       // nothing changes it

/// A file header's values; they are checked while a file is parsed and not kept.
struct FlInfo {
  unsigned char first = 0;
  unsigned char second = 0;
  char name[32] = {};
  char version[8] = {};
  char formatVersion[8] = {};
  unsigned char ipmiVersion[2] = {};
  unsigned char spare[12] = {};
};

class SDRFile : public RepositoryProgrammer {
 public:
  explicit SDRFile(unsigned short protocol = kProtocolId) : RepositoryProgrammer(protocol) {}
  /// Drops what was written if the spared mode is still open.
  ~SDRFile() override;

  /// Takes an SDR input to the BMC: parses it, compares versions and, in an update, programs and
  /// verifies the repository inside the spared mode. Nothing is sent for an input that does not
  /// parse. The records of an earlier load are freed first.
  /// @param path  the SDR source file; not looked at when the input is a backup image.
  /// @param tags  the tags that select records; null: none is set. Not changed.
  /// @return 0, or an error status that was reported already.
  int LoadFile(const char* path, const TagTbl* tags);

  // The grammar. What is returned besides 81 is the caller's to report, unless it says otherwise.

  /// Reads the input, which is a backup image when `g_option_flg` says so, into `fileRecords`: the
  /// records that are selected, in file order.
  /// @param file  the opened source file; closed when the parse fails, else the caller's to close.
  /// @param tags  as in LoadFile().
  /// @return 0; 81 when the file header is wrong (reported), else what ParseSDRInfo() or
  ///   ParseBinInfo() returned, or 43.
  ESTATUS Parse(FileRecord* file, const TagTbl* tags);

  /// Reads the file header and settles `gFormatVer15X` and `gIPMIVer1pt0` by it; a format that is
  /// not supported leaves `gFormatVer15X` alone. A failure closes the file.
  /// @return 0; 44, 46 to 48, 52, 53, 55 or 56; 81 for a version that is not supported (59, 60
  ///   or 61 reported).
  ESTATUS GetFileHeaderInfo(FileRecord* file);

  /// Reads the record section behind `_SDR` and takes the input's version from its records. 45
  /// closes the file, and so does a record as GetSDRRecord() says.
  /// @return 0; 2 without memory; 45; the statuses of GetSDRHeaderInfo(); 62 when a record is
  ///   invalid (57 reported with its number) or the file ends before the section does.
  ESTATUS ParseSDRInfo(FileRecord* file, const TagTbl* tags);

  /// Reads the repository header into `header`.
  /// @return 0; 34 to 36, 39 to 42, 49, 51 or 54.
  ESTATUS GetSDRHeaderInfo(FileRecord* file, CSDRHeader* header);

  /// Reads what follows `_SDR_TYPE`. Settles `gUseRecord`; sets `gNullString` if the data ends
  /// with the byte C0. 1, 37, 38, 50 and 63 close the file.
  /// @param record  receives the record; must be as fresh, for bytes may stay as they are.
  /// @return 0; 1, 3, 37, 38, 50, 58 or 63.
  ESTATUS GetSDRRecord(FileRecord* file, SDRecord* record, const TagTbl* tags);

  /// Turns the loaded backup image into `fileRecords`; tags select nothing here.
  /// @return 0; 2 when memory ran out; 58 when a record's body is longer than
  ///   64 bytes or the record runs past the image's record area.
  ESTATUS ParseBinInfo();

  /// Counts the records of `fileRecords` and takes the input's SDR version from the first of the
  /// maker's version records among them, unless an earlier input has given it.
  /// @return 0; 2 when there was no memory for the version; every record is counted then, too.
  ESTATUS setInputSdrVersion();

  // The tokenizer.

  /// Moves `*p` behind blanks and tabs; null when only the terminator is left. A null stays so.
  void SkipBlankSpace(char** p) const;

  /// Skips blanks.
  /// @return 1 when nothing but a comment is left on the held line, or no line is held; else 0.
  int IsNewLineNeeded(FileRecord* file) const;

  /// Cuts the next token, from further lines if need be.
  /// @param text  receives it, terminated; holds a line. Empty at the end of the input, which
  ///   every further call meets again. A stream that cannot be read has ended.
  void GetNextToken(FileRecord* file, char* text) const;

  /// @return the id of a text that stands in `KeywordTable`, else 36.
  unsigned int LookUpKeyword(const char* text) const;

  /// @return 1 when every character is a hexadecimal digit, else 0.
  int IsStaticData(const char* text) const;

  /// As IsStaticData(), for digits that a "#" ends; it is removed from `text` then.
  int IsDynamicData(char* text) const;

  /// @return 1 when the first and the last character are single quotes, be they the same one,
  ///   else 0.
  int IsASCIIText(const char* text) const;

  /// Removes the last character, if there is one.
  void StripTrailingCharacter(char* text) const;

  /// Removes the first and the last character; a single character is both.
  void StripQuotes(char* text) const;

  /// Sets the id by the text and reduces data and quoted text to what they hold.
  void ClassifyToken(TokenTbl* token) const;

  /// @param text  a hexadecimal number of up to four digits.
  /// @return its value; 0 for every other text (3 reported).
  unsigned short StringToUInt(const char* text) const;

  /// GetNextToken() and ClassifyToken().
  void GetAndClassifyToken(FileRecord* file, TokenTbl* token) const;

  /// Lets `parse_watcher`, which must outlive the parse, see the next parses; null: nobody.
  void Watch(tarvek::ParseWatcher* parse_watcher) { watcher = parse_watcher; }

 private:
  ESTATUS ParseText(FileRecord* file, const TagTbl* tags);
  ESTATUS ReadFileHeader(FileRecord* file);
  ESTATUS Expect(FileRecord* file, unsigned int id, ESTATUS otherwise, TokenTbl* token) const;
  ESTATUS ReadHeaderText(FileRecord* file, unsigned int tag, ESTATUS no_tag, ESTATUS no_text,
                         TokenTbl* token) const;
  ESTATUS TakeFormatVersion(const TokenTbl& token, FlInfo* info);
  ESTATUS ReadIpmiVersion(FileRecord* file, FlInfo* info);
  ESTATUS TakeIpmiVersion15(const char* text, FlInfo* info);
  ESTATUS TakeIpmiVersion13(const char* text, FlInfo* info) const;
  ESTATUS ReadHexEntry(FileRecord* file, unsigned int tag, ESTATUS no_tag, ESTATUS no_data,
                       std::span<unsigned char> out) const;
  ESTATUS ParseRecords(FileRecord* file, const TagTbl* tags, std::unique_ptr<SDRecord> spare);
  void ReadBetweenRecords(FileRecord* file, TokenTbl* token);
  ESTATUS ReadRecord(FileRecord* file, const TagTbl* tags, tarvek::TagIndex* index,
                     SDRecord* record);
  ESTATUS ReadTags(FileRecord* file, const TagTbl* tags, tarvek::TagIndex* index, SDRecord* record,
                   TokenTbl* token);
  ESTATUS ReadData(FileRecord* file, int max_text, SDRecord* record);
  SDRecord** EndOfFileRecords();
  ESTATUS ReadBackAndVerify();
  int EndSparedMode(int status);

  tarvek::ParseWatcher* watcher = nullptr;
};

namespace tarvek {

/// A fresh record; null, with the reserve block released, when there is no memory.
std::unique_ptr<SDRecord> NewRecord();

}  // namespace tarvek
