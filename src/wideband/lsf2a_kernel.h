#pragma once

#include "dsp/line_pairs_kernel.h"
#include "wideband/kernels.h"

namespace quel::QUEL_SET {

/// int_lpc of order 16, lanes across its two filters.
static void interpolated_filters16(const float* lsp_old, const float* lsp_new, float* Az) {
  using namespace line_pairs;
  constexpr int m = 16;
  constexpr int nc = m / 2;
  using V = Lanes<2>::Double;
  V lsp[m];
  for (int i = 0; i < m; ++i) {
    const double now = lsp_new[i];
    lsp[i] = rounded(V{0.5 * lsp_old[i] + 0.5 * now, now});
  }
  V f1[nc + 1], f2[nc + 1], a[m + 1];
  polynomial<nc>(lsp, f1);
  polynomial<nc>(lsp + 1, f2);
  for (int i = nc; i >= 1; --i) {  // the trivial roots at z = -1 and z = 1
    f1[i] = rounded(f1[i] + f1[i - 1]);
    f2[i] = rounded(f2[i] - f2[i - 1]);
  }
  a[0] = splat<V>(1.0);
  for (int i = 1; i <= nc; ++i) {
    a[i] = half(f1[i] + f2[i]);
    a[m + 1 - i] = half(f1[i] - f2[i]);
  }
  store_filters<m>(a, 2, Az);
}

}  // namespace quel::QUEL_SET
