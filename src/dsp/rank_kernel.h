#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// How many of the sixteen positions of each track have a larger measure, or an equal one and come
/// first. False where a measure is not above -1.
///
/// measure  [0..16*tracks-1] position j of track t is at t + tracks * j
/// rank     [0..16*tracks-1] output, likewise
static bool ranked(const float* measure, int tracks, int* rank) {
  constexpr int positions = 16;
  constexpr int width = 2 * lanes;
  constexpr int parts = positions / width;
  float order[positions];
  for (int j = 0; j < positions; ++j) order[j] = static_cast<float>(j);
  bool sortable = true;
  for (int t = 0; t < tracks; ++t) {
    float value[positions];
    for (int j = 0; j < positions; ++j) {
      value[j] = measure[t + tracks * j];
      sortable = sortable && value[j] > -1.0f;
    }
    FloatMask sum[parts] = {};
    for (int j = 0; j < positions; ++j) {
      const Float other = splat<Float>(value[j]);
      const Float place = splat<Float>(static_cast<float>(j));
      for (int p = 0; p < parts; ++p) {
        const Float v = load<Float>(value + p * width);
        sum[p] -= (other > v) | ((other == v) & (place < load<Float>(order + p * width)));
      }
    }
    for (int p = 0; p < parts; ++p) {
      for (int l = 0; l < width; ++l) rank[t + tracks * (p * width + l)] = sum[p][l];
    }
  }
  return sortable;
}

}  // namespace quel::QUEL_SET
