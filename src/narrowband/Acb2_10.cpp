#include "narrowband/Acb2_10.h"

#include "dsp/kernel_checks.h"
#include "dsp/scratch.h"
#include "narrowband/acb_common.h"
#include "narrowband/kernels.h"

namespace quel {

using namespace narrowband;

namespace {

struct Pair {
  int a = 0;
  int b = 1;
};

Pair plain_pair(const float* dn, const float* rr_diag, const float* rr) {
  float sq = -1.0f;
  float alpha = 1.0f;
  Pair best;
  for (int offset = 0; offset < 2; ++offset) {
    for (int ja = 0; ja < 16; ++ja) {
      const int a = 3 * ja + offset;
      for (int jb = 0; jb < 16; ++jb) {
        const int b = 3 * jb + offset + 1;
        const float diff = dn[a] - dn[b];
        const float num = diff * diff;
        // The signs are opposite, so the cross-correlation counts against the energy.
        const float den = rr_diag[16 * offset + ja] + rr_diag[16 * (offset + 1) + jb] -
                          rr[256 * offset + 16 * ja + jb];
        if (alpha * num - sq * den > 0.0f) {
          sq = num;
          alpha = den;
          best = {a, b};
        }
      }
    }
  }
  return best;
}

}  // namespace

void acb_2p10b(const float* dn, const float* h, std::int32_t* index) {
  Scratch rr_diag(3 * 16);
  Scratch rr(2 * 256);
  half_energies_of_all(h, 1, 3, rr_diag.data());
  cross_blocks(h, 3, 2, nullptr, rr.data());
  acb_2p10b(dn, rr_diag.data(), rr.data(), index);
}

void acb_2p10b(const float* dn, const float* rr_diag, const float* rr, std::int32_t* index) {
  Pair best;
  if (!narrowband_kernels().best_opposite_pair(dn, rr_diag, rr, &best.a, &best.b)) {
    best = plain_pair(dn, rr_diag, rr);
  } else if constexpr (check_kernels) {
    const Pair wanted = plain_pair(dn, rr_diag, rr);
    require_same("acb_2p10b", &best.a, &wanted.a, 1);
    require_same("acb_2p10b", &best.b, &wanted.b, 1);
  }
  *index = 256 * (best.a % 3) + 16 * (best.a / 3) + best.b / 3;
  if (dn[best.a] - dn[best.b] < 0.0f) *index += 512;
}

}  // namespace quel
