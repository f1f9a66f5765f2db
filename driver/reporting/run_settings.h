// The settings of a run: filled once from the command line, read everywhere.
#pragma once

#include <cstdint>
#include <string>

/// What a run does; the values of `g_eu_flg`. 5 is no run mode: it only selects
/// the progress file when a result file is written.
enum RunMode : int {
  kNoMode = 0,
  kVersionQuery = 1,
  kNormalUpdate = 2,
  kForcedUpdate = 3,
  kProgressFile = 5,
  kBackup = 6,
  kProgressQuery = 7,
};

/// Where the records come from; the values of `g_option_flg`.
enum InputSource : int {
  kNoInput = 0,
  kSdrFileInput = 1,
  kScriptInput = 2,
  kImageInput = 3,
};

inline int g_eu_flg = kNoMode;           // run mode, a RunMode; written by the command line
inline int g_force_flg = kNormalUpdate;  // the update mode: 2, or 3 after -force
inline int g_option_flg = kNoInput;      // input source, an InputSource
inline int g_direct_flg = 0;             // 1: interactive update, no result files
inline int g_display_flg = 0;            // 1: history log lines are echoed to standard output
inline unsigned char gTestFlag = 0;      // 1: every request and response image is logged
inline unsigned char gTest2Flag = 0;     // 1: the timing lines of an update are logged
inline unsigned char gMemAllocFlag = 0;  // 1: allocations of work objects are announced; set by
                                         // no option

inline const char* sdr_filename = "BMCSDR.SDR";     // SDR source file
inline const char* cfg_filename = nullptr;          // configuration script; null: none was named
inline const char* bin_filename = "BMCSDR.BIN";     // backup image used as input
inline const char* backup_filename = "BMCSDR.BAK";  // backup image written by -backup

// Retry and timing options. They are accepted and stored, and deliberately read by
// nothing: callers that pass them keep working.
inline int ff_retry = 10;
inline int other_retry = 3;
inline int retry_wait = 10000000;
inline int lock_retry = 1;
inline int lock_wait = 60;
inline std::int64_t CommandWaitTimeoutPeriod = 15000000;
inline std::int64_t IpmbWaitTimeoutPeriod = 15000000;
inline std::int64_t BusyWaitTimeoutPeriod = 10000000;

inline std::string g_HW_sdr_version;     // SDR version in the BMC; from its cache or its records
inline std::string g_input_sdr_version;  // SDR version of the input; empty until a record names it
inline std::string gCFGIdentifyOEMSDR;   // script that belongs to the BMC's SDR set; may be empty

namespace tarvek {

/// True in a normal or forced update, direct ones included.
inline bool IsUpdate() { return g_eu_flg == kNormalUpdate || g_eu_flg == kForcedUpdate; }

/// True in an update that answers through result files, that is, one that is not direct.
inline bool IsUnattendedUpdate() { return IsUpdate() && g_direct_flg != 1; }

}  // namespace tarvek
