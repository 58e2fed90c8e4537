#include "dsp/convolve.h"

#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

void plain::convolve(const float* x, const float* h, float* y, int L) {
  for (int n = 0; n < L; ++n) {
    double sum = 0.0;
    for (int i = 0; i <= n; ++i) sum += static_cast<double>(x[i]) * h[n - i];
    y[n] = static_cast<float>(sum);
  }
}

void plain::backfil2(const float* x, float* y, const float* h, int L) {
  for (int n = 0; n < L; ++n) {
    double sum = 0.0;
    for (int k = 0; k < L - n; ++k) sum += static_cast<double>(x[n + k]) * h[k];
    y[n] = static_cast<float>(sum);
  }
}

void convolve(const float* x, const float* h, float* y, int L) {
  if (L > stretch_max || !dsp_kernels().convolved(x, h, y, L)) return plain::convolve(x, h, y, L);
  if constexpr (check_kernels) {
    std::vector<float> wanted(y, y + L);
    plain::convolve(x, h, wanted.data(), L);
    require_same("convolve", y, wanted.data(), L);
  }
}

void backfil2(const float* x, float* y, const float* h, int L) {
  if (L > stretch_max || !dsp_kernels().filtered_backwards(x, y, h, L)) {
    return plain::backfil2(x, y, h, L);
  }
  if constexpr (check_kernels) {
    std::vector<float> wanted(y, y + L);
    plain::backfil2(x, wanted.data(), h, L);
    require_same("backfil2", y, wanted.data(), L);
  }
}

void convolve16(const float* x, const float* h, float* y, int L) {
  convolve(x, h, y, L);
}

void corr_xh(const float* x, float* y, const float* h, int L) {
  backfil2(x, y, h, L);
}

}  // namespace quel
