#include "narrowband/pitch_ol.h"

#include <limits>

#include "dsp/invsqrt.h"

namespace quel {

int lagmax(const float* wsp, int L, int lag_max, int lag_min, float* cor_max) {
  float max = -std::numeric_limits<float>::max();
  int T = lag_max;
  for (int lag = lag_max; lag >= lag_min; --lag) {
    double sum = 0.0;
    for (int i = 0; i < L; ++i) sum += static_cast<double>(wsp[i]) * wsp[i - lag];
    const float c = static_cast<float>(sum);
    if (c > max) {
      max = c;
      T = lag;
    }
  }
  double e = 0.01f;
  for (int i = 0; i < L; ++i) e += static_cast<double>(wsp[i - T]) * wsp[i - T];
  *cor_max = static_cast<float>(max * invsqrt(e));
  return T;
}

int pitch_ol(const float* wsp, int L) {
  constexpr double preference = 0.85f;
  float m1 = 0.0f, m2 = 0.0f, m3 = 0.0f;
  const int T1 = lagmax(wsp, L, 143, 80, &m1);
  const int T2 = lagmax(wsp, L, 79, 40, &m2);
  const int T3 = lagmax(wsp, L, 39, 20, &m3);
  int T = T1;
  float m = m1;
  if (m2 > preference * m) {
    T = T2;
    m = m2;
  }
  if (m3 > preference * m) T = T3;
  return T;
}

}  // namespace quel
