#include "driver/run.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <new>

#include "config/cfg_file.h"
#include "driver/command_line.h"
#include "driver/confirmation.h"
#include "driver/readiness.h"
#include "driver/reporting/history_log.h"
#include "driver/reporting/memory_trace.h"
#include "driver/reporting/progress.h"
#include "driver/reporting/result_files.h"
#include "driver/reporting/run_settings.h"
#include "driver/reporting/single_run_lock.h"
#include "driver/version_cache.h"
#include "errors/prg_error.h"
#include "errors/reserve_block.h"
#include "repository/backup_image.h"
#include "sdrfile/sdr_file.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace tarvek {
namespace {

constexpr int kExitDone = 0;
constexpr int kExitRefused = 1;
constexpr int kDriverOpenPercent = 5;
constexpr int kIdentityReadPercent = 30;
constexpr int kCompletePercent = 100;
constexpr unsigned short kProgressFileHoldMs = 10000;  // a last progress query still finds it
constexpr int kLowWord = 0xFFFF;                       // the results that count are 16 bits wide

// The banner of each run mode, by `g_eu_flg`.
constexpr std::array<const char*, kProgressQuery + 1> command_img{
    "",
    "<<execute -version>>",
    "<<execute -update/-direct>>",
    "<<execute -update/-direct + -force>>",
    "",
    "",
    "<<execute -backup>>",
    "<<execute -ratio>>",
};

void LogStart() {
  Bmc_HistoryLog("=== Tarvek start ===");
  Bmc_HistoryLog("Tarvek Tool Version 1.07");
}

void LogEnd() { Bmc_HistoryLog("=== Tarvek end ==="); }

int EndWithParameterError() {
  OutputDataCreate("SDRC01");
  LogEnd();
  return kExitRefused;
}

/// Answers from the files alone: no lock, no driver.
int AnswerProgressQuery() {
  CopyXmlFile();
  LogEnd();
  sem_post_proc(0);
  return kExitDone;
}

/// Tells the caller of an update that it runs. From here on its final result is held back.
void AnnounceUpdate() {
  if (!IsUnattendedUpdate()) return;
  ReportProgress();
  XmlWrite(g_eu_flg, "OK", "", "");
  ok_start_time = std::time(nullptr);
  if (gTest2Flag == 1) Bmc_HistoryLog("OK FILE create");
}

bool OpenDriver() {
  if (SearchIpmiDriver() != 0) {
    OutputDataCreate("SDRC03");
    return false;
  }
  if (IsUnattendedUpdate()) SetProgress(kDriverOpenPercent);
  return true;
}

/// Whether the run needs the BMC's SDR version or the name of the script that goes with it.
bool NeedsRepositoryIdentity() {
  if (g_eu_flg == kForcedUpdate) return cfg_filename == nullptr;
  return g_eu_flg == kVersionQuery || g_eu_flg == kNormalUpdate;
}

/// Learns which SDR set the BMC holds: from the cache while the repository has not changed, else
/// from its records.
/// @return false when the BMC did not tell; reported.
bool ReadRepositoryIdentity() {
  std::array<unsigned char, kRepositoryInfoSize> info{};
  if (get_sdr_repository_info(info.data()) != 1) {
    disp_cmd_err("Get SDR Repository Info");
    return false;
  }
  sdrRecordSize = static_cast<int>(ReadWord(info.data() + kControlRecordCount));
  const RepositoryStamps stamps{ReadLong(info.data() + kControlAdditionTime),
                                ReadLong(info.data() + kControlEraseTime)};
  LoadVersionCache(stamps);
  if (!g_HW_sdr_version.empty()) return true;
  if ((get_new_sdr() & kLowWord) != 1) return false;
  if (!g_HW_sdr_version.empty()) StoreVersionCache(stamps);
  return true;
}

/// Brings the run to the point where the input can be loaded.
/// @return false when something stands against it; reported.
bool PrepareBmc() {
  if (!OpenDriver()) return false;
  if (GetBmcStatus() == 1) return false;
  if (NeedsRepositoryIdentity() && !ReadRepositoryIdentity()) return false;
  if (IsUnattendedUpdate()) SetProgress(kIdentityReadPercent);
  return true;
}

ESTATUS ReportOutOfMemory() {
  ReleaseReserveBlock();
  return pErr.Report(kInsufficientMemory);
}

/// Loads what is to be loaded, with `gTempFile` open.
ESTATUS LoadRecordsOnce() {
  const Traced<SDRFile> loader = MakeTraced<SDRFile>(kProtocolId);
  return loader != nullptr ? loader->LoadFile(sdr_filename, nullptr) : ReportOutOfMemory();
}

/// Loads an SDR source file or a backup image and, in an update, programs it.
ESTATUS LoadRecords() {
  if (g_option_flg == kImageInput && (get_backup(bin_filename) & kLowWord) == 0) return kReported;

  gTempFile = std::fopen("/dev/null", "w");
  if (gTempFile == nullptr) return pErr.Report(kSdrEchoOpenFailed);
  const ESTATUS status = LoadRecordsOnce();
  std::fclose(gTempFile);
  gTempFile = nullptr;

  if (status == kSuccess && gProgrammed == 1) {
    Bmc_HistoryLog("Programming complete, reboot server for normal operation ");
  }
  return status;
}

/// Runs a configuration script: the one named, or the one that belongs to the BMC's SDR set.
ESTATUS RunScript() {
  if (cfg_filename == nullptr && !gCFGIdentifyOEMSDR.empty()) {
    cfg_filename = gCFGIdentifyOEMSDR.c_str();
  }
  if (cfg_filename == nullptr) return pErr.Report(kNoScriptName);
  const Traced<CfgFile> script = MakeTraced<CfgFile>(kProtocolId);
  return script != nullptr ? script->Process(cfg_filename) : ReportOutOfMemory();
}

ESTATUS DoJob() {
  if (g_eu_flg == kBackup) return sdrBinCreate(backup_filename);
  return g_option_flg == kScriptInput ? RunScript() : LoadRecords();
}

void ReportCompletion() {
  if (!IsUnattendedUpdate()) return;
  SetProgress(kCompletePercent);
  OutputDataCreate("Complete");
}

int Finish() {
  if (IsUnattendedUpdate()) {
    fruLib.SleepMs(kProgressFileHoldMs);
    RemoveProgressFile();
  }
  sem_post_proc(0);
  LogEnd();
  return kExitDone;
}

int EndRefused() {
  LogEnd();
  sem_post_proc(0);
  return kExitRefused;
}

/// The work of every mode that takes the lock.
/// @return the exit status.
int DoWork() {
  if (!PrepareBmc()) return Finish();
  if (g_direct_flg == 1 && !AskForConfirmation()) return EndRefused();
  if (DoJob() == kSuccess) ReportCompletion();
  return Finish();
}

/// The run once it has the lock. Where memory has no status of its own the library throws; what
/// was begun is then undone on the way here, and the run ends like any other that failed.
int RunLocked() {
  AnnounceUpdate();
  try {
    return DoWork();
  } catch (const std::bad_alloc&) {
    ReportOutOfMemory();
    return Finish();
  }
}

}  // namespace

int Run(std::span<char* const> arguments) {
  InstallReleaseHandlers();
  set_xml_path();
  const bool parameters_good = ParseCommandLine(arguments);
  if (g_eu_flg == kVersionQuery) RotateVersionLog();
  LogStart();
  if (!parameters_good) return EndWithParameterError();
  Bmc_HistoryLog(command_img[static_cast<std::size_t>(g_eu_flg)]);
  if (g_eu_flg == kProgressQuery) return AnswerProgressQuery();
  if (CheckDuplex() == 1) {
    LogEnd();
    return kExitRefused;
  }
  return RunLocked();
}

}  // namespace tarvek
