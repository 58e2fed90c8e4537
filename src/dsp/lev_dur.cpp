#include "dsp/lev_dur.h"

namespace quel {
namespace {

float floored(double err) {
  const float rounded = static_cast<float>(err);
  return rounded <= 0.0f ? 0.01f : rounded;
}

}  // namespace

float lev_dur(float* a, const float* r, int m) {
  a[0] = 1.0f;
  a[1] = static_cast<float>(-static_cast<double>(r[1]) / r[0]);
  float err = floored(r[0] + static_cast<double>(r[1]) * a[1]);
  for (int i = 2; i <= m; ++i) {
    double s = r[i];
    for (int j = 1; j < i; ++j) s += static_cast<double>(r[i - j]) * a[j];
    const float k = static_cast<float>(-s / err);
    for (int j = 1; j <= i / 2; ++j) {
      const float low = a[j], high = a[i - j];
      a[j] = static_cast<float>(low + static_cast<double>(k) * high);
      a[i - j] = static_cast<float>(high + static_cast<double>(k) * low);
    }
    a[i] = k;
    err = floored(err + k * s);
  }
  return err;
}

}  // namespace quel
