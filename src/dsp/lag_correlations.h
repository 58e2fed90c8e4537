#pragma once

namespace quel {

/// sum over i = 0..n-1 of x[i] * x[i - lag], for a row of lags.
///
/// x        [-longest..n-1]
/// n        samples, > 0
/// longest  the first lag, samples; the others are shorter by one each
/// lags     how many, > 0
/// sums     [0..lags-1] output
void lag_correlations(const float* x, int n, int longest, int lags, double* sums);

namespace plain {
/// The definition of `lag_correlations`.
void lag_correlations(const float* x, int n, int longest, int lags, double* sums);
}  // namespace plain

}  // namespace quel
