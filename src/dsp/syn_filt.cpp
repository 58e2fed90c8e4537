#include "dsp/syn_filt.h"

#include <algorithm>

#include "dsp/scratch.h"

namespace quel {

void syn_filt(const float* a, int m, const float* x, float* y, int lg, float* mem, int update) {
  // Past outputs live in scratch, not in y, so that x and y may be one array.
  Scratch scratch(m + lg);
  float* yy = scratch.data() + m;
  std::copy_n(mem, m, yy - m);
  for (int n = 0; n < lg; ++n) {
    double sum = x[n];
    for (int i = 1; i <= m; ++i) sum -= static_cast<double>(a[i]) * yy[n - i];
    y[n] = yy[n] = static_cast<float>(sum);
  }
  if (update != 0) std::copy_n(yy + lg - m, m, mem);
}

void syn_filt16(const float* a, int m, const float* x, float* y, int lg, float* mem, int update) {
  syn_filt(a, m, x, y, lg, mem, update);
}

}  // namespace quel
