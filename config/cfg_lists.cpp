#include <strings.h>

#include <cstring>

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
  end_of_lines.Append(list, line);
  return kSuccess;
}

ESTATUS CfgFile::Add(TagTbl** list, const char* tag) {
  TagTbl* const node = MakeRecord<TagTbl>();
  if (node == nullptr) return kInsufficientMemory;
  CopyCut(node->name, tag);
  // Linked first: should the index find no memory, the list still owns the tag.
  end_of_tags.Append(list, node);
  tag_index.Add(node->name);
  return kSuccess;
}

ESTATUS CfgFile::Add(CSDRHeader** list, const char* filename, int pass) {
  CSDRHeader* const file = MakeRecord<CSDRHeader>();
  if (file == nullptr) return kInsufficientMemory;
  CopyCut(file->filename, filename);
  file->compare = compare;
  file->pass = pass;
  end_of_sdr_files.Append(list, file);
  return kSuccess;
}

ESTATUS CfgFile::ClearTag(TagTbl** list, const char* tag) {
  if (!tag_index.Holds(tag)) return kReported;
  TagTbl** slot = list;
  while (*slot != nullptr && strcasecmp((*slot)->name, tag) != 0) slot = &(*slot)->next;
  if (*slot == nullptr) return kReported;
  tag_index.Remove(tag);
  tarvek::TraceDelete(end_of_tags.Unlink(slot));
  return kSuccess;
}
