#include "dsp/residu.h"

namespace quel {

void residu(const float* a, int m, const float* x, float* y, int lg) {
  for (int n = 0; n < lg; ++n) {
    double sum = 0.0;
    for (int i = 0; i <= m; ++i) sum += static_cast<double>(a[i]) * x[n - i];
    y[n] = static_cast<float>(sum);
  }
}

void residu16(const float* a, int m, const float* x, float* y, int lg) {
  residu(a, m, x, y, lg);
}

}  // namespace quel
