#include "narrowband/d_acb_5k.h"

#include "narrowband/acb_common.h"

namespace quel {

using narrowband::place_pulses;

void dec_acb_2p10b(std::int32_t index, const float* filt, float* out) {
  const int offset = (index >> 8) & 1;
  const float sign = (index & 512) != 0 ? -1.0f : 1.0f;
  const int position[] = {3 * ((index >> 4) & 15) + offset, 3 * (index & 15) + offset + 1};
  const float signs[] = {sign, -sign};
  place_pulses(position, signs, 2, filt, out);
}

void dec_acb_3p10b(std::int32_t index, const float* filt, float* out) {
  const int flip = 2 * ((index >> 9) & 1);
  int position[3];
  float signs[3];
  for (int k = 0; k < 3; ++k, index >>= 3) {
    position[k] = 6 * (index & 7) + 4 - 2 * k;
    signs[k] = (position[k] + flip) % 4 == 0 ? 1.0f : -1.0f;
  }
  place_pulses(position, signs, 3, filt, out);
}

}  // namespace quel
