#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// sum over i = 0..n-1 of x[i] * x[i - lag] for the lags from `longest` downwards, lanes across
/// lags.
///
/// x     [-longest..n-1]; n at most `correlation_max`, longest at most `longest_lag`
/// sums  [0..lags-1] output, longest lag first
static void lag_correlations(const float* x, int n, int longest, int lags, double* sums) {
  constexpr int parts = 8;
  constexpr int group = parts * lanes;
  constexpr int size = (longest_lag + correlation_max + group + lanes - 1) / lanes * lanes;
  double wide[size];
  widen(wide, x - longest, longest + n, size);
  const double* now = wide + longest;
  for (int lag = 0; lag < lags; lag += group) {
    const double* past = wide + lag;
    Double sum[parts] = {};
    for (int i = 0; i < n; ++i) {
      const Double factor = splat<Double>(now[i]);
      for (int p = 0; p < parts; ++p) {
        sum[p] = add_exact(sum[p], factor, load<Double>(past + i + p * lanes));
      }
    }
    double all[group];
    for (int p = 0; p < parts; ++p) store(all + p * lanes, sum[p]);
    copy(sums + lag, all, lags - lag < group ? lags - lag : group);
  }
}

}  // namespace quel::QUEL_SET
