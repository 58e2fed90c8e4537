#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

namespace line_pairs {

#if QUEL_LANES != 2
QUEL_INLINE Lanes<2>::Double rounded(Lanes<2>::Double x) {
#if defined(__SSE2__)
  return _mm_cvtps_pd(_mm_cvtpd_ps(x));
#else
  return __builtin_convertvector(__builtin_convertvector(x, Lanes<2>::Float), Lanes<2>::Double);
#endif
}
#endif
using quel::QUEL_SET::rounded;

/// get_isppol of every lane's pairs q [0], q [2], ..., with floats in all but type.
template <int n, typename V>
QUEL_INLINE void polynomial(const V* q, V* f) {
  f[0] = splat<V>(1.0);
  f[1] = rounded(-2.0 * q[0]);
  for (int i = 2; i <= n; ++i) {
    const V b = rounded(-2.0 * q[2 * (i - 1)]);
    f[i] = rounded(add_exact(2.0 * f[i - 2], b, f[i - 1]));
    for (int j = i - 1; j >= 2; --j) f[j] = rounded(add_exact(f[j], b, f[j - 1]) + f[j - 2]);
    f[1] = rounded(f[1] + b);
  }
}

/// Half the sum or difference of two floats, as floats have it.
template <typename V>
QUEL_INLINE V half(V sum) {
  return rounded(0.5 * rounded(sum));
}

/// a of every lane, [i][lane], to A [lane * (m + 1) + i] for lanes 0..count-1.
template <int m, typename V>
QUEL_INLINE void store_filters(const V* a, int count, float* A) {
  constexpr int size = static_cast<int>(sizeof(V) / sizeof(double));
  float all[m + 1][size];
  for (int i = 0; i <= m; ++i) {
    store(all[i], __builtin_convertvector(a[i], typename Lanes<size>::Float));
  }
  for (int k = 0; k < count; ++k) {
    for (int i = 0; i <= m; ++i) A[k * (m + 1) + i] = all[i][k];
  }
}

}  // namespace line_pairs

}  // namespace quel::QUEL_SET
