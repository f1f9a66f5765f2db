#include "config/cfg_file.h"
#include "driver/reporting/history_log.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"

namespace {

constexpr const char* kNullDevice = "/dev/null";
constexpr const char* kScriptEcho = "CFG.TMP";
constexpr const char* kSdrEcho = "SDR.TMP";
constexpr int kFirstPass = 1;
constexpr int kLastPass = 0;

/// Opens an echo file, or the null device in its place.
/// @return the stream, the caller's to close; null when it cannot be opened.
std::FILE* OpenEcho(const char* name) {
  if (gTempFlag == 0) return std::fopen(kNullDevice, "w");
  std::FILE* const echo = std::fopen(name, "w");
  return echo != nullptr ? echo : std::fopen(name, "w");
}

void EchoText(const char* text, std::FILE* echo) {
  if (echo != nullptr) std::fprintf(echo, "%s ", text);
}

void CloseEcho(std::FILE* echo) {
  if (echo != nullptr) std::fclose(echo);
}

}  // namespace

ESTATUS CfgFile::Process(const char* path) {
  state = tarvek::MakeTraced<CfgStruct>().release();
  if (state == nullptr) return ReportOutOfMemory();
  const ESTATUS status = RunScript(path);
  FreeScript();
  return status;
}

ESTATUS CfgFile::ReportOutOfMemory() {
  tarvek::ReleaseReserveBlock();
  return Report(kInsufficientMemory);
}

ESTATUS CfgFile::RunScript(const char* path) {
  ESTATUS status = Read(path);
  if (status != kSuccess) return Report(status == kReported ? kScriptReadFailed : status);
  status = Parse();
  if (status != kSuccess) return status;
  status = EchoScript();
  if (status != kSuccess) return status;
  if (lines == nullptr) return kSuccess;

  const tarvek::Traced<CFRU> fru = tarvek::MakeTraced<CFRU>();
  if (fru == nullptr) return ReportOutOfMemory();
  const tarvek::Traced<CFRUFile> file = tarvek::MakeTraced<CFRUFile>();
  if (file == nullptr) return ReportOutOfMemory();
  fru->file = file.get();
  return InterpretScript(fru.get());
}

/// Writes the lexed script to its echo, one line each. On the way an argument that holds a byte
/// which may not be printed is emptied, deliberately: the interpreter sees it empty.
/// @return 0; 64 (reported) when CFG.TMP cannot be opened. Without a null device there is no
///   echo: 65 is reported, and the run goes on.
ESTATUS CfgFile::EchoScript() {
  std::FILE* const echo = OpenEcho(kScriptEcho);
  if (echo == nullptr && gTempFlag != 0) return Report(kScriptEchoOpenFailed);
  if (echo == nullptr) Report(kSdrEchoOpenFailed);
  for (CfgLine* line = lines; line != nullptr; line = line->next) {
    EchoText(ValidString(line->text), echo);
    for (int i = 0; i < line->argument_count; ++i) EchoText(ValidString(line->arguments[i]), echo);
    if (echo != nullptr) std::fputc('\n', echo);
  }
  CloseEcho(echo);
  return kSuccess;
}

/// Interprets the stored lines and, when all went well, loads the SDR files that they named.
ESTATUS CfgFile::InterpretScript(CFRU* fru) {
  cursor = lines;
  const ESTATUS status = Interpret(fru, 0, 0, 1);
  if (status == kSuccess) return LoadSdrFiles();
  if (gErrorLevel != 0) return status;
  return Report(status == kReported ? kScriptInterpretFailed : status);
}

/// Loads the queued files, those of the first pass before those of the last one, wherever they
/// stand in the script.
ESTATUS CfgFile::LoadSdrFiles() {
  ESTATUS status = kSuccess;
  for (const int pass : {kFirstPass, kLastPass}) {
    if (status == kSuccess && state->sdr_files != nullptr) status = LoadPass(pass);
  }
  tarvek::FreeRestOfList(state->sdr_files);
  if (status == kSuccess && gProgrammed == 1) {
    Bmc_HistoryLog("Programming complete, reboot server for normal operation ");
  }
  return status;
}

/// Loads one pass with the SDR echo open. SDR.TMP must open; without a null device 65 is
/// reported, and the run goes on.
ESTATUS CfgFile::LoadPass(int pass) {
  gTempFile = OpenEcho(kSdrEcho);
  if (gTempFile == nullptr) {
    const ESTATUS status = Report(kSdrEchoOpenFailed);
    if (gTempFlag != 0) return status;
  }
  const ESTATUS status = WhileSDRFilesToLoad(pass);
  CloseEcho(gTempFile);
  gTempFile = nullptr;
  return status;
}

ESTATUS CfgFile::WhileSDRFilesToLoad(int pass) {
  const tarvek::Traced<SDRFile> loader = tarvek::MakeTraced<SDRFile>(kProtocolId);
  if (loader == nullptr) return ReportOutOfMemory();
  ESTATUS status = kSuccess;
  for (const CSDRHeader* file = state->sdr_files; file != nullptr && status == kSuccess;
       file = file->next) {
    // Also for the other pass's files: what is left in the flag is the last entry's.
    gSDRCompare = static_cast<unsigned char>(file->compare);
    if (file->pass == pass) status = loader->LoadFile(file->filename, state->tags);
  }
  return status;
}

ESTATUS CfgFile::Interpret(CFRU* fru, int inIf, int condTrue, int exec) {
  if (!BeginLists()) return kInsufficientMemory;
  Block base{inIf, condTrue, exec, nullptr};
  Block* const outer = open_block;
  const ESTATUS status = InterpretLines(fru, &base);
  while (open_block != outer) CloseBlock();
  EndLists();
  return status;
}

/// Takes up the lists that commands change. Until EndLists() they are changed by commands alone,
/// so that none of them is walked for each.
/// @return false, with the reserve block released, when memory ran out.
bool CfgFile::BeginLists() {
  end_of_sdr_files.emplace(&state->sdr_files);
  script_tags.emplace(&state->tags);
  if (script_tags->TakeUp()) return true;
  EndLists();
  tarvek::ReleaseReserveBlock();
  return false;
}

void CfgFile::EndLists() {
  end_of_sdr_files.reset();
  script_tags.reset();
}

/// The loop of Interpret(): `base` is the block that the call stands in; those that begin on the
/// way are `open_block` and the ones around it.
ESTATUS CfgFile::InterpretLines(CFRU* fru, Block* base) {
  const Block* const outer = open_block;
  for (; cursor != nullptr; cursor = cursor->next) {
    const ESTATUS status = Dispatch(fru, open_block != outer ? open_block : base);
    if (status != kSuccess) return status;
    if (cursor->id != kCfgEndIf) continue;
    if (ifset_depth == 0) return kUnbalancedIfSet;
    if (open_block == outer) return kSuccess;
    CloseBlock();
  }
  return ifset_depth != 0 ? kUnbalancedIfSet : kSuccess;
}

void CfgFile::CloseBlock() {
  Block* const closed = open_block;
  open_block = closed->outer;
  delete closed;
  --ifset_depth;
}

ESTATUS CfgFile::Dispatch(CFRU* fru, Block* block) {
  const int in_if = block->in_if;
  const int branch = block->branch;
  const int run = block->run;
  switch (cursor->id) {
    case kCfgConfiguration:
      return CmdConfiguration(in_if, branch, run);
    case kCfgDisplay:
    case kCfgMenuTitle:
      return CmdDisplay(in_if, branch, run);
    case kCfgMenuPrompt:
      return CmdMenuPrompt(in_if, branch, run);
    case kCfgMenu:
      return CmdMenu(in_if, branch, run);
    case kCfgProbe:
      return CmdProbe(fru, in_if, branch, run);
    case kCfgFound:
      return CmdFound(in_if, branch, run);
    case kCfgPrompt:
      return CmdPrompt(in_if, branch, run);
    case kCfgYes:
      return CmdYes(in_if, branch, run);
    case kCfgNo:
      return CmdNo(in_if, branch, run);
    case kCfgIfSet:
      return CmdIfSet(fru, in_if, branch, run);
    case kCfgElse:
      return CmdElse(in_if, &block->branch);
    case kCfgEndIf:
      return CmdEndIf(in_if);
    case kCfgFruName:
      return CmdFruName(fru, in_if, branch, run);
    case kCfgFruAddress:
      return CmdFruAddress(fru, in_if, branch, run);
    case kCfgFruArea:
      return CmdFruArea(fru, in_if, branch, run);
    case kCfgFruField:
      return CmdFruField(fru, in_if, branch, run);
    case kCfgSdrName:
      return CmdSdrName(in_if, branch, run);
    case kCfgSet:
      return CmdSet(in_if, branch, run);
    case kCfgClear:
      return CmdClear(in_if, branch, run);
    case kCfgClearSdr:
      return CmdClearSdr(in_if, branch, run);
    case kCfgErrorLevel:
      return CmdErrorLevel(in_if, branch, run);
    case kCfgBoot:
      return CmdBoot(in_if, branch, run);
    default:
      return kInvalidString;
  }
}
