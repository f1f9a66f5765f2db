#include <strings.h>

#include <cstring>
#include <utility>

#include "config/cfg_file.h"
#include "errors/reserve_block.h"

namespace {

template <std::size_t N>
void CopyCut(char (&to)[N], const char* from) {
  const std::size_t length = strnlen(from, N - 1);
  std::memcpy(to, from, length);
  to[length] = '\0';
}

/// A new record, or null after the reserve block was released: the failure can then be reported.
template <typename T>
T* MakeRecord() {
  T* const record = tarvek::MakeTraced<T>().release();
  if (record == nullptr) tarvek::ReleaseReserveBlock();
  return record;
}

/// Takes the first node of that name, in any letter case, out of a list.
/// @return the node, or null.
TagTbl* UnlinkTag(TagTbl** list, const char* name) {
  while (*list != nullptr && strncasecmp((*list)->name, name, kTagNameSize) != 0) {
    list = &(*list)->next;
  }
  TagTbl* const node = *list;
  if (node != nullptr) *list = std::exchange(node->next, nullptr);
  return node;
}

/// Links `node` behind the last one of `list`, which is walked unless `end` knows its end.
template <typename T>
void Append(T** list, T* node, std::optional<tarvek::ListEnd<T>>* end) {
  if (*end && (*end)->IsOf(list)) {
    (*end)->Append(node);
  } else {
    tarvek::ListEnd<T>(list).Append(node);
  }
}

}  // namespace

CfgStruct::~CfgStruct() {
  if (fp != nullptr) std::fclose(fp);
  tarvek::FreeRestOfList(menus);
  tarvek::FreeRestOfList(probes);
  tarvek::FreeRestOfList(conditions);
  tarvek::FreeRestOfList(fru_names);
  tarvek::FreeRestOfList(sdr_files);
  tarvek::FreeRestOfList(tags);
}

CfgFile::~CfgFile() {
  FreeScript();
  tarvek::TraceDelete(multi_record_areas);
  tarvek::TraceDelete(fru_file);
  tarvek::TraceDelete(fru_field);
}

void CfgFile::FreeScript() {
  while (open_block != nullptr) CloseBlock();
  end_of_lines.reset();
  EndLists();
  if (state != nullptr) tarvek::FreeRestOfList(state->tags);
  tarvek::FreeRestOfList(lines);
  cursor = nullptr;
  tarvek::TraceDelete(state);
  state = nullptr;
}

ESTATUS CfgFile::Add(CfgLine** list, const char* text) {
  CfgLine* const line = MakeRecord<CfgLine>();
  if (line == nullptr) return kInsufficientMemory;
  CopyCut(line->text, text);
  line->line_number = state->line_number;
  Append(list, line, &end_of_lines);
  return kSuccess;
}

ESTATUS CfgFile::Add(TagTbl** list, const char* tag) {
  TagTbl* const node = MakeRecord<TagTbl>();
  if (node == nullptr) return kInsufficientMemory;
  CopyCut(node->name, tag);
  if (!script_tags || !script_tags->IsOf(list)) {
    tarvek::ListEnd<TagTbl>(list).Append(node);
    return kSuccess;
  }
  if (script_tags->Append(node)) return kSuccess;
  tarvek::TraceDelete(node);
  tarvek::ReleaseReserveBlock();
  return kInsufficientMemory;
}

ESTATUS CfgFile::Add(CSDRHeader** list, const char* filename, int pass) {
  CSDRHeader* const file = MakeRecord<CSDRHeader>();
  if (file == nullptr) return kInsufficientMemory;
  CopyCut(file->filename, filename);
  file->compare = compare;
  file->pass = pass;
  Append(list, file, &end_of_sdr_files);
  return kSuccess;
}

ESTATUS CfgFile::ClearTag(TagTbl** list, const char* tag) {
  const bool of_script = script_tags && script_tags->IsOf(list);
  TagTbl* const cleared = of_script ? script_tags->Unlink(tag) : UnlinkTag(list, tag);
  if (cleared == nullptr) return kReported;
  tarvek::TraceDelete(cleared);
  return kSuccess;
}
