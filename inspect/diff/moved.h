// Which matched records are in another order.
#pragma once

#include <vector>

#include "inspect/diff/diff.h"

namespace tarvek::inspect {

/// @param matches  by the new index, ascending.
/// @return as few of the matches as can be, without which the old indices would ascend, too.
std::vector<Match> MovedOf(const std::vector<Match>& matches);

}  // namespace tarvek::inspect
