#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// Row of a codebook with the least squared distance from x below `limit`, the lowest of equals; 0
/// where there is none. Lanes across rows.
///
/// x        [0..dim-1]
/// columns  [0..size*dim-1] the codebook column by column
/// size     rows, a multiple of 8
static int nearest_row(const float* x, const float* columns, int dim, int size, double limit) {
  double row[lanes];
  for (int l = 0; l < lanes; ++l) row[l] = l;
  Double now = load<Double>(row), best = splat<Double>(limit), at{};
  for (int r = 0; r < size; r += lanes) {
    Double distance{};
    for (int t = 0; t < dim; ++t) {
      const Double e =
          splat<Double>(static_cast<double>(x[t])) - widen(load<Half>(columns + t * size + r));
      distance += e * e;
    }
    const Mask nearer = distance < best;
    best = nearer ? distance : best;
    at = nearer ? now : at;
    now += splat<Double>(static_cast<double>(lanes));
  }
  double least = best[0], found = at[0];
  for (int l = 1; l < lanes; ++l) {
    const bool better = best[l] < least || (best[l] == least && at[l] < found);
    least = better ? best[l] : least;
    found = better ? at[l] : found;
  }
  return static_cast<int>(found);
}

}  // namespace quel::QUEL_SET
