#include "narrowband/reorder_isf.h"

#include <utility>

namespace quel {

void reorder_isf(float* isf, float min_dist, int n, float scale) {
  for (int i = 1; i < n - 1; ++i) {
    if (isf[i - 1] > isf[i]) std::swap(isf[i - 1], isf[i]);
  }
  float lower = min_dist;
  for (int i = 0; i < n - 1; ++i) {
    if (isf[i] < lower) isf[i] = lower;
    lower = isf[i] + min_dist;
  }
  const float lowest = -0.5f * scale;
  const float highest = 0.8f * scale;
  if (isf[n - 1] < lowest) isf[n - 1] = lowest;
  if (isf[n - 1] > highest) isf[n - 1] = highest;
}

}  // namespace quel
