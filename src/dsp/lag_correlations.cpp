#include "dsp/lag_correlations.h"

#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

void plain::lag_correlations(const float* x, int n, int longest, int lags, double* sums) {
  for (int j = 0; j < lags; ++j) {
    const float* delayed = x - (longest - j);
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += static_cast<double>(x[i]) * delayed[i];
    sums[j] = sum;
  }
}

void lag_correlations(const float* x, int n, int longest, int lags, double* sums) {
  if (n > correlation_max || longest > longest_lag || lags > longest + 1) {
    return plain::lag_correlations(x, n, longest, lags, sums);
  }
  dsp_kernels().lag_correlations(x, n, longest, lags, sums);
  if constexpr (check_kernels) {
    std::vector<double> wanted(sums, sums + lags);
    plain::lag_correlations(x, n, longest, lags, wanted.data());
    require_same("lag_correlations", sums, wanted.data(), lags);
  }
}

}  // namespace quel
