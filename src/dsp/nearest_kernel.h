#pragma once

#include "dsp/across_lanes.h"
#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// Row of a codebook with the least squared distance from x below `limit`, the lowest of equals; 0
/// where there is none. Distances are in double; those in float, lanes across rows, say which rows
/// come into question, and are few.
///
/// A distance in float is off by seven roundings at most, below 2^-21 of it, or by as many times
/// the smallest float. So no row beyond the least one's 1 + 2^-19 and a bit can be the nearest.
///
/// x        [0..dim-1], dim at most 4
/// columns  [0..size*dim-1] the codebook column by column
/// size     rows, a multiple of 16, at most `codebook_max`
static int nearest_row(const float* x, const float* columns, int dim, int size, double limit) {
  constexpr int width = 2 * lanes;
  float rough[codebook_max];
  Float least = splat<Float>(__builtin_inff());
  for (int r = 0; r < size; r += width) {
    Float distance{};
    for (int t = 0; t < dim; ++t) {
      const Float e = splat<Float>(x[t]) - load<Float>(columns + t * size + r);
      distance += e * e;
    }
    store(rough + r, distance);
    least = distance < least ? distance : least;
  }
  const Float bound = splat<Float>(smallest_lane(least) * (1.0f + 0x1p-19f) + 1e-36f);
  double best = limit;
  int found = 0;
  for (int r = 0; r < size; r += width) {
    unsigned near = ~greater(load<Float>(rough + r), bound) & ((1u << (width - 1)) * 2 - 1);
    for (; near != 0; near &= near - 1) {
      const int row = r + __builtin_ctz(near);
      double distance = 0.0;
      for (int t = 0; t < dim; ++t) {
        const double e = static_cast<double>(x[t]) - columns[t * size + row];
        distance += e * e;
      }
      found = distance < best ? row : found;
      best = distance < best ? distance : best;
    }
  }
  return found;
}

}  // namespace quel::QUEL_SET
