#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

namespace interpolation {

constexpr int lead = interpolation_taps - 1;

/// Outputs n to n + count - 1 into y [0..count-1] and, as doubles, into back [0..count-1].
template <int count>
QUEL_INLINE void outputs(const double* factors, const int* place, const double* x, float* y,
                         double* back) {
  constexpr int parts = count / lanes;
  Double sum[parts] = {};
  for (int k = 0; k < interpolation_taps; ++k) {
    const Double factor = splat<Double>(factors[k]);
    const double* from = x + place[k];
    for (int p = 0; p < parts; ++p) {
      sum[p] = add_exact(sum[p], factor, load<Double>(from + p * lanes));
    }
  }
  for (int p = 0; p < parts; ++p) {
    const Half out = narrow(sum[p]);
    store(y + p * lanes, out);
    store(back + p * lanes, widen(out));
  }
}

/// From output n on, `count` at a time as long as they are whole; returns the first one that is
/// left. Output i is x[known + i].
template <int count>
QUEL_INLINE int go_on(int n, int L, const double* factors, const int* place, double* x, int known,
                      float* y) {
  for (; n + count <= L; n += count) {
    outputs<count>(factors, place, x + n, y + n, x + known + n);
  }
  return n;
}

}  // namespace interpolation

/// y[j] = sum over k = 0..taps-1 of filter[k] * x[j + place[k]], in rising k, lanes across outputs.
///
/// filter, place  [0..interpolation_taps-1] place 0..interpolation_taps-1
/// x              [0..L-1+interpolation_taps-1]
/// known          how many of x there are before the first output is written, at least
///                interpolation_taps - 1 + interpolation_gap or all: the rest is y, one after
///                the other
/// L              at most `stretch_max`
static void interpolated(const double* filter, const int* place, const float* x, int known,
                         float* y, int L) {
  using namespace interpolation;
  constexpr int size = (lead + 2 * stretch_max + 2 * interpolation_gap) / lanes * lanes;
  double wide[size];
  const int all = lead + L;
  const int there = known < all ? known : all;
  widen(wide, x, there, (there + lanes - 1) / lanes * lanes);
  // An output goes where it is read again, or out of the way.
  const int back = known < all ? known : all;
  int n = 0;
  if (known - lead >= 2 * interpolation_gap || known >= all) {
    n = go_on<2 * interpolation_gap>(n, L, filter, place, wide, back, y);
  }
  n = go_on<interpolation_gap>(n, L, filter, place, wide, back, y);
  if (n == L) return;
  float out[interpolation_gap];
  outputs<interpolation_gap>(filter, place, wide + n, out, wide + back + n);
  copy(y + n, out, L - n);
}

}  // namespace quel::QUEL_SET
