#include "tests/unit/config/script_run.h"

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <new>

#include "driver/reporting/run_settings.h"
#include "errors/reserve_block.h"
#include "sdrfile/sdr_file.h"

using tarvek_test::TheSeams;

extern "C" {
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
ESTATUS __real__ZN7CfgFile7CmdBootEiii(CfgFile* self, int in_if, int branch, int run);
int __real__ZN7SDRFile8LoadFileEPKcPK6TagTbl(SDRFile* self, const char* path, const TagTbl* tags);

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  ++TheSeams().opened[path];
  int& refusals = TheSeams().unopenable[path];
  if (refusals == 0) return __real_fopen(path, mode);
  if (refusals > 0) --refusals;
  errno = EACCES;
  return nullptr;
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
  return TheSeams().poll ? TheSeams().poll() : __real_poll(descriptors, count, timeout);
}

ESTATUS __wrap__ZN7CfgFile7CmdBootEiii(CfgFile* self, int in_if, int branch, int run) {
  if (TheSeams().boot_status != 0) return TheSeams().boot_status;
  return __real__ZN7CfgFile7CmdBootEiii(self, in_if, branch, run);
}

int __wrap__ZN7SDRFile8LoadFileEPKcPK6TagTbl(SDRFile* self, const char* path, const TagTbl* tags) {
  std::string load = std::string(path) + "[";
  for (const TagTbl* tag = tags; tag != nullptr; tag = tag->next) {
    load.append(tag == tags ? "" : ",").append(tag->name);
  }
  load += "] c" + std::to_string(gSDRCompare) + (gTempFile != nullptr ? " e" : "");
  TheSeams().loads.push_back(load);
  const int status = TheSeams().load_status[path];
  if (status != tarvek_test::Seams::kRealLoader) return status;
  return __real__ZN7SDRFile8LoadFileEPKcPK6TagTbl(self, path, tags);
}
}  // extern "C"

namespace {

bool AllocationFails() {
  int& failing = TheSeams().failing_allocation;
  return failing > 0 && --failing == 0;
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (AllocationFails()) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  if (AllocationFails()) return nullptr;
  try {
    return ::operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace tarvek_test {
namespace {

constexpr const char* kScriptName = "script.cfg";

std::string Joined(const std::string& left, const std::string& right) {
  return left.empty() ? right : left + "," + right;
}

}  // namespace

Seams& TheSeams() {
  static Seams seams;
  return seams;
}

ESTATUS OpenCfgFile::Lex(const std::string& script) {
  WriteFile(kScriptName, script);
  if (state == nullptr) state = new CfgStruct;
  const ESTATUS status = Read(kScriptName);
  return status != kSuccess ? status : Parse();
}

ESTATUS OpenCfgFile::InterpretText(const std::string& script) {
  const ESTATUS status = Lex(script);
  if (status != kSuccess) return status;
  cursor = lines;
  return Interpret(nullptr, 0, 0, 1);
}

std::vector<std::string> OpenCfgFile::Lines() const {
  std::vector<std::string> texts;
  for (const CfgLine* line = lines; line != nullptr; line = line->next) {
    std::string text = line->text;
    for (int i = 0; i < line->argument_count; ++i) {
      text += " [" + std::string(line->arguments[i]) + "]";
    }
    texts.push_back(text);
  }
  return texts;
}

std::string OpenCfgFile::Tags() const {
  std::string tags;
  for (const TagTbl* tag = state->tags; tag != nullptr; tag = tag->next) {
    tags = Joined(tags, tag->name);
  }
  return tags;
}

std::string OpenCfgFile::Files() const {
  std::string files;
  for (const CSDRHeader* file = state->sdr_files; file != nullptr; file = file->next) {
    files =
        Joined(files, std::string(file->filename) + " compare=" + std::to_string(file->compare) +
                          " pass=" + std::to_string(file->pass));
  }
  return files;
}

void ScriptRun::SetUp() {
  FreshRun::SetUp();
  TheSeams() = Seams{};
  gErrorLevel = 0;
  gTempFlag = 0;
  if (gErrorBlock == nullptr) gErrorBlock = new char[kReserveBlockSize];
  g_eu_flg = kForcedUpdate;
  g_option_flg = kScriptInput;
}

void ScriptRun::TearDown() {
  TheSeams() = Seams{};
  gErrorLevel = 0;
  gTempFlag = 0;
  if (gErrorBlock == nullptr) gErrorBlock = new char[kReserveBlockSize];
  FreshRun::TearDown();
}

ESTATUS ScriptRun::Run(const std::string& script) {
  WriteFile(kScriptName, script);
  CfgFile file;
  return file.Process(kScriptName);
}

std::string Script(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

}  // namespace tarvek_test
