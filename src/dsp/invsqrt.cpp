#include "dsp/invsqrt.h"

#include <cmath>

namespace quel {

double invsqrt(double x) {
  int e = 0;
  std::frexp(x, &e);
  // An arithmetic shift is floor(e/2) for negative e too.
  double y = std::ldexp(1.0, -(e >> 1));
  for (int step = 0; step < 5; ++step) y = y * (1.5 - 0.5 * x * y * y);
  return y;
}

double inv_sqrt(float x) {
  return 1.0 / static_cast<double>(std::sqrt(x));
}

}  // namespace quel
