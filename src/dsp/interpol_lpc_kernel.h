#pragma once

#include "dsp/line_pairs_kernel.h"

namespace quel::QUEL_SET {

/// interpol_lpc, lanes across subframes.
///
/// weight  [0..count-1] of the new pairs
static void interpolated_filters(const float* isp_new, const float* isp_old, const float* weight,
                                 int count, float* A) {
  using namespace line_pairs;
  constexpr int m = 10;
  constexpr int nc = m / 2;
  for (int first = 0; first < count; first += lanes) {
    const int here = count - first < lanes ? count - first : lanes;
    float weights[lanes] = {};
    copy(weights, weight + first, here);
    const Double now = widen(load<Half>(weights));
    const Double before = rounded(1.0 - now);
    Double isp[m];
    for (int i = 0; i < m; ++i) {
      const Double old_part = before * splat<Double>(static_cast<double>(isp_old[i]));
      isp[i] = rounded(add_exact(old_part, now, splat<Double>(static_cast<double>(isp_new[i]))));
    }
    Double f1[nc + 1], f2[nc];
    polynomial<nc>(isp, f1);
    polynomial<nc - 1>(isp + 1, f2);
    for (int i = nc - 1; i >= 2; --i) f2[i] = rounded(f2[i] - f2[i - 2]);
    const Double last = isp[m - 1];
    Double a[m + 1];
    a[0] = splat<Double>(1.0);
    a[nc] = rounded(0.5 * f1[nc] * (1.0 + last));
    a[m] = last;
    for (int i = 1; i < nc; ++i) {
      f1[i] = rounded(f1[i] * (1.0 + last));
      f2[i] = rounded(f2[i] * (1.0 - last));
      a[i] = half(f1[i] + f2[i]);
      a[m - i] = half(f1[i] - f2[i]);
    }
    store_filters<m>(a, here, A + first * (m + 1));
  }
}

}  // namespace quel::QUEL_SET
