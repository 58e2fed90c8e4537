#include "narrowband/Acb2_10.h"

#include "dsp/scratch.h"
#include "narrowband/acb_common.h"

namespace quel {

using namespace narrowband;

void acb_2p10b(const float* dn, const float* h, std::int32_t* index) {
  Scratch rr_diag(3 * 16);
  Scratch rr(256);
  for (int track = 0; track < 3; ++track) half_energies(h, track, 3, &rr_diag[16 * track]);

  float sq = -1.0f;
  float alpha = 1.0f;
  int best_a = 0;
  int best_b = 1;
  for (int offset = 0; offset < 2; ++offset) {
    cross_block(h, offset, offset + 1, 3, rr.data());
    for (int ja = 0; ja < 16; ++ja) {
      const int a = 3 * ja + offset;
      for (int jb = 0; jb < 16; ++jb) {
        const int b = 3 * jb + offset + 1;
        const float diff = dn[a] - dn[b];
        const float num = diff * diff;
        // The signs are opposite, so the cross-correlation counts against the energy.
        const float den =
            rr_diag[16 * offset + ja] + rr_diag[16 * (offset + 1) + jb] - rr[16 * ja + jb];
        if (alpha * num - sq * den > 0.0f) {
          sq = num;
          alpha = den;
          best_a = a;
          best_b = b;
        }
      }
    }
  }
  *index = 256 * (best_a % 3) + 16 * (best_a / 3) + best_b / 3;
  if (dn[best_a] - dn[best_b] < 0.0f) *index += 512;
}

}  // namespace quel
