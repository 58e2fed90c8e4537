#include "narrowband/acb_common.h"

#include <algorithm>
#include <cstdlib>

namespace quel::narrowband {

void add_pulse(float* y, const float* filt, int position, float sign) {
  for (int n = position; n < acb_len; ++n) y[n] += sign * filt[n - position];
}

void half_energies(const float* h, int track, int step, float* out) {
  const int count = acb_len / step;
  float sum = 0.0f;
  int i = 0;
  for (int j = count - 1; j >= 0; --j) {
    for (const int last = acb_len - 1 - (track + step * j); i <= last; ++i) sum += h[i] * h[i];
    out[j] = 0.5f * sum;
  }
}

// All entries of one lag are partial sums of one series, so each diagonal is run once, from the end
// of the subframe. Every entry is then, to the bit, what its own sum in rising n gives. That order
// must stay: merits differ by less than rounding often enough that another order codes other
// pulses.
void cross_block(const float* h, int tx, int ty, int step, float* rr) {
  const int count = acb_len / step;
  for (int diff = 1 - count; diff < count; ++diff) {
    const int lag = std::abs(tx - ty + step * diff);
    int jx = std::min(count - 1, count - 1 + diff);
    int jy = jx - diff;
    float sum = 0.0f;
    for (int i = 0; jx >= 0 && jy >= 0; --jx, --jy) {
      const int last = acb_len - 1 - std::max(tx + step * jx, ty + step * jy);
      for (; i <= last; ++i) sum += h[i] * h[i + lag];
      rr[jx * count + jy] = sum;
    }
  }
}

void fold_signs(float* rr, int tx, int ty, int step, const float* sign) {
  const int count = acb_len / step;
  for (int jx = 0; jx < count; ++jx) {
    for (int jy = 0; jy < count; ++jy) {
      rr[jx * count + jy] *= sign[tx + step * jx] * sign[ty + step * jy];
    }
  }
}

}  // namespace quel::narrowband
