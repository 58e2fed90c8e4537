#include "narrowband/d_acb.h"

#include "narrowband/acb_common.h"

namespace quel {

using narrowband::PulseSum;

void dec_ACB_27(const std::int32_t* index, const float* filt, float* out) {
  PulseSum sum(filt, out);
  for (int track = 0; track < 3; ++track) {
    const std::int32_t word = index[track];
    const int p1 = 3 * ((word >> 4) & 15) + track;
    const int p2 = 3 * (word & 15) + track;
    const float sign = (word & 256) != 0 ? -1.0f : 1.0f;
    sum.add(p1, sign);
    sum.add(p2, p2 < p1 ? -sign : sign);
  }
}

void dec_ACB_15(const std::int32_t* index, const float* filt, float* out) {
  PulseSum sum(filt, out);
  for (int track = 0; track < 3; ++track) {
    const std::int32_t word = index[track];
    sum.add(3 * (word & 15) + track, (word & 16) != 0 ? -1.0f : 1.0f);
  }
}

}  // namespace quel
