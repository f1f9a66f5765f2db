// The kinds of token in an SDR source file.
#pragma once

#include "sdrfile/file_record.h"

/// Token ids. Those of words and punctuation stand in the keyword table; the others are found
/// by a token's shape.
enum TokenId : unsigned int {
  kDataLen = 0,
  kDevAddress = 1,
  kFru = 2,
  kFruTitle = 3,
  kFormatVersion = 4,
  kFileName = 5,
  kFileVersion = 6,
  kDevBus = 7,
  kNvsType = 8,
  kDevController = 10,
  kDevId = 11,
  kNvsLun = 12,
  kRecLen = 13,
  kSdr = 14,
  kSdrTag = 15,
  kSdrType = 16,
  kSdrVersion = 17,
  kIpmiVersion = 18,
  kSeeBoard = 19,
  kSeeChassis = 20,
  kSeeCommon = 21,
  kSeeInternal = 22,
  kSeeProduct = 23,
  kSel = 25,
  kSelType = 26,
  kStartAddr = 27,
  kComment = 28,
  kAsciiText = 29,
  kStaticData = 30,
  kDynamicData = 31,
  kLineFeed = 32,
  kLeftParenthesis = 33,
  kEndOfFile = 34,
  kRightParenthesis = 35,
  kUnknown = 36,
};

/// One token: its characters, terminated, and its kind.
struct TokenTbl {
  char text[kLineBufferSize];
  unsigned int id = kUnknown;

  TokenTbl() { text[0] = '\0'; }
};
