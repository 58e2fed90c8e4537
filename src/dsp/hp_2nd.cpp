#include "dsp/hp_2nd.h"

#include <algorithm>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

void plain::hp_2nd(float* sig, int lg, const float* a, const float* b, float* memx, float* memy) {
  float x1 = memx[0], x2 = memx[1];
  float y1 = memy[0], y2 = memy[1];
  for (int n = 0; n < lg; ++n) {
    const float x0 = sig[n];
    double sum = static_cast<double>(b[0]) * x0;
    sum += static_cast<double>(b[1]) * x1;
    sum += static_cast<double>(b[2]) * x2;
    sum += static_cast<double>(a[1]) * y1;
    sum += static_cast<double>(a[2]) * y2;
    x2 = x1;
    x1 = x0;
    y2 = y1;
    y1 = sig[n] = static_cast<float>(sum);
  }
  memx[0] = x1;
  memx[1] = x2;
  memy[0] = y1;
  memy[1] = y2;
}

void hp_2nd(float* sig, int lg, const float* a, const float* b, float* memx, float* memy) {
  std::vector<float> wanted;
  if constexpr (check_kernels) {
    wanted.assign(sig, sig + lg);
    float past_x[] = {memx[0], memx[1]}, past_y[] = {memy[0], memy[1]};
    plain::hp_2nd(wanted.data(), lg, a, b, past_x, past_y);
  }
  const auto high_passed = dsp_kernels().high_passed;
  for (int n = 0; n < lg; n += stretch_max) {
    const int count = std::min(stretch_max, lg - n);
    if (!high_passed(sig + n, count, a, b, memx, memy)) {
      plain::hp_2nd(sig + n, count, a, b, memx, memy);
    }
  }
  if constexpr (check_kernels) require_same("hp_2nd", sig, wanted.data(), lg);
}

}  // namespace quel
