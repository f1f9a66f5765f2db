// The IPMI commands that identify a BMC and read its repository.
//
// The wrappers return 1 on success and 0 on failure. A failure found in an answer sets
// `ipmi_err_type` and `ipmi_err_status`; a failed exchange leaves both untouched (it was
// reported already), get_sdr() apart.
#pragma once

#include <array>

#include "transport/image_layout.h"
#include "transport/ipmi_layout.h"
#include "transport/request_exchange.h"

inline CProto bmc_io{kProtocolId};  // what the wrappers exchange through

// Kinds of a wrapper's failure, the values of `ipmi_err_type`.
inline constexpr unsigned char kErrNetFn = 6;
inline constexpr unsigned char kErrCompletionCode = 7;
inline constexpr unsigned char kErrLength = 8;

inline unsigned char ipmi_err_type = 0;    // kind of the last wrapper failure; never reset
inline unsigned char ipmi_err_status = 0;  // the offending NetFn byte, completion code or length

inline constexpr int kDeviceIdAnswerSize = 12;         // bytes from the completion code on
inline constexpr int kDeviceIdAnswerSizeWithAux = 16;  // the same with the auxiliary revision
inline constexpr int kRepositoryInfoSize = 15;         // bytes from the completion code on

inline unsigned char ipm_ipmi[kIdentityBlockSize] = {};           // BMC identity block
inline unsigned char ipm_head[kImageFileHeaderSize] = {};         // backup image header
inline unsigned char ipm_sdr_ctrl[kSdrControlSize] = {};          // SDR control block
inline unsigned char ipm_kov = 0;                                 // 1: the BMC is the maker's
inline const std::array<unsigned char, 3> ipm_kov_id = kMakerId;  // the maker's IANA number
inline unsigned char ipm_ver = 0;                  // IPMI version, major * 16 + minor
inline unsigned char ipm_type = 0;                 // BMC class; read by nothing
inline unsigned char ipm_SDR[kSdrImageSize] = {};  // the repository image
inline unsigned char* ipm_sdr_buf = ipm_SDR;
inline unsigned short ipm_sdr_size = 0;  // bytes used in the image; 0: not yet read
inline int sdrRecordSize = 1;            // records that the BMC says its repository holds

/// Get Device ID.
/// @param out  receives `*len` bytes from the completion code on; holds 16.
/// @param len  out: 12, or 16 with the auxiliary firmware revision.
int get_device_id(unsigned char* out, int* len);

/// Get SDR Repository Info.
/// @param out  receives 15 bytes from the completion code on: [1] SDR version, [2..3] record
///   count, [4..5] free space, [6..9] addition time, [10..13] erase time, [14] operation support.
int get_sdr_repository_info(unsigned char* out);

/// Reserve SDR Repository.
int reserve_sdr_repository(unsigned short* id);

/// Reads one whole record, with a reservation of its own, in pieces of at most 16 bytes. A
/// cancelled reservation restarts the record at most 300 times, in a version query never.
/// @param recordId      in: the record; out, on success: the next one, 0xFFFF after the last.
/// @param out           receives the record; must hold 255 bytes. What a cancelled try has read may
///   stay behind the record's own bytes.
/// @param recordLength  out: the record's own bytes, at most 255.
int get_sdr(unsigned short* recordId, unsigned char* out, unsigned char* recordLength);

/// Get slot information (OEM). A BMC that does not know the command fails silently.
/// @param a, b, c  out: the three answer bytes; `a` is the slot number.
int get_slot_information(unsigned char* a, unsigned char* b, unsigned char* c);

/// Reads the BMC's identity into `ipm_ipmi` and classifies it. A failure is reported.
int chk_ipmi_version();

/// Reads the whole repository into `ipm_SDR`, once per run, and picks the SDR version and the
/// script's name out of the maker's OEM records: the first of each wins. A failure, a repository
/// that does not fit the image included, is reported.
int get_new_sdr();

/// Fills an SDR control block for the image that get_new_sdr() read. A failure is reported.
/// @param ctrl  receives 32 bytes.
int get_new_sdr_info(unsigned char* ctrl);

/// Finds a record in the image.
/// @param index       from 0.
/// @param bodyLength  out: the record's body length.
/// @return the record; null when the used bytes hold no such one. In an image from a file the last
///   record may run past the used bytes, its header included: check before reading its body.
unsigned char* get_sdr_addr(unsigned short index, unsigned short* bodyLength);

/// Reports a wrapper's failure as status 30 with the command's name and, by `ipmi_err_type`, the
/// offending value. The type is not reset: a later failure of a kind that sets none repeats it.
void disp_cmd_err(const char* commandName);
