#include "narrowband/d_acb.h"

#include "narrowband/acb_common.h"

namespace quel {

using narrowband::place_pulses;

void dec_ACB_27(const std::int32_t* index, const float* filt, float* out) {
  int position[6];
  float signs[6];
  for (int track = 0; track < 3; ++track) {
    const std::int32_t word = index[track];
    const int p1 = 3 * ((word >> 4) & 15) + track;
    const int p2 = 3 * (word & 15) + track;
    const float sign = (word & 256) != 0 ? -1.0f : 1.0f;
    position[2 * track] = p1;
    position[2 * track + 1] = p2;
    signs[2 * track] = sign;
    signs[2 * track + 1] = p2 < p1 ? -sign : sign;
  }
  place_pulses(position, signs, 6, filt, out);
}

void dec_ACB_15(const std::int32_t* index, const float* filt, float* out) {
  int position[3];
  float signs[3];
  for (int track = 0; track < 3; ++track) {
    const std::int32_t word = index[track];
    position[track] = 3 * (word & 15) + track;
    signs[track] = (word & 16) != 0 ? -1.0f : 1.0f;
  }
  place_pulses(position, signs, 3, filt, out);
}

}  // namespace quel
