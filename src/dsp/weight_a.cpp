#include "dsp/weight_a.h"

namespace quel {

void weight_a(const float* a, float* ap, float gamma, int m) {
  float power = gamma;
  ap[0] = a[0];
  for (int i = 1; i <= m; ++i) {
    ap[i] = a[i] * power;
    power *= gamma;
  }
}

void pondai(const float* a, float* ap, float gamma, int m) {
  weight_a(a, ap, gamma, m);
}

}  // namespace quel
