#include "dsp/residu.h"

#include <algorithm>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

void plain::residu(const float* a, int m, const float* x, float* y, int lg) {
  for (int n = 0; n < lg; ++n) {
    double sum = 0.0;
    for (int i = 0; i <= m; ++i) sum += static_cast<double>(a[i]) * x[n - i];
    y[n] = static_cast<float>(sum);
  }
}

void residu(const float* a, int m, const float* x, float* y, int lg) {
  if (m != 10 && m != 16) return plain::residu(a, m, x, y, lg);
  const DspKernels& kernels = dsp_kernels();
  const auto residual = m == 10 ? kernels.residual10 : kernels.residual16;
  for (int n = 0; n < lg; n += stretch_max) {
    residual(a, x + n, y + n, std::min(stretch_max, lg - n));
  }
  if constexpr (check_kernels) {
    std::vector<float> wanted(y, y + lg);
    plain::residu(a, m, x, wanted.data(), lg);
    require_same("residu", y, wanted.data(), lg);
  }
}

void residu16(const float* a, int m, const float* x, float* y, int lg) {
  residu(a, m, x, y, lg);
}

}  // namespace quel
