#include "dsp/interpolate.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {
namespace {

// How many of x [0..n-1] lie before y, or do not lie in y [0..L-1] at all.
int known_before(const float* x, int n, const float* y, int L) {
  const std::less<const float*> before;
  const bool apart = !before(y, x + n) || before(y + L - 1, x);
  return apart ? n : static_cast<int>(y - x);
}

}  // namespace

void plain::interpolate(const double* filter, const int* place, const float* x, float* y, int L) {
  for (int j = 0; j < L; ++j) {
    double sum = 0.0;
    for (int k = 0; k < interpolation_taps; ++k) {
      sum += static_cast<double>(x[j + place[k]]) * filter[k];
    }
    y[j] = static_cast<float>(sum);
  }
}

void interpolate(const double* filter, const int* place, const float* x, float* y, int L) {
  const int all = interpolation_taps - 1 + L;
  const int known = known_before(x, all, y, L);
  if (L > stretch_max || (known < all && known < interpolation_taps - 1 + interpolation_gap)) {
    return plain::interpolate(filter, place, x, y, L);
  }
  dsp_kernels().interpolated(filter, place, x, known, y, L);
  if constexpr (check_kernels) {
    // The outputs that it read are its own.
    std::vector<float> wanted(y, y + L);
    plain::interpolate(filter, place, x, wanted.data(), L);
    require_same("interpolate", y, wanted.data(), L);
  }
}

}  // namespace quel
