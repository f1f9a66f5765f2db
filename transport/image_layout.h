// The blocks of a backup image, byte by byte. The commands that read a BMC fill two of them; the
// image file is the blocks one after the other, followed by the record area.
//
// Numbers are 32 bits, low byte first. A block's checksum is its last byte: it brings the sum of
// the block to 0 modulo 256.
#pragma once

// Header:
//   [0..7] "KOV IPMI"  [8] format major  [9] format minor  [10] image type  [11] 0
//   [12..15] creation time  [16..19] offset of the identity block
//   [20..23] offset of the SDR control block, 0: there is none  [24..27] 0
//   [28..31] offset of the event-log control block, 0: there is none
//   [32..62] 0  [63] checksum
inline constexpr int kImageFileHeaderSize = 64;
inline constexpr int kImageMajorOffset = 8;
inline constexpr int kImageMinorOffset = 9;
inline constexpr int kImageTypeOffset = 10;
inline constexpr int kImageCreationTime = 12;
inline constexpr int kImageIdentityPosition = 16;
inline constexpr int kImageSdrPosition = 20;
inline constexpr int kImageEventLogPosition = 28;
inline constexpr int kImageHeaderChecksummedBytes = 63;

// Identity block:
//   [0..15] the Get Device ID answer from its completion code on: [5] IPMI version
//   [7..9] manufacturer ID [12..15] auxiliary firmware revision  [16..27] 0
//   [28] slot number  [29] 1: slot number valid  [30] 1: auxiliary firmware revision present
//   [31] checksum
inline constexpr int kIdentityBlockSize = 32;
inline constexpr int kIdentityIpmiVersion = 5;
inline constexpr int kIdentityManufacturer = 7;
inline constexpr int kIdentitySlot = 28;
inline constexpr int kIdentitySlotValid = 29;
inline constexpr int kIdentityAuxPresent = 30;

// Event-log control block, of images made elsewhere:
//   [20..23] bytes of event-log data that follow the block
inline constexpr int kEventLogControlSize = 32;
inline constexpr int kEventLogLength = 20;

// SDR control block:
//   [0..14] the Get SDR Repository Info answer from its completion code on: [1] SDR version
//   [2..3] record count [4..5] free space [6..9] addition time [10..13] erase time
//   [14] operation support  [15] 0
//   [16..19] 32  [20..23] bytes in the record area  [24..29] 0  [30] checksum of the record area
//   [31] checksum
inline constexpr int kSdrControlSize = 32;
inline constexpr int kControlRecordCount = 2;
inline constexpr int kControlAdditionTime = 6;
inline constexpr int kControlEraseTime = 10;
inline constexpr int kControlBlockLength = 16;
inline constexpr int kControlAreaLength = 20;
inline constexpr int kControlAreaChecksum = 30;

inline constexpr int kChecksummedBytes = 31;  // of a 32-byte block; its checksum is the next byte

// The record area: the repository's records back to back, each its header and its body.
inline constexpr int kSdrImageSize = 65535;  // bytes that a repository may have in memory
