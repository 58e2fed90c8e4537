#include "dsp/interpolate.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {
namespace {

// Whether outputs may be computed eight at a time: none of them is read by the same eight, or y
// lies apart from x.
bool eight_at_a_time(const float* x, const float* y, int L) {
  const std::less<const float*> before;
  const float* last_read = x + interpolation_taps - 1;
  return !before(y, last_read + interpolation_gap) || before(y + L - 1, x);
}

}  // namespace

void plain::interpolate(const float* filter, const int* place, const float* x, float* y, int L) {
  for (int j = 0; j < L; ++j) {
    double sum = 0.0;
    for (int k = 0; k < interpolation_taps; ++k) {
      sum += static_cast<double>(x[j + place[k]]) * filter[k];
    }
    y[j] = static_cast<float>(sum);
  }
}

void interpolate(const float* filter, const int* place, const float* x, float* y, int L) {
  if (L > stretch_max || !eight_at_a_time(x, y, L)) {
    return plain::interpolate(filter, place, x, y, L);
  }
  dsp_kernels().interpolated(filter, place, x, y, L);
  if constexpr (check_kernels) {
    // The outputs that it read are its own.
    std::vector<float> wanted(y, y + L);
    plain::interpolate(filter, place, x, wanted.data(), L);
    require_same("interpolate", y, wanted.data(), L);
  }
}

}  // namespace quel
