#include "dsp/convolve.h"

namespace quel {

void convolve(const float* x, const float* h, float* y, int L) {
  for (int n = 0; n < L; ++n) {
    double sum = 0.0;
    for (int i = 0; i <= n; ++i) sum += static_cast<double>(x[i]) * h[n - i];
    y[n] = static_cast<float>(sum);
  }
}

void backfil2(const float* x, float* y, const float* h, int L) {
  for (int n = 0; n < L; ++n) {
    double sum = 0.0;
    for (int k = 0; k < L - n; ++k) sum += static_cast<double>(x[n + k]) * h[k];
    y[n] = static_cast<float>(sum);
  }
}

void convolve16(const float* x, const float* h, float* y, int L) {
  convolve(x, h, y, L);
}

void corr_xh(const float* x, float* y, const float* h, int L) {
  backfil2(x, y, h, L);
}

}  // namespace quel
