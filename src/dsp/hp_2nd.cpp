#include "dsp/hp_2nd.h"

namespace quel {

void hp_2nd(float* sig, int lg, const float* a, const float* b, float* memx, float* memy) {
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

}  // namespace quel
