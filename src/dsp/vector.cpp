#include "dsp/vector.h"

#include <algorithm>

namespace quel {

void set_zero(float* x, int n) {
  std::fill_n(x, n, 0.0f);
}

void mvr2r(const float* x, float* y, int n) {
  std::copy_n(x, n, y);
}

void updt_tar(const float* x, float* x2, const float* y, float gain, int L) {
  for (int n = 0; n < L; ++n) {
    x2[n] = static_cast<float>(x[n] - static_cast<double>(gain) * y[n]);
  }
}

}  // namespace quel
