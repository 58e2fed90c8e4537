#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// hp_2nd over lg samples, at most `stretch_max`, by guess and proof as `synthesize`: from output
/// to output a product, a sum and the rounding.
///
/// past_x, past_y  [0..1] newest first, as hp_2nd's; move on
///
/// Returns false where the guess does not prove right; nothing is written then.
static bool high_passed(float* sig, int lg, const float* a, const float* b, float* past_x,
                        float* past_y) {
  constexpr int size = (stretch_max + lanes - 1) / lanes * lanes;
  double x[2 + size], y[2 + size], forward[size];
  float out[size];
  const int count = (lg + lanes - 1) / lanes * lanes;
  widen(x + 2, sig, lg, count);
  for (int i = 0; i < 2; ++i) {
    x[i] = past_x[1 - i];
    y[i] = past_y[1 - i];
  }
  const double a1 = a[1], a2 = a[2];
  for (int n = 0; n < count; n += lanes) {
    Double sum{};
    sum = splat<Double>(static_cast<double>(b[0])) * load<Double>(x + 2 + n);
    sum = add_exact(sum, splat<Double>(static_cast<double>(b[1])), load<Double>(x + 1 + n));
    sum = add_exact(sum, splat<Double>(static_cast<double>(b[2])), load<Double>(x + n));
    store(forward + n, sum);
  }
  double y1 = y[1], y2 = y[0];
  for (int n = 0; n < count; ++n) {
    out[n] = static_cast<float>(add_exact(add_exact(forward[n], a2, y2), a1, y1));
    y2 = y1;
    y1 = y[2 + n] = out[n];
  }
  if (spoiled()) out[lg / 2] = -out[lg / 2];
  HalfBits different{};
  for (int n = 0; n < count; n += lanes) {
    Double sum = add_exact(load<Double>(forward + n), splat<Double>(a1), load<Double>(y + 1 + n));
    sum = add_exact(sum, splat<Double>(a2), load<Double>(y + n));
    different |= bits_of(narrow(sum)) ^ load<HalfBits>(out + n);
  }
  if (any(different)) return false;
  copy(sig, out, lg);
  for (int i = 0; i < 2; ++i) {
    past_x[i] = static_cast<float>(x[lg + 1 - i]);
    past_y[i] = static_cast<float>(y[lg + 1 - i]);
  }
  return true;
}

}  // namespace quel::QUEL_SET
