#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// `series_values`, lanes across points. Its factors are doubles, so nothing is fused.
static void series_values(const float* x, int count, const float* f, int order, double* y) {
  constexpr int parts = 16 / lanes;
  for (int i = 0; i < count; i += 16) {
    const int n = count - i < 16 ? count - i : 16;
    float points[16] = {};
    copy(points, x + i, n);
    Double at[parts], b1[parts], b2[parts];
    for (int p = 0; p < parts; ++p) {
      at[p] = widen(load<Half>(points + p * lanes));
      b2[p] = splat<Double>(static_cast<double>(f[0]));
      b1[p] = at[p] * 2.0 * b2[p] + splat<Double>(static_cast<double>(f[1]));
    }
    for (int k = 2; k < order; ++k) {
      const Double c = splat<Double>(static_cast<double>(f[k]));
      for (int p = 0; p < parts; ++p) {
        const Double b0 = at[p] * 2.0 * b1[p] - b2[p] + c;
        b2[p] = b1[p];
        b1[p] = b0;
      }
    }
    const Double half_last = splat<Double>(0.5 * f[order]);
    double values[16];
    for (int p = 0; p < parts; ++p) {
      store(values + p * lanes, at[p] * b1[p] - b2[p] + half_last);
    }
    copy(y + i, values, n);
  }
}

}  // namespace quel::QUEL_SET
