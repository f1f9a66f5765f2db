// The catalogue of error statuses: one fixed English text each.
#pragma once

#include <string_view>

/// An error status, carried as a plain int. 0 is success, 1 to 79 are the catalogued errors,
/// 80 and 81 mean that the error was reported already. The numbers are fixed: they form the
/// result codes "SDR001" to "SDR079".
using ESTATUS = int;

enum : ESTATUS {
  kSuccess = 0,
  kInvalidRecordData = 1,
  kInsufficientMemory = 2,
  kInvalidHexNumber = 3,
  kRecordReadError = 4,
  kWrongByteCountRead = 5,
  kUnwantedArgument = 6,
  kCommandArgumentTooLong = 7,
  kArgumentTooLong = 8,
  kInvalidSdrNameArgument = 9,
  kInvalidArgument = 10,
  kInvalidCommand = 11,
  kInvalidComment = 12,
  kInvalidString = 13,
  kClosingQuoteMissing = 14,
  kNoArgument = 15,
  kNoCondition = 16,
  kElseWithoutIfSet = 17,
  kEndIfWithoutIfSet = 18,
  kUnbalancedIfSet = 19,
  kUnbalancedQuotes = 20,
  kScriptInterpretFailed = 21,
  kScriptLineFailed = 22,
  kScriptReadFailed = 23,
  kTooManyArguments = 24,
  kClearFailed = 25,
  kBadCompletionCode = 26,
  kRetryLimit = 27,
  kDriverOpenFailed = 28,
  kDriverSendFailed = 29,
  kIpmiCommandFailed = 30,
  kBackupFileError = 31,
  kCompareMismatch = 32,
  kWriteFailed = 33,
  kExpectedDevAddressData = 34,
  kExpectedDevBusData = 35,
  kExpectedDataLenData = 36,
  kExpectedRecLenData = 37,
  kExpectedSdrTypeData = 38,
  kExpectedStartAddrData = 39,
  kExpectedDataLen = 40,
  kExpectedDevAddress = 41,
  kExpectedDevBus = 42,
  kExpectedSdr = 43,
  kExpectedIpmiVersion = 44,
  kExpectedLeftParenthesis = 45,
  kExpectedFormatVersion = 46,
  kExpectedName = 47,
  kExpectedVersion = 48,
  kExpectedNvsType = 49,
  kExpectedRecLen = 50,
  kExpectedStartAddr = 51,
  kExpectedFormatVersionText = 52,
  kExpectedNameText = 53,
  kInvalidNvsType = 54,
  kExpectedIpmiVersionText = 55,
  kExpectedVersionText = 56,
  kInvalidRecord = 57,
  kInvalidRecordLength = 58,
  kUnsupportedFileFormat = 59,
  kUnsupportedSdrFormat = 60,
  kUnsupportedSdrFormatBelow = 61,
  kSdrParseFailed = 62,
  kExpectedTagText = 63,
  kScriptEchoOpenFailed = 64,
  kSdrEchoOpenFailed = 65,
  kInputOpenFailed = 66,
  kScriptOpenFailed = 67,
  kSdrFileOpenFailed = 68,
  kControlCharacter = 69,
  kInvalidCharacterOnLine = 70,
  kInvalidFileSize = 71,
  kLineTooLong = 72,
  kTempFileWriteFailed = 73,
  kNoScriptName = 74,
  kNotBackupFile = 75,
  kImageChecksumError = 76,
  kSparedSdrUnsupported = 77,
  kOutputOpenFailed = 78,
  kDriverRetryFailed = 79,
  kReportedSilently = 80,  // like 81; Display() turns it into 81
  kReported = 81,          // the failure was reported where it was found
};

constexpr ESTATUS kLastCatalogued = kDriverRetryFailed;

/// What a status appends to its text, or formats into it.
enum class Extra {
  kNone,
  kCode,     // " code = " and the detail, when there is one
  kCommand,  // " command = " and the detail, when there is one
  kDetail,   // a blank and the detail, when there is one
  kNumber,   // the number in place of "%d"
  kText,     // the detail in place of "%s"
};

struct CatalogueEntry {
  std::string_view text;
  Extra extra = Extra::kNone;
  bool shows_exchange = false;  // the last BMC request and response images are logged too
};

/// @return the entry of `status`, or null when it is not in 1 to 79.
const CatalogueEntry* FindCatalogueEntry(ESTATUS status);
