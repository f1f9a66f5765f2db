// Memory kept back so that running out of it can still be reported.
#pragma once

#include <new>

inline constexpr int kReserveBlockSize = 4096;  // bytes

// The reserve block, allocated before main() runs; null once released.
inline char* gErrorBlock = new (std::nothrow) char[kReserveBlockSize];

namespace tarvek {

/// Frees `gErrorBlock` and clears it; does nothing when that was done before.
void ReleaseReserveBlock();

}  // namespace tarvek
