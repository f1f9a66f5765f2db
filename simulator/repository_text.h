#ifndef TARVEK_SIMULATOR_REPOSITORY_TEXT_H_
#define TARVEK_SIMULATOR_REPOSITORY_TEXT_H_

#include <string>
#include <string_view>

#include "simulator/bmc_state.h"

namespace bmcsim {

/// The BMC and its served repository for people: identity, versions, then record by record.
std::string DescribeRepository(const BmcState& state);

/// The served repository in a form to compare and to load: one record a line, each byte as two
/// upper-case hex digits with a blank between, without the record ID that the BMC gave it.
std::string HexRepository(const BmcState& state);

/// Appends the records of a text that HexRepository could have written; empty lines and what
/// follows '#' are passed over.
///
/// @param error  receives what is wrong, for people, when the result is false.
/// @return false at the first line that is no whole record or does not fit.
bool LoadHexRepository(std::string_view text, BmcState& state, std::string& error);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_REPOSITORY_TEXT_H_
