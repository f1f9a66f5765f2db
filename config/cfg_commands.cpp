#include <strings.h>

#include <cstring>
#include <new>
#include <string_view>

#include "config/cfg_file.h"
#include "driver/reporting/history_log.h"
#include "driver/reporting/text_format.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"

namespace {

/// The gate before every acting command: whether the line stands in a branch that runs.
bool Runs(int in_if, int branch, int run) { return run != 0 && (in_if != 1 || branch != 0); }

/// What a command of the larger script language does: scripts may carry it in branches that this
/// tool never takes.
ESTATUS Refuse(int in_if, int branch, int run) {
  return Runs(in_if, branch, run) ? kInvalidCommand : kSuccess;
}

enum class Mode { kCompare, kFirst, kLast, kUnknown };

Mode ModeOf(const char* word) {
  if (strcasecmp(word, "COMPARE") == 0) return Mode::kCompare;
  if (strcasecmp(word, "FIRST") == 0) return Mode::kFirst;
  return strcasecmp(word, "LAST") == 0 ? Mode::kLast : Mode::kUnknown;
}

bool NamesPass(Mode mode) { return mode == Mode::kFirst || mode == Mode::kLast; }

int PassOf(Mode mode) { return mode == Mode::kFirst ? 1 : 0; }

int DefaultPass() { return gIPMI_Version == 1 ? 1 : 0; }

}  // namespace

/// Checks how many arguments the line has, and how long the first one is; the others were held
/// to the lexer's limit alone, deliberately.
/// @param without  the status of a line that has none.
ESTATUS CfgFile::CheckFirstArgument(ESTATUS without, std::size_t max_length,
                                    int max_arguments) const {
  if (cursor->argument_count == 0) return without;
  if (std::strlen(cursor->arguments[0]) > max_length) return kCommandArgumentTooLong;
  return cursor->argument_count > max_arguments ? kTooManyArguments : kSuccess;
}

ESTATUS CfgFile::CmdConfiguration(int inIf, int condTrue, int exec) {
  if (!Runs(inIf, condTrue, exec)) return kSuccess;
  const ESTATUS status = CheckFirstArgument(kNoArgument, kMaxTagArgument, 1);
  if (status != kSuccess) return status;
  char* const name = cursor->arguments[0];
  if (name[0] == '\0') return kSuccess;
  Bmc_HistoryLog(tarvek::Text("Loading configuration file: ").Append(ValidString(name)));
  std::memcpy(state->work, name, std::strlen(name) + 1);
  return kSuccess;
}

ESTATUS CfgFile::CmdDisplay(int inIf, int condTrue, int exec) {
  if (!Runs(inIf, condTrue, exec)) return kSuccess;
  const ESTATUS status = CheckFirstArgument(kNoArgument, kMaxDisplayArgument, 1);
  if (status != kSuccess) return status;
  if (cursor->id == kCfgMenuTitle) return kInvalidCommand;
  char* const text = cursor->arguments[0];
  if (text[0] != '\0') Bmc_HistoryLog(ValidString(text));
  return kSuccess;
}

ESTATUS CfgFile::CmdIfSet(CFRU* /*fru*/, int inIf, int condTrue, int exec) {
  constexpr int kMaxConditions = 4;
  const ESTATUS status = CheckFirstArgument(kNoCondition, kMaxTagArgument, kMaxConditions);
  if (status != kSuccess) return status;
  const int run = Runs(inIf, condTrue, exec) ? 1 : 0;
  // cppcheck-suppress unreadVariable  // it is linked in below
  auto* const block = new (std::nothrow) Block{1, AllTagsSet() ? 1 : 0, run, open_block};
  if (block == nullptr) {
    tarvek::ReleaseReserveBlock();
    return kInsufficientMemory;
  }
  open_block = block;
  ++ifset_depth;
  return kSuccess;
}

bool CfgFile::AllTagsSet() {
  for (int i = 0; i < cursor->argument_count; ++i) {
    if (!IsTagSet(cursor->arguments[i])) return false;
  }
  return true;
}

/// Whether a tag is set: what CheckTable() says, without walking the list while a script runs.
bool CfgFile::IsTagSet(const char* name) {
  return script_tags ? script_tags->Holds(name) : CheckTable(state->tags, name) == 1;
}

ESTATUS CfgFile::CmdElse(int inIf, int* condTrue) {
  if (inIf == 0) return kElseWithoutIfSet;
  if (cursor->argument_count > 0) return kUnwantedArgument;
  *condTrue = *condTrue == 0 ? 1 : 0;
  return kSuccess;
}

ESTATUS CfgFile::CmdEndIf(int inIf) {
  if (inIf == 0) return kEndIfWithoutIfSet;
  return cursor->argument_count > 0 ? kUnwantedArgument : kSuccess;
}

ESTATUS CfgFile::CmdSdrName(int inIf, int condTrue, int exec) {
  constexpr int kMaxSdrNameArguments = 3;
  if (!Runs(inIf, condTrue, exec)) return kSuccess;
  ESTATUS status = CheckFirstArgument(kNoArgument, kMaxTagArgument, kMaxSdrNameArguments);
  if (status != kSuccess) return status;

  char* const name = cursor->arguments[0];
  GetFilename(name, "sdr");
  status = OpenFile(name, &sdr_test, "r");
  sdr_test.Close();
  if (status != kSuccess) return kSdrFileOpenFailed;
  std::memcpy(last_sdr_name, name, std::strlen(name) + 1);

  int pass = 0;
  status = ApplyModes(&pass);
  return status != kSuccess ? status : Report(Add(&state->sdr_files, name, pass));
}

/// Takes the compare flag and the pass from the words behind an SDR file's name. A lone FIRST or
/// LAST leaves the compare flag as the SDRNAME before it did, deliberately.
/// @return 0; 9 when the words make no sense.
ESTATUS CfgFile::ApplyModes(int* pass) {
  *pass = DefaultPass();
  if (cursor->argument_count == 1) {
    compare = 0;
    return kSuccess;
  }
  const Mode first = ModeOf(cursor->arguments[1]);
  if (cursor->argument_count == 2) {
    if (first == Mode::kUnknown) return kInvalidSdrNameArgument;
    if (first == Mode::kCompare) compare = 1;
    if (NamesPass(first)) *pass = PassOf(first);
    return kSuccess;
  }
  const Mode second = ModeOf(cursor->arguments[2]);
  const bool compare_first = first == Mode::kCompare && NamesPass(second);
  const bool compare_second = second == Mode::kCompare && NamesPass(first);
  if (!compare_first && !compare_second) return kInvalidSdrNameArgument;
  compare = 1;
  *pass = PassOf(compare_first ? second : first);
  return kSuccess;
}

ESTATUS CfgFile::CmdSet(int inIf, int condTrue, int exec) {
  if (!Runs(inIf, condTrue, exec)) return kSuccess;
  const ESTATUS status = CheckFirstArgument(kNoArgument, kMaxTagArgument, 1);
  if (status != kSuccess || cursor->arguments[0][0] == '\0') return status;
  return Report(Add(&state->tags, cursor->arguments[0]));
}

ESTATUS CfgFile::CmdClear(int inIf, int condTrue, int exec) {
  if (!Runs(inIf, condTrue, exec)) return kSuccess;
  const ESTATUS status = CheckFirstArgument(kNoArgument, kMaxTagArgument, 1);
  if (status == kSuccess && cursor->arguments[0][0] != '\0') {
    ClearTag(&state->tags, cursor->arguments[0]);
  }
  return status;
}

int CfgFile::GetFilename(char* /*name*/, const char* /*extension*/) const { return kSuccess; }

// The commands of the larger script language.

ESTATUS CfgFile::CmdMenuPrompt(int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdMenu(int inIf, int condTrue, int exec) { return Refuse(inIf, condTrue, exec); }

ESTATUS CfgFile::CmdProbe(CFRU* /*fru*/, int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdFound(int inIf, int condTrue, int exec) { return Refuse(inIf, condTrue, exec); }

ESTATUS CfgFile::CmdPrompt(int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdYes(int inIf, int condTrue, int exec) { return Refuse(inIf, condTrue, exec); }

ESTATUS CfgFile::CmdNo(int inIf, int condTrue, int exec) { return Refuse(inIf, condTrue, exec); }

ESTATUS CfgFile::CmdFruName(CFRU* /*fru*/, int inIf, int condTrue, int exec) {
  fru_name_field = 0;
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdFruAddress(CFRU* /*fru*/, int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdFruArea(CFRU* /*fru*/, int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdFruField(CFRU* /*fru*/, int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdClearSdr(int inIf, int condTrue, int exec) {
  // A loader comes and goes here, also in a skipped branch; nothing else comes of it.
  { const SDRFile loader(kProtocolId); }
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdErrorLevel(int inIf, int condTrue, int exec) {
  return Refuse(inIf, condTrue, exec);
}

ESTATUS CfgFile::CmdBoot(int inIf, int condTrue, int exec) { return Refuse(inIf, condTrue, exec); }
