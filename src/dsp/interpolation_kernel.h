#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// y[j] = sum over k = 0..taps-1 of filter[k] * x[j + place[k]], in rising k, lanes across outputs.
///
/// filter, place  [0..interpolation_taps-1] place 0..interpolation_taps-1
/// x              [0..L-1+interpolation_taps-1]; y may be its end, at least eight samples beyond
///                what output 0 reads: it then feeds on itself
/// L              at most `stretch_max`
static void interpolated(const float* filter, const int* place, const float* x, float* y, int L) {
  constexpr int group = 8;
  constexpr int parts = group / lanes;
  constexpr int lead = interpolation_taps - 1;
  double wide[lead + stretch_max + group];
  double factors[interpolation_taps];
  copy(factors, filter, interpolation_taps);
  for (int i = 0; i < lead; ++i) wide[i] = x[i];
  for (int n = 0; n < L; n += group) {
    const int count = L - n < group ? L - n : group;
    widen(wide + n + lead, x + n + lead, count, group);
    Double sum[parts] = {};
    for (int k = 0; k < interpolation_taps; ++k) {
      const Double factor = splat<Double>(factors[k]);
      for (int p = 0; p < parts; ++p) {
        sum[p] = add_exact(sum[p], factor, load<Double>(wide + n + place[k] + p * lanes));
      }
    }
    float out[group];
    for (int p = 0; p < parts; ++p) store(out + p * lanes, narrow(sum[p]));
    copy(y + n, out, count);
  }
}

}  // namespace quel::QUEL_SET
