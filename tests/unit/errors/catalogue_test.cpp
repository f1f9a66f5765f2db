#include "errors/catalogue.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/unit/errors/catalogue_texts.h"

namespace tarvek_test {
namespace {

TEST(Catalogue, HasEveryStatusWithItsText) {
  int status = 0;
  for (const CatalogueText& row : kCatalogueTexts) {
    ASSERT_EQ(row.status, ++status);
    const CatalogueEntry* const entry = FindCatalogueEntry(row.status);
    ASSERT_NE(entry, nullptr) << row.status;
    EXPECT_EQ(entry->text, row.text) << row.status;
    EXPECT_EQ(entry->shows_exchange, row.shows_exchange) << row.status;
  }
  EXPECT_EQ(status, 79);
}

TEST(Catalogue, TakesOneExtraPerStatus) {
  for (const CatalogueText& row : kCatalogueTexts) {
    Extra expected = Extra::kNone;
    switch (row.status) {
      case 26:
      case 77:
        expected = Extra::kCode;
        break;
      case 27:
        expected = Extra::kCommand;
        break;
      case 30:
      case 31:
      case 66:
      case 75:
      case 76:
      case 78:
        expected = Extra::kDetail;
        break;
      case 57:
      case 70:
      case 72:
        expected = Extra::kNumber;
        break;
      case 59:
      case 60:
      case 61:
        expected = Extra::kText;
        break;
      default:
        break;
    }
    EXPECT_EQ(FindCatalogueEntry(row.status)->extra, expected) << row.status;
  }
}

TEST(Catalogue, HasNothingOutsideItsNumbers) {
  for (const int status : {0, -1, 80, 81, 82, 90, 1000, INT_MAX, INT_MIN}) {
    EXPECT_EQ(FindCatalogueEntry(status), nullptr) << status;
  }
}

TEST(Catalogue, NamesKeepTheNumbersThatFormTheResultCodes) {
  EXPECT_EQ(kSuccess, 0);
  EXPECT_EQ(kInvalidRecordData, 1);
  EXPECT_EQ(kInsufficientMemory, 2);
  EXPECT_EQ(kInvalidHexNumber, 3);
  EXPECT_EQ(kRecordReadError, 4);
  EXPECT_EQ(kWrongByteCountRead, 5);
  EXPECT_EQ(kInvalidCommand, 11);
  EXPECT_EQ(kInvalidComment, 12);
  EXPECT_EQ(kClearFailed, 25);
  EXPECT_EQ(kBadCompletionCode, 26);
  EXPECT_EQ(kRetryLimit, 27);
  EXPECT_EQ(kDriverOpenFailed, 28);
  EXPECT_EQ(kDriverSendFailed, 29);
  EXPECT_EQ(kIpmiCommandFailed, 30);
  EXPECT_EQ(kBackupFileError, 31);
  EXPECT_EQ(kCompareMismatch, 32);
  EXPECT_EQ(kWriteFailed, 33);
  EXPECT_EQ(kExpectedDevAddressData, 34);
  EXPECT_EQ(kExpectedStartAddrData, 39);
  EXPECT_EQ(kExpectedDataLen, 40);
  EXPECT_EQ(kExpectedStartAddr, 51);
  EXPECT_EQ(kInvalidRecord, 57);
  EXPECT_EQ(kInvalidRecordLength, 58);
  EXPECT_EQ(kUnsupportedFileFormat, 59);
  EXPECT_EQ(kSdrParseFailed, 62);
  EXPECT_EQ(kScriptEchoOpenFailed, 64);
  EXPECT_EQ(kSdrEchoOpenFailed, 65);
  EXPECT_EQ(kInputOpenFailed, 66);
  EXPECT_EQ(kSdrFileOpenFailed, 68);
  EXPECT_EQ(kInvalidCharacterOnLine, 70);
  EXPECT_EQ(kLineTooLong, 72);
  EXPECT_EQ(kTempFileWriteFailed, 73);
  EXPECT_EQ(kNoScriptName, 74);
  EXPECT_EQ(kSparedSdrUnsupported, 77);
  EXPECT_EQ(kOutputOpenFailed, 78);
  EXPECT_EQ(kDriverRetryFailed, 79);
  EXPECT_EQ(kReportedSilently, 80);
  EXPECT_EQ(kReported, 81);
}

}  // namespace
}  // namespace tarvek_test
