#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

namespace line_pairs {

/// get_isppol of every lane's pairs q [0], q [2], ..., with floats in all but type.
template <int n>
QUEL_INLINE void polynomial(const Double* q, Double* f) {
  f[0] = splat<Double>(1.0);
  f[1] = rounded(-2.0 * q[0]);
  for (int i = 2; i <= n; ++i) {
    const Double b = rounded(-2.0 * q[2 * (i - 1)]);
    f[i] = rounded(add_exact(2.0 * f[i - 2], b, f[i - 1]));
    for (int j = i - 1; j >= 2; --j) f[j] = rounded(add_exact(f[j], b, f[j - 1]) + f[j - 2]);
    f[1] = rounded(f[1] + b);
  }
}

/// Half the sum or difference of two floats, as floats have it.
QUEL_INLINE Double half(Double sum) {
  return rounded(0.5 * rounded(sum));
}

/// a of every lane, [i][lane], to A [lane * (m + 1) + i] for lanes 0..count-1.
template <int m>
QUEL_INLINE void store_filters(const Double* a, int count, float* A) {
  float all[m + 1][lanes];
  for (int i = 0; i <= m; ++i) store(all[i], narrow(a[i]));
  for (int k = 0; k < count; ++k) {
    for (int i = 0; i <= m; ++i) A[k * (m + 1) + i] = all[i][k];
  }
}

}  // namespace line_pairs

}  // namespace quel::QUEL_SET
