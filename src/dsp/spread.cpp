#include "dsp/spread.h"

namespace quel {

void spread(float* hz, int n, float distance, float top) {
  float limit = distance;
  for (int i = 0; i < n; ++i) {
    if (hz[i] < limit) hz[i] = limit;
    limit = hz[i] + distance;
  }
  limit = top - distance;
  for (int i = n - 1; i >= 0; --i) {
    if (hz[i] > limit) hz[i] = limit;
    limit = hz[i] - distance;
  }
}

}  // namespace quel
