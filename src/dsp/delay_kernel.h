#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"
#include "dsp/shift_lanes.h"

namespace quel::QUEL_SET {

namespace delay {

// Lanes across `parts` registers of lags. column [0..L-1] is the filtered excitation of the lag
// before them; that of the last of them goes to `next`.
template <int parts>
QUEL_INLINE void lags_of(const DelayedExcitation& d, const float* enter, const double* column,
                         double* next, int lags, double* xy, double* yy, float* at_cut,
                         float* at_end) {
  constexpr int count = parts * lanes;
  double entering[count];
  for (int i = 0; i < count; ++i) entering[i] = i < lags ? enter[-i] : 0.0f;
  Double e[parts], v[parts], sum_xy[parts], sum_yy[parts], cut[parts];
  for (int p = 0; p < parts; ++p) {
    v[p] = e[p] = load<Double>(entering + p * lanes);
    const Double x = splat<Double>(static_cast<double>(d.xn[0]));
    sum_xy[p] = add_exact(Double{}, x, v[p]);
    sum_yy[p] = add_exact(splat<Double>(d.yy_start), v[p], v[p]);
  }
  next[0] = v[parts - 1][lanes - 1];
  const auto step = [&](int j) __attribute__((always_inline)) {
    for (int p = parts - 1; p > 0; --p) v[p] = shifted(v[p - 1], v[p]);
    v[0] = shifted(splat<Double>(column[j - 1]), v[0]);
  };
  const auto correlate = [&](int j) __attribute__((always_inline)) {
    const Double x = splat<Double>(static_cast<double>(d.xn[j]));
    for (int p = 0; p < parts; ++p) sum_xy[p] = add_exact(sum_xy[p], x, v[p]);
    next[j] = v[parts - 1][lanes - 1];
  };
  for (int j = 1; j < d.taps; ++j) {
    step(j);
    const Double h = splat<Double>(static_cast<double>(d.h[j]));
    for (int p = 0; p < parts; ++p) {
      v[p] = rounded(add_exact(v[p], e[p], h));
      sum_yy[p] = add_exact(sum_yy[p], v[p], v[p]);
    }
    correlate(j);
  }
  for (int p = 0; p < parts; ++p) cut[p] = v[p];
  for (int j = d.taps; j < d.L; ++j) {
    step(j);
    correlate(j);
  }
  double all[4][count];
  for (int p = 0; p < parts; ++p) {
    store(all[0] + p * lanes, sum_xy[p]);
    store(all[1] + p * lanes, sum_yy[p]);
    store(all[2] + p * lanes, cut[p]);
    store(all[3] + p * lanes, v[p]);
  }
  const int wanted = lags < count ? lags : count;
  copy(xy, all[0], wanted);
  copy(yy, all[1], wanted);
  for (int i = 0; i < wanted; ++i) {
    at_cut[i] = static_cast<float>(all[2][i]);
    at_end[i] = static_cast<float>(all[3][i]);
  }
}

}  // namespace delay

/// The excitation through the response for each of a row of lags, one sample longer each, and what
/// a search wants of it. Lanes go across lags: a lag's output j is the output j - 1 of the lag
/// before, one lane further on, and a product.
static void delayed_products(const DelayedExcitation& d, const float* enter, const float* first,
                             int lags, double* xy, double* yy, float* at_cut, float* at_end) {
  double column[2][stretch_max];
  for (int j = 0; j < d.L; ++j) column[0][j] = first[j];
  int now = 0;
  for (int done = 0; done < lags; now = 1 - now) {
    const int rest = lags - done;
    double* const from = column[now];
    double* const to = column[1 - now];
    const auto of = [&](auto work) __attribute__((always_inline)) {
      work(d, enter - done, from, to, rest, xy + done, yy + done, at_cut + done, at_end + done);
    };
    if (rest <= 2 * lanes) {
      of(delay::lags_of<2>);
      done += 2 * lanes;
    } else if (rest <= 3 * lanes) {
      of(delay::lags_of<3>);
      done += 3 * lanes;
    } else if (rest <= 4 * lanes) {
      of(delay::lags_of<4>);
      done += 4 * lanes;
    } else {
      of(delay::lags_of<5>);
      done += 5 * lanes;
    }
  }
}

}  // namespace quel::QUEL_SET
