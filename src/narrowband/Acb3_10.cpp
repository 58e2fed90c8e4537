#include "narrowband/Acb3_10.h"

#include <array>

#include "dsp/scratch.h"
#include "narrowband/acb27_15.h"
#include "narrowband/acb_common.h"

namespace quel {

using namespace narrowband;

void fold_triple_signs(float* dn, float* sign) {
  for (int n = 0; n < acb_len; ++n) {
    sign[n] = n % 4 < 2 ? 1.0f : -1.0f;
    dn[n] *= sign[n];
  }
}

void acb_3p10b(float* dn, const float* h, std::int32_t* index) {
  Scratch sign(acb_len);
  Scratch rr_diag(3 * 8);
  Scratch rr(3 * 64);
  fold_triple_signs(dn, sign.data());
  half_energies_of_all(h, 2, 6, rr_diag.data());
  cross_blocks(h, 6, 3, sign.data(), rr.data());
  acb_3p10b(dn, rr_diag.data(), rr.data(), index);
}

void acb_3p10b(const float* dn, const float* rr_diag, const float* rr, std::int32_t* index) {
  float sq = -1.0f;
  float alpha = 1.0f;
  std::array<int, 3> best = {0, 2, 4};
  for (int ka = 0; ka < 8; ++ka) {
    const int a = 6 * ka;
    float ps = dn[a];
    float alp = rr_diag[ka];
    float rr_x[8];
    float rr_y[8];
    for (int k = 0; k < 8; ++k) {
      rr_x[k] = rr_diag[8 + k] + rr[8 * ka + k];
      rr_y[k] = rr_diag[16 + k] + rr[128 + 8 * k + ka];
    }
    int b = 0;
    int c = 0;
    search_ixiy(2, 4, &ps, &alp, &b, &c, dn, rr_x, rr_y, rr);
    if (alpha * (ps * ps) - sq * alp > 0.0f) {
      sq = ps * ps;
      alpha = alp;
      best = {a, b, c};
    }
  }
  *index = (best[0] / 6) * 64 + (best[1] / 6) * 8 + best[2] / 6;
  if (dn[best[0]] + dn[best[1]] + dn[best[2]] < 0.0f) *index += 512;
}

}  // namespace quel
