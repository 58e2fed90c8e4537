#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// y[j] = sum over k = 0..taps-1 of filter[k] * x[j + place[k]], in rising k, lanes across outputs.
///
/// filter, place  [0..interpolation_taps-1] place 0..interpolation_taps-1
/// x              [0..L-1+interpolation_taps-1]
/// known          how many of x there are before the first output is written, at least
///                interpolation_taps - 1 + interpolation_gap or all: the rest is y, one after
///                the other
/// L              at most `stretch_max`
static void interpolated(const float* filter, const int* place, const float* x, int known, float* y,
                         int L) {
  constexpr int group = interpolation_gap;
  constexpr int parts = group / lanes;
  constexpr int lead = interpolation_taps - 1;
  constexpr int size = (lead + stretch_max + 2 * group) / lanes * lanes;
  double factors[interpolation_taps];
  double wide[size];
  copy(factors, filter, interpolation_taps);
  int ready = known < lead + L ? known : lead + L;
  widen(wide, x, ready, size);
  for (int n = 0; n < L; n += group) {
    // As much as there is at a time: what has just been stored is not quickly loaded in other
    // pieces.
    const int wanted = n + group < L ? lead + n + group : lead + L;
    if (wanted > ready) {
      const int there = known + n < lead + L ? known + n : lead + L;
      copy(wide + ready, x + ready, there - ready);
      ready = there;
    }
    Double sum[parts] = {};
    for (int k = 0; k < interpolation_taps; ++k) {
      const Double factor = splat<Double>(factors[k]);
      for (int p = 0; p < parts; ++p) {
        sum[p] = add_exact(sum[p], factor, load<Double>(wide + n + place[k] + p * lanes));
      }
    }
    float out[group];
    for (int p = 0; p < parts; ++p) store(out + p * lanes, narrow(sum[p]));
    copy(y + n, out, L - n < group ? L - n : group);
  }
}

}  // namespace quel::QUEL_SET
