#include "wideband/dec45_85.h"

#include <algorithm>

namespace quel {

void DEC_ACELP_45_85(const std::int32_t* indices, float* code) {
  std::fill_n(code, 80, 0.0f);
  for (int t = 0; t < 5; ++t) {
    const std::int32_t v = indices[t];
    const int i1 = t + 5 * ((v >> 4) & 15);
    const int i2 = t + 5 * (v & 15);
    const float s = (v & 256) != 0 ? -1.0f : 1.0f;
    code[i1] = s;
    code[i2] += i2 < i1 ? -s : s;
  }
}

}  // namespace quel
