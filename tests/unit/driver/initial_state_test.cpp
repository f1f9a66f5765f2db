// What the system's globals are before any code has run; the fixture of the other tests sets them
// itself and would hide a wrong start.
#include <gtest/gtest.h>

#include <string>

#include "config/cfg_file.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/single_run_lock.h"
#include "errors/prg_error.h"
#include "errors/reserve_block.h"
#include "repository/backup_image.h"
#include "sdrfile/sdr_file.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace {

// Taken while the program starts.
const int kRatio = g_ratio;
const long kOkStartTime = static_cast<long>(ok_start_time);
const int kHoldSeconds = type2_wait_time;
const bool kFirstError = PrgError::firstError;
const int kInputRecords = g_inputSdrRecord;
const int kDefaultPassSwitch = gIPMI_Version;
const bool kSetAll = gSetAll;
const bool kNullString = gNullString;
const int kCompare = gSDRCompare;
const int kProgrammed = gProgrammed;
const int kFirstPass = gSDRFirstPass;
const int kRetryMessages = gErrRtyMsg;
const int kProbing = gErrMsgRepr;
const int kIgnoring = gIgnoreResponse;
const int kIgnoringClear = MS_cc_ignore;
const int kRecordCount = sdrRecordSize;
const int kImageSize = ipm_sdr_size;
const std::string kImageOwner = ipm_bmc.name;
const int kDescriptor = ipmi_fd;
const int kDrivers = kov_ipmi + open_ipmi;
const bool kLockHeld = sem_ptr != nullptr;
const bool kFileFlags[] = {gFormatVer15X, gIPMIVer1pt0, gIPMIVer1pt5, gUseRecord};
const int kScriptFlags = gErrorLevel + gTempFlag;
const int kLastFailure = ipmi_err_type + ipmi_err_status;
const int kBmcKind = ipm_kov + ipm_ver + ipm_type;
const int kImageNumbers = ipm_bmc.answer_length + ipm_bmc.slot + ipm_bmc.slot_valid;

TEST(InitialState, IsThatOfARunThatHasDoneNothing) {
  EXPECT_EQ(kRatio, 0);
  EXPECT_EQ(kOkStartTime, 0);
  EXPECT_EQ(kHoldSeconds, 30);
  EXPECT_TRUE(kFirstError);
  EXPECT_EQ(kInputRecords, 1);
  EXPECT_EQ(kDefaultPassSwitch, 1);
  EXPECT_FALSE(kSetAll);
  EXPECT_FALSE(kNullString);
  EXPECT_EQ(kCompare, 0);
  EXPECT_EQ(kProgrammed, 0);
  EXPECT_EQ(kFirstPass, 1);
  EXPECT_EQ(kRetryMessages, 0);
  EXPECT_EQ(kProbing, 0);
  EXPECT_EQ(kIgnoring, 0);
  EXPECT_EQ(kIgnoringClear, 0);
  EXPECT_EQ(kRecordCount, 1);
  EXPECT_EQ(kImageSize, 0);
  EXPECT_EQ(kImageOwner, "");
  EXPECT_EQ(kDescriptor, 0);
  EXPECT_EQ(kDrivers, 0);
  EXPECT_FALSE(kLockHeld);
}

TEST(InitialState, IsThatOfARunThatHasReadNothing) {
  for (const bool flag : kFileFlags) EXPECT_FALSE(flag);
  EXPECT_EQ(kScriptFlags, 0);
  EXPECT_EQ(kLastFailure, 0);
  EXPECT_EQ(kBmcKind, 0);
  EXPECT_EQ(kImageNumbers, 0);
}

TEST(InitialState, HoldsAReserveBlock) { EXPECT_NE(gErrorBlock, nullptr); }

}  // namespace
