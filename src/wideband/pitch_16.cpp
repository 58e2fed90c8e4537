#include "wideband/pitch_16.h"

#include <array>
#include <cstddef>

#include "dsp/invsqrt.h"
#include "dsp/lag_correlations.h"

namespace quel {

int lag_max(const float* x, int n, int L_max, int L_min, float* cor_max) {
  constexpr int most = 64;  // lags at a time
  std::array<double, most> sums;
  double best = -1e23;
  int lag = L_max;
  for (int first = L_max; first >= L_min; first -= most) {
    const int lags = first - L_min + 1 < most ? first - L_min + 1 : most;
    lag_correlations(x, n, first, lags, sums.data());
    for (int j = 0; j < lags; ++j) {
      const double r = sums[static_cast<std::size_t>(j)];
      if (r > best) {
        best = r;
        lag = first - j;
      }
    }
  }
  double energy = 0.01;
  for (int i = 0; i < n; ++i) energy += static_cast<double>(x[i - lag]) * x[i - lag];
  *cor_max = static_cast<float>(best * inv_sqrt(static_cast<float>(energy)));
  return lag;
}

int pitch_ol16(const float* x, int L_min, int L_max, int n) {
  float max1, max2, max3, max4;
  int T1 = lag_max(x, n, L_max, 8 * L_min, &max1);
  const int T2 = lag_max(x, n, 8 * L_min - 1, 4 * L_min, &max2);
  const int T3 = lag_max(x, n, 4 * L_min - 1, 2 * L_min, &max3);
  const int T4 = lag_max(x, n, 2 * L_min - 1, L_min, &max4);
  if (max2 > 0.85 * max1) {
    max1 = max2;
    T1 = T2;
  }
  if (max3 > 0.85 * max1) {
    max1 = max3;
    T1 = T3;
  }
  return max4 > 0.85 * max1 ? T4 : T1;
}

}  // namespace quel
