#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// residu of order m, lanes across outputs; lg is at most `stretch_max`.
template <int m>
void residual(const float* a, const float* x, float* y, int lg) {
  constexpr int parts = 4;
  constexpr int group = parts * lanes;
  constexpr int size = (m + stretch_max + group) / lanes * lanes;
  double wide[size];
  double factors[m + 1];
  float out[stretch_max + group];
  copy(factors, a, m + 1);
  widen(wide, x - m, m + lg, size);
  for (int n = 0; n < lg; n += group) {
    Double sum[parts] = {};
    for (int i = 0; i <= m; ++i) {
      const Double factor = splat<Double>(factors[i]);
      for (int p = 0; p < parts; ++p) {
        sum[p] = add_exact(sum[p], factor, load<Double>(wide + m + n - i + p * lanes));
      }
    }
    for (int p = 0; p < parts; ++p) store(out + n + p * lanes, narrow(sum[p]));
  }
  copy(y, out, lg);
}

}  // namespace quel::QUEL_SET
