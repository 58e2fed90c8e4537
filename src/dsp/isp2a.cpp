#include "dsp/isp2a.h"

#include "dsp/scratch.h"

namespace quel {

void get_isppol(const float* isp, float* f, int n) {
  f[0] = 1.0f;
  f[1] = -2.0f * isp[0];
  for (int i = 2; i <= n; ++i) {
    const float b = -2.0f * isp[2 * (i - 1)];
    f[i] = static_cast<float>(static_cast<double>(b) * f[i - 1] + 2.0 * f[i - 2]);
    for (int j = i - 1; j >= 2; --j) {
      f[j] = static_cast<float>(f[j] + static_cast<double>(b) * f[j - 1] + f[j - 2]);
    }
    f[1] = f[1] + b;
  }
}

void isp2a(const float* isp, float* a, int M) {
  const int nc = M / 2;
  Scratch f1(nc + 1), f2(nc + 1);
  get_isppol(isp, f1.data(), nc);
  get_isppol(isp + 1, f2.data(), nc - 1);
  for (int i = nc - 1; i >= 2; --i) f2[i] -= f2[i - 2];  // multiplies F2 by 1 - z^-2
  const double last = isp[M - 1];
  for (int i = 0; i < nc; ++i) {
    f1[i] = static_cast<float>(f1[i] * (1.0 + last));
    f2[i] = static_cast<float>(f2[i] * (1.0 - last));
  }
  a[0] = 1.0f;
  for (int i = 1; i < nc; ++i) {
    a[i] = 0.5f * (f1[i] + f2[i]);
    a[M - i] = 0.5f * (f1[i] - f2[i]);
  }
  a[nc] = static_cast<float>(0.5 * f1[nc] * (1.0 + last));
  a[M] = isp[M - 1];
}

}  // namespace quel
