#ifndef TARVEK_SIMULATOR_SAMPLE_RECORDS_H_
#define TARVEK_SIMULATOR_SAMPLE_RECORDS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "simulator/bmc_state.h"

namespace bmcsim {

/// The SDR set that a new server comes with.
struct SampleSet {
  unsigned records = 0;     ///< sensor and device records
  std::string version;      ///< text of the version record, empty: no such record
  std::string config_name;  ///< name in the configuration record, empty: no such record
};

/// The longest text that fits the version record; one less for the configuration record.
inline constexpr std::size_t kMaxSampleText = 61;

/// Appends one record to the served store.
///
/// @param record  SDR version, record type, body length, body (no record ID).
/// @param id      its record ID; kFirstRecord: the BMC assigns one.
/// @return false when it has no whole body or does not fit the capacity.
bool AppendRecord(std::span<const std::uint8_t> record, BmcState& state,
                  std::uint16_t id = kFirstRecord);

/// Adds a plausible set to the served store: a board's controller and FRU, then sensors.
///
/// @param now    time stamp of the additions, seconds since the epoch.
/// @return false when the set does not fit the capacity.
bool AddSampleSet(const SampleSet& set, std::uint32_t now, BmcState& state);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_SAMPLE_RECORDS_H_
