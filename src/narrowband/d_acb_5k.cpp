#include "narrowband/d_acb_5k.h"

#include "narrowband/acb_common.h"

namespace quel {

using narrowband::PulseSum;

void dec_acb_2p10b(std::int32_t index, const float* filt, float* out) {
  PulseSum sum(filt, out);
  const int offset = (index >> 8) & 1;
  const float sign = (index & 512) != 0 ? -1.0f : 1.0f;
  sum.add(3 * ((index >> 4) & 15) + offset, sign);
  sum.add(3 * (index & 15) + offset + 1, -sign);
}

void dec_acb_3p10b(std::int32_t index, const float* filt, float* out) {
  PulseSum sum(filt, out);
  const int flip = 2 * ((index >> 9) & 1);
  for (int track = 4; track >= 0; track -= 2, index >>= 3) {
    const int position = 6 * (index & 7) + track;
    sum.add(position, (position + flip) % 4 == 0 ? 1.0f : -1.0f);
  }
}

}  // namespace quel
