#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// add_squares: the squares side by side, so that the sum waits for nothing but itself.
static double squares_added(double start, const float* x, int n) {
  constexpr int group = 16;
  double sum = start;
  int i = 0;
  for (; i + group <= n; i += group) {
    double squares[group];
    for (int p = 0; p < group; p += lanes) {
      const Double v = widen(load<Half>(x + i + p));
      store(squares + p, v * v);
    }
    for (int k = 0; k < group; ++k) sum += squares[k];
  }
  for (; i < n; ++i) sum += static_cast<double>(x[i]) * x[i];
  return sum;
}

}  // namespace quel::QUEL_SET
