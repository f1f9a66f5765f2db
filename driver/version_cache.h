// The version cache: what an earlier run read out of a repository that has not changed since.
#pragma once

#include <cstdint>

namespace tarvek {

/// The repository's own time stamps: they tell whether it has changed.
struct RepositoryStamps {
  std::uint32_t addition = 0;  // most recent addition, seconds as the BMC counts them
  std::uint32_t erase = 0;     // most recent erase
};

/// Fills `g_HW_sdr_version` and `gCFGIdentifyOEMSDR` from "sdrversion_HW" in the working
/// directory, if that was written for these time stamps. A file that is missing, or that cannot be
/// read to its end, leaves them empty, as they are before.
void LoadVersionCache(const RepositoryStamps& stamps);

/// Rewrites the cache from the two globals. A file that cannot be opened is silently skipped; one
/// that cannot be written whole is removed, so that a later run asks the BMC again.
void StoreVersionCache(const RepositoryStamps& stamps);

}  // namespace tarvek
