#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// place_pulses. Before its start a pulse's shape is zero, and adding that changes nothing: a sum
/// that begins with +0 never is -0.
static void pulses_placed(const int* position, const float* sign, int count, const float* filt,
                          float* out) {
  constexpr int length = 48;
  constexpr int width = 8 < 2 * lanes ? 8 : 2 * lanes;
  constexpr int parts = length / width;
  using V = Lanes<width>::Float;
  float shape[2 * length];
  for (int p = 0; p < length; p += width) {
    store(shape + p, V{});
    store(shape + length + p, load<V>(filt + p));
  }
  V sum[parts] = {};
  for (int k = 0; k < count; ++k) {
    const float* from = shape + length - position[k];
    const V s = splat<V>(sign[k]);
    for (int p = 0; p < parts; ++p) sum[p] += s * load<V>(from + p * width);
  }
  for (int p = 0; p < parts; ++p) store(out + p * width, sum[p]);
}

}  // namespace quel::QUEL_SET
