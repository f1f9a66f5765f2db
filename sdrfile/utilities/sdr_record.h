// One sensor data record in memory.
#pragma once

#include "driver/reporting/memory_trace.h"

// A record as the BMC stores it (IPMI 2.0, 43): record ID (2 bytes, low byte first), SDR
// version, record type, body length, body.
inline constexpr int kRecordTypeOffset = 3;
inline constexpr int kRecordBodyLengthOffset = 4;
inline constexpr int kRecordHeaderSize = 5;
inline constexpr int kMaxRecordBody = 64;
inline constexpr int kMaxRecordSize = kRecordHeaderSize + kMaxRecordBody;
inline constexpr int kNewRecordType = 0x24;  // the type that a fresh record carries
inline constexpr int kOemRecordType = 0xC0;
inline constexpr int kMaxTagLength = 32;  // characters of a record's tag name

/// A node of a singly linked list of records. Destroying a node destroys and frees the rest of
/// the list after it.
struct SDRecord {
  unsigned char type = kNewRecordType;            // record type given in the source file
  char tag[kMaxTagLength + 1] = {};               // last tag name; empty when it has none
  unsigned int length = 0;                        // bytes in `Record`; from an image: of its body
  unsigned char Record[kMaxRecordSize + 1] = {};  // the record; always ends with a zero byte
  SDRecord* next = nullptr;

  SDRecord() = default;
  SDRecord(const SDRecord&) = delete;
  SDRecord& operator=(const SDRecord&) = delete;
  ~SDRecord() { tarvek::FreeRestOfList(next); }
};
