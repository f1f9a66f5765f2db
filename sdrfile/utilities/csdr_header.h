// One SDR source file that a configuration script names.
#pragma once

#include "driver/reporting/memory_trace.h"

/// A node of the singly linked list of SDR files to load, in script order. The loader also uses
/// one as scratch space for a file's repository header. Destroying a node destroys and frees the
/// rest of the list after it.
struct CSDRHeader {
  unsigned char start_address[2] = {};  // _START_ADDR, high byte first
  unsigned char data_length[2] = {};    // _DATA_LEN, high byte first
  unsigned char device[4] = {};         // [0] _DEV_BUS, [1] _DEV_ADDRESS; the rest is spare
  char nvs_type[16] = {};               // _NVS_TYPE
  char title[40] = {};                  // not used by this tool
  char filename[128] = {};              // the SDR source file
  int compare = 0;                      // 1: compare only, do not program
  int pass = 1;                         // 1: loaded in the first pass, 0: in the last one
  CSDRHeader* next = nullptr;

  CSDRHeader() = default;
  CSDRHeader(const CSDRHeader&) = delete;
  CSDRHeader& operator=(const CSDRHeader&) = delete;
  ~CSDRHeader() { tarvek::FreeRestOfList(next); }
};
