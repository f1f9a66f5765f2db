#ifndef TARVEK_SIMULATOR_REPOSITORY_TEXT_H_
#define TARVEK_SIMULATOR_REPOSITORY_TEXT_H_

#include <string>

#include "simulator/bmc_state.h"

namespace bmcsim {

/// The BMC and its served repository for people: identity, versions, then record by record.
std::string DescribeRepository(const BmcState& state);

/// The served repository in a form to compare and to load: one record a line, each byte as two
/// upper-case hex digits with a blank between, without the record ID that the BMC gave it.
std::string HexRepository(const BmcState& state);

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_REPOSITORY_TEXT_H_
