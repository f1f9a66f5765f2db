#include "transport/checksum.h"

#include <numeric>

unsigned char calc_sum(const unsigned char* p, unsigned long n) {
  const unsigned sum = std::accumulate(p, p + n, 0U);
  return static_cast<unsigned char>(0U - sum);
}
