// Records of the larger script language, in which scripts also probe for hardware, ask
// questions and write FRU areas. This tool only carries them: no command reads or fills them.
#pragma once

#include "driver/reporting/memory_trace.h"

namespace tarvek {

/// A node of a singly linked list. Destroying a node destroys and frees the rest of the list
/// after it.
template <typename T>
struct ScriptListRecord {
  T* next = nullptr;

  ScriptListRecord() = default;
  ScriptListRecord(const ScriptListRecord&) = delete;
  ScriptListRecord& operator=(const ScriptListRecord&) = delete;
  ~ScriptListRecord() { FreeRestOfList(next); }
};

}  // namespace tarvek

struct CMenu : tarvek::ScriptListRecord<CMenu> {};        // an entry of a menu
struct Probe : tarvek::ScriptListRecord<Probe> {};        // a search for a device
struct IfSet : tarvek::ScriptListRecord<IfSet> {};        // a condition
struct CFRUName : tarvek::ScriptListRecord<CFRUName> {};  // a FRU file to load

struct CPrompts {};              // the texts of a question
struct CMultiRecordAreaList {};  // a FRU's multi-record areas
struct CFRUField {};             // a field of a FRU area
struct CFRUFile {};              // a FRU file's contents

/// The FRU that a script works on. Every command handler is handed one.
class CFRU {
 public:
  CFRU() = default;
  CFRU(const CFRU&) = delete;
  CFRU& operator=(const CFRU&) = delete;
  virtual ~CFRU() = default;

  CFRUFile* file = nullptr;  // owned by whoever made it
};
