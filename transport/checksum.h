// The checksum of the backup image's blocks.
#pragma once

/// @return the byte that brings the sum of the `n` bytes at `p` to 0 modulo 256.
unsigned char calc_sum(const unsigned char* p, unsigned long n);
