// Turns an SDR source file, or a loaded backup image, into records and drives the update.
#pragma once

#include "repository/programming.h"
#include "sdrfile/csdr_header.h"
#include "sdrfile/token.h"

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
  using RepositoryProgrammer::RepositoryProgrammer;

  /// Takes an SDR input to the BMC: parses it, compares versions and, in an update, programs and
  /// verifies the repository inside the spared mode.
  /// @param path  the SDR source file; not looked at when the input is a backup image.
  /// @param tags  the tags that select records; null: none is set. Not changed.
  /// @return 0, or an error status that was reported already.
  int LoadFile(const char* path, const TagTbl* tags);

  // The grammar. Failures close the file; what is returned besides 81 is the caller's to report.
  ESTATUS Parse(FileRecord* file, const TagTbl* tags);
  ESTATUS GetFileHeaderInfo(FileRecord* file);
  ESTATUS ParseSDRInfo(FileRecord* file, const TagTbl* tags);
  ESTATUS GetSDRHeaderInfo(FileRecord* file, CSDRHeader* header);
  ESTATUS GetSDRRecord(FileRecord* file, SDRecord* record, const TagTbl* tags);
  /// Turns the loaded backup image into `fileRecords`.
  /// @return 0; 2 when a record could not be allocated; 58 when a record of the image is too long
  ///   or runs past its area.
  ESTATUS ParseBinInfo();
  /// Counts the records of `fileRecords` and takes the input's SDR version from the first of the
  /// maker's version records among them, unless an earlier input has given it.
  void setInputSdrVersion();

  // The tokenizer.
  void SkipBlankSpace(char** p) const;
  int IsNewLineNeeded(FileRecord* file) const;
  void GetNextToken(FileRecord* file, char* text) const;
  unsigned int LookUpKeyword(const char* text) const;
  int IsStaticData(const char* text) const;
  int IsDynamicData(char* text) const;
  int IsASCIIText(char* text) const;
  void StripTrailingCharacter(char* text) const;
  void StripQuotes(char* text) const;
  void ClassifyToken(TokenTbl* token) const;
  unsigned short StringToUInt(const char* text) const;
  void GetAndClassifyToken(FileRecord* file, TokenTbl* token) const;
};
