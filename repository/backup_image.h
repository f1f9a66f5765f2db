// The backup image: the BMC's repository in a file, saved and loaded.
//
// The file is its blocks in order (transport/image_layout.h draws them): header, identity block,
// SDR control block, record area; in an image made elsewhere an event-log control block with its
// data may stand before the SDR control block. The positions in the header only tell whether a
// block is there; no block is sought by them.
#pragma once

#include <array>

inline constexpr unsigned char ipm_major = 4;  // version of the format
inline constexpr unsigned char ipm_minor = 2;

/// The BMC that a loaded image was made from.
struct BmcDescription {
  const char* name = "";
  int answer_length = 0;                      // bytes of its Get Device ID answer: 12 or 16
  unsigned char slot = 0;                     // slot number
  unsigned char slot_valid = 0;               // 1: the slot number counts
  std::array<unsigned char, 16> device_id{};  // the answer, from its completion code on
};
inline BmcDescription ipm_bmc;  // kept beside a loaded image; read by nothing

/// Saves the BMC's repository as an image.
/// @return 0, or 81 after a failure, which was reported.
int sdrBinCreate(const char* path);

/// Writes an image of what chk_ipmi_version(), get_new_sdr() and get_new_sdr_info() left in memory.
/// A file that could not be written as a whole stays as it is. A pipe without a reader does not
/// hold the caller up: it cannot be created.
/// @return 1, or 0 after a failure, which was reported: 78 when the file cannot be created, 31 when
///   a block cannot be written or the file not be closed.
int set_backup(const char* path);

/// Loads an image into memory and checks it. The file of a good one is deliberately left open until
/// the run ends. A pipe without a writer does not hold the caller up: it reads as a truncated file.
/// @return 1, or 0 after a failure, which was reported: 66 when the file cannot be opened or is a
///   device; 31 when it ends too early, cannot be read, claims 32768 bytes of records or more, or
///   has an event log to be skipped and is a pipe, in which nothing can be sought; 75; 76.
int get_backup(const char* path);

/// Checks a loaded image: its file ID, then the checksums of header, SDR control block and records.
/// The identity block and the format version are deliberately not checked.
/// @return 1, or 0 after the first failure, which was reported: 75 or 76.
int chk_backup();

/// Writes a block with one call. Lengths are signed 16-bit numbers in this format: a block of 32768
/// bytes or more always fails, although its bytes may be in the file.
/// @param fd   closed after a failure.
/// @param buf  `n` bytes.
/// @return 1, or 0 after a failure, reported as status 31.
int binwrite(short fd, const unsigned char* buf, unsigned short n);

/// Reads a block with one call, under the same limit.
/// @param fd   closed after a failure.
/// @param buf  receives `n` bytes.
/// @return 1, or 0 after a failure, which a file that ends too early is too; reported as status 31.
int binread(short fd, unsigned char* buf, unsigned short n);
