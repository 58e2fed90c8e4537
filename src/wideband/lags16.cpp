#include "wideband/lags16.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "dsp/best_few.h"
#include "dsp/scratch.h"
#include "wideband/pit_fr3s.h"

namespace quel {
namespace {

constexpr int first_whole_lag = 159;  // of a first subframe

struct Scored {
  Lag16 lag;
  float merit;
};

// corr points at the lag's own correlation.
Scored best_fraction(const float* corr, int T0, bool whole) {
  if (whole) return {{T0, 0}, corr[0]};
  Scored best{{T0, -1}, interpolation(corr, -1)};
  for (int frac = 0; frac <= 1; ++frac) {
    const float merit = interpolation(corr, frac);
    if (merit > best.merit) best = {{T0, frac}, merit};
  }
  return best;
}

}  // namespace

int best_lags(const float* exc, const float* xn, const float* h, int t0_min, int t0_max,
              int i_subfr, int L, Lag16* lags, int most) {
  Scratch corr(t0_max - t0_min + 9);
  wideband::norm_corr(exc, xn, h, t0_min, t0_max, corr.data(), L);
  std::array<Scored, most_lags16> ranking;
  int count = 0;
  for (int T0 = t0_min; T0 <= t0_max; ++T0) {
    const bool whole = i_subfr == 0 && T0 >= first_whole_lag;
    const Scored scored = best_fraction(corr.data() + 4 + T0 - t0_min, T0, whole);
    count = keep_best(ranking.data(), count, most, scored,
                      [](const Scored& a, const Scored& b) { return a.merit > b.merit; });
  }
  for (int k = 0; k < count; ++k) lags[k] = ranking[static_cast<std::size_t>(k)].lag;
  return count;
}

}  // namespace quel
