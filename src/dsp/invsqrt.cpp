#include "dsp/invsqrt.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace quel {

namespace {

// 2^-floor(e/2), x = f * 2^e with f within 1/2..1.
double first_guess(double x) {
  const int field = static_cast<int>(std::bit_cast<std::uint64_t>(x) >> 52 & 0x7ff);
  if (field != 0 && field != 0x7ff) {
    // An arithmetic shift is floor(e/2) for negative e too.
    const int half = (field - 1022) >> 1;
    return std::bit_cast<double>(static_cast<std::uint64_t>(1023 - half) << 52);
  }
  int e = 0;
  std::frexp(x, &e);
  return std::ldexp(1.0, -(e >> 1));
}

}  // namespace

double invsqrt(double x) {
  double y = first_guess(x);
  for (int step = 0; step < 5; ++step) y = y * (1.5 - 0.5 * x * y * y);
  return y;
}

double inv_sqrt(float x) {
  return 1.0 / static_cast<double>(std::sqrt(x));
}

}  // namespace quel
