// What every fuzzer ends with when something that must hold does not.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace tarvek_fuzz {

/// Ends the program, for the fuzzer to find, unless `holds`.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

}  // namespace tarvek_fuzz
