#pragma once

#include "dsp/lanes.h"
#include "dsp/shift_lanes.h"

namespace quel::QUEL_SET {

/// plain::response_matrix: a row is the one below, one sample later, with a product more. Of the
/// places only one track's change their position with the sample.
template <int tracks>
static void response_matrix(const float* h, float* phi) {
  constexpr int positions = 16;
  constexpr int places = positions * tracks;
  constexpr int width = 2 * lanes;
  constexpr int parts = positions / width;
  float late[places];  // h backwards, by place
  for (int n = 0; n < places; ++n) late[n % tracks * positions + n / tracks] = h[places - 1 - n];
  Float below[tracks][parts] = {};
  for (int p = positions - 1; p >= 0; --p) {
    for (int t = tracks - 1; t >= 0; --t) {
      Float moved[parts];
      moved[parts - 1] = shifted_down(below[0][parts - 1], Float{});
      for (int i = 0; i + 1 < parts; ++i) moved[i] = shifted_down(below[0][i], below[0][i + 1]);
      const Float factor = splat<Float>(late[t * positions + p]);
      float* const out = phi + places * (t * positions + p);
      for (int u = 0; u < tracks; ++u) {
        for (int i = 0; i < parts; ++i) {
          const Float later = u + 1 < tracks ? below[u + 1][i] : moved[i];
          below[u][i] = later + factor * load<Float>(late + u * positions + i * width);
          store(out + u * positions + i * width, below[u][i]);
        }
      }
    }
  }
}

}  // namespace quel::QUEL_SET
