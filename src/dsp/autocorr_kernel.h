#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// autocorr of order m without its floor, lanes across lags, for any L. False, with r undefined,
/// where a windowed sample is not finite: before the first one lie zeros, with which it would make
/// a NaN.
template <int m>
bool autocorrelated(const float* x, float* r, int L, const float* window) {
  constexpr int parts = (m + lanes) / lanes;
  constexpr int past =
      parts * lanes;  // lags, the longest first, so that rising places lie in a row
  constexpr int stretch = 80;
  double y[past + stretch] = {};
  double* const now = y + past;
  Double sum[parts] = {};
  bool finite = true;
  for (int start = 0; start < L; start += stretch) {
    const int count = L - start < stretch ? L - start : stretch;
    if (start > 0) copy(y, now + stretch - past, past);
    float windowed[stretch];
    for (int i = 0; i < count; ++i) windowed[i] = x[start + i] * window[start + i];
    widen(now, windowed, count, stretch);
    finite = finite && all_finite(now, stretch);
    for (int i = 0; i < count; ++i) {
      const Double factor = splat<Double>(now[i]);
      for (int p = 0; p < parts; ++p) {
        sum[p] = add_exact(sum[p], factor, load<Double>(now + i - (past - 1) + p * lanes));
      }
    }
  }
  float all[past];
  for (int p = 0; p < parts; ++p) store(all + p * lanes, narrow(sum[p]));
  for (int k = 0; k <= m; ++k) r[k] = all[past - 1 - k];
  return finite;
}

}  // namespace quel::QUEL_SET
