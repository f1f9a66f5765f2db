// The kinds of token in an SDR source file.
#pragma once

#include <array>
#include <string_view>

#include "sdrfile/utilities/file_record.h"

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

/// A token that is known by its text.
struct KeywordEntry {
  std::string_view text;
  unsigned int id;
};

/// The keywords and the punctuation, in the order in which they are searched. Some are known but
/// stand in no rule of the grammar: it refuses them like any other token that is out of place.
inline constexpr std::array<KeywordEntry, 31> KeywordTable{{
    {"(", kLeftParenthesis},
    {")", kRightParenthesis},
    {"//", kComment},
    {"", kEndOfFile},
    {"\n", kLineFeed},
    {"_DATA_LEN", kDataLen},
    {"_DEV_ADDRESS", kDevAddress},
    {"_FRU", kFru},
    {"_FRU_TITLE", kFruTitle},
    {"_LF_FMT_VER", kFormatVersion},
    {"_LF_NAME", kFileName},
    {"_LF_VERSION", kFileVersion},
    {"_DEV_ID", kDevId},
    {"_DEV_BUS", kDevBus},
    {"_NVS_TYPE", kNvsType},
    {"_DEV_CONTROLLER", kDevController},
    {"_NVS_LUN", kNvsLun},
    {"_REC_LEN", kRecLen},
    {"_SDR", kSdr},
    {"_SDR_TAG", kSdrTag},
    {"_SDR_TYPE", kSdrType},
    {"_SDR_VERSION", kSdrVersion},
    {"_IPMI_VERSION", kIpmiVersion},
    {"_SEE_BOARD", kSeeBoard},
    {"_SEE_CHASSIS", kSeeChassis},
    {"_SEE_COMMON", kSeeCommon},
    {"_SEE_INTERNAL", kSeeInternal},
    {"_SEE_PRODUCT", kSeeProduct},
    {"_SEL", kSel},
    {"_SEL_TYPE", kSelType},
    {"_START_ADDR", kStartAddr},
}};
inline constexpr int NumberOfTableEntries = KeywordTable.size();

/// One token: its characters, terminated, and its kind.
struct TokenTbl {
  char text[kLineBufferSize];
  unsigned int id = kUnknown;

  TokenTbl() { text[0] = '\0'; }
};
